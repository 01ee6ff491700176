#include <gtest/gtest.h>

#include "CntsMLUTLMimeUtility.h"
#include "platform_double.h"

namespace velorin_test {
namespace {

using velorin::CntsMLUTLMimeUtility;

// By rows and cells: two rows of 94 cells share a first octet, the first of them in the lower half of its
// second octets. Outside the cells, what the arithmetic yields without looking.
unsigned model(unsigned jis)
{
    const int first = static_cast<int>(jis / 256);
    const int second = static_cast<int>(jis % 256);
    if (second < 0x21) return 0;
    const bool is_odd = first % 2 != 0;
    if (!is_odd && second > 0x7F) return 0;
    const int pair = (first + 1) / 2 - 0x10;  // 1 for 0x21 and 0x22
    if (pair < 1 || pair > 47) return 0;      // 0x21 to 0x7E
    const int lead = pair <= 31 ? 0x80 + pair : 0xC0 + pair;
    if (lead > 0xEF) return 0;
    int trail = 0x9F + (second - 0x21);
    if (is_odd) {
        trail = 0x40 + (second - 0x21);
        if (trail >= 0x7F) ++trail;  // 0x7F is left out
    }
    return static_cast<unsigned>(lead * 256 + trail) & 0xFFFF;
}

TEST(CodeConvertJis2Sjis, AgreesWithTheModelForEveryNumber)
{
    const PlatformDouble platform;
    for (unsigned jis = 0; jis <= 0xFFFF; ++jis) {
        ASSERT_EQ(model(jis), CntsMLUTLMimeUtility::CodeConvertJis2Sjis(static_cast<unsigned short>(jis)))
            << std::hex << jis;
    }
}

TEST(CodeConvertJis2Sjis, ConvertsKnownCodes)
{
    const struct {
        const char* label;
        unsigned short jis;
        unsigned short sjis;
    } cases[] = {
        {"hiragana", 0x2422, 0x82A0},
        {"the first kanji", 0x3021, 0x889F},
        {"the last kanji", 0x7426, 0xEAA4},
        {"the first cell", 0x2121, 0x8140},
        {"around the trail octet that is left out", 0x215F, 0x817E},
        {"the next", 0x2160, 0x8180},
        {"the last cell of a row", 0x217E, 0x819E},
        {"its next row", 0x2221, 0x819F},
        {"the last below the half-width kana", 0x5E7E, 0x9FFC},
        {"the first above", 0x5F21, 0xE040},
        {"the last row", 0x7E7E, 0xEFFC},
        {"below the cells", 0x2420, 0},
        {"no cell at all", 0x2400, 0},
        {"first octet too low", 0x2021, 0},
        {"first octet too high", 0x7F21, 0},
        {"nothing", 0x0000, 0},
        {"first octet zero", 0x0021, 0},
        {"0x7F passes for a cell of an odd row", 0x217F, 0x819F},
        {"0x7F passes for a cell of an even row", 0x227F, 0x81FD},
        {"above it an even row refuses", 0x2280, 0},
        {"an odd row does not", 0x2180, 0x81A0},
        {"the highest carries into the lead", 0x21E0, 0x8200},
        {"and further", 0x21FF, 0x821F},
    };
    const PlatformDouble platform;
    for (const auto& c : cases) {
        EXPECT_EQ(c.sjis, CntsMLUTLMimeUtility::CodeConvertJis2Sjis(c.jis)) << c.label;
    }
}

TEST(Jis2Sjis, HoldsAPlaceAndTouchesNothing)
{
    const PlatformDouble platform;
    char before[] = "before";
    char* out = before;
    long length = -5;
    EXPECT_EQ(1, CntsMLUTLMimeUtility::Jis2Sjis("\x1b$B$\"\x1b(B", 8, out, length));
    EXPECT_EQ(before, out);
    EXPECT_STREQ("before", before);
    EXPECT_EQ(-5, length);
    EXPECT_EQ(1, CntsMLUTLMimeUtility::Jis2Sjis(nullptr, -1, out, length));
    EXPECT_EQ(0u, platform.allocations());
}

}  // namespace
}  // namespace velorin_test
