// What the tables hold: every character there and back, and nothing else. What each of them is stands in
// charset_icu_test.cpp.
#include <map>

#include <gtest/gtest.h>

#include "charset_support.h"
#include "icu_oracle.h"

namespace {

bool is_surrogate(char32_t character)
{
    return character >= 0xD800 && character <= 0xDFFF;
}

bool is_user_defined(char32_t character)
{
    return character >= 0xE000 && character <= 0xE757;
}

// The characters above ASCII that Shift_JIS reads, one octet or two, by code.
std::map<std::string, char32_t> shift_jis_table()
{
    std::map<std::string, char32_t> table;
    for (unsigned first = 0x80; first <= 0xFF; ++first) {
        for (unsigned second = 0; second <= 0xFF; ++second) {
            const std::string code = octets_of(second == 0 ? first : first << 8 | second);
            const Converted read = convert_into(kShiftJisType, kUtf8Type, code, 8);
            if (read.result != UTL_LIB_CHGC_DONE) continue;
            const std::u16string text = utf16_of(read.octets);
            if (text.size() == 1) table[code] = text[0];
        }
    }
    return table;
}

TEST(CharsetTable, EveryCharacterOfShiftJisComesBackFromEverySetThatHoldsIt)
{
    const std::map<std::string, char32_t> table = shift_jis_table();
    ASSERT_EQ(table.size(), 63U + 6879 + 83 + 374 + 388 + 1880);
    for (const auto& entry : table) {
        const std::string utf8 = utf8_of(entry.second);
        for (const int type : {kJisType, kXJisType, kShiftJisType, kMicrosoftType}) {
            for (const int source : {kShiftJisType, kUtf8Type}) {
                const Converted there = convert(source, type, source == kUtf8Type ? utf8 : entry.first);
                if (is_user_defined(entry.second) && type <= kXJisType) {
                    ASSERT_EQ(there, failed(UTL_LIB_CHGC_NO_PLACE)) << hex_of(entry.first);
                    continue;
                }
                ASSERT_EQ(there.result, UTL_LIB_CHGC_DONE) << hex_of(entry.first) << " to " << type;
                if (type == kJisType && entry.second >= 0xFF61 && entry.second <= 0xFF9F)
                    continue;  // widened
                ASSERT_EQ(convert(type, kUtf8Type, there.octets), done(utf8)) << hex_of(entry.first);
                if (source == kShiftJisType && type >= kShiftJisType) {
                    ASSERT_EQ(there.octets, entry.first) << "Shift_JIS to itself";
                }
            }
        }
        // The Latin sets hold a handful of these characters.
        for (const int type : {kLatin1Type, kLatin2Type}) {
            const Converted there = convert(kShiftJisType, type, entry.first);
            if (there.result == UTL_LIB_CHGC_DONE) {
                ASSERT_EQ(convert(type, kUtf8Type, there.octets), done(utf8)) << hex_of(entry.first);
            } else {
                ASSERT_EQ(there, failed(UTL_LIB_CHGC_NO_PLACE));
            }
        }
    }
}

TEST(CharsetTable, HoldsNothingBeyondTheBasicPlaneAndAsciiOnlyInAscii)
{
    for (char32_t character = 0x10000; character <= 0x10FFFF; character += 0x101) {
        for (const int type : kAllTypes) {
            const std::string utf8 = utf8_of(character);
            ASSERT_EQ(convert(kUtf8Type, type, utf8),
                      type == kUtf8Type ? done(utf8) : failed(UTL_LIB_CHGC_NO_PLACE))
                << std::hex << character << " to " << type;
        }
    }
    for (char32_t character = 0x80; character <= 0xFFFF; ++character) {
        if (is_surrogate(character)) continue;
        ASSERT_EQ(convert(kUtf8Type, kAsciiType, utf8_of(character)), failed(UTL_LIB_CHGC_NO_PLACE));
        ASSERT_EQ(convert(kUtf8Type, kUtf8Type, utf8_of(character)), done(utf8_of(character)));
    }
}

}  // namespace
