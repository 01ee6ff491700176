#include "smtp_dialogue.h"

#include <algorithm>

#include "last_reply.h"
#include "return_codes.h"

namespace velorin::service {
namespace {

constexpr std::size_t kOutCapacity = 64u << 10;
constexpr std::size_t kDirect = 16u << 10;  // a run this long is sent from where it stands
constexpr std::size_t kInCapacity = 4096;
constexpr std::size_t kGroup =
    32;  // recipients that are on their way at once: their replies fit any socket buffer
constexpr int kGoAhead = 354;
constexpr int kClosing = 421;
constexpr int kExceeded = 552;
constexpr int kLoginWanted = 530;

bool names_size(const SmtpReply& reply)
{
    if (reply.enhanced_status_begins("5.3.4")) return true;
    // 552 stands for a full mailbox, too; the enhanced status tells them apart.
    return reply.code == kExceeded && !reply.enhanced_status_begins("5.2.2");
}

std::uint32_t code_of_mail_from(const SmtpReply& reply)
{
    if (reply.positive()) return 0;
    if (reply.transient()) return kTryLater;
    if (reply.code == kLoginWanted) return kLoginRequired;
    return names_size(reply) ? kTooLarge : kSenderRefused;
}

std::uint32_t code_of_recipient(const SmtpReply& reply)
{
    if (reply.positive()) return 0;
    if (reply.code == kClosing) return kTryLater;
    return reply.transient() ? kRecipientDeferred : kRecipientRefused;
}

std::uint32_t code_of_mail(const SmtpReply& reply)
{
    if (reply.positive()) return 0;
    if (reply.transient()) return kTryLater;
    return names_size(reply) ? kTooLarge : kMailRefused;
}

}  // namespace

SmtpDialogue::SmtpDialogue(ServerConnection& connection, LastReply& last_reply, std::uint32_t command_timeout,
                           std::uint32_t data_timeout)
    : connection_(connection), last_reply_(last_reply), command_timeout_(command_timeout),
      data_timeout_(data_timeout), encoder_(*this), in_(kInCapacity)
{
    out_.reserve(kOutCapacity);
}

std::uint32_t SmtpDialogue::begin_mail(const MailEnvelope& envelope, std::uint64_t declared_size)
{
    const SmtpCapabilities& capabilities = connection_.capabilities();
    std::string mail_from = "MAIL FROM:<" + envelope.sender + ">";
    if (capabilities.size_offered && declared_size != 0)
        mail_from += " SIZE=" + std::to_string(declared_size);
    if (capabilities.eight_bit) mail_from += " BODY=8BITMIME";
    mail_from += "\r\n";
    if (const std::uint32_t code = send_envelope(envelope, mail_from)) {
        reset_mail();
        return code;
    }
    if (const std::uint32_t code = exchange("DATA\r\n")) return code;
    const SmtpReply& reply = parser_.reply();
    if (reply.code != kGoAhead) {
        // 2xx to DATA makes no sense: nobody can tell what the server takes the next octets for.
        const std::uint32_t code = reply.code < 400 ? kReplyMalformed : code_of_mail(reply);
        if (code == kReplyMalformed) {
            connection_.drop();
        } else {
            reset_mail();
        }
        return code;
    }
    encoder_.begin();
    return 0;
}

std::uint32_t SmtpDialogue::send_envelope(const MailEnvelope& envelope, const std::string& mail_from)
{
    const bool pipelining = connection_.capabilities().pipelining;
    const std::size_t count = envelope.recipients.size();
    if (pipelining) {
        std::size_t until = std::min(count, kGroup);
        if (const std::uint32_t code = send_group(envelope, &mail_from, 0, until)) return code;
        for (std::size_t from = until; from < count; from = until) {
            until = std::min(count, from + kGroup);
            if (const std::uint32_t code = send_group(envelope, nullptr, from, until)) return code;
        }
        return 0;
    }
    if (const std::uint32_t code = exchange(mail_from)) return code;
    if (const std::uint32_t code = code_of_mail_from(parser_.reply())) return code;
    for (const std::string& recipient : envelope.recipients) {
        if (const std::uint32_t code = exchange("RCPT TO:<" + recipient + ">\r\n")) return code;
        if (const std::uint32_t code = code_of_recipient(parser_.reply())) return code;
    }
    return 0;
}

// Several commands in one go (RFC 2920). Every reply is read, the first refusal counts; the line that is
// remembered is the refusal's.
std::uint32_t SmtpDialogue::send_group(const MailEnvelope& envelope, const std::string* mail_from,
                                       std::size_t from, std::size_t until)
{
    std::string commands = mail_from != nullptr ? *mail_from : std::string();
    for (std::size_t index = from; index < until; ++index) {
        commands += "RCPT TO:<" + envelope.recipients[index] + ">\r\n";
    }
    if (const std::uint32_t code = check_silence()) return code;
    if (const std::uint32_t code = send_commands(commands)) return code;
    std::uint32_t refusal = 0;
    std::string refusal_line;
    const auto take = [&](std::uint32_t (*code_of)(const SmtpReply&)) -> std::uint32_t {
        if (const std::uint32_t code = read_reply(in_seconds(command_timeout_))) {
            return refusal != 0 ? refusal : code;
        }
        const std::uint32_t code = code_of(parser_.reply());
        if (code != 0 && refusal == 0) {
            refusal = code;
            refusal_line = parser_.reply().last_line;
        }
        return 0;
    };
    if (mail_from != nullptr) {
        if (const std::uint32_t code = take(code_of_mail_from)) return code;
    }
    for (std::size_t index = from; index < until; ++index) {
        if (!connection_.is_open()) break;  // 421: there are no more replies
        if (const std::uint32_t code = take(code_of_recipient)) return code;
    }
    if (refusal != 0) last_reply_.set(refusal_line);
    return refusal;
}

std::uint32_t SmtpDialogue::write_mail(const char* octets, std::size_t count)
{
    return encoder_.feed(octets, count);
}

std::uint32_t SmtpDialogue::send_end()
{
    if (const std::uint32_t code = encoder_.finish()) return code;
    // What the server says before it has seen the end is no verdict on the mail.
    if (const std::uint32_t code = check_silence()) return code;
    if (const std::uint32_t code = write(".\r\n", 3)) return code;
    return flush();
}

std::uint32_t SmtpDialogue::await_verdict()
{
    if (read_reply(in_seconds(data_timeout_)) != 0) {
        connection_.drop();
        return kNotConfirmed;
    }
    const SmtpReply& reply = parser_.reply();
    if (reply.code >= 300 && reply.code < 400) {
        connection_.drop();
        return kNotConfirmed;
    }
    return code_of_mail(reply);
}

void SmtpDialogue::quit(std::uint32_t timeout)
{
    if (!connection_.is_open()) return;
    const std::string command = "QUIT\r\n";
    if (connection_.send(command.data(), command.size(), in_seconds(timeout)) == 0) {
        std::size_t count = 0;
        // Whatever comes, or that nothing comes: the dialogue is over.
        static_cast<void>(connection_.receive(in_.data(), in_.size(), count, in_seconds(timeout)));
    }
    connection_.drop();
}

// RSET, so that the next mail begins afresh. Its reply is not one that anybody asks for later.
void SmtpDialogue::reset_mail()
{
    if (!connection_.is_open()) return;
    const std::string line = last_reply_.get();
    const bool done = exchange("RSET\r\n") == 0 && parser_.reply().positive();
    if (!done) connection_.drop();
    last_reply_.set(line);
}

std::uint32_t SmtpDialogue::write(const char* octets, std::size_t count)
{
    if (out_.size() + count <= kOutCapacity && count < kDirect) {
        out_.insert(out_.end(), octets, octets + count);
        return 0;
    }
    if (const std::uint32_t code = flush()) return code;
    if (count < kDirect) {
        out_.insert(out_.end(), octets, octets + count);
        return 0;
    }
    const std::uint32_t code = connection_.send(octets, count, in_seconds(command_timeout_));
    return code != 0 ? fail_sending(code) : 0;
}

std::uint32_t SmtpDialogue::flush()
{
    if (out_.empty()) return 0;
    const std::uint32_t code = connection_.send(out_.data(), out_.size(), in_seconds(command_timeout_));
    out_.clear();
    return code != 0 ? fail_sending(code) : 0;
}

// A server that closes in mid-mail may have said why.
std::uint32_t SmtpDialogue::fail_sending(std::uint32_t code)
{
    out_.clear();
    if (code != kAborted && read_reply(Clock::now() + std::chrono::milliseconds(1)) == 0 &&
        !parser_.reply().positive() && parser_.reply().code >= 400) {
        code = code_of_mail(parser_.reply());
    }
    connection_.drop();
    return code;
}

// Between two commands the server has nothing to say but that it is closing.
std::uint32_t SmtpDialogue::check_silence()
{
    if (in_at_ == in_count_) {
        in_at_ = 0;
        if (const std::uint32_t code = connection_.receive_now(in_.data(), in_.size(), in_count_)) {
            in_count_ = 0;
            return code;
        }
        if (in_count_ == 0) return 0;
    }
    std::uint32_t code = kReplyMalformed;
    if (read_reply(in_seconds(command_timeout_)) == 0 && !parser_.reply().positive() &&
        parser_.reply().code >= 400) {
        code = code_of_mail(parser_.reply());
    }
    connection_.drop();
    return code;
}

std::uint32_t SmtpDialogue::send_commands(const std::string& commands)
{
    const std::uint32_t code =
        connection_.send(commands.data(), commands.size(), in_seconds(command_timeout_));
    return code != 0 ? fail_sending(code) : 0;
}

std::uint32_t SmtpDialogue::exchange(const std::string& command)
{
    if (const std::uint32_t code = check_silence()) return code;
    if (const std::uint32_t code = send_commands(command)) return code;
    return read_reply(in_seconds(command_timeout_));
}

// Reads one reply. 421 is a reply like any other, but the connection goes with it.
std::uint32_t SmtpDialogue::read_reply(Deadline deadline)
{
    parser_.reset();
    for (;;) {
        if (in_at_ == in_count_) {
            in_at_ = 0;
            in_count_ = 0;
            if (const std::uint32_t code = connection_.receive(in_.data(), in_.size(), in_count_, deadline))
                return code;
        }
        std::size_t taken = 0;
        const SmtpReplyParser::Result result = parser_.feed(in_.data() + in_at_, in_count_ - in_at_, taken);
        in_at_ += taken;
        if (result == SmtpReplyParser::Result::incomplete) continue;
        if (result == SmtpReplyParser::Result::malformed) {
            connection_.drop();
            return kReplyMalformed;
        }
        last_reply_.set(parser_.reply().last_line);
        if (parser_.reply().code == kClosing) connection_.drop();
        return 0;
    }
}

}  // namespace velorin::service
