#include "replay.h"

#include <algorithm>
#include <utility>

namespace velorin_test::sweep {

Replay::Replay(std::vector<CallRecord> calls, std::vector<GivenAnswer> answers)
    : calls_(std::move(calls)), answers_(std::move(answers))
{
}

bool Replay::fails(Call kind)
{
    if (is_next(kind)) return calls_[next_call_++].failed;
    if (problem_.empty()) {
        problem_ = std::string("call ") + std::to_string(next_call_ + 1) + " should be " + name_of(kind) +
                   ", but is " +
                   (next_call_ < calls_.size() ? name_of(calls_[next_call_].call) : "none at all");
    }
    return false;
}

std::size_t Replay::failures(std::initializer_list<Call> kinds)
{
    std::size_t failed = 0;
    while (next_call_ < calls_.size() &&
           std::find(kinds.begin(), kinds.end(), calls_[next_call_].call) != kinds.end()) {
        if (calls_[next_call_++].failed) ++failed;
    }
    return failed;
}

bool Replay::is_next(Call kind) const
{
    return next_call_ < calls_.size() && calls_[next_call_].call == kind;
}

GivenAnswer Replay::next_answer()
{
    if (next_answer_ < answers_.size()) return answers_[next_answer_++];
    if (problem_.empty()) problem_ = "an exchange that the service never saw";
    return GivenAnswer{};
}

void Replay::line(const std::string& text)
{
    expected_lines.push_back(text);
}

void Replay::lines(std::size_t count, const std::string& text)
{
    for (std::size_t i = 0; i < count; ++i)
        line(text);
}

std::string Replay::problem() const
{
    if (!problem_.empty()) return problem_;
    if (next_call_ < calls_.size()) {
        return std::string("call ") + std::to_string(next_call_ + 1) + " should not be, but is " +
               name_of(calls_[next_call_].call);
    }
    if (next_answer_ < answers_.size()) return "an answer that the operation should not have asked for";
    return std::string();
}

bool is_line(const std::string& line, const std::string& expected)
{
    const std::size_t wildcard = expected.find('#');
    if (wildcard == std::string::npos) return line == expected;
    const std::string end = expected.substr(wildcard + 1);
    if (line.compare(0, wildcard, expected, 0, wildcard) != 0) return false;
    std::size_t at = wildcard;
    while (at < line.size() && line[at] >= '0' && line[at] <= '9')
        ++at;
    return at > wildcard && line.substr(at) == end;
}

}  // namespace velorin_test::sweep
