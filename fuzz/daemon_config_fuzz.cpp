// The configuration file of the daemon.
//   input   the file
#include <algorithm>
#include <string>

#include "config.h"
#include "fuzz_input.h"
#include "fuzz_property.h"

namespace {

using namespace velorin::service;
using namespace velorin_fuzz;

constexpr char kPath[] = "maild.conf";

void check_text(const std::string& text)
{
    require(text.find('\n') == std::string::npos, "a value is one line");
    require(text.empty() || (text.front() != ' ' && text.back() != ' '), "a value has no blanks around it");
}

void check(const DaemonConfig& config)
{
    for (const std::string* const text : {&config.options.ca_file, &config.channel_directory, &config.group})
        check_text(*text);
    for (const std::uint32_t number :
         {config.options.connect_timeout, config.options.command_timeout, config.options.data_timeout,
          config.options.idle_timeout, config.options.max_sessions, config.options.max_sessions_per_user,
          config.options.max_request, config.options.max_kept, config.options.max_recipients,
          config.stop_grace})
        require(number > 0, "a number is one of those that may be set");
}

// The file that says what a configuration says.
std::string text_of(const DaemonConfig& config)
{
    std::string text;
    const auto number = [&](const char* key, std::uint32_t value) {
        text += std::string(key) + "=" + std::to_string(value) + "\n";
    };
    const auto value = [&](const char* key, const std::string& of) {
        if (!of.empty()) text += " " + std::string(key) + " = " + of + "\r\n";
    };
    number("connect_timeout", config.options.connect_timeout);
    number("command_timeout", config.options.command_timeout);
    number("data_timeout", config.options.data_timeout);
    number("idle_timeout", config.options.idle_timeout);
    number("max_sessions", config.options.max_sessions);
    number("max_sessions_per_user", config.options.max_sessions_per_user);
    number("max_request", config.options.max_request);
    number("max_kept", config.options.max_kept);
    number("max_recipients", config.options.max_recipients);
    number("stop_grace", config.stop_grace);
    value("ca_file", config.options.ca_file);
    value("channel_directory", config.channel_directory);
    value("group", config.group);
    return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t size)
{
    const std::string text = Input(octets, size).rest();
    DaemonConfig config;
    std::string error;
    if (!parse_config(text, kPath, config, error)) {
        const std::string place = std::string(kPath) + ":";
        require(error.compare(0, place.size(), place) == 0, "a sentence names the file");
        const unsigned long line = std::stoul(error.substr(place.size()));
        const auto lines = static_cast<unsigned long>(std::count(text.begin(), text.end(), '\n')) + 1;
        require(line >= 1 && line <= lines, "a sentence names a line of the file");
        require(error.back() == '.', "a sentence is a whole one");
        return 0;
    }
    require(error.empty(), "what is read has no fault");
    check(config);
    DaemonConfig again;
    require(parse_config(text_of(config), kPath, again, error), "what was read can be written down");
    require(text_of(again) == text_of(config), "and says the same");
    // Twice the same file says what it says once.
    DaemonConfig twice;
    require(parse_config(text + "\n" + text, kPath, twice, error), "a file may come twice");
    require(text_of(twice) == text_of(config), "the last value counts");
    return 0;
}
