#include <cstddef>
#include <cstdint>
#include <string>

#include "capture.h"
#include "channel_path.h"

namespace velorin_channel {
namespace {

// What the schema says about a field, as far as recording goes. Fields that no row names are left out of the
// record: a field that a later schema adds is recorded when somebody has decided that it may be.
enum class FieldKind {
    kNumber,
    kText,
    kPassword,  // recorded as "***"
    kBody,      // recorded as nothing; the length beside it tells its size
    kMessage
};

struct MessageShape;

struct FieldShape {
    std::uint32_t number;
    FieldKind kind;
    const MessageShape* message;  // of kMessage
};

struct MessageShape {
    const FieldShape* fields;
    std::size_t count;
};

template <std::size_t kCount>
constexpr MessageShape shape(const FieldShape (&fields)[kCount])
{
    return MessageShape{fields, kCount};
}

constexpr FieldShape number(std::uint32_t field)
{
    return FieldShape{field, FieldKind::kNumber, nullptr};
}
constexpr FieldShape text(std::uint32_t field)
{
    return FieldShape{field, FieldKind::kText, nullptr};
}
constexpr FieldShape password(std::uint32_t field)
{
    return FieldShape{field, FieldKind::kPassword, nullptr};
}
constexpr FieldShape body(std::uint32_t field)
{
    return FieldShape{field, FieldKind::kBody, nullptr};
}
constexpr FieldShape message(std::uint32_t field, const MessageShape& of)
{
    return FieldShape{field, FieldKind::kMessage, &of};
}

// Mail utilities: address, part.
constexpr FieldShape kAddressFields[] = {text(1)};
constexpr MessageShape kAddress = shape(kAddressFields);
constexpr FieldShape kPartFields[] = {number(1),  number(2),  number(3), number(4), text(5),
                                      text(6),    text(7),    text(8),   text(9),   body(10),
                                      number(11), number(12), text(13)};
constexpr MessageShape kPart = shape(kPartFields);
constexpr FieldShape kFurtherPartFields[] = {message(1, kPart)};  // of a sent and of a received mail alike
constexpr MessageShape kFurtherPart = shape(kFurtherPartFields);

// POP3: settings, mailbox, received mail.
constexpr FieldShape kPop3SettingsFields[] = {message(1, kAddress),
                                              text(2),
                                              number(3),
                                              text(4),
                                              password(5),
                                              number(6),
                                              number(7),
                                              number(8),
                                              number(9),
                                              number(10),
                                              number(11)};
constexpr MessageShape kPop3Settings = shape(kPop3SettingsFields);
constexpr FieldShape kInfoFields[] = {number(1), text(2), number(3), number(4)};
constexpr MessageShape kInfo = shape(kInfoFields);
constexpr FieldShape kListFields[] = {message(1, kInfo), number(2)};
constexpr MessageShape kList = shape(kListFields);
constexpr FieldShape kReceivedFields[] = {message(1, kPart),
                                          message(2, kAddress),
                                          message(3, kAddress),
                                          message(4, kAddress),
                                          message(5, kAddress),
                                          message(6, kAddress),
                                          text(7),
                                          text(8),
                                          text(9),
                                          text(10),
                                          text(11),
                                          text(12),
                                          message(13, kAddress),
                                          number(14),
                                          number(15),
                                          message(16, kInfo),
                                          message(17, kFurtherPart),
                                          number(18)};
constexpr MessageShape kReceived = shape(kReceivedFields);

// SMTP: settings, mail under transmission.
constexpr FieldShape kSmtpSettingsFields[] = {
    number(1),  text(2),     number(3),  number(4), message(5, kPop3Settings),
    text(6),    password(7), text(8),    number(9), number(10),
    number(11), number(12),  number(13), number(14)};
constexpr MessageShape kSmtpSettings = shape(kSmtpSettingsFields);
constexpr FieldShape kSentFields[] = {message(1, kPart),
                                      message(2, kFurtherPart),
                                      message(3, kAddress),
                                      message(4, kAddress),
                                      message(5, kAddress),
                                      message(6, kAddress),
                                      message(7, kAddress),
                                      message(8, kAddress),
                                      text(9),
                                      text(10),
                                      text(11),
                                      message(12, kAddress),
                                      text(13),
                                      text(14),
                                      text(15)};
constexpr MessageShape kSent = shape(kSentFields);

// Requests, answers, envelopes. Field 1 of every request is the session.
constexpr FieldShape kNumberFields[] = {number(1)};
constexpr MessageShape kNumber =
    shape(kNumberFields);  // a request of a session only, an answer of a code only
constexpr FieldShape kTwoNumbersFields[] = {number(1), number(2)};
constexpr MessageShape kTwoNumbers = shape(kTwoNumbersFields);

constexpr FieldShape kSmtpCreateFields[] = {number(1), message(2, kSmtpSettings)};
constexpr MessageShape kSmtpCreate = shape(kSmtpCreateFields);
constexpr FieldShape kSmtpSendFields[] = {number(1), message(2, kSent)};
constexpr MessageShape kSmtpSend = shape(kSmtpSendFields);

constexpr FieldShape kSmtpEnvelopeFields[] = {
    number(1),
    message(2, kSmtpCreate),
    message(3, kNumber),  // create_instance
    message(4, kNumber),
    message(5, kNumber),  // test
    message(6, kNumber),
    message(7, kNumber),  // connect
    message(8, kSmtpSend),
    message(9, kNumber),  // send_header
    message(10, kSmtpSend),
    message(11, kNumber),  // send_body
    message(12, kSmtpSend),
    message(13, kNumber),  // send_part_header
    message(14, kSmtpSend),
    message(15, kNumber),  // send_part_body
    message(16, kSmtpSend),
    message(17, kNumber),  // close
    message(18, kNumber),
    message(19, kNumber),  // abort
    message(20, kTwoNumbers),
    message(21, kNumber),  // judge_size_of_data
    message(22, kNumber),
    message(23, kNumber),  // destroy_instance
};
constexpr MessageShape kSmtpEnvelope = shape(kSmtpEnvelopeFields);

constexpr FieldShape kPop3CreateFields[] = {number(1), message(2, kPop3Settings)};
constexpr MessageShape kPop3Create = shape(kPop3CreateFields);
constexpr FieldShape kListRequestFields[] = {number(1), message(2, kList), number(3)};
constexpr MessageShape kListRequest = shape(kListRequestFields);
constexpr FieldShape kListAnswerFields[] = {message(1, kList), number(2)};
constexpr MessageShape kListAnswer = shape(kListAnswerFields);
constexpr FieldShape kListNextRequestFields[] = {number(1), message(2, kList), message(3, kInfo)};
constexpr MessageShape kListNextRequest = shape(kListNextRequestFields);
constexpr FieldShape kListNextAnswerFields[] = {message(1, kList), message(2, kInfo), number(3)};
constexpr MessageShape kListNextAnswer = shape(kListNextAnswerFields);
constexpr FieldShape kMailRequestFields[] = {number(1), message(2, kReceived), number(3)};
constexpr MessageShape kMailRequest = shape(kMailRequestFields);
constexpr FieldShape kMailAnswerFields[] = {message(1, kReceived), number(2)};
constexpr MessageShape kMailAnswer = shape(kMailAnswerFields);
constexpr FieldShape kAddressAnswerFields[] = {message(1, kAddress)};
constexpr MessageShape kAddressAnswer = shape(kAddressAnswerFields);
constexpr FieldShape kDeleteByUidFields[] = {number(1), message(2, kList), message(3, kReceived)};
constexpr MessageShape kDeleteByUid = shape(kDeleteByUidFields);

constexpr FieldShape kPop3EnvelopeFields[] = {
    number(1),
    message(2, kPop3Create),
    message(3, kNumber),  // create_instance
    message(4, kNumber),
    message(5, kNumber),  // test
    message(6, kNumber),
    message(7, kNumber),  // connect
    message(8, kNumber),
    message(9, kTwoNumbers),  // stat
    message(10, kListRequest),
    message(11, kListAnswer),  // list
    message(12, kListNextRequest),
    message(13, kListNextAnswer),  // list_next
    message(14, kMailRequest),
    message(15, kMailAnswer),  // receive_header
    message(16, kMailRequest),
    message(17, kMailAnswer),  // receive_body
    message(18, kMailRequest),
    message(19, kMailAnswer),  // receive_part_header
    message(20, kMailRequest),
    message(21, kMailAnswer),  // receive_part_body
    message(22, kMailRequest),
    message(23, kMailAnswer),  // skip_mail
    message(24, kMailRequest),
    message(25, kMailAnswer),  // skip_part
    message(26, kMailRequest),
    message(27, kMailAnswer),  // delete
    message(28, kNumber),
    message(29, kNumber),  // close
    message(30, kNumber),
    message(31, kAddressAnswer),  // ref_mail_address
    message(32, kNumber),
    message(33, kNumber),  // noop
    message(34, kDeleteByUid),
    message(35, kListAnswer),  // delete_by_uid
    message(36, kMailRequest),
    message(37, kMailAnswer),  // receive_header_only
    message(38, kNumber),
    message(39, kNumber),  // destroy_instance
};
constexpr MessageShape kPop3Envelope = shape(kPop3EnvelopeFields);

enum WireType : unsigned { kVarint = 0, kFixed64 = 1, kLengthDelimited = 2, kFixed32 = 5 };

constexpr std::size_t kMaxVarint = 10;  // octets of the longest varint

// Reads an encoded message from front to back.
class Reader {
public:
    Reader(const char* begin, const char* end) : at_(begin), end_(end) {}

