#include <string>

#include <gtest/gtest.h>

#include "CntsMLUTLMailPart.h"
#include "CntsMLUTLMimeUtility.h"
#include "mlutl_support.h"
#include "octets.h"
#include "platform_double.h"

namespace velorin_test {
namespace {

using velorin::CntsMLUTLMailPart;
using velorin::CntsMLUTLMimeUtility;

TEST(EscapeDecode, KnowsTheSixteenDigitsOfAllOctets)
{
    const PlatformDouble platform;
    const std::string digits = "0123456789ABCDEF";
    for (unsigned octet = 0; octet < 256; ++octet) {
        const char c = static_cast<char>(static_cast<unsigned char>(octet));
        const std::size_t at = digits.find(c);
        const std::size_t expected = at == std::string::npos ? 0 : at;
        EXPECT_EQ(expected, CntsMLUTLMimeUtility::EscapeDecode(c)) << octet;
    }
}

// Into a block of exactly the result's size: what is written behind it is seen.
std::string unescape(const ExactText& in, int length, std::size_t expected)
{
    const ExactCopy out(std::string(expected, '#'));
    CntsMLUTLMimeUtility::EscapeStringDecode(in.data(), length, out.data());
    return std::string(out.data(), expected);
}

TEST(EscapeStringDecode, DecodesKnownTexts)
{
    const struct {
        const char* label;
        std::string in;
        std::string out;
    } cases[] = {
        {"empty", "", ""},
        {"plain", "a.pdf", "a.pdf"},
        {"escaped", "%41%42.pdf", "AB.pdf"},
        {"small digits", "%e3%81%82", "\xe3\x81\x82"},
        {"mixed digits", "%eF%Fe", "\xef\xfe"},
        {"an escaped percent sign is not looked at again", "%2541", "%41"},
        {"a NUL", "a%00b", std::string("a\0b", 3)},
        {"bad digits count as 0", "%4gx%g4%zz", std::string("\x40x\x04\0", 4)},
        {"a percent sign is a bad digit", "%%41",
         std::string("\x04"
                     "1")},
        {"a NUL is a bad digit", std::string("%\0A%3\0.", 7), std::string("\x0a\x30.", 3)},
        {"plus and underscore stay", "a+b_c", "a+b_c"},
        {"8-bit octets stay", "\xe3\x81\x82", "\xe3\x81\x82"},
    };
    const PlatformDouble platform;
    for (const auto& c : cases) {
        const ExactText in(c.in);
        EXPECT_EQ("", octet_difference(c.out, unescape(in, static_cast<int>(in.length()), c.out.size())))
            << c.label;
    }
}

TEST(EscapeStringDecode, TakesDigitsFromBehindTheLength)
{
    const PlatformDouble platform;
    const ExactText whole("ab%41cd");
    EXPECT_EQ("ab", unescape(whole, 2, 2));
    EXPECT_EQ("abA", unescape(whole, 3, 3));
    EXPECT_EQ("abA", unescape(whole, 4, 3));
    EXPECT_EQ("abA", unescape(whole, 5, 3));
    EXPECT_EQ("abAc", unescape(whole, 6, 4));
}

TEST(EscapeStringDecode, ReadsNothingBehindTheNul)
{
    const PlatformDouble platform;
    EXPECT_EQ(std::string("a\0", 2), unescape(ExactText("a%"), 2, 2));
    EXPECT_EQ("a\x40", unescape(ExactText("a%4"), 3, 2));
    EXPECT_EQ(std::string("a\0", 2), unescape(ExactText("a%"), 3, 2)) << "its NUL among them";
}

TEST(EscapeStringDecode, WritesNoNul)
{
    const PlatformDouble platform;
    char out[] = "######";
    CntsMLUTLMimeUtility::EscapeStringDecode("%41b", 4, out);
    EXPECT_STREQ("Ab####", out);
    CntsMLUTLMimeUtility::EscapeStringDecode("xyz", 0, out);
    CntsMLUTLMimeUtility::EscapeStringDecode("xyz", -1, out);
    EXPECT_STREQ("Ab####", out);
}

TEST(EscapeStringDecode, DecodesEveryOctetInBothLetterCases)
{
    const PlatformDouble platform;
    for (unsigned octet = 0; octet < 256; ++octet) {
        for (const char* const digits : {"0123456789abcdef", "0123456789ABCDEF"}) {
            const std::string in = {'%', digits[octet / 16], digits[octet % 16]};
            EXPECT_EQ(std::string(1, static_cast<char>(static_cast<unsigned char>(octet))),
                      unescape(ExactText(in), 3, 1));
        }
    }
}

struct NameCase {
    const char* label;
    const char* value;
    const char* name;
    const char* extension;  // "(null)": not set
};

void set_name(CntsMLUTLMailPart& part, const char* value)
{
    const ExactText text(value);
    CntsMLUTLMimeUtility::DecodeAndSetEscapeString(part, text.data());
}

TEST(DecodeAndSetEscapeString, SetsNameAndExtension)
{
    const NameCase cases[] = {
        {"escaped", "iso-2022-jp''%41%42.pdf", "AB.pdf", "pdf"},
        {"with a language", "utf-8'ja'%e3%81%82.txt", "\xe3\x81\x82.txt", "txt"},
        {"neither charset nor language", "''a.b", "a.b", "b"},
        {"leading blanks", "  utf-8''a.b", "a.b", "b"},
        {"up to a semicolon", "utf-8''a.b; x=c.d", "a.b", "b"},
        {"an escaped semicolon stays", "utf-8''a%3Bb.c", "a;b.c", "c"},
        {"a third quote is text", "utf-8''a'b.c", "a'b.c", "c"},
        {"the last dot counts", "''a.b.c", "a.b.c", "c"},
        {"no dot", "''abc", "abc", "(null)"},
        {"a dot in front only", "''.profile", ".profile", "(null)"},
        {"a trailing dot", "''name.", "name.", "(null)"},
        {"a trailing dot behind another", "''a.b.", "a.b.", "(null)"},
        {"two dots in front", "''..b", "..b", "b"},
        {"an escaped dot", "''a%2eb", "a.b", "b"},
        {"one character behind the dot", "''a.b", "a.b", "b"},
        {"the name is trimmed, the extension is not", "''%20 a.pdf%20", "a.pdf", "pdf "},
        {"the second character untrimmed", "'' .b", ".b", "b"},
        {"empty", "''", "", "(null)"},
        {"blanks only", "''%20%09", "", "(null)"},
        {"a NUL ends it", "''a.b%00c.d", "a.b", "b"},
        {"an escape cut by the end", "''a.b%4", "a.b@", "b@"},
        {"a percent sign at the end", "''a.b%", "a.b", "b"},
        {"an escape runs over the semicolon", "''a.b%4;x", "a.b@", "b@"},
        {"and over what follows", "''a.b%;1", "a.b\x01", "b\x01"},
    };
    for (const NameCase& c : cases) {
        SCOPED_TRACE(c.label);
        const PlatformDouble platform;
        CntsMLUTLMailPart part;
        set_name(part, c.value);
        EXPECT_EQ(c.name, text_of(part.m_cFIleName));
        EXPECT_EQ(c.extension, text_of(part.m_cExtension));
    }
}

TEST(DecodeAndSetEscapeString, KeepsAnExtensionThatTheNameDoesNotHave)
{
    const PlatformDouble platform;
    CntsMLUTLMailPart part;
    part.m_cExtension.CopyString("old", -1);
    set_name(part, "''noext");
    EXPECT_EQ("noext", text_of(part.m_cFIleName));
    EXPECT_EQ("old", text_of(part.m_cExtension));
}

TEST(DecodeAndSetEscapeString, LeavesThePartAloneWithoutAValue)
{
    PlatformDouble platform;
    CntsMLUTLMailPart part;
    part.m_cFIleName.CopyString("old.x", -1);
    part.m_cExtension.CopyString("x", -1);
    platform.expect_trace("CntsMLUTLMimeUtility::DecodeAndSetEscapeString() was passed in a NULL pointer\n");
    CntsMLUTLMimeUtility::DecodeAndSetEscapeString(part, nullptr);
    for (const char* const value : {"", "a.pdf", "utf-8'a.pdf", "'"}) {
        set_name(part, value);  // no extended value at all: silently
    }
    EXPECT_EQ("old.x", text_of(part.m_cFIleName));
    EXPECT_EQ("x", text_of(part.m_cExtension));
}

TEST(DecodeAndSetEscapeString, LeavesThePartAloneWithoutMemory)
{
    PlatformDouble platform;
    CntsMLUTLMailPart part;
    part.m_cFIleName.CopyString("old.x", -1);
    part.m_cExtension.CopyString("x", -1);
    platform.fail_allocation(1);
    platform.expect_trace("CntsMLUTLMimeUtility::DecodeAndSetEscapeString() new failed\n");
    set_name(part, "''a.pdf");
    EXPECT_TRUE(platform.allocation_failed());
    EXPECT_EQ("old.x", text_of(part.m_cFIleName));
    EXPECT_EQ("x", text_of(part.m_cExtension));
    set_name(part, "''a.pdf");
    EXPECT_EQ(2u, platform.allocations()) << "one each time";
    EXPECT_EQ(0u, platform.live_blocks());
}

}  // namespace
}  // namespace velorin_test
