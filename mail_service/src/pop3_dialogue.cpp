#include "pop3_dialogue.h"

#include <algorithm>
#include <cstring>

#include "last_reply.h"
#include "reply_mask.h"
#include "return_codes.h"

namespace velorin::service {
namespace {

constexpr std::size_t kInCapacity = 64u << 10;
constexpr std::size_t kMaxStatus = 2048;  // octets; RFC 2449 has 512

bool begins(std::string_view text, std::string_view start)
{
    return text.substr(0, start.size()) == start;
}

bool holds(const std::string& text, const char* code)
{
    return text.find(code) != std::string::npos;
}

}  // namespace

bool take_number(std::string_view& text, std::uint64_t max, std::uint64_t& number)
{
    std::uint64_t value = 0;
    std::size_t digits = 0;
    for (; digits < text.size() && text[digits] >= '0' && text[digits] <= '9'; ++digits) {
        const auto digit = static_cast<std::uint64_t>(text[digits] - '0');
        if (value > (max - digit) / 10) return false;
        value = value * 10 + digit;
    }
    if (digits == 0) return false;
    text.remove_prefix(digits);
    number = value;
    return true;
}

Pop3Dialogue::Pop3Dialogue(ServerConnection& connection, LastReply& last_reply, std::uint32_t command_timeout)
    : connection_(connection), last_reply_(last_reply), command_timeout_(command_timeout),
      timeout_(command_timeout), deadline_(in_seconds(command_timeout)), in_(kInCapacity)
{
}

std::uint32_t Pop3Dialogue::malformed()
{
    connection_.drop();
    return kReplyMalformed;
}

// Between two commands the server has nothing to say but that it is closing.
std::uint32_t Pop3Dialogue::check_silence()
{
    if (in_at_ == in_count_) {
        in_at_ = 0;
        if (const std::uint32_t code = connection_.receive_now(in_.data(), in_.size(), in_count_)) {
            in_count_ = 0;
            return code;
        }
        if (in_count_ == 0) return 0;
    }
    if (read_status() == 0 && refused_) {
        connection_.drop();
        return kConnectionLost;
    }
    return malformed();
}

std::uint32_t Pop3Dialogue::command(const std::string& command, std::uint32_t refused, std::uint32_t timeout)
{
    timeout_ = timeout != 0 ? timeout : command_timeout_;
    return exchange(command + "\r\n", refused);
}

std::uint32_t Pop3Dialogue::log_in(const std::string& user, const Secret& password)
{
    if (const std::uint32_t code = command("USER " + user, kLoginRefused)) return code;
    std::string line;
    line.reserve(password.length() + 8);  // the password stands in one block, which is wiped
    line += "PASS ";
    line += password.c_str();
    line += "\r\n";
    hidden_ = &password;
    const std::uint32_t code = exchange(line, kLoginRefused);
    hidden_ = nullptr;
    wipe(line);
    return code;
}

std::uint32_t Pop3Dialogue::exchange(const std::string& line, std::uint32_t refused)
{
    restart_clock();
    over_ = true;
    if (const std::uint32_t code = check_silence()) return code;
    if (const std::uint32_t code = connection_.send(line.data(), line.size(), deadline_)) {
        connection_.drop();
        return code;
    }
    if (const std::uint32_t code = read_status()) return code;
    if (!refused_) return 0;
    if (holds(line_, "[IN-USE]")) return kMailboxInUse;
    if (holds(line_, "[SYS/TEMP]")) return kTryLater;
    return refused;
}

std::uint32_t Pop3Dialogue::read_status()
{
    for (;;) {
        const char* const from = in_.data() + in_at_;
        const std::size_t there = in_count_ - in_at_;
        const auto* const end =
            static_cast<const char*>(there == 0 ? nullptr : std::memchr(from, '\n', there));
        if (end == nullptr) {
            if (there > kMaxStatus) return malformed();
            if (const std::uint32_t code = fill()) return code;
            continue;
        }
        std::size_t length = static_cast<std::size_t>(end - from);
        in_at_ += length + 1;
        if (length > kMaxStatus) return malformed();
        lf_lines_ = length == 0 || from[length - 1] != '\r';
        if (!lf_lines_) --length;
        line_.assign(from, length);
        last_reply_.set(hidden_ != nullptr ? without_password(line_, *hidden_) : line_);
        refused_ = begins(line_, "-ERR");
        if (!refused_ && !begins(line_, "+OK")) return malformed();
        text_ = refused_ ? std::string() : line_.substr(std::min<std::size_t>(line_.size(), 4));
        return 0;
    }
}

void Pop3Dialogue::begin_lines(std::uint64_t most)
{
    octets_left_ = most;
    over_ = false;
    at_line_start_ = true;
    at_wire_line_start_ = true;
}

void Pop3Dialogue::restart_clock()
{
    deadline_ = in_seconds(timeout_);
    since_deadline_ = 0;
}

// Every full buffer gets a deadline of its own, so that a large mail may take its time on a slow line while a
// server that gives an octet a second does not. What an answer may have in all bounds their number.
std::uint32_t Pop3Dialogue::fill()
{
    if (in_at_ > 0) {
        std::memmove(in_.data(), in_.data() + in_at_, in_count_ - in_at_);
        in_count_ -= in_at_;
        in_at_ = 0;
    }
    if (since_deadline_ >= kInCapacity) restart_clock();
    std::size_t count = 0;
    if (const std::uint32_t code =
            connection_.receive(in_.data() + in_count_, in_.size() - in_count_, count, deadline_)) {
        return code;
    }
    in_count_ += count;
    since_deadline_ += count;
    return 0;
}

std::uint32_t Pop3Dialogue::next(LineSlice& slice)
{
    while (!over_) {
        const char* const from = in_.data() + in_at_;
        const std::size_t there = in_count_ - in_at_;
        std::size_t dot = 0;
        if (at_wire_line_start_ && there > 0 && from[0] == '.') {
            const bool lone = there < 2 || (from[1] == '\r' && there < 3);
            if (!lone) {
                const std::size_t end = from[1] == '\r' && from[2] == '\n' ? 3
                                        : from[1] == '\n' && lf_lines_     ? 2
                                                                           : 0;
                if (end != 0) {
                    in_at_ += end;
                    over_ = true;
                    return 0;
                }
                dot = 1;
            } else {
                if (const std::uint32_t code = fill()) return code;
                continue;
            }
        }
        const std::size_t looked_at = std::min(there - dot, kMaxSlice);
        const auto* const end =
            static_cast<const char*>(looked_at == 0 ? nullptr : std::memchr(from + dot, '\n', looked_at));
        if (end == nullptr && there - dot < kMaxSlice) {
            if (const std::uint32_t code = fill()) return code;
            continue;
        }
        std::size_t length = end != nullptr ? static_cast<std::size_t>(end - from) + 1 - dot : kMaxSlice;
        if (dot + length > octets_left_) {
            connection_.drop();
            return kLimitReached;
        }
        // A CR and its LF stay together.
        if (end == nullptr && from[dot + length - 1] == '\r') --length;
        slice.text = std::string_view(from + dot, length);
        slice.starts = at_line_start_;
        slice.ends = end != nullptr;
        slice.stuffed = dot == 1;
        at_line_start_ = slice.ends;
        at_wire_line_start_ = slice.ends && (lf_lines_ || (length >= 2 && slice.text[length - 2] == '\r'));
        in_at_ += dot + length;
        octets_left_ -= dot + length;
        return 0;
    }
    return 0;
}

std::string_view Pop3Dialogue::take_plain_lines(std::size_t enough)
{
    if (over_ || !at_line_start_ || !at_wire_line_start_) return {};
    const char* const from = in_.data() + in_at_;
    const std::size_t there = in_count_ - in_at_;
    std::size_t taken = 0;
    while (taken <= enough && taken < there && from[taken] != '.' && from[taken] != '-') {
        const std::size_t looked_at = std::min(there - taken, kMaxSlice);
        const auto* const end = static_cast<const char*>(std::memchr(from + taken, '\n', looked_at));
        if (end == nullptr || end == from + taken || end[-1] != '\r') break;
        const auto behind = static_cast<std::size_t>(end - from) + 1;
        if (behind > octets_left_) break;
        taken = behind;
    }
    in_at_ += taken;
    octets_left_ -= taken;
    return {from, taken};
}

std::uint32_t Pop3Dialogue::drain()
{
    LineSlice slice;
    while (!over_) {
        if (const std::uint32_t code = next(slice)) return code;
    }
    return 0;
}

void Pop3Dialogue::leave(std::uint32_t timeout)
{
    if (connection_.is_open()) static_cast<void>(command("QUIT", 0, timeout));
    connection_.drop();
}

}  // namespace velorin::service
