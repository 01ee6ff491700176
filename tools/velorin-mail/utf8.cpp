#include "utf8.h"

namespace velorin::cli {

namespace {

unsigned octet_at(const char* text, std::size_t index)
{
    return static_cast<unsigned char>(text[index]);
}

// Octets of the character that a lead octet begins; 0: not a lead octet.
std::size_t width_of_lead(unsigned lead)
{
    if (lead < 0x80) return 1;
    if (lead >= 0xC2 && lead <= 0xDF) return 2;
    if (lead >= 0xE0 && lead <= 0xEF) return 3;
    if (lead >= 0xF0 && lead <= 0xF4) return 4;
    return 0;
}

// The second octet has a range of its own after some leads: no long forms, no surrogates, nothing past
// U+10FFFF.
bool second_fits(unsigned lead, unsigned second)
{
    if (lead == 0xE0) return second >= 0xA0 && second <= 0xBF;
    if (lead == 0xED) return second >= 0x80 && second <= 0x9F;
    if (lead == 0xF0) return second >= 0x90 && second <= 0xBF;
    if (lead == 0xF4) return second >= 0x80 && second <= 0x8F;
    return second >= 0x80 && second <= 0xBF;
}

bool followers_fit(const char* text, std::size_t count)
{
    if (count > 1 && !second_fits(octet_at(text, 0), octet_at(text, 1))) return false;
    for (std::size_t i = 2; i < count; ++i)
        if ((octet_at(text, i) & 0xC0) != 0x80) return false;
    return true;
}

}  // namespace

std::size_t utf8_width(const char* text, std::size_t left)
{
    if (left == 0) return 0;
    const std::size_t width = width_of_lead(octet_at(text, 0));
    if (width == 0 || width > left || !followers_fit(text, width)) return 0;
    return width;
}

std::uint32_t utf8_character(const char* text, std::size_t width)
{
    if (width == 1) return octet_at(text, 0);
    std::uint32_t character = octet_at(text, 0) & (0xFFu >> (width + 1));
    for (std::size_t i = 1; i < width; ++i)
        character = character << 6 | (octet_at(text, i) & 0x3F);
    return character;
}

bool utf8_is_begun(const char* text, std::size_t left)
{
    return left > 0 && width_of_lead(octet_at(text, 0)) > left && followers_fit(text, left);
}

bool is_utf8(const std::string& text)
{
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t width = utf8_width(text.data() + at, text.size() - at);
        if (width == 0) return false;
        at += width;
    }
    return true;
}

std::size_t whole_utf8(const std::string& text)
{
    constexpr std::size_t kLongestCharacter = 4;  // octets
    for (std::size_t back = 1; back < kLongestCharacter && back <= text.size(); ++back) {
        const std::size_t at = text.size() - back;
        if (utf8_is_begun(text.data() + at, back)) return at;
    }
    return text.size();
}

bool utf8_is_sound_mark(const char* text, std::size_t width)
{
    const std::uint32_t character = utf8_character(text, width);
    return character == 0xFF9E || character == 0xFF9F;
}

std::size_t utf8_unit(const char* text, std::size_t left)
{
    std::size_t unit = utf8_width(text, left);
    while (unit < left) {
        const std::size_t width = utf8_width(text + unit, left - unit);
        if (width == 0 || !utf8_is_sound_mark(text + unit, width)) break;
        unit += width;
    }
    return unit;
}

}  // namespace velorin::cli
