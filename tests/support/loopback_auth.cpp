#include "loopback_auth.h"

#include <cstdint>
#include <ctime>
#include <utility>

#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>

namespace velorin_test {
namespace {

constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::string hex_of(const unsigned char* octets, std::size_t count)
{
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (std::size_t at = 0; at < count; ++at) {
        text += kDigits[octets[at] >> 4];
        text += kDigits[octets[at] & 15];
    }
    return text;
}

}  // namespace

std::string base64_encode(std::string_view octets)
{
    std::string text;
    for (std::size_t at = 0; at < octets.size(); at += 3) {
        std::uint32_t group = 0;
        for (std::size_t i = 0; i < 3; ++i)
            group = group << 8 | (at + i < octets.size() ? static_cast<unsigned char>(octets[at + i]) : 0U);
        for (std::size_t i = 0; i < 4; ++i)
            text += at + i <= octets.size() ? kAlphabet[group >> (18 - 6 * i) & 63] : '=';
    }
    return text;
}

bool base64_decode(std::string_view text, std::string& octets)
{
    octets.clear();
    std::string result;
    if (text.size() % 4 != 0) return false;
    for (std::size_t at = 0; at < text.size(); at += 4) {
        const std::string_view group = text.substr(at, 4);
        std::size_t letters = 4;
        if (at + 4 == text.size()) {
            if (group[3] == '=') letters = 3;
            if (group[3] == '=' && group[2] == '=') letters = 2;
        }
        std::uint32_t bits = 0;
        for (std::size_t i = 0; i < letters; ++i) {
            const std::size_t value = kAlphabet.find(group[i]);
            if (value == std::string_view::npos) return false;
            bits |= static_cast<std::uint32_t>(value) << (18 - 6 * i);
        }
        if ((letters == 2 && (bits & 0xFFFF) != 0) || (letters == 3 && (bits & 0xFF) != 0)) return false;
        for (std::size_t i = 0; i + 1 < letters; ++i)
            result += static_cast<char>(bits >> (16 - 8 * i) & 0xFF);
    }
    octets = std::move(result);
    return true;
}

std::string hmac_md5_hex(std::string_view key, std::string_view text)
{
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int size = 0;
    HMAC(EVP_md5(), key.data(), static_cast<int>(key.size()),
         reinterpret_cast<const unsigned char*>(text.data()), text.size(), digest, &size);
    return hex_of(digest, size);
}

std::string md5_hex(std::string_view text)
{
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int size = 0;
    EVP_Digest(text.data(), text.size(), digest, &size, EVP_md5(), nullptr);
    return hex_of(digest, size);
}

std::string fresh_challenge()
{
    unsigned char random[8];
    RAND_bytes(random, sizeof random);
    return "<" + hex_of(random, sizeof random) + "." + std::to_string(std::time(nullptr)) + "@localhost>";
}

bool SaslExchange::knows(std::string_view mechanism)
{
    return mechanism == "PLAIN" || mechanism == "LOGIN" || mechanism == "CRAM-MD5" || mechanism == "XOAUTH2";
}

SaslExchange::SaslExchange(std::string mechanism, const UserTable& users)
    : mechanism_(std::move(mechanism)), users_(users)
{
}

SaslExchange::State SaslExchange::ask(std::string_view challenge)
{
    challenge_ = base64_encode(challenge);
    return State::kChallenge;
}

SaslExchange::State SaslExchange::begin(std::string_view initial)
{
    if (mechanism_ == "CRAM-MD5") {
        if (!initial.empty()) return State::kMalformed;  // the server speaks first
        cram_text_ = fresh_challenge();
        return ask(cram_text_);
    }
    if (initial.empty()) return ask(mechanism_ == "LOGIN" ? "Username:" : "");
    return initial == "=" ? check("") : next(initial);
}

SaslExchange::State SaslExchange::next(std::string_view line)
{
    if (line == "*") return State::kCancelled;
    if (was_refused_) return State::kRefused;
    std::string response;
    if (!base64_decode(line, response)) return State::kMalformed;
    return check(response);
}

SaslExchange::State SaslExchange::check(const std::string& response)
{
    if (mechanism_ == "PLAIN") return check_plain(response);
    if (mechanism_ == "CRAM-MD5") return check_cram(response);
    if (mechanism_ == "XOAUTH2") return check_oauth(response);
    if (have_user_) return check_password(response);
    have_user_ = true;
    user_ = response;
    return ask("Password:");
}

SaslExchange::State SaslExchange::check_password(const std::string& password) const
{
    const auto known = users_.find(user_);
    return known != users_.end() && known->second == password ? State::kAccepted : State::kRefused;
}

// authorization identity NUL user NUL password (RFC 4616)
SaslExchange::State SaslExchange::check_plain(const std::string& response)
{
    const std::size_t first = response.find('\0');
    const std::size_t second = first == std::string::npos ? first : response.find('\0', first + 1);
    if (second == std::string::npos || response.find('\0', second + 1) != std::string::npos)
        return State::kMalformed;
    user_ = response.substr(first + 1, second - first - 1);
    if (first != 0 && response.substr(0, first) != user_)
        return State::kRefused;  // nobody acts for another here
    return check_password(response.substr(second + 1));
}

// user blank digest in hexadecimal (RFC 2195)
SaslExchange::State SaslExchange::check_cram(const std::string& response)
{
    const std::size_t blank = response.rfind(' ');
    if (blank == std::string::npos) return State::kMalformed;
    user_ = response.substr(0, blank);
    const auto known = users_.find(user_);
    if (known == users_.end()) return State::kRefused;
    return response.substr(blank + 1) == hmac_md5_hex(known->second, cram_text_) ? State::kAccepted
                                                                                 : State::kRefused;
}

// user=NAME ^A auth=Bearer TOKEN ^A ^A; a refusal is a challenge with the reason, which the client
// acknowledges
SaslExchange::State SaslExchange::check_oauth(const std::string& response)
{
    static constexpr std::string_view kUser = "user=";
    static constexpr std::string_view kBearer = "\1auth=Bearer ";
    static constexpr std::string_view kEnd = "\1\1";
    const std::size_t bearer = response.find(kBearer);
    const bool formed = response.compare(0, kUser.size(), kUser) == 0 && bearer != std::string::npos &&
                        response.size() >= bearer + kBearer.size() + kEnd.size() &&
                        response.compare(response.size() - kEnd.size(), kEnd.size(), kEnd) == 0;
    if (!formed) return State::kMalformed;
    user_ = response.substr(kUser.size(), bearer - kUser.size());
    const std::size_t token = bearer + kBearer.size();
    if (check_password(response.substr(token, response.size() - kEnd.size() - token)) == State::kAccepted)
        return State::kAccepted;
    was_refused_ = true;
    return ask("{\"status\":\"401\",\"schemes\":\"bearer\"}");
}

}  // namespace velorin_test
