// A scriptable POP3 server on 127.0.0.1, for tests.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "loopback_auth.h"
#include "loopback_dialogue.h"
#include "loopback_listener.h"
#include "loopback_rules.h"
#include "loopback_tls.h"

namespace velorin_test {

// The mails that a POP3 server shows; every user has the same. Any thread may call anything.
class Maildrop {
public:
    struct Mail {
        std::string uid;      // at most 70 printable characters (RFC 1939)
        std::string octets;   // without dot stuffing; a last line without CR LF gets one on the wire
        unsigned serial = 0;  // no two have the same
    };

    // `uid` empty: one is made up.
    void add(std::string octets, std::string uid = "");
    std::vector<Mail> mails() const;
    // Those with these unique ids go.
    void remove(const std::set<std::string>& uids);
    void remove_serials(const std::set<unsigned>& serials);

private:
    mutable std::mutex mutex_;
    std::vector<Mail> mails_;
    unsigned next_ = 1;
    unsigned serial_ = 0;
};

struct Pop3Options {
    std::uint16_t port = 0;
    int lifetime_ms = 120000;
    std::string greeting = "+OK localhost POP3 ready";  // the challenge of APOP goes behind it

    bool capa = true;  // false: CAPA is not known
    bool apop = false;
    bool user = true;  // USER and PASS
    bool uidl = true;
    bool top = true;
    std::vector<std::string> auth;  // mechanisms of AUTH
    bool stls = false;
    std::vector<std::string> capabilities;                       // further lines of CAPA as they are
    std::optional<std::vector<std::string>> clear_capabilities;  // all of them in clear, where STLS is on

    UserTable users;
    bool tls_required = false;  // logging in wants TLS
    bool implicit_tls = false;
    TlsOptions tls;
    std::shared_ptr<const LoopbackCertificates> certificates;  // instead of new ones made after `tls`

    std::shared_ptr<Maildrop> maildrop;  // null: an empty one of its own
    std::vector<Rule> rules;
};

class LoopbackPop3 {
public:
    explicit LoopbackPop3(Pop3Options options = {});  // throws std::runtime_error
    ~LoopbackPop3();
    LoopbackPop3(const LoopbackPop3&) = delete;
    LoopbackPop3& operator=(const LoopbackPop3&) = delete;

    std::uint16_t port() const { return listener_->port(); }
    const LoopbackCertificates* certificates() const { return certificates_.get(); }
    Maildrop& maildrop() const { return *options_.maildrop; }
    void add_rule(const Rule& rule) { rules_.add(rule); }

    std::vector<Conversation> conversations() const { return log_.all(); }
    bool wait_for_connection(std::size_t count, int ms) const { return log_.wait_for_connection(count, ms); }
    bool wait_for_disconnect(std::size_t count, int ms) const { return log_.wait_for_disconnect(count, ms); }
    bool wait_for_command(std::string_view text, int ms) const { return log_.wait_for_command(text, ms); }

    void stop() { listener_->stop(); }

private:
    friend class Pop3Session;

    Pop3Options options_;
    std::shared_ptr<const LoopbackCertificates> certificates_;
    RuleBook rules_;
    ConversationLog log_;
    std::unique_ptr<LoopbackListener> listener_;  // last: its threads use all the others
};

}  // namespace velorin_test
