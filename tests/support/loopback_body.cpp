#include "loopback_body.h"

#include <algorithm>
#include <cstring>

namespace velorin_test {
namespace {

constexpr std::string_view kFinal = "\r\n.\r\n";

}  // namespace

std::size_t BodyScanner::feed(std::string_view piece)
{
    // An end that began before this piece.
    const std::size_t old = tail_.size();
    tail_ += piece.substr(0, kFinal.size() - 1);
    const std::size_t across = tail_.find(kFinal);
    if (across != std::string::npos && across < old) return across + kFinal.size() - old;

    // An end inside: a dot is rarer than a line end, and never occurs in base64.
    const char* const begin = piece.data();
    const char* const end = begin + piece.size();
    for (const char* at = begin; at < end;) {
        const auto* const dot =
            static_cast<const char*>(std::memchr(at, '.', static_cast<std::size_t>(end - at)));
        if (dot == nullptr) break;
        if (dot - begin >= 2 && end - dot >= 3 && dot[-1] == '\n' && dot[-2] == '\r' && dot[1] == '\r' &&
            dot[2] == '\n')
            return static_cast<std::size_t>(dot - begin) + 3;
        at = dot + 1;
    }

    if (piece.size() >= kFinal.size() - 1)
        tail_ = piece.substr(piece.size() - (kFinal.size() - 1));
    else
        tail_.erase(0, tail_.size() - std::min(tail_.size(), kFinal.size() - 1));
    return kNotYet;
}

std::string remove_dot_stuffing(std::string_view wire)
{
    std::string octets;
    octets.reserve(wire.size());
    bool at_line_start = true;
    while (!wire.empty()) {
        if (at_line_start && wire[0] == '.') wire.remove_prefix(1);
        const std::size_t line_end = wire.find("\r\n");
        at_line_start = line_end != std::string_view::npos;
        const std::string_view line = wire.substr(0, at_line_start ? line_end + 2 : wire.size());
        octets += line;
        wire.remove_prefix(line.size());
    }
    return octets;
}

std::string add_dot_stuffing(std::string_view octets)
{
    std::string wire;
    wire.reserve(octets.size() + octets.size() / 64);
    bool at_line_start = true;
    while (!octets.empty()) {
        if (at_line_start && octets[0] == '.') wire += '.';
        const std::size_t line_end = octets.find("\r\n");
        at_line_start = line_end != std::string_view::npos;
        const std::string_view line = octets.substr(0, at_line_start ? line_end + 2 : octets.size());
        wire += line;
        octets.remove_prefix(line.size());
    }
    return wire;
}

}  // namespace velorin_test
