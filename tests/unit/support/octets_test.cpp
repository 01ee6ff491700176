#include "octets.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velorin_test {
namespace {

using testing::HasSubstr;

TEST(OctetDifference, SaysNothingOfEqualOctets)
{
    EXPECT_EQ("", octet_difference("", ""));
    EXPECT_EQ("", octet_difference(std::string_view("a\0b", 3), std::string_view("a\0b", 3)));
}

TEST(OctetDifference, NamesOffsetAndBothOctets)
{
    const std::string text = octet_difference("0123456789abcdef0\r", "0123456789abcdef0\n");
    EXPECT_THAT(text, HasSubstr("expected 18 octets, got 18; first difference at offset 17 (0x11): "
                                "expected 0x0d '\\r', got 0x0a '\\n'"));
    EXPECT_THAT(text, HasSubstr("00000010  30 0d "));
    EXPECT_THAT(text, HasSubstr("00000010  30 0a "));
}

TEST(OctetDifference, NamesTheEndOfTheShorterOne)
{
    EXPECT_THAT(octet_difference("abc", "ab"), HasSubstr("offset 2 (0x2): expected 0x63 'c', got the end"));
    EXPECT_THAT(octet_difference("", "\xff"),
                HasSubstr("offset 0 (0x0): expected the end, got 0xff '\\xff'"));
}

TEST(HexDump, ShowsRowsOfSixteen)
{
    EXPECT_EQ("    00000020  41 7f 42" + std::string(3 * 13, ' ') + "  |A.B|\n", hex_dump("A\x7f"
                                                                                          "B",
                                                                                          32));
    EXPECT_EQ("    00000000  30 31 32 33 34 35 36 37 38 39 61 62 63 64 65 66  |0123456789abcdef|\n"
              "    00000010  67" +
                  std::string(3 * 15, ' ') + "  |g|\n",
              hex_dump("0123456789abcdefg"));
}

TEST(Printable, GoesThereAndBack)
{
    std::string all;
    for (int octet = 0; octet < 256; ++octet)
        all += static_cast<char>(octet);
    EXPECT_EQ("a\\r\\n\\t\\0\\\\\\x1b~\\x7f\\xe3",
              printable(std::string_view("a\r\n\t\0\\\x1b~\x7f\xe3", 10)));
    EXPECT_EQ("", octet_difference(all, from_printable(printable(all))));
    EXPECT_EQ("\\q\\x4\\", from_printable("\\q\\x4\\"));
}

}  // namespace
}  // namespace velorin_test
