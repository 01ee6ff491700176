#include <string>

#include <gtest/gtest.h>

#include "CntsMLUTLMimeUtility.h"
#include "handed_over.h"
#include "mlutl_support.h"
#include "octets.h"
#include "platform_double.h"

namespace velorin_test {
namespace {

using velorin::CntsMLUTLMimeUtility;

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// In one line, then cut into lines.
std::string model_encode(std::string_view in, int line_length)
{
    const std::string flat = base64_of(in);
    const std::size_t line = line_length < 4 ? 0 : static_cast<std::size_t>(line_length) / 4 * 4;
    if (line == 0) return flat;
    std::string folded;
    for (std::size_t at = 0; at < flat.size(); at += line)
        folded += (at == 0 ? "" : "\r\n") + flat.substr(at, line);
    return folded;
}

// Every accepted character adds six bits, a NUL six zero bits; octets are taken off in front.
std::string model_decode(std::string_view in)
{
    std::string out;
    unsigned bits = 0;
    int count = 0;
    for (const char c : in) {
        const std::string_view alphabet(kAlphabet, 64);
        const std::size_t value = c == '\0' ? 0 : alphabet.find(c);
        if (value == std::string_view::npos) continue;
        bits = (bits << 6 | static_cast<unsigned>(value)) & 0xffff;
        count += 6;
        if (count >= 8) {
            count -= 8;
            out += static_cast<char>(static_cast<unsigned char>(bits >> count & 0xff));
        }
    }
    return out;
}

std::string encode(std::string_view in, int line_length)
{
    const ExactCopy input(in);
    char* out = nullptr;
    long length = -1;
    const int code = CntsMLUTLMimeUtility::ToB64(input.data(), input.length(), out, length, line_length);
    EXPECT_EQ(1, code);
    return handed_over(code, out, length).text;
}

std::string decode(std::string_view in)
{
    const ExactCopy input(in);
    void* out = nullptr;
    long length = -1;
    const int code = CntsMLUTLMimeUtility::FromB64(input.data(), input.length(), out, length);
    EXPECT_EQ(1, code);
    return handed_over(code, out, length).text;
}

TEST(Base64Alphabet, IsTheStandardOneWithANul)
{
    EXPECT_STREQ(kAlphabet, CntsMLUTLMimeUtility::pszBase64Seed);
}

TEST(Base64Seed2Index, GivesThePositionOfEveryCharacter)
{
    for (int octet = 0; octet < 256; ++octet) {
        const char c = static_cast<char>(static_cast<unsigned char>(octet));
        int expected = 255;
        for (int i = 0; i < 64; ++i)
            if (kAlphabet[i] == c) expected = i;
        if (octet == 0) expected = 64;  // the search finds the alphabet's own NUL
        EXPECT_EQ(expected, CntsMLUTLMimeUtility::Base64Seed2Index(c)) << "octet " << octet;
    }
}

TEST(ToB64, EncodesKnownTexts)
{
    const struct {
        const char* label;
        std::string in;
        int line;
        std::string out;
    } cases[] = {
        {"empty without lines", "", 0, ""},
        {"empty, negative line", "", -76, ""},
        {"empty, line below four", "", 3, ""},
        {"one octet", "f", 0, "Zg=="},
        {"two octets", "fo", 0, "Zm8="},
        {"three octets", "foo", 0, "Zm9v"},
        {"four octets", "abcd", 0, "YWJjZA=="},
        {"six octets", "foobar", 0, "Zm9vYmFy"},
        {"NULs", std::string(3, '\0'), 0, "AAAA"},
        {"all ones", "\xff\xff\xff", 0, "////"},
        {"62 and 63", "\xfb\xff\xbf", 0, "+/+/"},
        {"a line of four", "foobar", 4, "Zm9v\r\nYmFy"},
        {"five rounds down to four", "foobar", 5, "Zm9v\r\nYmFy"},
        {"seven rounds down to four", "foobar", 7, "Zm9v\r\nYmFy"},
        {"three: no lines", "foobar", 3, "Zm9vYmFy"},
        {"one: no lines", "foobar", 1, "Zm9vYmFy"},
        {"negative: no lines", "foobar", -4, "Zm9vYmFy"},
        {"the largest negative", "foobar", -2147483647 - 1, "Zm9vYmFy"},
        {"the largest line", "foobar", 2147483647, "Zm9vYmFy"},
        {"exactly one line", "foobar", 8, "Zm9vYmFy"},
        {"a padded second line", "fooba", 4, "Zm9v\r\nYmE="},
    };
    PlatformDouble platform;
    for (const auto& c : cases)
        EXPECT_EQ(c.out, encode(c.in, c.line)) << c.label;
}

TEST(ToB64, BreaksLinesOnlyBetweenThem)
{
    PlatformDouble platform;
    const std::string one_line = encode(std::string(57, 'x'), 76);
    EXPECT_EQ(76u, one_line.size());
    EXPECT_EQ(std::string::npos, one_line.find('\r'));
    const std::string two_lines = encode(std::string(58, 'x'), 76);
    EXPECT_EQ(82u, two_lines.size());
    EXPECT_EQ(76u, two_lines.find("\r\n"));
    EXPECT_EQ(std::string::npos, two_lines.find('\r', 77));
    EXPECT_EQ(72u, encode(std::string(58, 'x'), 75).find("\r\n"));  // 75 is rounded down
}

TEST(ToB64, AgreesWithTheModelForEveryLengthAndLine)
{
    PlatformDouble platform;
    PseudoRandom random(20240607);
    for (std::size_t length = 0; length <= 200; ++length) {
        const std::string in = random.octets(length);
        for (int line = 0; line <= 80; ++line) {
            if (length == 0 && line >= 4) continue;  // refused, see below
            ASSERT_EQ("", octet_difference(model_encode(in, line), encode(in, line)))
                << length << " octets in lines of " << line;
        }
    }
}

TEST(ToB64, IsReadBackWhateverTheOctets)
{
    PlatformDouble platform;
    PseudoRandom random(77);
    for (int round = 0; round < 4000; ++round) {
        const std::string in = random.octets(1 + random.below(300));
        const int line = static_cast<int>(random.below(90));
        ASSERT_EQ("", octet_difference(in, decode(encode(in, line)))) << "round " << round;
    }
}

TEST(ToB64, RefusesAnEmptyInputWithLines)
{
    PlatformDouble platform;
    for (const int line : {4, 5, 76, 2147483647}) {
        char* out = const_cast<char*>("before");
        long length = 5;
        platform.expect_trace("<Error> : CntsMLUTLMimeUtility::FromQP() failed to allocate memory\n");
        EXPECT_EQ(0, CntsMLUTLMimeUtility::ToB64("", 0, out, length, line));
        EXPECT_EQ(nullptr, out);
        EXPECT_EQ(0, length);
    }
}

TEST(ToB64, RefusesANegativeLength)
{
    PlatformDouble platform;
    for (const long in_length : {-1L, -2L, -3L, -100L, -2147483647L - 1L}) {
        for (const int line : {0, 3, 4, 76}) {
            char* out = const_cast<char*>("before");
            long length = 5;
            platform.expect_trace("<Error> : CntsMLUTLMimeUtility::FromQP() failed to allocate memory\n");
            EXPECT_EQ(0, CntsMLUTLMimeUtility::ToB64("abc", in_length, out, length, line));
            EXPECT_EQ(nullptr, out);
            EXPECT_EQ(0, length);
        }
    }
}

TEST(ToB64, RefusesWhenMemoryRunsOut)
{
    PlatformDouble platform;
    char* out = const_cast<char*>("before");
    long length = 5;
    platform.fail_allocation(1);
    // The line names the other operation; whoever reads traces knows it so.
    platform.expect_trace("<Error> : CntsMLUTLMimeUtility::FromQP() failed to allocate memory\n");
    EXPECT_EQ(0, CntsMLUTLMimeUtility::ToB64("abc", 3, out, length, 0));
    EXPECT_EQ(nullptr, out);
    EXPECT_EQ(0, length);
}

TEST(ToB64, AllocatesOnce)
{
    PlatformDouble platform;
    encode("some text", 4);
    EXPECT_EQ(1u, platform.allocations());
}

TEST(ToB64, CatchesThePlatformsException)
{
    PlatformDouble platform;
    char* out = const_cast<char*>("before");
    long length = 5;
    platform.throw_on_allocation(1, "no %s left");
    platform.expect_trace("<Error> : CntsMLUTLMimeUtility::ToB64() no %s left\n");
    EXPECT_EQ(0, CntsMLUTLMimeUtility::ToB64("abc", 3, out, length, 0));
    EXPECT_EQ(nullptr, out);
    EXPECT_EQ(0, length);
}

TEST(FromB64, DecodesKnownTexts)
{
    const struct {
        const char* label;
        std::string in;
        std::string out;
    } cases[] = {
        {"empty", "", ""},
        {"one character", "Y", ""},
        {"two characters", "YW", "a"},
        {"three characters", "YWJ", "ab"},
        {"four characters", "YWJj", "abc"},
        {"five characters", "YWJjZ", "abc"},
        {"padded", "YWJjZA==", "abcd"},
        {"blank, line end and padding are skipped", "YW Jj\r\nZA==", "abcd"},
        {"padding in the middle", "YQ==YQ==", model_decode("YQYQ")},
        {"padding first", "==YWJj", "abc"},
        {"only padding", "====", ""},
        {"only foreign characters", "!\"#$%&'()*,-.:;<>?@[]^_`{|}~\x7f\x80\xff", ""},
        {"foreign characters between", "Y-W_J.j", "abc"},
        {"NUL is a zero", std::string("\0\0\0\0", 4), std::string(3, '\0')},
        {"NUL is A", std::string("YW\0j", 4), std::string("a`#", 3)},
        {"NUL last", std::string("YWI\0", 4), std::string("ab\0", 3)},
        {"8-bit results", "4/7/", "\xe3\xfe\xff"},
        {"line ends only", "\r\n\r\n", ""},
    };
    PlatformDouble platform;
    for (const auto& c : cases)
        EXPECT_EQ("", octet_difference(c.out, decode(c.in))) << c.label;
}

TEST(FromB64, AgreesWithTheModelOnAnyOctets)
{
    PlatformDouble platform;
    PseudoRandom random(4711);
    for (std::size_t length = 0; length <= 200; ++length) {
        for (int round = 0; round < 10; ++round) {
            const std::string any = random.octets(length);
            ASSERT_EQ("", octet_difference(model_decode(any), decode(any))) << printable(any);
            const std::string likely = random.text(std::string_view("ABCabcxyz019+/=\r\n \0", 19), length);
            ASSERT_EQ("", octet_difference(model_decode(likely), decode(likely))) << printable(likely);
        }
    }
}

TEST(FromB64, DecodesEveryCutOfAText)
{
    PlatformDouble platform;
    const std::string text = model_encode("The quick brown fox jumps over the lazy dog", 16);
    for (std::size_t cut = 0; cut <= text.size(); ++cut)
        EXPECT_EQ("", octet_difference(model_decode(text.substr(0, cut)), decode(text.substr(0, cut))))
            << cut;
}

TEST(FromB64, RefusesWhenMemoryRunsOut)
{
    const struct {
        int nth;
        const char* trace;
    } cases[] = {
        {1, "<Error> : CntsMLUTLMimeUtility::FromB64() failed to allocate memory: Line122\n"},
        {2, "<Error> : CntsMLUTLMimeUtility::FromB64() failed to reallocate memory[NG]: Line161\n"},
    };
    for (const char* const in : {"", "YWJj"}) {
        for (const auto& c : cases) {
            PlatformDouble platform;
            void* out = const_cast<char*>("before");
            long length = 5;
            platform.fail_allocation(c.nth);
            platform.expect_trace(c.trace);
            EXPECT_EQ(
                0, CntsMLUTLMimeUtility::FromB64(in, static_cast<long>(std::string(in).size()), out, length));
            EXPECT_EQ(nullptr, out);
            EXPECT_EQ(0, length);
        }
    }
    PlatformDouble platform;
    decode("YWJj");
    EXPECT_EQ(2u, platform.allocations());
}

TEST(FromB64, CatchesThePlatformsException)
{
    for (const int nth : {1, 2}) {
        PlatformDouble platform;
        void* out = const_cast<char*>("before");
        long length = 5;
        platform.throw_on_allocation(nth, "heap %d");
        platform.expect_trace("<Error> : CntsMLUTLMimeUtility::FromB64() heap %d\n");
        EXPECT_EQ(0, CntsMLUTLMimeUtility::FromB64("YWJj", 4, out, length)) << nth;
        EXPECT_EQ(nullptr, out);
        EXPECT_EQ(0, length);
    }
}

TEST(FromB64, RefusesANegativeLength)
{
    PlatformDouble platform;
    for (const long in_length : {-1L, -2L, -1000L, -2147483647L - 1L}) {
        void* out = const_cast<char*>("before");
        long length = 5;
        platform.expect_trace(
            "<Error> : CntsMLUTLMimeUtility::FromB64() failed to allocate memory: Line122\n");
        EXPECT_EQ(0, CntsMLUTLMimeUtility::FromB64("YWJj", in_length, out, length));
        EXPECT_EQ(nullptr, out);
        EXPECT_EQ(0, length);
    }
}

}  // namespace
}  // namespace velorin_test
