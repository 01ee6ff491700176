// Every code and every character against ICU, an independent set of tables. What differs is listed with its
// reason.
#include <map>
#include <set>

#include <gtest/gtest.h>

#include "charset_support.h"
#include "icu_oracle.h"

namespace {

const char* const kIcuShiftJis = "ibm-943_P15A-2003";  // its name for code page 932
const char* const kIcuJis = "ISO_2022,locale=ja,version=3";

std::string octets_of(unsigned first, unsigned second)
{
    return {static_cast<char>(static_cast<unsigned char>(first)),
            static_cast<char>(static_cast<unsigned char>(second))};
}

// ICU's code page gives three control characters the order of the IBM PC; mail knows them as ASCII has them.
char16_t without_pc_controls(char16_t character)
{
    return character == 0x1C ? 0x1A : character == 0x7F ? 0x1C : character == 0x1A ? 0x7F : character;
}

// Unicode's names for Japanese characters that the code page knows by another. ICU refuses them or, in its
// JIS, leaves JIS X 0208 for their sake.
const std::map<char32_t, char32_t>& aliases()
{
    static const std::map<char32_t, char32_t> table = {
        {0x301C, 0xFF5E}, {0x2016, 0x2225}, {0x2212, 0xFF0D}, {0x2014, 0x2015}, {0x00A2, 0xFFE0},
        {0x00A3, 0xFFE1}, {0x00A5, 0xFFE5}, {0x00A6, 0xFFE4}, {0x00AC, 0xFFE2}, {0x203E, 0xFFE3},
    };
    return table;
}

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
            const std::string code =
                second == 0 ? octets_of(first, 0).substr(0, 1) : octets_of(first, second);
            const Converted read = convert_into(kShiftJisType, kUtf8Type, code, 8);
            if (read.result != UTL_LIB_CHGC_DONE) continue;
            const std::u16string text = utf16_of(read.octets);
            if (text.size() == 1) table[code] = text[0];
        }
    }
    return table;
}

TEST(CharsetTable, ReadsEveryShiftJisCodeAsIcuDoes)
{
    IcuOracle icu(kIcuShiftJis);
    unsigned characters = 0;
    for (const int type : {kShiftJisType, kMicrosoftType}) {
        for (unsigned first = 1; first <= 0xFF; ++first) {
            for (unsigned second = 0; second <= 0xFF; ++second) {
                std::string code = octets_of(first, second);
                if (second == 0) code.pop_back();
                std::optional<std::u16string> expected = icu.read(code);
                if (expected) {
                    for (char16_t& character : *expected)
                        character = without_pc_controls(character);
                    characters += expected->size() == 1;
                }
                const Converted read = convert(type, kUtf8Type, code);
                ASSERT_EQ(read, expected ? done(utf8_of(*expected)) : failed(UTL_LIB_CHGC_MALFORMED))
                    << hex_of(code);
            }
        }
    }
    // Both types: ASCII, half-width kana, 6879 cells of JIS X 0208, 83 of NEC row 13, 374 of the NEC
    // selection, 388 extensions of IBM and 1880 user-defined cells.
    EXPECT_EQ(characters, 2U * (127 + 63 + 6879 + 83 + 374 + 388 + 1880));
}

TEST(CharsetTable, WritesEveryCharacterToShiftJisAsIcuDoes)
{
    IcuOracle icu(kIcuShiftJis);
    unsigned written = 0;
    for (char32_t character = 1; character <= 0xFFFF; ++character) {
        if (is_surrogate(character)) continue;
        const auto alias = aliases().find(character);
        const char32_t name = alias != aliases().end() ? alias->second : character;
        // ICU refuses a character, or drops it without a word where it is invisible: both are refused here.
        std::string expected = icu.write({static_cast<char16_t>(name)}).value_or("");
        if (expected.size() == 1) {
            const char16_t octet = static_cast<unsigned char>(expected[0]);
            expected[0] = static_cast<char>(without_pc_controls(without_pc_controls(octet)));  // the way back
        }
        if (character == 0xF86F) expected.clear();  // another vendor's private character, U+2116 to ICU
        const Converted result = convert(kUtf8Type, kShiftJisType, utf8_of(character));
        ASSERT_EQ(result, !expected.empty() ? done(expected) : failed(UTL_LIB_CHGC_NO_PLACE))
            << std::hex << character;
        written += expected.empty() ? 0 : 1;
    }
    // The NEC selection, 15 of IBM's extensions and 9 of row 13 are second codes of a character; 10 are
    // aliases.
    EXPECT_EQ(written, 127U + 63 + 6879 + 83 + 374 + 388 + 1880 - 374 - 15 - 9 + 10);
}

