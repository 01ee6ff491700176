// One connection to a LoopbackPop3.
#pragma once

#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "loopback_pop3.h"

namespace velorin_test {

class Pop3Session {
public:
    Pop3Session(LoopbackPop3& server, LoopbackConnection& connection);
    Pop3Session(const Pop3Session&) = delete;
    Pop3Session& operator=(const Pop3Session&) = delete;

    // Until the conversation is over.
    void run();

private:
    // Each handles one command and returns false when the conversation is over.
    bool obey(std::string_view line);
    bool obey_before_login(const std::string& command, std::string_view argument);
    bool obey_after_login(const std::string& command, std::string_view argument);
    bool capa();
    bool stls();
    bool pass(std::string_view password);
    bool apop(std::string_view argument);
    bool auth(std::string_view argument);
    bool list(bool uids, std::string_view argument);
    bool retr(std::string_view argument);
    bool top(std::string_view argument);
    bool dele(std::string_view argument);
    bool quit();

    bool admit(Step step, const std::string& user, const char* mechanism, bool right);
    std::string stat() const;
    bool may_log_in() const;
    // The mail with that number; null when there is none, or it is marked deleted.
    const Maildrop::Mail* mail_of(std::string_view number) const;

    LoopbackPop3& server_;
    const Pop3Options& options_;
    LoopbackDialogue dialogue_;
    std::string challenge_;  // of APOP
    std::string claimed_;    // by USER
    bool logged_in_ = false;
    std::vector<Maildrop::Mail> mails_;  // as they were at the login
    std::set<unsigned> deleted_;         // serials
};

}  // namespace velorin_test