    bool at_end() const { return at_ == end_; }
    const char* position() const { return at_; }

    bool varint(std::uint64_t& value)
    {
        value = 0;
        for (std::size_t index = 0; index < kMaxVarint && at_ != end_; ++index) {
            const std::uint64_t octet = static_cast<unsigned char>(*at_++);
            value |= (octet & 0x7Fu) << (7 * index);
            if (octet < 0x80u) return true;
        }
        return false;
    }

    bool skip(std::uint64_t octets)
    {
        if (octets > static_cast<std::uint64_t>(end_ - at_)) return false;
        at_ += static_cast<std::ptrdiff_t>(octets);
        return true;
    }

private:
    const char* at_;
    const char* end_;
};

void put_varint(std::string& out, std::uint64_t value)
{
    while (value >= 0x80u) {
        out.push_back(static_cast<char>(static_cast<unsigned char>(value | 0x80u)));
        value >>= 7;
    }
    out.push_back(static_cast<char>(static_cast<unsigned char>(value)));
}

void put_octets(std::string& out, std::uint32_t field, const char* octets, std::size_t length)
{
    put_varint(out, std::uint64_t{field} << 3 | kLengthDelimited);
    put_varint(out, length);
    out.append(octets, length);
}

const FieldShape* find_field(const MessageShape& of, std::uint64_t field)
{
    for (std::size_t index = 0; index < of.count; ++index) {
        if (of.fields[index].number == field) return &of.fields[index];
    }
    return nullptr;
}

// Rebuilds one message. Messages nest only as deep as the shapes above do.
bool rebuild(const MessageShape& of, Reader reader, std::string& out)
{
    while (!reader.at_end()) {
        std::uint64_t tag = 0;
        if (!reader.varint(tag) || tag >> 3 == 0 || tag >> 32 != 0) return false;
        const FieldShape* const field = find_field(of, tag >> 3);
        const char* const value = reader.position();
        std::uint64_t length = 0;
        switch (static_cast<unsigned>(tag & 7u)) {
        case kVarint:
            if (!reader.varint(length)) return false;
            if (field != nullptr && field->kind == FieldKind::kNumber) {
                put_varint(out, tag);
                out.append(value, reader.position());
            }
            break;
        case kFixed64:
            if (!reader.skip(8)) return false;
            break;
        case kFixed32:
            if (!reader.skip(4)) return false;
            break;
        case kLengthDelimited: {
            if (!reader.varint(length)) return false;
            const char* const octets = reader.position();
            if (!reader.skip(length)) return false;
            if (field == nullptr) break;
            if (field->kind == FieldKind::kText) {
                put_octets(out, field->number, octets, static_cast<std::size_t>(length));
            } else if (field->kind == FieldKind::kPassword) {
                put_octets(out, field->number, "***", 3);
            } else if (field->kind == FieldKind::kBody) {
                put_octets(out, field->number, octets, 0);
            } else if (field->kind == FieldKind::kMessage) {
                std::string inner;
                if (!rebuild(*field->message, Reader(octets, reader.position()), inner)) return false;
                put_octets(out, field->number, inner.data(), inner.size());
            }
            break;
        }
        default:
            return false;
        }
    }
    return true;
}

}  // namespace

EnvelopeKind envelope_kind(const std::string& endpoint)
{
    const std::size_t prefix = sizeof kEndpointPrefix - 1;
    const std::string name =
        endpoint.compare(0, prefix, kEndpointPrefix) == 0 ? endpoint.substr(prefix) : endpoint;
    if (name == "ntc_email_smtp") return EnvelopeKind::kSmtp;
    if (name == "ntc_email_pop3") return EnvelopeKind::kPop3;
    return EnvelopeKind::kUnknown;
}

bool redact_envelope(EnvelopeKind kind, const char* octets, std::size_t length, std::string& redacted)
{
    if (kind == EnvelopeKind::kUnknown) return false;
    std::string rebuilt;
    const MessageShape& envelope = kind == EnvelopeKind::kSmtp ? kSmtpEnvelope : kPop3Envelope;
    if (length > 0 && !rebuild(envelope, Reader(octets, octets + length), rebuilt)) return false;
    redacted.swap(rebuilt);
    return true;
}

}  // namespace velorin_channel
