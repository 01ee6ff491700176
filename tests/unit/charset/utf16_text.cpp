#include "charset_support.h"
#include "icu_oracle.h"

std::string utf8_of(const std::u16string& text)
{
    std::string octets;
    for (std::size_t at = 0; at < text.size(); ++at) {
        char32_t character = text[at];
        const bool leads = character >= 0xD800 && character <= 0xDBFF;
        if (leads && at + 1 < text.size() && text[at + 1] >= 0xDC00 && text[at + 1] <= 0xDFFF) {
            ++at;
            character = 0x10000 + ((character & 0x3FF) << 10) + (text[at] & 0x3FFU);
        }
        octets += utf8_of(character);
    }
    return octets;
}

std::u16string utf16_of(const std::string& octets)
{
    std::u16string text;
    for (std::size_t at = 0; at < octets.size();) {
        const char32_t lead = static_cast<unsigned char>(octets[at++]);
        const int behind = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : lead >= 0xC0 ? 1 : 0;
        char32_t character = behind == 0 ? lead : lead & (0x3FU >> behind);
        for (int left = behind; left > 0 && at < octets.size(); --left)
            character = character << 6 | (static_cast<unsigned char>(octets[at++]) & 0x3FU);
        if (character < 0x10000) {
            text += static_cast<char16_t>(character);
        } else {
            text += static_cast<char16_t>(0xD7C0 + (character >> 10));
            text += static_cast<char16_t>(0xDC00 + (character & 0x3FF));
        }
    }
    return text;
}
