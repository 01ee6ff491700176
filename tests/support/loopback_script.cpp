#include "loopback_script.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "octets.h"

namespace velorin_test {
namespace {

using Act = Script::Act;

constexpr struct {
    std::string_view mark;
    Act act;
    bool escapes;
    bool line_end;
} kTexts[] = {
    {"S:", Act::kSend, true, true},           {"S-", Act::kSend, true, false},
    {"C:", Act::kExpectPrefix, false, false}, {"C=", Act::kExpectLine, true, false},
    {"C~", Act::kExpectRegex, false, false},  {"C-", Act::kExpectOctets, true, false},
};

constexpr struct {
    std::string_view name;
    Act act;
    bool number;
} kActions[] = {
    {"!body", Act::kBody, false},        {"!octets", Act::kOctets, true},
    {"!delay", Act::kDelay, true},       {"!trickle", Act::kTrickle, true},
    {"!repeat", Act::kRepeat, true},     {"!starttls", Act::kStartTls, false},
    {"!fail-tls", Act::kFailTls, false}, {"!close", Act::kClose, false},
    {"!reset", Act::kReset, false},      {"!silence", Act::kSilence, false},
    {"!stall", Act::kStall, false},      {"!end", Act::kEnd, false},
};

[[noreturn]] void fail(int line, const std::string& what)
{
    throw std::runtime_error("line " + std::to_string(line) + ": " + what);
}

Script::Command parse_text(int number, std::string_view line)
{
    for (const auto& row : kTexts) {
        if (line.substr(0, 2) != row.mark) continue;
        if (line.size() > 2 && line[2] != ' ') fail(number, "a blank is wanted behind the mark");
        const std::string_view text = line.substr(line.size() > 2 ? 3 : 2);
        Script::Command command{
            number, row.act, row.escapes ? from_printable(text) : std::string(text), 0, {}};
        if (row.line_end) command.text += "\r\n";
        try {
            if (row.act == Act::kExpectRegex) command.regex = std::regex(command.text);
        } catch (const std::regex_error& error) {
            fail(number, std::string("no regular expression: ") + error.what());
        }
        return command;
    }
    fail(number, "no such line: " + std::string(line));
}

Script::Command parse_action(int number, std::string_view line)
{
    const std::string_view name = line.substr(0, line.find(' '));
    const std::string_view argument = line.substr(std::min(name.size() + 1, line.size()));
    for (const auto& row : kActions) {
        if (name != row.name) continue;
        Script::Command command{number, row.act, {}, 0, {}};
        if (row.act == Act::kTrickle && argument == "off") {
            command.number = -1;
            return command;
        }
        const char* const end = argument.data() + argument.size();
        const auto [stopped, error] = std::from_chars(argument.data(), end, command.number);
        const bool is_number =
            !argument.empty() && error == std::errc() && stopped == end && command.number >= 0;
        if (row.number && !is_number) fail(number, std::string(name) + " wants a number");
        if (!row.number && !argument.empty()) fail(number, std::string(name) + " stands alone");
        return command;
    }
    fail(number, "no such action: " + std::string(line));
}

}  // namespace

Script Script::parse(std::string_view text)
{
    Script script;
    script.connections.emplace_back();
    int number = 0;
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        ++number;
        if (line.empty() || line[0] == '#') continue;
        if (line[0] == '@')
            script.notes.emplace_back(line.substr(std::min<std::size_t>(line.size(), 2)));
        else if (line == "!next")
            script.connections.emplace_back();
        else if (line[0] == '!')
            script.connections.back().push_back(parse_action(number, line));
        else
            script.connections.back().push_back(parse_text(number, line));
    }
    return script;
}

Script Script::read(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file) throw std::runtime_error(path + ": cannot be read");
    const std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    try {
        return parse(text);
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(path + ": " + error.what());
    }
}

}  // namespace velorin_test
