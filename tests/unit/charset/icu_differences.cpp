#include "icu_differences.h"

#include <ostream>

const char32_t* const kRefused = U"refused";
const char32_t* const kUnsupported = U"unsupported";
const char32_t* const kWidened = U"widened";

namespace {

const char kPcControls[] = "ICU has these controls in the order of the IBM PC; mail knows them as ASCII does";
const char kAlias[] = "Unicode's own name of a character that code page 932 knows by another";
const char kForeignPrivate[] = "another vendor's private character, U+2116 to ICU";
const char kEightBitKana[] = "half-width kana with the eighth bit set, as old mailers send them";
const char kControlsStay[] = "controls and the blank are the same whatever mode the writer forgot to leave";
const char kAsciiRoman[] = "the Roman set's yen sign and overline are mail's backslash and tilde";
const char kNoHalfWidth[] = "ISO-2022-JP has no half-width kana";
const char kSpacingMark[] = "Unicode composes to a mark that combines; the set has the one that stands alone";
const char kFourOctets[] = "the four-octet form of the switch, which some mailers write";
const char kAnnouncement[] = "ESC & @ only announces the revision of the set that ESC $ B selects";
const char kOtherNation[] = "a set of ISO-2022-JP-2 that is not Japanese";
const char kSupplementary[] = "known, so that the answer names it, but there are no tables of JIS X 0212";

constexpr std::uint32_t switch_code(char first, char second, char third = 0)
{
    const std::uint32_t two = static_cast<std::uint32_t>(first) << 8 | static_cast<std::uint32_t>(second);
    return third == 0 ? two : two << 8 | static_cast<std::uint32_t>(third);
}

std::vector<IcuDifference> make_list()
{
    std::vector<IcuDifference> list = {
        {Way::kReadShiftJis, 0x1A, 0x1A, U"\x1A", kPcControls},
        {Way::kReadShiftJis, 0x1C, 0x1C, U"\x1C", kPcControls},
        {Way::kReadShiftJis, 0x7F, 0x7F, U"\x7F", kPcControls},

        {Way::kReadJisAscii, 0xA1, 0xDF, U"\uFF61", kEightBitKana},
        {Way::kReadJisRoman, 0x5C, 0x5C, U"\\", kAsciiRoman},
        {Way::kReadJisRoman, 0x7E, 0x7E, U"~", kAsciiRoman},
        {Way::kReadJisRoman, 0xA1, 0xDF, U"\uFF61", kEightBitKana},
        {Way::kReadJisKana, 0xA1, 0xDF, U"\uFF61", kEightBitKana},
        {Way::kReadJisShift, 0xA1, 0xDF, U"\uFF61", kEightBitKana},

        {Way::kReadJisSwitch, switch_code('$', '(', '@'), switch_code('$', '(', '@'), U"\u4E9C", kFourOctets},
        {Way::kReadJisSwitch, switch_code('$', '(', 'B'), switch_code('$', '(', 'B'), U"\u4E9C", kFourOctets},
        {Way::kReadJisSwitch, switch_code('$', '(', 'C'), switch_code('$', '(', 'C'), kRefused, kOtherNation},
        {Way::kReadJisSwitch, switch_code('$', '(', 'D'), switch_code('$', '(', 'D'), kUnsupported,
         kSupplementary},
        {Way::kReadJisSwitch, switch_code('$', 'A'), switch_code('$', 'A'), kRefused, kOtherNation},
        {Way::kReadJisSwitch, switch_code('&', '@'), switch_code('&', '@'), U"0!", kAnnouncement},
        {Way::kReadJisSwitch, switch_code('.', 'A'), switch_code('.', 'A'), kRefused, kOtherNation},
        {Way::kReadJisSwitch, switch_code('.', 'F'), switch_code('.', 'F'), kRefused, kOtherNation},

        {Way::kWriteShiftJis, 0x1A, 0x1A, U"\x1C", kPcControls},  // ICU's octet for it
        {Way::kWriteShiftJis, 0x1C, 0x1C, U"\x7F", kPcControls},
        {Way::kWriteShiftJis, 0x7F, 0x7F, U"\x1A", kPcControls},
        {Way::kWriteShiftJis, 0xF86F, 0xF86F, kUnsupported, kForeignPrivate},

        {Way::kWriteIso2022Jp, 0xFF61, 0xFF9D, kWidened, kNoHalfWidth},
        {Way::kWriteIso2022Jp, 0xFF9E, 0xFF9E, U"\u309B", kSpacingMark},
        {Way::kWriteIso2022Jp, 0xFF9F, 0xFF9F, U"\u309C", kSpacingMark},
    };
    for (const Way way : {Way::kReadJisKana, Way::kReadJisShift}) {
        const std::uint32_t ranges[][2] = {
            {0x01, 0x09}, {0x0B, 0x0C}, {0x10, 0x1A}, {0x1C, 0x20}, {0x7F, 0x7F}};
        const char32_t* const texts[] = {U"\x01", U"\x0B", U"\x10", U"\x1C", U"\x7F"};
        for (int i = 0; i < 5; ++i)
            list.push_back({way, ranges[i][0], ranges[i][1], texts[i], kControlsStay});
    }
    for (const Way way : {Way::kWriteShiftJis, Way::kWriteIso2022Jp, Way::kWriteXJis}) {
        const struct {
            char32_t name;
            const char32_t* written_as;
        } aliases[] = {
            {0x00A2, U"\uFFE0"}, {0x00A3, U"\uFFE1"}, {0x00A5, U"\uFFE5"}, {0x00A6, U"\uFFE4"},
            {0x00AC, U"\uFFE2"}, {0x2014, U"\u2015"}, {0x2016, U"\u2225"}, {0x203E, U"\uFFE3"},
            {0x2212, U"\uFF0D"}, {0x301C, U"\uFF5E"},
        };
        for (const auto& alias : aliases)
            list.push_back({way, alias.name, alias.name, alias.written_as, kAlias});
    }
    return list;
}

}  // namespace

const std::vector<IcuDifference>& icu_differences()
{
    static const std::vector<IcuDifference> list = make_list();
    return list;
}

std::ostream& operator<<(std::ostream& stream, Way way)
{
    static const char* const names[] = {
        "ReadShiftJis",   "ReadJisPair",   "ReadJisAscii", "ReadJisRoman", "ReadJisKana",
        "ReadJisShift",   "ReadJisSwitch", "ReadLatin1",   "ReadLatin2",   "WriteShiftJis",
        "WriteIso2022Jp", "WriteXJis",     "WriteLatin1",  "WriteLatin2",
    };
    static_assert(sizeof names / sizeof *names == static_cast<std::size_t>(Way::kEnd), "one name for each");
    return stream << names[static_cast<std::size_t>(way)];
}
