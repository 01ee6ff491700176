#include "settings.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include "descriptor.h"

namespace velorin::cli {

const SettingRow kSettingRows[] = {
    {"server", "HOST", "SMTP server"},
    {"port", "N", "its port; default 25, 587 with STARTTLS, 465 with TLS from the start"},
    {"tls", "MODE", "none, starttls or tls; default tls on port 465, starttls with a user, else none"},
    {"ca-file", "FILE", "certificates of the authorities to trust, PEM; default the system's"},
    {"no-verify", nullptr, "do not check the server's certificate"},
    {"tls13-only", nullptr, "accept TLS 1.3 only"},
    {"auth", "KIND",
     "none, auto, plain, login, cram-md5, pop or xoauth2; default auto with a user, else none"},
    {"user", "NAME", "account to log in with"},
    {"password-command", "CMD", "shell command whose first line of output is the password (or the token)"},
    {"password-file", "FILE", "file whose first line is the password (or the token)"},
    {"host-name", "NAME", "own name for the greeting; default this machine's"},
    {"ipv6", nullptr, "use IPv6; default IPv4"},
    {"timeout", "S", "seconds that a connection and a reply may take; default 30 and 60"},
    {"data-timeout", "S", "seconds that the verdict on the whole mail may take; default 600"},
    {"size-limit", "N", "octets that a mail may have, whatever the server allows; default no limit"},
    {"pop-server", "HOST", "POP3 server; default the SMTP server"},
    {"pop-port", "N", "its port; default 110, 995 with TLS from the start"},
    {"pop-tls", "MODE", "none, starttls or tls; default tls on port 995, else as for SMTP"},
    {"pop-user", "NAME", "its account; default the user"},
    {"pop-password-command", "CMD", "as password-command; default the same password"},
    {"pop-password-file", "FILE", "as password-file; default the same password"},
    {"pop-apop", nullptr, "log in with APOP"},
    {"pop-wait", "S", "seconds to wait between POP and SMTP"},
    {"daemon", nullptr, "use the running mail service; default one inside this process"},
    {"from", "ADDR", "author of the mail"},
    {"sender", "ADDR", "who sends it for the author"},
    {"reply-to", "ADDR", "where answers shall go"},
    {"charset", "SET",
     "us-ascii, iso-8859-1, iso-8859-2, iso-2022-jp, shift_jis or utf-8; default "
     "iso-2022-jp for Japanese that fits it, else utf-8"},
    {"permit", "LIST", "domains and addresses that may be written to, and no others"},
    {"refuse", "LIST", "domains and addresses that may not be written to"},
    {nullptr, nullptr, nullptr},
};

namespace {

constexpr const char* kStep = "configuration";
constexpr std::size_t kMaxConfig = 1u << 20;  // octets; more is not a configuration file

std::string trimmed(const std::string& text)
{
    const char* const blanks = " \t\r";
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string::npos) return std::string();
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

bool switch_value(const std::string& text, std::string& value)
{
    for (const char* yes : {"yes", "true", "on", "1"})
        if (text == yes) value = "true";
    for (const char* no : {"no", "false", "off", "0"})
        if (text == no) value = "false";
    return !value.empty();
}

std::string own_config_path()
{
    if (const char* folder = std::getenv("XDG_CONFIG_HOME"); folder != nullptr && *folder != '\0')
        return std::string(folder) + "/velorin/mail.conf";
    if (const char* home = std::getenv("HOME"); home != nullptr && *home != '\0')
        return std::string(home) + "/.config/velorin/mail.conf";
    return std::string();
}

// A line of the file.
//   result  false with what is wrong with it
bool parse_line(const std::string& line, Settings& settings, std::string& wrong)
{
    const std::size_t equals = line.find('=');
    if (equals == std::string::npos) {
        wrong = "is not of the form key = value";
        return false;
    }
    const std::string key = trimmed(line.substr(0, equals));
    std::string value = trimmed(line.substr(equals + 1));
    if (key == "password" || key == "pop-password") {
        wrong = "gives a password; give " + key + "-command or " + key + "-file instead";
        return false;
    }
    const SettingRow* const row = find_setting(key);
    if (row == nullptr) {
        wrong = "has an unknown key";
        return false;
    }
    if (row->placeholder == nullptr) {
        std::string truth;
        if (!switch_value(value, truth)) {
            wrong = "must say yes or no for " + key;
            return false;
        }
        value = truth;
    }
    if (!settings.emplace(key, value).second) {
        wrong = "gives " + key + " a second time";
        return false;
    }
    return true;
}

// Of two settings that exclude each other, what the command line gives takes the place of both.
void drop_either(const std::string& one, const std::string& other, const Settings& command_line,
                 Settings& file)
{
    if (command_line.count(one) == 0 && command_line.count(other) == 0) return;
    file.erase(one);
    file.erase(other);
}

}  // namespace

const SettingRow* find_setting(const std::string& name)
{
    for (const SettingRow* row = kSettingRows; row->name != nullptr; ++row)
        if (name == row->name) return row;
    return nullptr;
}

bool fail_in_line(Failure& failure, const std::string& path, std::size_t number, const std::string& wrong)
{
    return fail(failure, kExitConfig, kStep,
                path + ", line " + std::to_string(number) + ": the line " + wrong);
}

bool parse_config(const std::string& path, const std::string& text, Settings& settings, Failure& failure)
{
    Settings found;
    std::size_t number = 0;
    for (std::size_t begin = 0; begin < text.size();) {
        std::size_t end = text.find('\n', begin);
        if (end == std::string::npos) end = text.size();
        const std::string line = trimmed(text.substr(begin, end - begin));
        begin = end + 1;
        ++number;
        if (line.empty() || line[0] == '#') continue;
        std::string wrong;
        if (!parse_line(line, found, wrong)) return fail_in_line(failure, path, number, wrong);
    }
    settings = std::move(found);
    return true;
}

bool load_config(const std::string& path, Settings& settings, Failure& failure)
{
    const std::string file = path.empty() ? own_config_path() : path;
    if (file.empty()) return true;
    const Descriptor descriptor(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    if (!descriptor.valid()) {
        if (path.empty() && (errno == ENOENT || errno == ENOTDIR)) return true;
        return fail(failure, kExitConfig, kStep, "cannot open " + file + ": " + std::strerror(errno));
    }
    std::string text;
    char piece[4096];
    for (;;) {
        const ssize_t count = ::read(descriptor.get(), piece, sizeof piece);
        if (count == 0) break;
        if (count < 0)
            return fail(failure, kExitConfig, kStep, "cannot read " + file + ": " + std::strerror(errno));
        text.append(piece, static_cast<std::size_t>(count));
        if (text.size() > kMaxConfig) return fail(failure, kExitConfig, kStep, file + " is too large");
    }
    return parse_config(file, text, settings, failure);
}

Settings merge(const Settings& command_line, Settings file)
{
    drop_either("permit", "refuse", command_line, file);
    drop_either("password-command", "password-file", command_line, file);
    drop_either("pop-password-command", "pop-password-file", command_line, file);
    for (const auto& [name, value] : command_line)
        file[name] = value;
    return file;
}

}  // namespace velorin::cli
