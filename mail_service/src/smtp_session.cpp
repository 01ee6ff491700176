#include "smtp_session.h"

#include <algorithm>
#include <cstring>

#include "CntsMLUTLMailType.h"
#include "CntsSMTPSendMail.h"
#include "CutlCPLBOSBoundary.h"
#include "emwCLB.h"
#include "ntc_email_esu_smtp.pb.h"
#include "ntc_email_esu_smtp_helper.h"

#include "last_reply.h"
#include "mail_envelope.h"
#include "pop_before_smtp.h"
#include "return_codes.h"
#include "text_check.h"

namespace velorin::service {
namespace {

constexpr std::uint32_t kQuitTimeout = 5;  // seconds; nobody waits longer for a farewell

// A block that a header composer made.
class ComposedHeader {
public:
    ComposedHeader() = default;
    ComposedHeader(const ComposedHeader&) = delete;
    ComposedHeader& operator=(const ComposedHeader&) = delete;
    ~ComposedHeader() { CutlCPLBOSBoundary::MemFree(block_); }

    template <typename Part>
    bool compose(Part& part)
    {
        return part.MakeHeader(block_, length_) != 0;
    }
    const char* octets() const { return block_; }
    std::size_t length() const { return static_cast<std::size_t>(length_); }

private:
    char* block_ = nullptr;
    long length_ = 0;
};

bool is_multipart(std::int32_t content_type)
{
    constexpr char kStart[] = "mult";
    const char* const text =
        CntsMLUTLMailType::GetContentType(static_cast<CntsMLUTLMailType::eContentType>(content_type));
    return emwCLBCompStrCaseN(text, kStart, sizeof kStart - 1) == 0;
}

}  // namespace

SmtpSession::SmtpSession(const SessionRules& rules, const ntc_email_esu_smtp_settings& settings,
                         std::shared_ptr<LastReply> last_reply)
    : rules_(rules), last_reply_(std::move(last_reply)),
      account_code_(read_account(settings, rules.command_timeout, account_)),
      connection_(rules.make_connection(cancel_signal(), *last_reply_))
{
}

SmtpSession::~SmtpSession() = default;

void SmtpSession::drop() noexcept
{
    connection_->drop();
    dialogue_.reset();
    boundary_.reset();
    judged_size_ = 0;
    state_ = State::apart;
}

// After an operation: a connection that has gone takes the mail with it.
std::uint32_t SmtpSession::settle(std::uint32_t code)
{
    if (!connection_->is_open()) drop();
    return code;
}

std::uint32_t SmtpSession::open(ServerConnection& connection)
{
    last_reply_->forget();
    if (account_code_ != 0) return account_code_;
    if (account_.pop) {
        const std::uint32_t code =
            pop_before_smtp(*account_.pop, account_.pop_wait, rules_, cancel_signal(), *last_reply_);
        if (code != 0) return code;
    }
    return connection.open(account_.smtp, rules_.opening);
}

std::uint32_t SmtpSession::test()
{
    if (state_ != State::apart && state_ != State::connected) return kWrongOrder;
    const auto connection = rules_.make_connection(cancel_signal(), *last_reply_);
    if (const std::uint32_t code = open(*connection)) return code;
    SmtpDialogue(*connection, *last_reply_, account_.smtp.command_timeout, rules_.data_timeout)
        .quit(std::min(kQuitTimeout, account_.smtp.command_timeout));
    return 0;
}

std::uint32_t SmtpSession::connect()
{
    if (state_ != State::apart) return kWrongOrder;
    if (const std::uint32_t code = open(*connection_)) return code;
    dialogue_.emplace(*connection_, *last_reply_, account_.smtp.command_timeout, rules_.data_timeout);
    state_ = State::connected;
    return 0;
}

std::uint32_t SmtpSession::judge_size(std::uint32_t size)
{
    if (state_ == State::apart) return kWrongOrder;
    const SmtpCapabilities& server = connection_->capabilities();
    if (account_.size_limit != 0 && size > account_.size_limit) return kTooLarge;
    if (server.size != 0 && size > server.size) return kTooLarge;
    if (state_ == State::connected) judged_size_ = size;
    return 0;
}

std::uint32_t SmtpSession::send_header(const ntc_email_esu_smtp_send_mail& message)
{
    if (state_ != State::connected) return kWrongOrder;
    last_reply_->forget();
    const bool multipart = is_multipart(message.my_part().e_content_type());
    if (multipart && message.c_boundary_string().empty()) return kHeaderNotComposed;
    if (const std::uint32_t code = check_mail_texts(message, multipart)) return code;
    CntsSMTPSendMail mail;
    if (ntc_email_esu_smtp_helper::convert_smtp_send_mail(message, mail) != 0) return kInternalFailure;
    MailEnvelope envelope;
    if (const std::uint32_t code = read_envelope(mail, rules_.max_recipients, envelope)) return code;
    ComposedHeader header;
    if (!header.compose(mail)) return kHeaderNotComposed;

    const std::uint64_t size =
        judged_size_ == 0 ? 0 : std::max(judged_size_, static_cast<std::uint64_t>(header.length()));
    judged_size_ = 0;
    if (const std::uint32_t code = settle(dialogue_->begin_mail(envelope, size))) return code;
    state_ = State::body;
    if (multipart) boundary_ = message.c_boundary_string();
    last_reply_->forget();  // the go-ahead explains no later failure
    return settle(dialogue_->write_mail(header.octets(), header.length()));
}

std::uint32_t SmtpSession::send_body(std::string_view octets)
{
    if (state_ != State::body) return kWrongOrder;
    return settle(dialogue_->write_mail(octets.data(), octets.size()));
}

std::uint32_t SmtpSession::send_part_header(const ntc_email_esu_smtp_send_mail& message)
{
    if ((state_ != State::body && state_ != State::part) || !boundary_) return kWrongOrder;
    if (!message.has_p_part() || !message.p_part().has_p_part()) return kMalformedRequest;
    if (const std::uint32_t code = check_part_texts(message.p_part().p_part())) return code;
    CntsSMTPSendMailPart part;
    if (ntc_email_esu_smtp_helper::convert_smtp_send_mail_part(message.p_part(), part) != 0)
        return kInternalFailure;
    ComposedHeader header;
    if (!header.compose(part)) return kHeaderNotComposed;
    // The line end before a boundary belongs to the boundary (RFC 2046, 5.1.1).
    const std::string line = "\r\n--" + *boundary_ + "\r\n";
    state_ = State::part;
    if (const std::uint32_t code = settle(dialogue_->write_mail(line.data(), line.size()))) return code;
    return settle(dialogue_->write_mail(header.octets(), header.length()));
}

std::uint32_t SmtpSession::send_part_body(std::string_view octets)
{
    if (state_ != State::part) return kWrongOrder;
    return settle(dialogue_->write_mail(octets.data(), octets.size()));
}

std::uint32_t SmtpSession::close()
{
    if (state_ != State::body && state_ != State::part) return kWrongOrder;
    last_reply_->forget();
    if (boundary_) {
        const std::string line = "\r\n--" + *boundary_ + "--\r\n";
        if (const std::uint32_t code = settle(dialogue_->write_mail(line.data(), line.size()))) return code;
    }
    // From here on the mail may be delivered, whoever ends the session.
    set_awaits_verdict(true);
    std::uint32_t code = dialogue_->send_end();
    if (code == 0) code = dialogue_->await_verdict();
    boundary_.reset();
    state_ = State::connected;
    return settle(code);
}

std::uint32_t SmtpSession::abort_mail()
{
    drop();
    return 0;
}

void SmtpSession::quit()
{
    if (state_ == State::connected) dialogue_->quit(std::min(kQuitTimeout, account_.smtp.command_timeout));
    drop();
}

}  // namespace velorin::service
