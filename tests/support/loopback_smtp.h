// A scriptable SMTP server on 127.0.0.1, for tests: it keeps every mail as it came over the wire, and
// misbehaves where it is told to.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "loopback_auth.h"
#include "loopback_dialogue.h"
#include "loopback_listener.h"
#include "loopback_rules.h"
#include "loopback_tls.h"

namespace velorin_test {

// One mail, from MAIL to the final dot.
struct LoopbackMail {
    std::size_t connection = 0;           // number of its conversation
    std::string mail_line;                // the whole MAIL command
    std::string from;                     // what stands between < and >
    std::string parameters;               // what follows it
    std::vector<std::string> recipients;  // of the RCPT commands that were accepted, between < and >
    // As received, dots still stuffed, without the final dot line; empty in discard mode.
    std::string wire;
    std::uint64_t size = 0;  // octets of `wire`, in discard mode too
    bool dot = false;        // the final dot came
    bool accepted = false;   // and the reply to it was (or would have been) success
    std::string user;        // who was logged in

    std::string octets() const;  // without dot stuffing
};

struct SmtpOptions {
    std::uint16_t port = 0;
    int lifetime_ms = 120000;
    std::string greeting = "220 localhost ESMTP ready";
    bool ehlo = true;  // false: a server that knows HELO only

    // What EHLO offers.
    std::optional<std::uint64_t> size_limit;  // SIZE n, and enforced; 0: "SIZE 0", no limit
    bool eight_bit_mime = true;
    bool pipelining = false;
    std::vector<std::string> auth;  // mechanisms; empty: no AUTH
    bool starttls = false;
    std::vector<std::string> extensions;  // further lines as they are
    // Offered in clear instead of all that, where STARTTLS is on: what a client must forget after it.
    std::optional<std::vector<std::string>> clear_extensions;

    UserTable users;
    bool auth_required = false;  // MAIL wants a login
    bool tls_required = false;   // AUTH and MAIL want TLS
    bool implicit_tls = false;   // TLS from the start
    TlsOptions tls;
    std::shared_ptr<const LoopbackCertificates> certificates;  // instead of new ones made after `tls`

    std::map<std::string, std::string> refused_recipients;  // address to reply line
    std::vector<Rule> rules;

    bool discard = false;  // mails are counted and dropped, as fast as they come
    // Called for every mail whose final dot came, before the reply, with its conversation so far; false: the
    // mail is refused with 451. Several threads may be in it at once.
    std::function<bool(const LoopbackMail&, const Conversation&)> on_mail;
    bool keep_mails = true;  // false: mails() stays empty, `on_mail` has had them
};

class LoopbackSmtp {
public:
    explicit LoopbackSmtp(SmtpOptions options = {});  // throws std::runtime_error
    ~LoopbackSmtp();
    LoopbackSmtp(const LoopbackSmtp&) = delete;
    LoopbackSmtp& operator=(const LoopbackSmtp&) = delete;

    std::uint16_t port() const { return listener_->port(); }
    // The authority of its certificate; null when it has no TLS.
    const LoopbackCertificates* certificates() const { return certificates_.get(); }
    void add_rule(const Rule& rule) { rules_.add(rule); }

    std::vector<LoopbackMail> mails() const;       // those whose final dot came, accepted or not
    std::vector<LoopbackMail> unfinished() const;  // DATA was granted, and no final dot came before the end
    std::vector<Conversation> conversations() const { return log_.all(); }

    // Each waits at most that long; false: it did not come to that.
    bool wait_for_mail(std::size_t count, int timeout_ms) const;
    bool wait_for_connection(std::size_t count, int timeout_ms) const;
    bool wait_for_disconnect(std::size_t count, int timeout_ms) const;
    bool wait_for_command(std::string_view text, int timeout_ms) const;
    bool wait_for_octets(std::uint64_t octets, int timeout_ms) const;

    void stop() { listener_->stop(); }

private:
    friend class SmtpSession;
    void keep(LoopbackMail&& mail);

    const SmtpOptions options_;
    std::shared_ptr<const LoopbackCertificates> certificates_;
    RuleBook rules_;
    ConversationLog log_;
    std::vector<LoopbackMail> mails_;             // under the log's lock
    std::vector<LoopbackMail> unfinished_;        // the same
    std::unique_ptr<LoopbackListener> listener_;  // last: its threads use all the others
};

}  // namespace velorin_test
