// Every code and every character against ICU, an independent set of tables. What differs is listed with its
// reason, and a row of the list that no longer differs fails like a difference that is not listed.
#include <functional>
#include <map>
#include <memory>

#include <gtest/gtest.h>

#include "charset_support.h"
#include "icu_differences.h"
#include "icu_oracle.h"

namespace {

using Answer = std::function<Converted(std::uint32_t code)>;

// One way to compare: the converter by each of its types, and ICU.
struct Comparison {
    std::vector<std::uint32_t> codes;
    std::vector<Answer> ours;
    Answer icu;
    Converted refused;     // what a code gives that is nothing
    unsigned icu_answers;  // codes that ICU knows, so that none is left out unnoticed
};

std::vector<std::uint32_t> range(std::uint32_t first, std::uint32_t last)
{
    std::vector<std::uint32_t> codes;
    for (std::uint32_t code = first; code <= last; ++code)
        codes.push_back(code);
    return codes;
}

std::vector<std::uint32_t> characters()
{
    std::vector<std::uint32_t> codes = range(1, 0xD7FF);
    for (const std::uint32_t code : range(0xE000, 0xFFFF))
        codes.push_back(code);
    return codes;
}

// Single octets, and every lead of ICU's and ours with every octet behind it.
std::vector<std::uint32_t> shift_jis_codes()
{
    std::vector<std::uint32_t> codes = range(1, 0xFF);
    for (std::uint32_t lead = 0x80; lead <= 0xFF; ++lead) {
        if (lead >= 0xA1 && lead <= 0xDF) continue;
        for (std::uint32_t trail = 1; trail <= 0xFF; ++trail)
            codes.push_back(lead << 8 | trail);
    }
    return codes;
}

std::vector<std::uint32_t> jis_pairs()
{
    std::vector<std::uint32_t> codes;
    for (std::uint32_t first = 0x21; first <= 0x7E; ++first)
        for (std::uint32_t second = 0x21; second <= 0x7E; ++second)
            codes.push_back(first << 8 | second);
    return codes;
}

// Escape sequences by their grammar: up to two intermediate octets and a final one.
std::vector<std::uint32_t> switches()
{
    std::vector<std::uint32_t> codes;
    for (std::uint32_t last = 0x30; last <= 0x7E; ++last) {
        codes.push_back(last);
        for (std::uint32_t first = 0x20; first <= 0x2F; ++first) {
            codes.push_back(first << 8 | last);
            for (std::uint32_t second = 0x20; second <= 0x2F; ++second)
                codes.push_back(first << 16 | second << 8 | last);
        }
    }
    return codes;
}

Comparison reading(const char* icu_name, const std::vector<int>& types, std::vector<std::uint32_t> codes,
                   const std::string& before, const std::string& behind, unsigned icu_answers)
{
    Comparison comparison{std::move(codes), {}, {}, failed(UTL_LIB_CHGC_MALFORMED), icu_answers};
    for (const int type : types) {
        comparison.ours.push_back(
            [=](std::uint32_t code) { return convert(type, kUtf8Type, before + octets_of(code) + behind); });
    }
    const auto icu = std::make_shared<IcuOracle>(icu_name);
    comparison.icu = [=](std::uint32_t code) {
        const std::optional<std::u16string> text = icu->read(before + octets_of(code) + behind);
        return text ? done(utf8_of(*text)) : failed(UTL_LIB_CHGC_MALFORMED);
    };
    return comparison;
}

Comparison writing(const std::vector<int>& types, const Answer& icu, unsigned icu_answers)
{
    Comparison comparison{characters(), {}, icu, failed(UTL_LIB_CHGC_NO_PLACE), icu_answers};
    for (const int type : types)
        comparison.ours.push_back(
            [=](std::uint32_t code) { return convert(kUtf8Type, type, utf8_of(char32_t{code})); });
    return comparison;
}

Answer icu_writes(const char* icu_name)
{
    const auto icu = std::make_shared<IcuOracle>(icu_name);
    return [icu](std::uint32_t code) {
        const std::optional<std::string> octets = icu->write({static_cast<char16_t>(code)});
        return octets ? done(*octets) : failed(UTL_LIB_CHGC_NO_PLACE);
    };
}

// ICU prefers other sets than JIS X 0208 for some characters, so what it writes is no measure: each character
// is expected at the first place where ICU reads it.
Answer jis_by_reading(const char* icu_name)
{
    IcuOracle icu(icu_name);
    const auto places = std::make_shared<std::map<std::u16string, std::string>>();
    const auto learn = [&](const std::string& octets) {
        const std::optional<std::u16string> text = icu.read(octets);
        if (text && text->size() == 1) places->emplace(*text, octets);
    };
    for (std::uint32_t code = 1; code <= 0x7F; ++code)
        learn(octets_of(code));
    for (const std::uint32_t code : jis_pairs())
        learn("\x1B$B" + octets_of(code) + "\x1B(B");
    for (std::uint32_t code = 0x21; code <= 0x5F; ++code)
        learn("\x1B(I" + octets_of(code) + "\x1B(B");
    return [places](std::uint32_t code) {
        const auto place = places->find({static_cast<char16_t>(code)});
        return place != places->end() ? done(place->second) : failed(UTL_LIB_CHGC_NO_PLACE);
    };
}

const char* const kIcuShiftJis = "ibm-943_P15A-2003";  // its name for code page 932
const char* const kIcuJis = "ISO_2022,locale=ja,version=3";
const char* const kIcuLatin1 = "ISO-8859-1";
const char* const kIcuLatin2 = "ibm-912_P100-1995";

// JIS X 0208, row 13, the NEC selection; then what Shift_JIS alone has: IBM's rows and the user's.
constexpr unsigned kPairs = 6879 + 83 + 374;
constexpr unsigned kShiftJisPairs = kPairs + 388 + 1880;
// Codes of a character that has a lower one.
constexpr unsigned kSecondCodes = 9 + 1;  // of row 13, and the NOT SIGN of the NEC selection
constexpr unsigned kSecondShiftJisCodes = 374 + 15 + 9;

Comparison comparison_of(Way way)
{
    const std::vector<int> jis = {kJisType, kXJisType};
    const std::vector<int> shift_jis = {kShiftJisType, kMicrosoftType};
    const std::string ascii = "\x1B(B";
    // ICU knows the shifts and the line ends in every mode.
    switch (way) {
    case Way::kReadShiftJis:
        return reading(kIcuShiftJis, shift_jis, shift_jis_codes(), "", "", 127 + 63 + kShiftJisPairs);
    case Way::kReadJisPair:
        return reading(kIcuJis, jis, jis_pairs(), "\x1B$B", ascii, kPairs);
    case Way::kReadJisAscii:
        return reading(kIcuJis, jis, range(1, 0xFF), "", ascii, 126);
    case Way::kReadJisRoman:
        return reading(kIcuJis, jis, range(1, 0xFF), "\x1B(J", ascii, 126);
    case Way::kReadJisKana:
        return reading(kIcuJis, jis, range(1, 0xFF), "\x1B(I", ascii, 63 + 4);
    case Way::kReadJisShift:
        return reading(kIcuJis, jis, range(1, 0xFF), "\x0E", "\x0F", 63 + 4);
    case Way::kReadJisSwitch:
        return reading(kIcuJis, jis, switches(), "\x1B", "0!" + ascii, 0);
    case Way::kReadLatin1:
        return reading(kIcuLatin1, {kLatin1Type}, range(1, 0xFF), "", "", 255);
    case Way::kReadLatin2:
        return reading(kIcuLatin2, {kLatin2Type}, range(1, 0xFF), "", "", 255);
    case Way::kWriteShiftJis:
        return writing(shift_jis, icu_writes(kIcuShiftJis),
                       127 + 63 + kShiftJisPairs - kSecondShiftJisCodes + 1);
    case Way::kWriteIso2022Jp:
        return writing({kJisType}, jis_by_reading(kIcuJis), 124 + 63 + kPairs - kSecondCodes);
    case Way::kWriteXJis:
        return writing({kXJisType}, jis_by_reading(kIcuJis), 124 + 63 + kPairs - kSecondCodes);
    case Way::kWriteLatin1:
        return writing({kLatin1Type}, icu_writes(kIcuLatin1), 255);
    case Way::kWriteLatin2:
        return writing({kLatin2Type}, icu_writes(kIcuLatin2), 255);
    case Way::kEnd:
        break;
    }
    return {};
}

bool is_writing(Way way)
{
    return way >= Way::kWriteShiftJis;
}

// The answer to a code that a row of the list gives.
Converted listed(const IcuDifference& row, std::uint32_t code, const Comparison& comparison)
{
    if (row.ours == kRefused) return comparison.refused;
    if (row.ours == kUnsupported) return failed(UTL_LIB_CHGC_NO_PLACE);
    std::u32string text = row.ours;
    if (row.ours == kWidened) {
        const std::u16string wide = nfkc_of({static_cast<char16_t>(code)});
        text.assign(wide.begin(), wide.end());
    } else if (text.size() == 1) {
        text[0] += code - row.first;
    }
    if (is_writing(row.way)) return comparison.icu(text[0]);
    std::string utf8;
    for (const char32_t character : text)
        utf8 += utf8_of(character);
    return done(utf8);
}

const IcuDifference* find_row(Way way, std::uint32_t code)
{
    for (const IcuDifference& row : icu_differences())
        if (row.way == way && row.first <= code && code <= row.last) return &row;
    return nullptr;
}

class CharsetIcu : public testing::TestWithParam<Way> {};

TEST_P(CharsetIcu, EveryCodeIsThatOfIcuButForTheListedOnes)
{
    const Comparison comparison = comparison_of(GetParam());
    std::map<const IcuDifference*, unsigned> differences;
    unsigned icu_answers = 0;
    for (const std::uint32_t code : comparison.codes) {
        const Converted icu = comparison.icu(code);
        icu_answers += icu.result == UTL_LIB_CHGC_DONE;
        const IcuDifference* const row = find_row(GetParam(), code);
        const Converted expected = row != nullptr ? listed(*row, code, comparison) : icu;
        for (const Answer& ours : comparison.ours)
            ASSERT_EQ(ours(code), expected) << std::hex << code << ", ICU has " << icu;
        if (row != nullptr && !(expected == icu)) ++differences[row];
    }
    if (comparison.icu_answers != 0) {
        EXPECT_EQ(icu_answers, comparison.icu_answers);
    }
    for (const IcuDifference& row : icu_differences()) {
        if (row.way != GetParam()) continue;
        EXPECT_EQ(differences[&row], row.last - row.first + 1)
            << "no difference any more, or no longer at each of these: " << std::hex << row.first << " to "
            << row.last << ", " << row.reason;
    }
}

std::vector<Way> all_ways()
{
    std::vector<Way> ways;
    for (int way = 0; way < static_cast<int>(Way::kEnd); ++way)
        ways.push_back(static_cast<Way>(way));
    return ways;
}

INSTANTIATE_TEST_SUITE_P(All, CharsetIcu, testing::ValuesIn(all_ways()),
                         [](const auto& way) { return testing::PrintToString(way.param); });

// What stands behind a character of one octet is a matter of its own.
TEST(CharsetIcuShiftJis, AnOctetThatIsACharacterLeavesWhatFollowsAlone)
{
    for (std::uint32_t first = 1; first <= 0xDF; ++first) {
        if (first >= 0x80 && first <= 0xA0) continue;
        const std::string before = convert(kShiftJisType, kUtf8Type, octets_of(first)).octets;
        for (std::uint32_t second = 1; second <= 0xFF; ++second) {
            Converted expected = convert(kShiftJisType, kUtf8Type, octets_of(second));
            if (expected.result == UTL_LIB_CHGC_DONE) expected.octets.insert(0, before);
            ASSERT_EQ(convert(kShiftJisType, kUtf8Type, octets_of(first << 8 | second)), expected)
                << std::hex << first << " " << second;
        }
    }
}

// Three runs, each in a mode of its own, cut at every octet.
TEST(CharsetIcuJis, EverySequenceOfSwitchesIsReadAsIcuReadsItWhereverItIsCut)
{
    const std::string runs[] = {
        "a",                             // the mode before
        "\x1B(Bb\\~",                    // ASCII
        "\x1B(Jc",                       // Roman
        "\x1B(I1_",                      // kana
        "\x1B$@0!",                      // 1978
        "\x1B$BF|K\\",                   // 1983
        std::string("\x1B&@\x1B$B$\""),  // 1990
        "\x0E"
        "13\x0F",  // kana by shift-out
        "\r\n",
    };
    IcuOracle icu(kIcuJis);
    unsigned whole = 0;
    unsigned broken = 0;
    for (const std::string& first : runs) {
        for (const std::string& second : runs) {
            for (const std::string& third : runs) {
                const std::string text = first + second + third;
                for (std::size_t cut = 1; cut <= text.size(); ++cut) {
                    const std::optional<std::u16string> expected = icu.read(text.substr(0, cut));
                    ASSERT_EQ(convert(kJisType, kUtf8Type, text.substr(0, cut)),
                              expected ? done(utf8_of(*expected)) : failed(UTL_LIB_CHGC_MALFORMED))
                        << hex_of(text.substr(0, cut));
                    expected ? ++whole : ++broken;
                }
            }
        }
    }
    EXPECT_GT(whole, 1000U);
    EXPECT_GT(broken, 1000U);
}

}  // namespace
