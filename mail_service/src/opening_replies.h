#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "account.h"

namespace velorin::service {

class LastReply;

// Follows what a server says while a connection is opened and logged in: what it can do, whether the log-in
// was granted, which reply was the last. Bounded: 256 lines in all, lines of at most 2,048 octets.
class OpeningReplies {
public:
    OpeningReplies(ServerProtocol protocol, LastReply& last_reply);

    // POP3: STLS follows the first answer to CAPA, and a second one follows it.
    void expect_stls() { expects_stls_ = true; }
    // POP3: capabilities with GSSAPI to log in with are taken for malformed; offers_ticket() tells why.
    void stop_at_tickets() { stops_at_tickets_ = true; }

    // Replies are told without it; it outlives this.
    void hide(const Secret& password) { hidden_ = &password; }

    // Takes octets of the server's side of the dialogue.
    //   result  false when they can be no part of it: nothing more is to be taken
    bool take(const char* octets, std::size_t count);

    // Since the last call a reply was completed.
    bool take_step();

    bool malformed() const { return malformed_; }
    bool login_granted() const { return login_granted_; }  // SMTP: reply code 235
    bool challenged() const { return challenged_; }        // SMTP 334 or POP3 "+ ": a log-in had begun
    bool refused() const
    {
        return refused_;
    }                                   // the last reply: SMTP 4xx or 5xx, POP3 -ERR to anything but CAPA
    int code() const { return code_; }  // SMTP: of the last reply; 0: none yet
    bool greeted() const { return greeted_; }        // SMTP 220, POP3 +OK
    bool secured() const { return secured_; }        // SMTP: a second 220, STARTTLS was accepted
    bool offers_tls() const { return offers_tls_; }  // STARTTLS or STLS in some answer
    // POP3: what there was to log in with was the challenge of APOP, before USER and PASS.
    bool offers_apop_only() const { return has_timestamp_ && !offers_sasl_; }
    bool offers_ticket() const { return offers_ticket_; }
    const std::string& line() const { return last_; }
    // SMTP: texts of the last answer to EHLO. What was said before TLS is dropped when TLS begins.
    const std::vector<std::string>& capability_lines() const { return capability_lines_; }

private:
    bool take_line();
    bool take_smtp_line();
    bool take_pop3_line();
    void complete();

    ServerProtocol protocol_;
    LastReply& last_reply_;
    const Secret* hidden_ = nullptr;
    std::string line_;
    std::string last_;
    std::size_t lines_ = 0;
    std::vector<std::string> capability_lines_;
    int code_ = 0;
    bool step_ = false;
    bool malformed_ = false;
    bool login_granted_ = false;
    bool challenged_ = false;
    bool refused_ = false;
    bool greeted_ = false;
    bool secured_ = false;
    bool offers_tls_ = false;
    bool offers_sasl_ = false;
    bool has_timestamp_ = false;
    bool expects_stls_ = false;
    bool stops_at_tickets_ = false;
    bool offers_ticket_ = false;
    bool capa_due_ = false;  // the next reply is CAPA's
    bool new_reply_ = true;
};

}  // namespace velorin::service
