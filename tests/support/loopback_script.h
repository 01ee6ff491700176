// Conversations written down in a text, one file a case, and the server that plays them.
//
// A script is a list of lines, done one after the other:
//   # text         a comment; empty lines mean nothing either
//   @ text         a note for the test that plays the script: Script::notes
//   S: text        the server sends the text and CR LF
//   S- text        the server sends the text and nothing behind it
//   C: text        the client must send a line that begins with the text, in any case
//   C= text        ... a line that is exactly the text
//   C~ regex       ... a line that matches this regular expression (ECMAScript) as a whole
//   C- text        ... exactly these octets, whatever line ends they have
//   !body          the client sends a mail up to and with its final dot line: ScriptedServer::bodies
//   !octets N      N octets from the client, dropped
//   !delay MS      the server waits; ends early when the client goes
//   !trickle MS    what follows is sent one octet at a time, MS milliseconds apart; "!trickle off" ends that
//   !repeat N      the next S: or S- is sent N times
//   !starttls      TLS handshake; as the first line: TLS from the start
//   !fail-tls      a fatal alert in the place of the handshake, and the end
//   !close         the connection is closed at once
//   !reset         ... with a TCP reset
//   !silence       no answer any more; what the client sends is dropped; until the client goes
//   !stall         the same, but nothing is read either
//   !end           the client must close now, without sending another octet
//   !next          what follows is for the next connection; the end of this one is as at the end of the
//   script
// Behind the mark stands one blank, and the text begins after it. In S: S- C= C- \r \n \t \0 \\ \xHH are
// escapes. Lines of the client end in CR LF; LF alone is a mismatch. At its end the server closes in good
// order.
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <regex>
#include <string>
#include <string_view>
#include <vector>

#include "loopback_connection.h"
#include "loopback_listener.h"
#include "loopback_tls.h"

namespace velorin_test {

struct Script {
    enum class Act {
        kSend,
        kExpectPrefix,
        kExpectLine,
        kExpectRegex,
        kExpectOctets,
        kBody,
        kOctets,
        kDelay,
        kTrickle,
        kRepeat,
        kStartTls,
        kFailTls,
        kClose,
        kReset,
        kSilence,
        kStall,
        kEnd,
    };
    struct Command {
        int line;  // in the file, from 1
        Act act;
        std::string text;
        int number = 0;
        std::regex regex;
    };

    std::vector<std::vector<Command>> connections;
    std::vector<std::string> notes;

    // Throws std::runtime_error that begins with "line N: ".
    static Script parse(std::string_view text);
    // The same of a file, whose name stands before it; also when it cannot be read.
    static Script read(const std::string& path);
};

class ScriptedServer {
public:
    struct Options {
        std::uint16_t port = 0;
        int lifetime_ms = 120000;
        TlsOptions tls;
    };

    explicit ScriptedServer(Script script);
    ScriptedServer(Script script, const Options& options);  // both throw std::runtime_error
    ~ScriptedServer();
    ScriptedServer(const ScriptedServer&) = delete;
    ScriptedServer& operator=(const ScriptedServer&) = delete;

    std::uint16_t port() const { return listener_->port(); }
    const LoopbackCertificates& certificates() const { return *certificates_; }
    const std::vector<std::string>& notes() const { return script_.notes; }

    // Waits until the script is played to its end, or somebody departs from it.
    //   result  "" when it was played as written; else the first mismatch, "line N: " in front
    std::string mismatch(int timeout_ms) const;

    std::vector<std::string>
    bodies() const;                  // of every !body, dots still stuffed, without the final dot line
    std::string transcript() const;  // all that was said, for people

private:
    void play(LoopbackConnection& connection);
    std::string play_command(LoopbackConnection& connection, const Script::Command& command, int& trickle,
                             int& repeat);
    std::string expect_line(LoopbackConnection& connection, const Script::Command& command);
    std::string expect_octets(LoopbackConnection& connection, const std::string& octets);
    std::string read_body(LoopbackConnection& connection);
    void note(const std::string& line);

    const Script script_;
    const std::unique_ptr<const LoopbackCertificates> certificates_;
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    std::size_t begun_ = 0;   // connections
    std::size_t played_ = 0;  // connections, to their end
    std::string mismatch_;    // the first
    std::string transcript_;
    std::vector<std::string> bodies_;
    int at_line_ = 0;                             // the line under way
    std::unique_ptr<LoopbackListener> listener_;  // last: its threads use all the others
};

}  // namespace velorin_test
