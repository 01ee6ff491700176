#include "smtp_reply.h"

#include <cstring>

namespace velorin::service {
namespace {

constexpr std::size_t kMaxLine = 2048;
constexpr std::size_t kMaxLines = 128;
constexpr std::size_t kMaxPrintable = 512;

bool is_digit(char octet)
{
    return octet >= '0' && octet <= '9';
}

}  // namespace

bool SmtpReply::enhanced_status_begins(const char* start) const
{
    const std::size_t length = std::strlen(start);
    return last_line.size() >= 4 + length && last_line.compare(4, length, start) == 0;
}

SmtpReplyParser::Result SmtpReplyParser::feed(const char* octets, std::size_t count, std::size_t& taken)
{
    taken = 0;
    while (taken < count) {
        const char* const from = octets + taken;
        const std::size_t left = count - taken;
        const void* const found = std::memchr(from, '\n', left);
        const std::size_t length =
            found != nullptr ? static_cast<std::size_t>(static_cast<const char*>(found) - from) + 1 : left;
        if (line_.size() + length > kMaxLine) return Result::malformed;
        line_.append(from, length);
        taken += length;
        if (found == nullptr) break;
        const Result result = take_line();
        if (result != Result::incomplete) return result;
    }
    return Result::incomplete;
}

SmtpReplyParser::Result SmtpReplyParser::take_line()
{
    line_.pop_back();
    if (!line_.empty() && line_.back() == '\r') line_.pop_back();
    if (++lines_ > kMaxLines) return Result::malformed;
    if (line_.size() < 3 || !is_digit(line_[0]) || !is_digit(line_[1]) || !is_digit(line_[2]))
        return Result::malformed;
    const int code = (line_[0] - '0') * 100 + (line_[1] - '0') * 10 + (line_[2] - '0');
    if (code < 200 || code > 599) return Result::malformed;
    if (lines_ > 1 && code != reply_.code) return Result::malformed;
    reply_.code = code;
    const char separator = line_.size() > 3 ? line_[3] : ' ';
    if (separator != ' ' && separator != '-') return Result::malformed;
    reply_.last_line.swap(line_);
    line_.clear();
    return separator == ' ' ? Result::complete : Result::incomplete;
}

void SmtpReplyParser::reset()
{
    reply_.code = 0;
    reply_.last_line.clear();
    line_.clear();
    lines_ = 0;
}

std::string printable_line(const std::string& line)
{
    std::string out = line.substr(0, kMaxPrintable);
    for (char& octet : out) {
        if (octet < 0x20 || octet > 0x7E) octet = '?';
    }
    return out;
}

}  // namespace velorin::service
