#include "config.h"

#include <cstddef>
#include <fstream>
#include <limits>
#include <sstream>

namespace velorin::service {
namespace {

constexpr char kBlanks[] = " \t\r";

std::string trimmed(const std::string& text)
{
    const std::size_t from = text.find_first_not_of(kBlanks);
    if (from == std::string::npos) return {};
    return text.substr(from, text.find_last_not_of(kBlanks) - from + 1);
}

bool read_number(const std::string& text, std::uint32_t& value)
{
    if (text.empty()) return false;
    std::uint64_t read = 0;
    for (const char octet : text) {
        if (octet < '0' || octet > '9') return false;
        read = read * 10 + static_cast<std::uint64_t>(octet - '0');
        if (read > std::numeric_limits<std::uint32_t>::max()) return false;
    }
    if (read == 0) return false;
    value = static_cast<std::uint32_t>(read);
    return true;
}

struct NumberKey {
    const char* key;
    std::uint32_t& (*of)(DaemonConfig&);
};

struct TextKey {
    const char* key;
    std::string& (*of)(DaemonConfig&);
};

constexpr NumberKey kNumberKeys[] = {
    {"connect_timeout",
     [](DaemonConfig& config) -> std::uint32_t& { return config.options.connect_timeout; }},
    {"command_timeout",
     [](DaemonConfig& config) -> std::uint32_t& { return config.options.command_timeout; }},
    {"data_timeout", [](DaemonConfig& config) -> std::uint32_t& { return config.options.data_timeout; }},
    {"idle_timeout", [](DaemonConfig& config) -> std::uint32_t& { return config.options.idle_timeout; }},
    {"max_sessions", [](DaemonConfig& config) -> std::uint32_t& { return config.options.max_sessions; }},
    {"max_sessions_per_user",
     [](DaemonConfig& config) -> std::uint32_t& { return config.options.max_sessions_per_user; }},
    {"max_request", [](DaemonConfig& config) -> std::uint32_t& { return config.options.max_request; }},
    {"max_kept", [](DaemonConfig& config) -> std::uint32_t& { return config.options.max_kept; }},
    {"max_recipients", [](DaemonConfig& config) -> std::uint32_t& { return config.options.max_recipients; }},
    {"stop_grace", [](DaemonConfig& config) -> std::uint32_t& { return config.stop_grace; }},
};

constexpr TextKey kTextKeys[] = {
    {"ca_file", [](DaemonConfig& config) -> std::string& { return config.options.ca_file; }},
    {"channel_directory", [](DaemonConfig& config) -> std::string& { return config.channel_directory; }},
    {"group", [](DaemonConfig& config) -> std::string& { return config.group; }},
};

//   result  nullptr, or what is wrong
const char* set(DaemonConfig& config, const std::string& key, const std::string& value)
{
    for (const NumberKey& row : kNumberKeys) {
        if (key == row.key)
            return read_number(value, row.of(config)) ? nullptr : "wants a number from 1 to 4294967295";
    }
    for (const TextKey& row : kTextKeys) {
        if (key != row.key) continue;
        if (value.empty()) return "wants a value";
        row.of(config) = value;
        return nullptr;
    }
    return "is no key";
}

// Says what is wrong in which line.
//   result  false always
bool refuse(const std::string& path, int number, const std::string& what, std::string& error)
{
    error = path + ":" + std::to_string(number) + ": " + what + ".";
    return false;
}

}  // namespace

bool parse_config(const std::string& text, const std::string& path, DaemonConfig& config, std::string& error)
{
    std::istringstream lines(text);
    std::string line;
    for (int number = 1; std::getline(lines, line); ++number) {
        const std::string content = trimmed(line.substr(0, line.find('#')));
        if (content.empty()) continue;
        const std::size_t equals = content.find('=');
        if (equals == std::string::npos) return refuse(path, number, "not of the form key = value", error);
        const std::string key = trimmed(content.substr(0, equals));
        if (const char* const wrong = set(config, key, trimmed(content.substr(equals + 1))))
            return refuse(path, number, "\"" + key + "\" " + wrong, error);
    }
    return true;
}

bool read_config(const std::string& path, DaemonConfig& config, std::string& error)
{
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    if (!file || !(text << file.rdbuf())) {
        // An empty file makes the copy fail, too, and is fine.
        if (file.is_open() && file.peek() == std::ifstream::traits_type::eof() && !file.bad()) return true;
        error = path + ": cannot be read.";
        return false;
    }
    return parse_config(text.str(), path, config, error);
}

}  // namespace velorin::service
