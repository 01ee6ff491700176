#include "display_text.h"

#include <clocale>
#include <cwchar>

#include <locale.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "safe_name.h"
#include "utf8.h"

namespace velorin::cli {

namespace {

constexpr const char* kEllipsis = "\xE2\x80\xA6";  // one column

// Columns of a character, by the C library's table, which it has for its UTF-8 locales only.
std::size_t character_width(std::uint32_t character)
{
    static const locale_t utf8 = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    if (utf8 == nullptr) return 1;
    const locale_t before = ::uselocale(utf8);
    const int width = ::wcwidth(static_cast<wchar_t>(character));
    ::uselocale(before);
    return width < 0 ? 1 : static_cast<std::size_t>(width);
}

// Calls take(octets from where, octets, columns) for each character while it returns true.
template <typename Take>
void each_character(const std::string& text, Take take)
{
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = utf8_width(text.data() + at, text.size() - at);
        if (length == 0) return;  // not after display_text
        if (!take(at, length, character_width(utf8_character(text.data() + at, length)))) return;
        at += length;
    }
}

}  // namespace

std::string display_text(const std::string& text)
{
    std::string shown;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = utf8_width(text.data() + at, text.size() - at);
        if (length == 0 || is_deceptive(utf8_character(text.data() + at, length)))
            shown += text[at] == '\t' ? ' ' : '?';
        else
            shown.append(text, at, length);
        at += length == 0 ? 1 : length;
    }
    return shown;
}

std::size_t display_width(const std::string& text)
{
    std::size_t columns = 0;
    each_character(text, [&](std::size_t, std::size_t, std::size_t width) {
        columns += width;
        return true;
    });
    return columns;
}

std::string cut_to_width(const std::string& text, std::size_t width)
{
    if (display_width(text) <= width) return text;
    if (width == 0) return std::string();
    std::size_t columns = 1;  // of the ellipsis
    std::size_t end = 0;
    each_character(text, [&](std::size_t at, std::size_t length, std::size_t taken) {
        if (columns + taken > width) return false;
        columns += taken;
        end = at + length;
        return true;
    });
    return text.substr(0, end) + kEllipsis;
}

std::string padded(const std::string& text, std::size_t width, bool to_the_right)
{
    const std::size_t columns = display_width(text);
    const std::string blanks(columns < width ? width - columns : 0, ' ');
    return to_the_right ? blanks + text : text + blanks;
}

std::size_t terminal_width(int descriptor)
{
    struct winsize size = {};
    if (::isatty(descriptor) != 1) return 0;
    if (::ioctl(descriptor, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return 80;
    return size.ws_col;
}

}  // namespace velorin::cli
