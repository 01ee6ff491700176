#include "loopback_script.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "loopback_body.h"
#include "loopback_dialogue.h"
#include "octets.h"

namespace velorin_test {
namespace {

using Act = Script::Act;

constexpr std::size_t kFinalDotLine = 3;  // "." CR LF

std::string quoted(std::string_view octets)
{
    return "\"" + printable(octets) + "\"";
}

// What became of a wait or a transfer, in words; "" when it went well.
std::string trouble(Io result)
{
    switch (result) {
    case Io::kOk:
        return {};
    case Io::kClosed:
        return "the client closed";
    case Io::kReset:
        return "the client reset the connection";
    case Io::kStopped:
        return "the server stopped";
    case Io::kTimeout:
        return "the time was over";
    case Io::kTooLong:
        return "the client sent a line too long to be read";
    case Io::kFailed:
        return "the handshake failed";
    }
    return "nothing known";
}

// For the acts that end when the client goes.
std::string unless_gone(Io result)
{
    return result == Io::kClosed || result == Io::kReset ? std::string() : trouble(result);
}

}  // namespace

ScriptedServer::ScriptedServer(Script script) : ScriptedServer(std::move(script), Options()) {}

ScriptedServer::ScriptedServer(Script script, const Options& options)
    : script_(std::move(script)), certificates_(std::make_unique<const LoopbackCertificates>(options.tls)),
      listener_(std::make_unique<LoopbackListener>(
          options.port, options.lifetime_ms, [this](LoopbackConnection& connection) { play(connection); }))
{
}

ScriptedServer::~ScriptedServer()
{
    listener_->stop();
}

std::string ScriptedServer::mismatch(int timeout_ms) const
{
    std::unique_lock<std::mutex> lock(mutex_);
    const bool over = changed_.wait_for(lock, std::chrono::milliseconds(timeout_ms), [this] {
        return !mismatch_.empty() || played_ == script_.connections.size();
    });
    if (over) return mismatch_;
    if (begun_ < script_.connections.size() && begun_ == played_)
        return "no client came for the next connection";
    return "line " + std::to_string(at_line_) + ": still waiting";
}

std::vector<std::string> ScriptedServer::bodies() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return bodies_;
}

std::string ScriptedServer::transcript() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return transcript_;
}

void ScriptedServer::note(const std::string& line)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    transcript_ += line + "\n";
}

void ScriptedServer::play(LoopbackConnection& connection)
{
    std::unique_lock<std::mutex> lock(mutex_);
    const std::size_t number = begun_++;
    transcript_ += "- connection " + std::to_string(number + 1) + "\n";
    std::string failure;
    if (number >= script_.connections.size()) {
        failure = "a connection more than the script has";
    } else {
        int trickle = -1;
        int repeat = 1;
        for (const Script::Command& command : script_.connections[number]) {
            at_line_ = command.line;
            lock.unlock();
            failure = play_command(connection, command, trickle, repeat);
            lock.lock();
            if (!failure.empty()) {
                failure = "line " + std::to_string(command.line) + ": " + failure;
                break;
            }
        }
    }
    if (mismatch_.empty()) mismatch_ = failure;
    ++played_;
    changed_.notify_all();
    lock.unlock();
    connection.finish();
}

