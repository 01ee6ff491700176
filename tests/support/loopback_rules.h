// How a loopback server is told to misbehave: rules, each for one step of a conversation.
#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velorin_test {

// What the server is about to answer. A step that only one of the protocols has never comes in the other.
enum class Step {
    kConnect,  // the connection stands, the greeting is due
    kTls,      // the handshake is due, whether after STARTTLS or from the start
    kEhlo,
    kHelo,
    kStartTls,
    kAuth,
    kAuthReply,  // the client's answer to a challenge
    kMail,
    kRcpt,
    kData,
    kBody,  // octets of the mail on their way: see Rule::after
    kDot,   // the final dot came
    kRset,
    kNoop,
    kQuit,
    kOther,  // a command the server does not know
    kCapa,
    kStls,
    kUser,
    kPass,
    kApop,
    kStat,
    kList,
    kUidl,
    kRetr,
    kTop,
    kDele,
};

// One rule: at the nth time this step comes (counted over all connections from the moment the rule was
// added), do this instead of the usual. Written as Rule(Step::kRcpt, 2).delay(50).reply("450 not now").
//
// A reply that is put in the place of the usual one also decides what the server does: 2xx, 3xx and +OK are
// success, everything else is a refusal. At kConnect and kTls a reply is what is sent there; at kBody it is
// sent between two octets of the mail, which goes on.
struct Rule {
    enum class Act {
        kGoOn,
        kClose,        // instead of the reply
        kCloseInside,  // after the first half of the reply
        kCloseAfter,   // after the reply
        kReset,        // instead of the reply, with a TCP reset
        kSilence,      // never an answer again; what the client sends is read and dropped
        kStall,        // never an answer again, and nothing is read any more
        kFailTls,      // the reply, then a fatal alert in the place of the handshake, and the end
        kEndlessLine,  // a line that begins like the reply and has no end
    };

    explicit Rule(Step at, int nth_time = 1) : step(at), nth(nth_time) {}

    Rule& every() { return nth = 0, *this; }
    // kBody only: once that many octets of the mail have been received, as they are on the wire.
    Rule& after(std::uint64_t octets) { return after_octets = octets, *this; }

    // The text, with a CR LF behind it unless it ends in LF. Several lines stand in one text.
    Rule& reply(std::string_view text);
    // Exactly these octets.
    Rule& reply_octets(std::string_view octets) { return text = std::string(octets), *this; }
    Rule& delay(int milliseconds) { return delay_ms = milliseconds, *this; }
    // The reply one octet at a time with a pause between two.
    Rule& trickle(int milliseconds) { return trickle_ms = milliseconds, *this; }
    Rule& split() { return trickle(0); }

    Rule& close() { return act = Act::kClose, *this; }
    Rule& close_inside() { return act = Act::kCloseInside, *this; }
    Rule& close_after() { return act = Act::kCloseAfter, *this; }
    Rule& reset() { return act = Act::kReset, *this; }
    Rule& silence() { return act = Act::kSilence, *this; }
    Rule& stall() { return act = Act::kStall, *this; }
    Rule& fail_tls() { return act = Act::kFailTls, *this; }
    Rule& endless_line() { return act = Act::kEndlessLine, *this; }

    Step step;
    int nth;  // 0: every time
    std::uint64_t after_octets = 0;
    std::optional<std::string> text;  // instead of the usual reply
    int delay_ms = 0;
    int trickle_ms = -1;  // -1: the reply in one piece
    Act act = Act::kGoOn;
};

// A rule from a text, for command lines:
//   STEP[:NTH|:*][@OCTETS] WORD...
// STEP is an enumerator without its k, in any case (rcpt, starttls, dot); the words are delay MS, trickle MS,
// split, close, close-inside, close-after, reset, silence, stall, fail-tls, endless-line, and last, with all
// the rest of the text as its reply, reply TEXT (\r \n \t \0 \\ \xHH are escapes). "body@1000 close", "rcpt:2
// reply 550 nobody here".
//   result  nothing when the text is no rule; `error` then says why
std::optional<Rule> parse_rule(std::string_view text, std::string& error);

// The rules of a server, for its connections' threads.
class RuleBook {
public:
    void add(const Rule& rule);
    // The step comes now: the first rule whose turn it is.
    std::optional<Rule> hit(Step step);

private:
    struct Entry {
        Rule rule;
        int seen = 0;
    };
    std::mutex mutex_;
    std::vector<Entry> entries_;
};

}  // namespace velorin_test
