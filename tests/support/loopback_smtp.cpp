#include "loopback_smtp.h"

#include <utility>

#include "loopback_body.h"
#include "loopback_smtp_session.h"

namespace velorin_test {

std::string LoopbackMail::octets() const
{
    return remove_dot_stuffing(wire);
}

LoopbackSmtp::LoopbackSmtp(SmtpOptions options)
    : options_(std::move(options)), certificates_(options_.certificates)
{
    if (!certificates_ && (options_.starttls || options_.implicit_tls))
        certificates_ = std::make_shared<const LoopbackCertificates>(options_.tls);
    for (const Rule& rule : options_.rules)
        rules_.add(rule);
    listener_ = std::make_unique<LoopbackListener>(
        options_.port, options_.lifetime_ms,
        [this](LoopbackConnection& connection) { SmtpSession(*this, connection).run(); });
}

LoopbackSmtp::~LoopbackSmtp()
{
    listener_->stop();
}

void LoopbackSmtp::keep(LoopbackMail&& mail)
{
    log_.locked([&] { (mail.dot ? mails_ : unfinished_).push_back(std::move(mail)); });
}

std::vector<LoopbackMail> LoopbackSmtp::mails() const
{
    std::vector<LoopbackMail> copy;
    log_.wait(0, [&](const auto&) { return copy = mails_, true; });
    return copy;
}

std::vector<LoopbackMail> LoopbackSmtp::unfinished() const
{
    std::vector<LoopbackMail> copy;
    log_.wait(0, [&](const auto&) { return copy = unfinished_, true; });
    return copy;
}

bool LoopbackSmtp::wait_for_mail(std::size_t count, int timeout_ms) const
{
    return log_.wait(timeout_ms, [&](const auto&) { return mails_.size() >= count; });
}

bool LoopbackSmtp::wait_for_connection(std::size_t count, int timeout_ms) const
{
    return log_.wait_for_connection(count, timeout_ms);
}

bool LoopbackSmtp::wait_for_disconnect(std::size_t count, int timeout_ms) const
{
    return log_.wait_for_disconnect(count, timeout_ms);
}

bool LoopbackSmtp::wait_for_command(std::string_view text, int timeout_ms) const
{
    return log_.wait_for_command(text, timeout_ms);
}

bool LoopbackSmtp::wait_for_octets(std::uint64_t octets, int timeout_ms) const
{
    return log_.wait_for_octets(octets, timeout_ms);
}

}  // namespace velorin_test
