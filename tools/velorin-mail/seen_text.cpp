// The text of the file in which SeenState keeps its mails.
#include <charconv>
#include <cinttypes>
#include <cstdio>
#include <string_view>

#include "seen_state.h"

namespace velorin::cli {

namespace {

constexpr std::string_view kTitle = "velorin-mail fetched-mails 1";
constexpr char kHexDigits[] = "0123456789ABCDEF";

// Printable US-ASCII without blanks; what is not stands as %XX. The empty text is "%".
std::string escaped(const std::string& text)
{
    if (text.empty()) return "%";
    std::string out;
    for (const char c : text) {
        const auto octet = static_cast<unsigned char>(c);
        if (octet > 0x20 && octet < 0x7F && octet != '%') {
            out += c;
        } else {
            out += '%';
            out += kHexDigits[octet >> 4];
            out += kHexDigits[octet & 0x0F];
        }
    }
    return out;
}

int hex_value(char digit)
{
    const char* const found = std::char_traits<char>::find(kHexDigits, 16, digit);
    return found == nullptr ? -1 : static_cast<int>(found - kHexDigits);
}

bool unescape(std::string_view word, std::string& text)
{
    text.clear();
    if (word == "%") return true;
    for (std::size_t at = 0; at < word.size(); ++at) {
        if (word[at] != '%') {
            text += word[at];
            continue;
        }
        if (at + 2 >= word.size()) return false;
        const int high = hex_value(word[at + 1]);
        const int low = hex_value(word[at + 2]);
        if (high < 0 || low < 0) return false;
        text += static_cast<char>(high * 16 + low);
        at += 2;
    }
    return !text.empty();
}

// FNV-1a in 64 bits: tells a damaged file, not a forged one.
std::string checksum(std::string_view text)
{
    std::uint64_t sum = 14695981039346656037u;
    for (const char c : text)
        sum = (sum ^ static_cast<unsigned char>(c)) * 1099511628211u;
    char digits[24];
    std::snprintf(digits, sizeof digits, "%016" PRIx64, sum);
    return digits;
}

const char* const kPlaces[] = {"pending", "fetched"};
const char* const kFates[] = {"keep", "delete", "deleted"};

template <typename Value, std::size_t Count>
bool find_word(const char* const (&words)[Count], std::string_view word, Value& value)
{
    for (std::size_t index = 0; index < Count; ++index) {
        if (word != words[index]) continue;
        value = static_cast<Value>(index);
        return true;
    }
    return false;
}

std::string_view take_word(std::string_view& line)
{
    const std::string_view word = line.substr(0, line.find(' '));
    line.remove_prefix(word.size() < line.size() ? word.size() + 1 : word.size());
    return word;
}

bool read_number(std::string_view word, std::int64_t& number)
{
    const char* const end = word.data() + word.size();
    const auto [stopped, error] = std::from_chars(word.data(), end, number);
    return error == std::errc() && stopped == end;
}

// "mail" place fate seconds uid path temporary
bool read_mail(std::string_view line, std::string& uid, SeenMail& mail)
{
    return take_word(line) == "mail" && find_word(kPlaces, take_word(line), mail.place) &&
           find_word(kFates, take_word(line), mail.fate) && read_number(take_word(line), mail.seen) &&
           unescape(take_word(line), uid) && unescape(take_word(line), mail.path) &&
           unescape(take_word(line), mail.temporary) && line.empty() && !uid.empty() && !mail.path.empty() &&
           mail.temporary.empty() == (mail.place == SeenMail::Place::kFetched);
}

bool take_line(std::string_view& text, std::string_view& line)
{
    const std::size_t end = text.find('\n');
    if (end == std::string_view::npos) return false;
    line = text.substr(0, end);
    text.remove_prefix(end + 1);
    return true;
}

}  // namespace

std::string write_seen(const std::string& account, const std::map<std::string, SeenMail>& mails)
{
    std::string text(kTitle);
    text += "\naccount " + escaped(account) + "\n";
    for (const auto& [uid, mail] : mails) {
        text += "mail ";
        text += kPlaces[static_cast<std::size_t>(mail.place)];
        text += ' ';
        text += kFates[static_cast<std::size_t>(mail.fate)];
        text += ' ' + std::to_string(mail.seen) + ' ' + escaped(uid) + ' ' + escaped(mail.path) + ' ' +
                escaped(mail.temporary) + '\n';
    }
    return text + "end " + checksum(text) + "\n";
}

bool read_seen(const std::string& text, std::string& account, std::map<std::string, SeenMail>& mails)
{
    std::string_view rest = text;
    std::string_view line;
    std::string found_account;
    std::map<std::string, SeenMail> found;
    if (!take_line(rest, line) || line != kTitle) return false;
    if (!take_line(rest, line) || take_word(line) != "account" || !unescape(line, found_account))
        return false;
    for (;;) {
        const std::string_view before(text.data(), text.size() - rest.size());
        if (!take_line(rest, line)) return false;
        if (line.substr(0, 4) == "end ") {
            if (line.substr(4) != checksum(before) || !rest.empty()) return false;
            break;
        }
        std::string uid;
        SeenMail mail;
        if (!read_mail(line, uid, mail) || !found.emplace(uid, mail).second) return false;
    }
    account = found_account;
    mails.swap(found);
    return true;
}

}  // namespace velorin::cli
