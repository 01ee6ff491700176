#include "octets.h"

#include <algorithm>
#include <cstdio>

namespace velorin_test {
namespace {

constexpr std::size_t kRow = 16;
constexpr std::size_t kRowsAround = 1;

bool is_printable(unsigned char octet)
{
    return octet >= 0x20 && octet <= 0x7E;
}

std::string hex_octet(char octet)
{
    char text[3];
    std::snprintf(text, sizeof text, "%02x", static_cast<unsigned>(static_cast<unsigned char>(octet)));
    return text;
}

std::string describe_octet(std::string_view octets, std::size_t offset)
{
    if (offset >= octets.size()) return "the end";
    return "0x" + hex_octet(octets[offset]) + " '" + printable(octets.substr(offset, 1)) + "'";
}

std::string rows_around(std::string_view octets, std::size_t offset)
{
    const std::size_t row = offset / kRow * kRow;
    const std::size_t first = row - std::min(row, kRowsAround * kRow);
    if (first >= octets.size()) return "    (nothing here)\n";
    return hex_dump(octets.substr(first, row - first + (1 + kRowsAround) * kRow), first);
}

int hex_value(char digit)
{
    if (digit >= '0' && digit <= '9') return digit - '0';
    if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
    if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
    return -1;
}

}  // namespace

std::string printable(std::string_view octets)
{
    std::string text;
    for (const char octet : octets) {
        if (octet == '\r')
            text += "\\r";
        else if (octet == '\n')
            text += "\\n";
        else if (octet == '\t')
            text += "\\t";
        else if (octet == '\0')
            text += "\\0";
        else if (octet == '\\')
            text += "\\\\";
        else if (is_printable(static_cast<unsigned char>(octet)))
            text += octet;
        else
            text += "\\x" + hex_octet(octet);
    }
    return text;
}

std::string from_printable(std::string_view text)
{
    std::string octets;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const char next = text[at] == '\\' && at + 1 < text.size() ? text[at + 1] : '\0';
        const std::size_t plain = std::string_view("rnt0\\").find(next);
        if (next != '\0' && plain != std::string_view::npos) {
            octets += std::string_view("\r\n\t\0\\", 5)[plain];
            ++at;
        } else if (next == 'x' && at + 3 < text.size() && hex_value(text[at + 2]) >= 0 &&
                   hex_value(text[at + 3]) >= 0) {
            octets += static_cast<char>(hex_value(text[at + 2]) * 16 + hex_value(text[at + 3]));
            at += 3;
        } else {
            octets += text[at];
        }
    }
    return octets;
}

std::string hex_dump(std::string_view octets, std::size_t offset)
{
    std::string text;
    for (std::size_t row = 0; row < octets.size(); row += kRow) {
        char number[32];
        std::snprintf(number, sizeof number, "    %08zx ", offset + row);
        text += number;
        std::string shown;
        for (std::size_t at = row; at < row + kRow; ++at) {
            if (at >= octets.size()) {
                text += "   ";
                continue;
            }
            text += " " + hex_octet(octets[at]);
            shown += is_printable(static_cast<unsigned char>(octets[at])) ? octets[at] : '.';
        }
        text += "  |" + shown + "|\n";
    }
    return text;
}

std::string octet_difference(std::string_view expected, std::string_view actual)
{
    if (expected == actual) return {};
    const auto ends = std::mismatch(expected.begin(), expected.end(), actual.begin(), actual.end());
    const auto offset = static_cast<std::size_t>(ends.first - expected.begin());
    char place[64];
    std::snprintf(place, sizeof place, "offset %zu (0x%zx)", offset, offset);
    return "expected " + std::to_string(expected.size()) + " octets, got " + std::to_string(actual.size()) +
           "; first difference at " + place + ": expected " + describe_octet(expected, offset) + ", got " +
           describe_octet(actual, offset) + "\n  expected\n" + rows_around(expected, offset) + "  got\n" +
           rows_around(actual, offset);
}

}  // namespace velorin_test