std::string ScriptedServer::play_command(LoopbackConnection& connection, const Script::Command& command,
                                         int& trickle, int& repeat)
{
    Io result = Io::kOk;
    switch (command.act) {
    case Act::kSend:
        note("S: " + printable(command.text) + (repeat != 1 ? " times " + std::to_string(repeat) : ""));
        for (; repeat > 0 && result == Io::kOk; --repeat)
            result = trickle >= 0 ? connection.write_slowly(command.text, trickle)
                                  : connection.write(command.text);
        repeat = 1;
        return result == Io::kOk ? "" : "cannot send: " + trouble(result);
    case Act::kExpectPrefix:
    case Act::kExpectLine:
    case Act::kExpectRegex:
        return expect_line(connection, command);
    case Act::kExpectOctets:
        return expect_octets(connection, command.text);
    case Act::kBody:
        return read_body(connection);
    case Act::kOctets:
        for (std::size_t left = static_cast<std::size_t>(command.number); left > 0;) {
            if (connection.buffered().empty()) result = connection.fill();
            if (result != Io::kOk)
                return std::to_string(left) + " octets were still to come: " + trouble(result);
            const std::size_t taken = std::min(left, connection.buffered().size());
            connection.consume(taken);
            left -= taken;
        }
        return {};
    case Act::kDelay:
        return unless_gone(connection.pause(command.number));
    case Act::kTrickle:
        trickle = command.number;
        return {};
    case Act::kRepeat:
        repeat = command.number;
        return {};
    case Act::kStartTls:
        if (!connection.buffered().empty()) return "octets in clear before the handshake";
        result = connection.start_tls(certificates_->context());
        note("- " + (result == Io::kOk ? connection.tls_version() : trouble(result)));
        return trouble(result);
    case Act::kFailTls:
        return trouble(send_tls_alert(connection));
    case Act::kClose:
        connection.close();
        return {};
    case Act::kReset:
        connection.reset();
        return {};
    case Act::kSilence:
        return unless_gone(connection.wait_for_peer(true));
    case Act::kStall:
        return unless_gone(connection.wait_for_peer(false));
    case Act::kEnd:
        if (connection.buffered().empty()) result = connection.fill();
        if (!connection.buffered().empty()) return "expected the end, got " + quoted(connection.buffered());
        note("- " + trouble(result));
        return result == Io::kClosed ? "" : "expected the end: " + trouble(result);
    }
    return "no such act";
}

std::string ScriptedServer::expect_line(LoopbackConnection& connection, const Script::Command& command)
{
    std::string line;
    bool with_cr = false;
    const Io result = connection.read_line(line, with_cr);
    const std::string wanted = quoted(command.text);
    if (result != Io::kOk) return "expected " + wanted + ": " + trouble(result);
    note("C: " + printable(line));
    if (!with_cr) return "expected CR LF behind " + quoted(line) + ", got LF";
    if (command.act == Act::kExpectPrefix && !starts_with_any_case(line, command.text))
        return "expected a line that begins with " + wanted + ", got " + quoted(line);
    if (command.act == Act::kExpectLine && line != command.text)
        return "expected the line " + wanted + ", got " + quoted(line);
    if (command.act == Act::kExpectRegex && !std::regex_match(line, command.regex))
        return "expected a line that matches " + wanted + ", got " + quoted(line);
    return {};
}

std::string ScriptedServer::expect_octets(LoopbackConnection& connection, const std::string& octets)
{
    std::string came;
    while (came.size() < octets.size() && octets.compare(0, came.size(), came) == 0) {
        if (connection.buffered().empty()) {
            const Io result = connection.fill();
            if (result != Io::kOk)
                return "expected " + quoted(octets) + ", got " + quoted(came) + ": " + trouble(result);
        }
        const std::string_view more = connection.buffered().substr(0, octets.size() - came.size());
        came += more;
        connection.consume(more.size());
    }
    note("C- " + printable(came));
    return octet_difference(octets, came);
}

std::string ScriptedServer::read_body(LoopbackConnection& connection)
{
    BodyScanner scanner;
    std::string body;
    for (;;) {
        if (connection.buffered().empty()) {
            const Io result = connection.fill();
            if (result != Io::kOk) return "the final dot did not come: " + trouble(result);
        }
        const std::size_t end = scanner.feed(connection.buffered());
        const std::string_view taken = connection.buffered().substr(0, end);
        body += taken;
        connection.consume(taken.size());
        if (end != BodyScanner::kNotYet) break;
    }
    body.resize(body.size() - kFinalDotLine);
    note("- " + std::to_string(body.size()) + " octets and the final dot");
    const std::lock_guard<std::mutex> lock(mutex_);
    bodies_.push_back(std::move(body));
    return {};
}

}  // namespace velorin_test
