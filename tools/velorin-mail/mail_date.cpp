#include "mail_date.h"

#include <cstdlib>
#include <cstring>
#include <vector>

namespace velorin::cli {

namespace {

constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                   "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

// The words of a date, without comments.
std::vector<std::string> words_of(const std::string& text)
{
    std::vector<std::string> words(1);
    int comments = 0;
    for (const char c : text) {
        if (c == '(') ++comments;
        const bool counts = comments == 0 && c != ' ' && c != '\t' && c != ',';
        if (counts)
            words.back() += c;
        else if (!words.back().empty())
            words.emplace_back();
        if (c == ')' && comments > 0) --comments;
    }
    if (words.back().empty()) words.pop_back();
    return words;
}

bool read_number(const std::string& digits, int low, int high, int& number)
{
    if (digits.empty() || digits.size() > 4 || digits.find_first_not_of("0123456789") != std::string::npos)
        return false;
    number = static_cast<int>(std::strtol(digits.c_str(), nullptr, 10));
    return number >= low && number <= high;
}

bool read_month(const std::string& word, int& month)
{
    for (month = 0; month < 12; ++month)
        if (word.size() >= 3 && ::strncasecmp(word.c_str(), kMonths[month], 3) == 0) return true;
    return false;
}

bool read_year(const std::string& word, int& year)
{
    if (!read_number(word, 0, 9999, year)) return false;
    if (word.size() == 2) year += year < 50 ? 2000 : 1900;  // RFC 5322, section 4.3
    if (word.size() == 3) year += 1900;
    return year >= 1900;
}

// hour:minute[:second]
bool read_clock(const std::string& word, std::tm& date)
{
    const std::size_t first = word.find(':');
    if (first == std::string::npos) return false;
    const std::size_t second = word.find(':', first + 1);
    const std::string minute =
        word.substr(first + 1, second == std::string::npos ? second : second - first - 1);
    if (!read_number(word.substr(0, first), 0, 23, date.tm_hour) || !read_number(minute, 0, 59, date.tm_min))
        return false;
    return second == std::string::npos || read_number(word.substr(second + 1), 0, 60, date.tm_sec);
}

// Minutes east of UTC; letters but for those of North America count as UTC.
int zone_minutes(const std::string& word)
{
    static constexpr struct {
        const char* name;
        int hours;
    } rows[] = {{"EDT", -4}, {"EST", -5}, {"CDT", -5}, {"CST", -6},
                {"MDT", -6}, {"MST", -7}, {"PDT", -7}, {"PST", -8}};
    int hours_and_minutes = 0;
    if (word.size() == 5 && (word[0] == '+' || word[0] == '-') &&
        read_number(word.substr(1), 0, 9959, hours_and_minutes)) {
        const int minutes = hours_and_minutes / 100 * 60 + hours_and_minutes % 100;
        return word[0] == '-' ? -minutes : minutes;
    }
    for (const auto& row : rows)
        if (word == row.name) return row.hours * 60;
    return 0;
}

}  // namespace

bool read_mail_date(const std::string& text, std::time_t& moment)
{
    std::vector<std::string> words = words_of(text);
    int number = 0;
    if (!words.empty() && !read_number(words[0], 0, 9999, number))
        words.erase(words.begin());  // day of the week
    if (words.size() < 4) return false;
    std::tm date = {};
    int year = 0;
    if (!read_number(words[0], 1, 31, date.tm_mday) || !read_month(words[1], date.tm_mon) ||
        !read_year(words[2], year) || !read_clock(words[3], date))
        return false;
    date.tm_year = year - 1900;
    const std::time_t in_zone = ::timegm(&date);
    moment = in_zone - (words.size() > 4 ? zone_minutes(words[4]) * 60 : 0);
    return true;
}

std::string short_date(std::time_t moment)
{
    std::tm date = {};
    char text[32];
    if (::localtime_r(&moment, &date) == nullptr) return std::string();
    return std::string(text, std::strftime(text, sizeof text, "%Y-%m-%d %H:%M", &date));
}

std::string date_stamp(std::time_t moment)
{
    std::tm date = {};
    char text[32];
    if (::gmtime_r(&moment, &date) == nullptr) return std::string();
    return std::string(text, std::strftime(text, sizeof text, "%Y%m%d-%H%M%S", &date));
}

}  // namespace velorin::cli
