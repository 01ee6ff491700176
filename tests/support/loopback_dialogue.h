// What the loopback servers have in common: the record of their conversations, and replies that obey the
// rules.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "loopback_connection.h"
#include "loopback_rules.h"

namespace velorin_test {

class LoopbackCertificates;

enum class Ending {
    kOpen,          // it still goes on
    kQuit,          // QUIT, its reply, and the server closed
    kClientClosed,  // the client ended the connection without QUIT
    kClientReset,
    kServerClosed,  // a rule had it
    kServerReset,
    kTlsFailed,  // the handshake came to nothing
    kStopped,    // the server stopped
};
const char* ending_name(Ending ending);

// One connection, as the server saw it.
struct Conversation {
    struct Line {
        char who;          // 'C' client, 'S' server, '-' a remark of the server's own
        std::string text;  // without its line end
    };
    std::vector<Line> transcript;
    Ending ending = Ending::kOpen;
    bool quit = false;        // QUIT came
    std::string hello;        // argument of the last EHLO or HELO
    std::string tls_version;  // "TLSv1.3"; empty: in clear
    std::string user;         // who logged in; empty: nobody
    std::string mechanism;    // "PLAIN", "CRAM-MD5", "APOP", "USER", ...
    int bare_line_ends = 0;   // commands that ended in LF without CR
    // Commands that came before the reply to the one before them was sent: pipelined, or sent in clear behind
    // STARTTLS.
    int early_commands = 0;
    std::uint64_t body_octets = 0;  // octets of mails received so far

    // What the client said, one command a line, with LF behind each.
    std::string client_lines() const;
    // The whole transcript for people, one line each, "C: " or "S: " in front; what logs in is hidden.
    std::string text() const;
};

// All conversations of a server, numbered from 0 in the order in which they began. Any thread may call
// anything.
class ConversationLog {
public:
    std::size_t begin();
    void add_line(std::size_t number, char who, std::string_view text);
    void update(std::size_t number, const std::function<void(Conversation&)>& change);

    // Runs under the log's lock, which also guards what a server keeps beside its conversations.
    void locked(const std::function<void()>& change);
    std::vector<Conversation> all() const;

    // Waits until `reached` holds; it is asked under the log's lock after every change.
    //   result  false when the time was over before
    bool wait(int timeout_ms, const std::function<bool(const std::vector<Conversation>&)>& reached) const;

    bool wait_for_connection(std::size_t count, int timeout_ms) const;
    bool wait_for_disconnect(std::size_t count, int timeout_ms) const;
    // Until some client has said a line that begins with `text`, in any case.
    bool wait_for_command(std::string_view text, int timeout_ms) const;
    // Until that many octets of mails have been received over all connections.
    bool wait_for_octets(std::uint64_t octets, int timeout_ms) const;

private:
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    std::vector<Conversation> conversations_;
};

// One conversation in the making.
class LoopbackDialogue {
public:
    // A reply that the rules have decided on.
    struct Reply {
        std::string octets;
        std::optional<Rule> rule;
        // Success, for the server's own state: 2xx, 3xx, +OK.
        bool positive() const;
    };

    LoopbackDialogue(LoopbackConnection& connection, RuleBook& rules, ConversationLog& log);
    // Publishes how the conversation ended and closes the connection: who waits for the end finds all that
    // the session has kept until then.
    ~LoopbackDialogue();
    LoopbackDialogue(const LoopbackDialogue&) = delete;
    LoopbackDialogue& operator=(const LoopbackDialogue&) = delete;

    LoopbackConnection& connection() { return connection_; }
    const LoopbackConnection& connection() const { return connection_; }
    std::size_t number() const { return number_; }
    ConversationLog& log() { return log_; }

    // The next command, without its line end. False: the conversation is over.
    bool read_command(std::string& line);

    // The reply to give at this step: `usual` (with or without its last CR LF), or what a rule puts in its
    // place.
    Reply reply_for(Step step, std::string_view usual);
    // Gives it. False: the conversation is over.
    bool send(const Reply& reply);
    bool answer(Step step, std::string_view usual) { return send(reply_for(step, usual)); }
    // The rule for a step that has no reply.
    std::optional<Rule> rule_for(Step step) { return rules_.hit(step); }
    bool obey(const Rule& rule) { return send({rule.text.value_or(""), rule}); }

    // TLS handshake, with the rules of Step::kTls. False: the conversation is over.
    bool start_tls(const LoopbackCertificates& certificates);

    // Takes down how a read or write failed. Always false.
    bool over(Io result);
    void end(Ending ending);  // the first one holds
    void remark(std::string_view text) { log_.add_line(number_, '-', text); }

private:
    bool act(const Rule& rule, const std::string& reply);
    bool send_endless_line(const std::string& reply);
    void log_reply(std::string_view reply);

    LoopbackConnection& connection_;
    RuleBook& rules_;
    ConversationLog& log_;
    std::size_t number_;
    Ending ending_ = Ending::kOpen;
};

// Refuses a TLS handshake: waits for the client's first message and answers with a fatal alert.
Io send_tls_alert(LoopbackConnection& connection);

// The first word of a command in upper case; `rest` is what follows it, without blanks in front.
std::string split_command(std::string_view line, std::string_view& rest);
bool starts_with_any_case(std::string_view text, std::string_view prefix);

}  // namespace velorin_test
