#include "loopback_rules.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "octets.h"

namespace velorin_test {
namespace {

constexpr std::pair<std::string_view, Step> kSteps[] = {
    {"connect", Step::kConnect},     {"tls", Step::kTls},           {"ehlo", Step::kEhlo},
    {"helo", Step::kHelo},           {"starttls", Step::kStartTls}, {"auth", Step::kAuth},
    {"authreply", Step::kAuthReply}, {"mail", Step::kMail},         {"rcpt", Step::kRcpt},
    {"data", Step::kData},           {"body", Step::kBody},         {"dot", Step::kDot},
    {"rset", Step::kRset},           {"noop", Step::kNoop},         {"quit", Step::kQuit},
    {"other", Step::kOther},         {"capa", Step::kCapa},         {"stls", Step::kStls},
    {"user", Step::kUser},           {"pass", Step::kPass},         {"apop", Step::kApop},
    {"stat", Step::kStat},           {"list", Step::kList},         {"uidl", Step::kUidl},
    {"retr", Step::kRetr},           {"top", Step::kTop},           {"dele", Step::kDele},
};

constexpr std::pair<std::string_view, Rule::Act> kActs[] = {
    {"close", Rule::Act::kClose},
    {"close-inside", Rule::Act::kCloseInside},
    {"close-after", Rule::Act::kCloseAfter},
    {"reset", Rule::Act::kReset},
    {"silence", Rule::Act::kSilence},
    {"stall", Rule::Act::kStall},
    {"fail-tls", Rule::Act::kFailTls},
    {"endless-line", Rule::Act::kEndlessLine},
};

std::string lower(std::string_view text)
{
    std::string result(text);
    for (char& letter : result)
        if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
    return result;
}

std::string_view next_word(std::string_view& text)
{
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    const std::string_view word = text.substr(0, text.find(' '));
    text.remove_prefix(word.size());
    return word;
}

template <typename Number>
bool parse_number(std::string_view text, Number& number)
{
    const char* const end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, number);
    return !text.empty() && error == std::errc() && stopped == end && number >= 0;
}

// STEP[:NTH|:*][@OCTETS]
std::optional<Rule> parse_place(std::string_view place)
{
    const std::string_view step_name = place.substr(0, place.find_first_of(":@"));
    const auto* const step = std::find_if(std::begin(kSteps), std::end(kSteps),
                                          [&](const auto& row) { return row.first == lower(step_name); });
    if (step == std::end(kSteps)) return {};
    Rule rule(step->second);
    place.remove_prefix(step_name.size());
    if (!place.empty() && place[0] == ':') {
        const std::string_view nth = place.substr(1, place.find('@') - 1);
        if (nth == "*")
            rule.every();
        else if (!parse_number(nth, rule.nth) || rule.nth == 0)
            return {};
        place.remove_prefix(1 + nth.size());
    }
    if (!place.empty() && !parse_number(place.substr(1), rule.after_octets)) return {};
    return rule;
}

}  // namespace

Rule& Rule::reply(std::string_view line)
{
    text = std::string(line);
    if (line.empty() || line.back() != '\n') *text += "\r\n";
    return *this;
}

std::optional<Rule> parse_rule(std::string_view text, std::string& error)
{
    const std::string_view place = next_word(text);
    std::optional<Rule> rule = parse_place(place);
    if (!rule) {
        error = "no such step: " + std::string(place);
        return {};
    }
    for (std::string_view word = next_word(text); !word.empty(); word = next_word(text)) {
        const auto* const act = std::find_if(std::begin(kActs), std::end(kActs),
                                             [&](const auto& row) { return row.first == word; });
        if (act != std::end(kActs)) {
            rule->act = act->second;
        } else if (word == "split") {
            rule->split();
        } else if (word == "delay" || word == "trickle") {
            if (!parse_number(next_word(text), word == "delay" ? rule->delay_ms : rule->trickle_ms)) {
                error = std::string(word) + " wants milliseconds";
                return {};
            }
        } else if (word == "reply") {
            text.remove_prefix(std::min<std::size_t>(text.size(), 1));
            rule->reply(from_printable(text));
            text = {};
        } else {
            error = "no such action: " + std::string(word);
            return {};
        }
    }
    return rule;
}

void RuleBook::add(const Rule& rule)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    entries_.push_back({rule, 0});
}

std::optional<Rule> RuleBook::hit(Step step)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    std::optional<Rule> found;
    for (Entry& entry : entries_) {
        if (entry.rule.step != step) continue;
        ++entry.seen;
        if (!found && (entry.rule.nth == 0 || entry.rule.nth == entry.seen)) found = entry.rule;
    }
    return found;
}

}  // namespace velorin_test
