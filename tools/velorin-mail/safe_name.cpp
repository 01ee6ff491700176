#include "safe_name.h"

#include <algorithm>

#include "utf8.h"

namespace velorin::cli {

namespace {

constexpr std::size_t kMaxExtension = 16;  // octets, the dot included; longer ones are no extensions
constexpr std::size_t kMaxUid = 80;        // octets; RFC 1939 has 70

// Where the extension begins; the end when there is none.
std::size_t extension_at(const std::string& name)
{
    const std::size_t dot = name.rfind('.');
    const bool has_one = dot != std::string::npos && dot > 0 && name.size() - dot <= kMaxExtension;
    return has_one ? dot : name.size();
}

// The last place at or before `limit` where a character ends.
std::size_t cut_at(const std::string& text, std::size_t limit)
{
    std::size_t cut = std::min(limit, text.size());
    while (cut > 0 && cut < text.size() && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80)
        --cut;
    return cut;
}

std::string without_blanks_behind(const std::string& text)
{
    return text.substr(0, text.find_last_not_of(' ') + 1);  // npos + 1 is 0
}

std::string last_component(const std::string& path)
{
    return path.substr(path.find_last_of("/\\") + 1);  // npos + 1 is 0
}

}  // namespace

bool is_deceptive(std::uint32_t character)
{
    return character < 0x20 || (character >= 0x7F && character < 0xA0) || character == 0x061C ||
           character == 0x200E || character == 0x200F || (character >= 0x2028 && character <= 0x202E) ||
           (character >= 0x2066 && character <= 0x2069) || character == 0xFEFF;
}

std::string safe_name(const std::string& wanted, std::size_t limit)
{
    const std::string name = last_component(wanted);
    std::string safe;
    for (std::size_t at = 0; at < name.size();) {
        const std::size_t width = utf8_width(name.data() + at, name.size() - at);
        if (width == 0 || is_deceptive(utf8_character(name.data() + at, width)))
            safe += '_';
        else
            safe.append(name, at, width);
        at += std::max<std::size_t>(width, 1);
    }
    safe = without_blanks_behind(safe);
    for (std::size_t at = 0; at < safe.size() && (safe[at] == '.' || safe[at] == '-' || safe[at] == ' ');
         ++at)
        safe[at] = '_';
    if (safe.size() <= limit) return safe;
    const std::string extension = safe.substr(extension_at(safe));
    const std::size_t front = extension.size() < limit ? cut_at(safe, limit - extension.size()) : 0;
    if (front > 0) return without_blanks_behind(safe.substr(0, front) + extension);
    return without_blanks_behind(safe.substr(0, cut_at(safe, limit)));
}

std::string numbered_name(const std::string& name, unsigned number)
{
    const std::size_t at = extension_at(name);
    return name.substr(0, at) + "-" + std::to_string(number) + name.substr(at);
}

std::string name_of_uid(const std::string& uid)
{
    std::string name = uid.substr(0, kMaxUid);
    for (char& c : name) {
        const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                           c == '-' || c == '_' || c == '.';
        if (!plain) c = '_';
    }
    return name;
}

}  // namespace velorin::cli
