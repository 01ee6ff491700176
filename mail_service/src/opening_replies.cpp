#include "opening_replies.h"

#include <cstring>
#include <sstream>

#include "last_reply.h"
#include "reply_mask.h"

namespace velorin::service {
namespace {

constexpr std::size_t kMaxLine = 2048;
constexpr std::size_t kMaxLines = 256;
constexpr int kReady = 220;
constexpr int kCapabilities = 250;
constexpr int kLoginGranted = 235;
constexpr int kChallenge = 334;

bool is_digit(char octet)
{
    return octet >= '0' && octet <= '9';
}

bool begins(const std::string& text, const char* start)
{
    return text.compare(0, std::strlen(start), start) == 0;
}

bool equal_ignoring_case(const std::string& text, const char* upper)
{
    if (text.size() != std::strlen(upper)) return false;
    for (std::size_t index = 0; index < text.size(); ++index) {
        const char octet = text[index];
        if ((octet >= 'a' && octet <= 'z' ? static_cast<char>(octet - 'a' + 'A') : octet) != upper[index])
            return false;
    }
    return true;
}

bool holds_word(const std::string& line, const char* upper)
{
    std::istringstream words(line);
    std::string word;
    while (words >> word) {
        if (equal_ignoring_case(word, upper)) return true;
    }
    return false;
}

// The challenge of APOP (RFC 1939, 7).
bool holds_timestamp(const std::string& greeting)
{
    const std::size_t begin = greeting.find('<');
    const std::size_t at = greeting.find('@', begin == std::string::npos ? greeting.size() : begin);
    return at != std::string::npos && greeting.find('>', at) != std::string::npos;
}

}  // namespace

OpeningReplies::OpeningReplies(ServerProtocol protocol, LastReply& last_reply)
    : protocol_(protocol), last_reply_(last_reply)
{
}

bool OpeningReplies::take(const char* octets, std::size_t count)
{
    for (std::size_t index = 0; index < count && !malformed_; ++index) {
        if (octets[index] == '\n') {
            if (!line_.empty() && line_.back() == '\r') line_.pop_back();
            if (++lines_ > kMaxLines || !take_line()) malformed_ = true;
            line_.clear();
        } else if (line_.size() == kMaxLine) {
            malformed_ = true;
        } else {
            line_.push_back(octets[index]);
        }
    }
    return !malformed_;
}

bool OpeningReplies::take_step()
{
    const bool step = step_;
    step_ = false;
    return step;
}

bool OpeningReplies::take_line()
{
    return protocol_ == ServerProtocol::smtp ? take_smtp_line() : take_pop3_line();
}

void OpeningReplies::complete()
{
    step_ = true;
    last_ = hidden_ != nullptr ? without_password(line_, *hidden_) : line_;
    last_reply_.set(last_);
}

bool OpeningReplies::take_smtp_line()
{
    if (line_.size() < 3 || !is_digit(line_[0]) || !is_digit(line_[1]) || !is_digit(line_[2])) return false;
    const char separator = line_.size() > 3 ? line_[3] : ' ';
    if (separator != ' ' && separator != '-') return false;
    const int code = (line_[0] - '0') * 100 + (line_[1] - '0') * 10 + (line_[2] - '0');
    if (code < 200 || code > 599) return false;
    if (!new_reply_ && code != code_) return false;
    if (new_reply_ && (code == kReady || code == kCapabilities)) capability_lines_.clear();
    code_ = code;
    new_reply_ = separator == ' ';
    if (code == kCapabilities) {
        capability_lines_.push_back(line_.size() > 4 ? line_.substr(4) : std::string());
        if (equal_ignoring_case(capability_lines_.back(), "STARTTLS")) offers_tls_ = true;
    }
    if (!new_reply_) return true;
    refused_ = code >= 400;
    if (code == kLoginGranted) login_granted_ = true;
    if (code == kChallenge) challenged_ = true;
    if (code == kReady) {
        secured_ = greeted_;
        greeted_ = true;
    }
    complete();
    return true;
}

bool OpeningReplies::take_pop3_line()
{
    const bool positive = begins(line_, "+");
    const bool negative = begins(line_, "-ERR");
    if (!positive && !negative) {  // a line of the answer to CAPA
        if (equal_ignoring_case(line_, "STLS")) offers_tls_ = true;
        if (equal_ignoring_case(line_.substr(0, 5), "SASL ")) {
            offers_sasl_ = true;
            const bool in_clear = expects_stls_ && !secured_;  // what is offered there is forgotten
            if (stops_at_tickets_ && !in_clear && holds_word(line_, "GSSAPI")) offers_ticket_ = true;
        }
        if (line_ == ".") {
            step_ = true;
            if (offers_ticket_) return false;
        }
        return greeted_;
    }
    const bool to_capa = capa_due_;
    capa_due_ = false;
    // A server that does not know CAPA has not refused the log-in by it.
    refused_ = negative && !to_capa;
    if (to_capa) offers_sasl_ = false;
    if (begins(line_, "+ ")) challenged_ = true;
    if (begins(line_, "+OK")) {
        if (!greeted_) {
            greeted_ = true;
            capa_due_ = true;
            has_timestamp_ = holds_timestamp(line_);
        } else if (expects_stls_ && !to_capa && !secured_) {
            secured_ = true;
            capa_due_ = true;
        }
    }
    complete();
    return true;
}

}  // namespace velorin::service
