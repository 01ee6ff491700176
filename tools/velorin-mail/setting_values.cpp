#include "setting_values.h"

#include <cerrno>
#include <cstdlib>

namespace velorin::cli {

namespace {

bool has_control(const std::string& text)
{
    for (const char c : text) {
        const auto octet = static_cast<unsigned char>(c);
        if (octet < 0x20 || octet == 0x7F) return true;
    }
    return false;
}

}  // namespace

std::string text_of(const Settings& settings, const char* name)
{
    const auto found = settings.find(name);
    return found == settings.end() ? std::string() : found->second;
}

bool is_on(const Settings& settings, const char* name)
{
    return text_of(settings, name) == "true";
}

bool read_number(const Settings& settings, const char* name, long low, long high, long& value,
                 Failure& failure)
{
    const auto found = settings.find(name);
    if (found == settings.end()) return true;
    const std::string& text = found->second;
    char* end = nullptr;
    errno = 0;
    const long long number = std::strtoll(text.c_str(), &end, 10);
    const bool digits = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
    if (!digits || errno != 0 || *end != '\0' || number < low || number > high)
        return fail(failure, kExitUsage, kSettingsStep,
                    std::string(name) + " must be a number from " + std::to_string(low) + " to " +
                        std::to_string(high));
    value = static_cast<long>(number);
    return true;
}

bool read_tls(const Settings& settings, const char* name, TlsMode& mode, bool& given, Failure& failure)
{
    const auto found = settings.find(name);
    given = found != settings.end();
    if (!given) return true;
    if (found->second == "none")
        mode = TlsMode::kNone;
    else if (found->second == "starttls")
        mode = TlsMode::kStartTls;
    else if (found->second == "tls")
        mode = TlsMode::kFromTheStart;
    else
        return fail(failure, kExitUsage, kSettingsStep, std::string(name) + " must be none, starttls or tls");
    return true;
}

bool read_password_source(const Settings& settings, const std::string& prefix, PasswordSource& source,
                          Failure& failure)
{
    source.command = text_of(settings, (prefix + "password-command").c_str());
    source.file = text_of(settings, (prefix + "password-file").c_str());
    if (source.command.empty() || source.file.empty()) return true;
    return fail(failure, kExitUsage, kSettingsStep,
                "give either " + prefix + "password-command or " + prefix + "password-file, not both");
}

std::string at_home(const std::string& path)
{
    const char* const home = std::getenv("HOME");
    if (path.compare(0, 2, "~/") != 0 || home == nullptr) return path;
    return home + path.substr(1);
}

bool check_texts(const Settings& settings, Failure& failure)
{
    for (const auto& [name, value] : settings)
        if (has_control(value))
            return fail(failure, kExitUsage, kSettingsStep,
                        name + " holds a line break or another control character");
    return true;
}

}  // namespace velorin::cli
