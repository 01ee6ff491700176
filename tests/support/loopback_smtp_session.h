// One connection to a LoopbackSmtp.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "loopback_smtp.h"

namespace velorin_test {

class SmtpSession {
public:
    SmtpSession(LoopbackSmtp& server, LoopbackConnection& connection);
    ~SmtpSession();
    SmtpSession(const SmtpSession&) = delete;
    SmtpSession& operator=(const SmtpSession&) = delete;

    // Until the conversation is over.
    void run();

private:
    // Each handles one command and returns false when the conversation is over.
    bool obey(std::string_view line);
    bool hello(bool extended, std::string_view name);
    bool starttls(std::string_view argument);
    bool auth(std::string_view argument);
    bool login(SaslExchange& exchange, const std::string& mechanism, std::string_view initial);
    bool mail(std::string_view line, std::string_view argument);
    bool rcpt(std::string_view argument);
    bool data();
    bool rset();
    bool quit();

    bool read_body();
    bool end_of_mail();

    std::string capabilities() const;
    std::string mail_refusal(std::string_view address, std::string_view parameters) const;

    LoopbackSmtp& server_;
    const SmtpOptions& options_;
    LoopbackDialogue dialogue_;
    bool greeted_ = false;
    bool extended_ = false;  // EHLO, not HELO
    std::string user_;
    std::optional<LoopbackMail> mail_;
    bool in_data_ = false;
};

}  // namespace velorin_test
