#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>

#include "emwCLB.h"

namespace {

int sign(int value)
{
    return (value > 0) - (value < 0);
}

TEST(CompStrCaseN, ComparesAsciiWithoutCase)
{
    const struct {
        const char* a;
        const char* b;
        std::uint32_t count;
        int expected;  // its sign
    } cases[] = {
        {"abc", "ABC", 3, 0},   {"abc", "ABC", 4, 0},   {"abc", "ABC", 0xFFFFFFFFu, 0},
        {"abc", "abd", 2, 0},   {"abc", "abd", 3, -1},  {"abd", "ABC", 3, 1},
        {"abc", "abcd", 3, 0},  {"abc", "abcd", 4, -1}, {"abcd", "abc", 4, 1},
        {"", "", 5, 0},         {"", "a", 5, -1},       {"a", "b", 0, 0},
        {"@", "`", 1, -1},                         // 0x40 and 0x60 are a case apart, but no letters
        {"[", "{", 1, -1},                         // likewise
        {"\xE0", "\xC0", 1, 1},                    // no letters in ASCII, compared as unsigned
        {"\xE0", "z", 1, 1},    {"_", "a", 1, 1},  // upper case decides: "_" is behind "A"
    };
    for (const auto& each : cases) {
        EXPECT_EQ(sign(emwCLBCompStrCaseN(each.a, each.b, each.count)), each.expected)
            << each.a << " and " << each.b << ", " << each.count;
        EXPECT_EQ(sign(emwCLBCompStrCaseN(each.b, each.a, each.count)), -each.expected)
            << each.b << " and " << each.a << ", " << each.count;
    }
}

TEST(CompStrCaseN, NullIsBelowEveryText)
{
    EXPECT_EQ(emwCLBCompStrCaseN(nullptr, nullptr, 3), 0);
    EXPECT_LT(emwCLBCompStrCaseN(nullptr, "", 3), 0);
    EXPECT_GT(emwCLBCompStrCaseN("", nullptr, 3), 0);
}

TEST(CompStrCaseN, ReadsNothingBehindTheCountOrTheNul)
{
    // Exact-size copies: an octet too many is seen by the address sanitizer.
    const std::unique_ptr<char[]> open(new char[3]{'a', 'b', 'c'});
    EXPECT_EQ(emwCLBCompStrCaseN(open.get(), "ABCD", 3), 0);
    const std::unique_ptr<char[]> ended(new char[3]{'a', 'b', '\0'});
    EXPECT_EQ(emwCLBCompStrCaseN(ended.get(), "AB", 1000), 0);
    EXPECT_LT(emwCLBCompStrCaseN(ended.get(), "ABC", 1000), 0);
}

TEST(ConvertUpper, ConvertsInPlace)
{
    char text[] = "az AZ 09 @[`{ \xE0\xFC";
    EXPECT_EQ(emwCLBConvertUpper(text), text);
    EXPECT_STREQ(text, "AZ AZ 09 @[`{ \xE0\xFC");
    char empty[] = "";
    EXPECT_EQ(emwCLBConvertUpper(empty), empty);
    EXPECT_EQ(emwCLBConvertUpper(nullptr), nullptr);
}

TEST(LocalTime, FollowsTheTimeZone)
{
    setenv("TZ", "JST-9", 1);
    const time_t seconds = 1000000000;  // 2001-09-09T01:46:40Z
    struct tm local {};
    ASSERT_EQ(emwCLBLocalTime_r(&seconds, &local), &local);
    EXPECT_EQ(local.tm_year, 101);
    EXPECT_EQ(local.tm_mon, 8);
    EXPECT_EQ(local.tm_mday, 9);
    EXPECT_EQ(local.tm_hour, 10);
    EXPECT_EQ(local.tm_min, 46);
    EXPECT_EQ(local.tm_sec, 40);
    EXPECT_EQ(local.tm_wday, 0);
    setenv("TZ", "UTC0", 1);
    ASSERT_EQ(emwCLBLocalTime_r(&seconds, &local), &local);
    EXPECT_EQ(local.tm_hour, 1);
}

// No further than 32 bits: 2147483647, 2038-01-19T03:14:07Z.
TEST(LocalTime, GoesOnWhereThirtyTwoBitsEnd)
{
    setenv("TZ", "JST-9", 1);
    const time_t seconds = 2147483648;
    struct tm local {};
    ASSERT_EQ(emwCLBLocalTime_r(&seconds, &local), &local);
    EXPECT_EQ(local.tm_year, 138);
    EXPECT_EQ(local.tm_mon, 0);
    EXPECT_EQ(local.tm_mday, 19);
    EXPECT_EQ(local.tm_hour, 12);
    EXPECT_EQ(local.tm_min, 14);
    EXPECT_EQ(local.tm_sec, 8);
    EXPECT_EQ(local.tm_wday, 2);
    setenv("TZ", "UTC0", 1);
    const time_t later = 4294967296;  // 2106-02-07T06:28:16Z
    ASSERT_EQ(emwCLBLocalTime_r(&later, &local), &local);
    EXPECT_EQ(local.tm_year, 206);
    EXPECT_EQ(local.tm_hour, 6);
}

TEST(LocalTime, RefusesNull)
{
    const time_t seconds = 0;
    struct tm local {};
    EXPECT_EQ(emwCLBLocalTime_r(nullptr, &local), nullptr);
    EXPECT_EQ(emwCLBLocalTime_r(&seconds, nullptr), nullptr);
}

}  // namespace