TEST(CharsetTable, ReadsEveryPairOfJisAsIcuReadsTheSameCellInShiftJis)
{
    IcuOracle icu(kIcuShiftJis);
    unsigned characters = 0;
    for (unsigned row = 1; row <= 94; ++row) {
        for (unsigned cell = 1; cell <= 94; ++cell) {
            const unsigned lead = (row - 1) / 2 + (row <= 62 ? 0x81 : 0xC1);
            const unsigned trail = row % 2 == 0 ? cell + 0x9E : cell <= 63 ? cell + 0x3F : cell + 0x40;
            const std::optional<std::u16string> expected = icu.read(octets_of(lead, trail));
            characters += expected ? 1 : 0;
            const std::string text = "\x1B$B" + octets_of(row + 0x20, cell + 0x20) + "\x1B(B";
            for (const int type : {kJisType, kXJisType}) {
                ASSERT_EQ(convert(type, kUtf8Type, text),
                          expected ? done(utf8_of(*expected)) : failed(UTL_LIB_CHGC_MALFORMED))
                    << row << "-" << cell;
            }
        }
    }
    EXPECT_EQ(characters, 6879U + 83 + 374);
}

TEST(CharsetTable, ReadsEveryPairThatIcuReadsInJis)
{
    IcuOracle icu(kIcuJis);
    unsigned characters = 0;
    for (unsigned first = 0x21; first <= 0x7E; ++first) {
        for (unsigned second = 0x21; second <= 0x7E; ++second) {
            const std::string text = "\x1B$B" + octets_of(first, second) + "\x1B(B";
            const std::optional<std::u16string> expected = icu.read(text);
            if (!expected) continue;
            ++characters;
            ASSERT_EQ(convert(kJisType, kUtf8Type, text), done(utf8_of(*expected))) << hex_of(text);
        }
    }
    EXPECT_GE(characters, 6879U);
}

TEST(CharsetTable, IcuReadsEveryCharacterThatIsWrittenToJis)
{
    IcuOracle icu(kIcuJis);
    for (const int type : {kJisType, kXJisType}) {
        unsigned written = 0;
        for (char32_t character = 0x80; character <= 0xFFFF; ++character) {
            if (is_surrogate(character)) continue;
            const Converted result = convert(kUtf8Type, type, utf8_of(character));
            if (result.result != UTL_LIB_CHGC_DONE) {
                ASSERT_EQ(result.result, UTL_LIB_CHGC_NO_PLACE) << std::hex << character;
                continue;
            }
            ++written;
            const auto alias = aliases().find(character);
            std::u16string expected(
                1, static_cast<char16_t>(alias != aliases().end() ? alias->second : character));
            if (type == kJisType && character >= 0xFF61 && character <= 0xFF9F) {
                expected = nfkc_of(expected);
                if (character == 0xFF9E) expected = u"\u309B";  // NFKC has the combining mark
                if (character == 0xFF9F) expected = u"\u309C";
            }
            const std::optional<std::u16string> read = icu.read(result.octets);
            ASSERT_TRUE(read) << std::hex << character << hex_of(result.octets);
            ASSERT_EQ(*read, expected) << std::hex << character << hex_of(result.octets);
            ASSERT_EQ(result.octets.substr(result.octets.size() - 3), "\x1B(B");
        }
        // JIS X 0208 and rows 13 and 89 to 92 without what stands in a lower row already; kana; aliases.
        EXPECT_EQ(written, 6879U + 83 - 9 + 374 - 1 + 63 + 10) << type;
    }
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

TEST(CharsetTable, ReadsAndWritesTheLatinSetsAsIcuDoes)
{
    const struct {
        int type;
        const char* icu_name;
    } sets[] = {{kLatin1Type, "ISO-8859-1"}, {kLatin2Type, "ibm-912_P100-1995"}};
    for (const auto& set : sets) {
        IcuOracle icu(set.icu_name);
        std::set<char32_t> readable;
        for (unsigned octet = 1; octet <= 0xFF; ++octet) {
            const std::string code(1, static_cast<char>(static_cast<unsigned char>(octet)));
            const std::optional<std::u16string> expected = icu.read(code);
            ASSERT_TRUE(expected);
            readable.insert(expected->front());
            ASSERT_EQ(convert(set.type, kUtf8Type, code), done(utf8_of(*expected))) << octet;
            ASSERT_EQ(convert(kUtf8Type, set.type, utf8_of(*expected)), done(code)) << octet;
        }
        ASSERT_EQ(readable.size(), 255U);
        for (char32_t character = 1; character <= 0x10FFFF; character += character < 0xFFFF ? 1 : 0x1001) {
            if (is_surrogate(character) || readable.count(character) != 0) continue;
            ASSERT_EQ(convert(kUtf8Type, set.type, utf8_of(character)), failed(UTL_LIB_CHGC_NO_PLACE))
                << std::hex << character;
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
