#include "reply_mask.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "secret.h"

namespace velorin::service {
namespace {

constexpr char kMask[] = "*****";
constexpr std::size_t kTelling = 4;  // octets; a shorter text stands in many a word
constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// -1: no character of base64
int sextet_of(char octet)
{
    const char* const found = octet != '\0' ? std::strchr(kAlphabet, octet) : nullptr;
    return found != nullptr ? static_cast<int>(found - kAlphabet) : -1;
}

bool is_alphanumeric(char octet)
{
    const int sextet = sextet_of(octet);
    return sextet >= 0 && octet != '+' && octet != '/';
}

bool stands_alone(const std::string& line, std::size_t at, std::size_t length)
{
    return (at == 0 || !is_alphanumeric(line[at - 1])) &&
           (at + length == line.size() || !is_alphanumeric(line[at + length]));
}

std::string without_plain(const std::string& line, const Secret& password)
{
    std::string out;
    std::size_t from = 0;
    for (std::size_t at = 0; (at = line.find(password.c_str(), at)) != std::string::npos;) {
        if (password.length() < kTelling && !stands_alone(line, at, password.length())) {
            ++at;
            continue;
        }
        out.append(line, from, at - from).append(kMask);
        at += password.length();
        from = at;
    }
    return out.append(line, from, std::string::npos);
}

// Whether characters of base64 that stand for whole octets hold the password.
bool holds_encoded(const char* text, std::size_t count, const Secret& password)
{
    std::string octets;
    octets.reserve(count);  // one block, which is wiped
    std::uint32_t bits = 0;
    for (std::size_t index = 0; index < count; ++index) {
        bits = (bits << 6 | static_cast<std::uint32_t>(sextet_of(text[index]))) & 0xFFFFFFu;
        if (index % 4 != 0)
            octets += static_cast<char>(static_cast<unsigned char>(bits >> (6 - 2 * (index % 4))));
    }
    const bool found = octets.find(password.c_str()) != std::string::npos;
    wipe(octets);
    return found;
}

std::string without_encoded(const std::string& line, const Secret& password)
{
    std::string out;
    for (std::size_t from = 0; from < line.size();) {
        std::size_t to = from;
        while (to < line.size() && sextet_of(line[to]) >= 0)
            ++to;
        if (to > from && holds_encoded(line.data() + from, to - from, password)) {
            out += kMask;
            while (to < line.size() && line[to] == '=')
                ++to;
        } else {
            to = to > from ? to : to + 1;
            out.append(line, from, to - from);
        }
        from = to;
    }
    return out;
}

}  // namespace

std::string without_password(const std::string& line, const Secret& password)
{
    if (password.length() == 0) return line;
    const std::string plain = without_plain(line, password);
    return password.length() < kTelling ? plain : without_encoded(plain, password);
}

}  // namespace velorin::service
