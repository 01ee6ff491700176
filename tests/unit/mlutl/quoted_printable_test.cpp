#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "CntsMLUTLMailException.h"
#include "CntsMLUTLMimeUtility.h"
#include "handed_over.h"
#include "mlutl_support.h"
#include "octets.h"
#include "platform_double.h"

namespace velorin_test {
namespace {

using velorin::CntsMLUTLMailException;
using velorin::CntsMLUTLMimeUtility;

struct Encoded {
    std::string text;
    long sum;  // of the column after each character
};

Encoded model_encode(std::string_view in, int line_length)
{
    Encoded result{"", 0};
    long column = 0;
    for (const char c : in.substr(0, in.find('\0'))) {
        const unsigned octet = static_cast<unsigned char>(c);
        if (column >= line_length) {
            result.text += "=\r\n";
            column = 0;
        }
        if ((octet >= 33 && octet <= 60) || (octet >= 62 && octet <= 126)) {
            result.text += c;
            column += 1;
        } else {
            result.text += '=';
            result.text += "0123456789ABCDEF"[octet / 16];
            result.text += "0123456789ABCDEF"[octet % 16];
            column += 3;
        }
        result.sum += column;
    }
    result.text += "=\r\n";
    return result;
}

int hex_value(char c)
{
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

std::string model_decode(std::string_view in)
{
    std::string out;
    bool line_start = true;
    std::size_t i = 0;
    const auto line_end = [&](std::size_t at) {
        return at < in.size() && (in[at] == '\r' || in[at] == '\n');
    };
    while (i < in.size()) {
        if (in[i] == '=' && line_end(i + 1)) {
            i += line_end(i + 2) ? 3 : 2;
        } else if (in[i] == '=') {
            if (i + 2 < in.size() && hex_value(in[i + 1]) >= 0 && hex_value(in[i + 2]) >= 0)
                out += static_cast<char>(
                    static_cast<unsigned char>(hex_value(in[i + 1]) * 16 + hex_value(in[i + 2])));
            i += 3;
        } else if (in[i] == '.' && line_start && i + 1 < in.size() && in[i + 1] == '.') {
            i += 1;
            line_start = false;
        } else {
            out += in[i];
            line_start = in[i] == '\n';
            i += 1;
        }
    }
    return out;
}

Encoded encode_sized(std::string_view in, long length, int line_length)
{
    const ExactText input(in);
    char* out = nullptr;
    long sum = -1;
    EXPECT_EQ(1, CntsMLUTLMimeUtility::ToQB(input.data(), length, out, sum, line_length));
    const Taken taken(out);
    if (taken.is_null()) return {"(failed)", sum};
    return {taken.text(), sum};
}

Encoded encode(std::string_view in, int line_length)
{
    return encode_sized(in, static_cast<long>(in.size()), line_length);
}

std::string decode(std::string_view in)
{
    const ExactCopy input(in);
    void* out = nullptr;
    long length = -1;
    const int code = CntsMLUTLMimeUtility::FromQP(input.data(), input.length(), out, length);
    EXPECT_EQ(1, code);
    return handed_over(code, out, length).text;
}

TEST(ToQB, EncodesKnownTexts)
{
    const struct {
        const char* label;
        const char* in;
        int line;
        const char* out;
        long sum;
    } cases[] = {
        {"empty", "", 76, "=\r\n", 0},
        {"plain and escaped", "a=b c", 76, "a=3Db=20c=\r\n", 1 + 4 + 5 + 8 + 9},
        {"the same in lines of four", "a=b c", 4, "a=3D=\r\nb=20=\r\nc=\r\n", 1 + 4 + 1 + 4 + 1},
        {"line ends are escaped", "a\r\nb", 76, "a=0D=0Ab=\r\n", 1 + 4 + 7 + 8},
        {"tab", "\t", 76, "=09=\r\n", 3},
        {"the edges of what stays", "!<>~", 76, "!<>~=\r\n", 1 + 2 + 3 + 4},
        {"the edges of what does not", " =\x7f\x80", 76, "=20=3D=7F=80=\r\n", 3 + 6 + 9 + 12},
        {"UTF-8", "\xe3\x81\x82", 76, "=E3=81=82=\r\n", 3 + 6 + 9},
        {"0xff", "\xff", 76, "=FF=\r\n", 3},
        {"a column short of the line", "abc", 4, "abc=\r\n", 1 + 2 + 3},
        {"a full line at the end", "abcd", 4, "abcd=\r\n", 1 + 2 + 3 + 4},
        {"one over", "abcde", 4, "abcd=\r\ne=\r\n", 1 + 2 + 3 + 4 + 1},
        {"an escape may pass the line", "abc=", 4, "abc=3D=\r\n", 1 + 2 + 3 + 6},
        {"lines of one", "ab", 1, "a=\r\nb=\r\n", 2},
        {"line of zero: a break before each", "ab", 0, "=\r\na=\r\nb=\r\n", 2},
        {"a negative line", "a=", -5, "=\r\na=\r\n=3D=\r\n", 1 + 3},
        {"no character, line of zero", "", 0, "=\r\n", 0},
        {"dots are not stuffed", "..", 76, "..=\r\n", 3},
    };
    PlatformDouble platform;
    for (const auto& c : cases) {
        const Encoded got = encode(c.in, c.line);
        EXPECT_EQ("", octet_difference(c.out, got.text)) << c.label;
        EXPECT_EQ(c.sum, got.sum) << c.label;
    }
}

TEST(ToQB, EndsAtTheFirstNulWhateverTheLengthSays)
{
    PlatformDouble platform;
    EXPECT_EQ("ab=\r\n", encode(std::string_view("ab\0cd", 5), 76).text);
    EXPECT_EQ("ab=\r\n", encode_sized("ab", 100, 76).text);
    EXPECT_EQ("=\r\n", encode_sized("", 7, 76).text);
}

TEST(ToQB, TakesATextThatIsLongerThanItsLength)
{
    PlatformDouble platform;
    const std::string text(50, '=');
    for (const long length : {0L, 1L, 10L, 49L}) {
        for (const int line : {1, 2, 3, 4, 76}) {
            const Encoded expected = model_encode(text, line);
            const Encoded got = encode_sized(text, length, line);
            EXPECT_EQ(expected.text, got.text) << length << ", lines of " << line;
            EXPECT_EQ(expected.sum, got.sum) << length << ", lines of " << line;
        }
    }
}

TEST(ToQB, NeverWritesBehindItsBlockForAnyLineAndOctet)
{
    PlatformDouble platform;  // watches the octets behind the block
    for (int octet = 1; octet < 256; ++octet) {
        for (int line = -1; line <= 100; ++line) {
            for (const std::size_t length : {1u, 2u, 3u, 7u, 101u}) {
                const std::string in(length, static_cast<char>(static_cast<unsigned char>(octet)));
                const Encoded expected = model_encode(in, line);
                const Encoded got = encode(in, line);
                ASSERT_EQ(expected.text, got.text) << octet << " x " << length << ", lines of " << line;
                ASSERT_EQ(expected.sum, got.sum) << octet << " x " << length << ", lines of " << line;
            }
        }
    }
}

TEST(ToQB, AgreesWithTheModelOnAnyText)
{
    PlatformDouble platform;
    PseudoRandom random(31337);
    for (std::size_t length = 0; length <= 200; ++length) {
        std::string in = random.octets(length);
        for (char& c : in)
            if (c == '\0') c = ' ';
        if (length % 3 == 0) in = random.text("abc =\r\n.", length);
        for (int line = 0; line <= 80; ++line) {
            const Encoded expected = model_encode(in, line);
            const Encoded got = encode(in, line);
            ASSERT_EQ("", octet_difference(expected.text, got.text)) << length << ", lines of " << line;
            ASSERT_EQ(expected.sum, got.sum) << length << ", lines of " << line;
        }
    }
}

TEST(ToQB, IsReadBackByFromQP)
{
    PlatformDouble platform;
    PseudoRandom random(99);
    for (int round = 0; round < 3000; ++round) {
        std::string in = random.octets(random.below(200));
        for (char& c : in)
            if (c == '\0' || c == '.') c = 'x';  // FromQP takes a dot off ".."
        const int line = static_cast<int>(random.below(90));
        ASSERT_EQ("", octet_difference(in, decode(encode(in, line).text))) << "round " << round;
    }
}

TEST(ToQB, RefusesWhenMemoryRunsOut)
{
    PlatformDouble platform;
    char* out = const_cast<char*>("before");
    long length = 5;
    platform.fail_allocation(1);
    platform.expect_trace("<Error> : CntsMLUTLMimeUtility::ToQB() failed to allocate memory\n");
    EXPECT_EQ(0, CntsMLUTLMimeUtility::ToQB("abc", 3, out, length, 76));
    EXPECT_EQ(nullptr, out);
    EXPECT_EQ(0, length);
}

TEST(ToQB, RefusesANegativeLength)
{
    PlatformDouble platform;
    for (const long in_length : {-1L, -1000L, -2147483647L - 1L}) {
        char* out = const_cast<char*>("before");
        long length = 5;
        platform.expect_trace("<Error> : CntsMLUTLMimeUtility::ToQB() failed to allocate memory\n");
        EXPECT_EQ(0, CntsMLUTLMimeUtility::ToQB("abc", in_length, out, length, 76));
        EXPECT_EQ(nullptr, out);
        EXPECT_EQ(0, length);
    }
}

TEST(ToQB, LetsAnExceptionOfThePlatformPass)
{
    PlatformDouble platform;
    char* out = nullptr;
    long length = 0;
    platform.throw_on_allocation(1, "thrown by the heap");
    try {
        CntsMLUTLMimeUtility::ToQB("abc", 3, out, length, 76);
        ADD_FAILURE() << "nothing was thrown";
    } catch (CntsMLUTLMailException* thrown) {
        EXPECT_STREQ("thrown by the heap", thrown->m_pszText);
        delete thrown;
    }
    EXPECT_EQ(nullptr, out);
}

TEST(FromQP, DecodesKnownTexts)
{
    const struct {
        const char* label;
        std::string in;
        std::string out;
    } cases[] = {
        {"empty", "", ""},
        {"plain", "abc", "abc"},
        {"escape and soft break", "A=3D=\r\nB", "A=B"},
        {"small digits", "=e3=81=82", "\xe3\x81\x82"},
        {"capital digits", "=E3=81=82", "\xe3\x81\x82"},
        {"an escaped NUL", "a=00b", std::string("a\0b", 3)},
        {"a NUL as it is", std::string("a\0b", 3), std::string("a\0b", 3)},
        {"soft break CR LF", "a=\r\nb", "ab"},
        {"soft break LF LF", "a=\n\nb", "ab"},
        {"soft break LF CR", "a=\n\rb", "ab"},
        {"soft break CR CR", "a=\r\rb", "ab"},
        {"soft break LF", "a=\nb", "ab"},
        {"soft break CR", "a=\rb", "ab"},
        {"three line ends: two are taken", "a=\r\n\nb", "a\nb"},
        {"soft break at the end", "a=\r\n", "a"},
        {"soft break cut", "a=\r", "a"},
        {"lone = at the end", "a=", "a"},
        {"= and one digit at the end", "a=4", "a"},
        {"no room for a pair", "=4", ""},
        {"pair at the very end", "a=41", "aA"},
        {"bad first digit is dropped whole", "a=G1b", "ab"},
        {"bad second digit is dropped whole", "a=1Gb", "ab"},
        {"blank behind =", "a= \r\nb", "a\nb"},
        {"sign behind =", "a=+1b", "ab"},
        {"= = 41", "==41", "1"},
        {"dots at the start", "..x", ".x"},
        {"one dot at the start", ".x", ".x"},
        {"three dots at the start", "...x", "..x"},
        {"only two dots", "..", "."},
        {"one dot, nothing else", ".", "."},
        {"dots behind LF", "a\n..b", "a\n.b"},
        {"dots behind CR LF", "a\r\n..b", "a\r\n.b"},
        {"dots behind CR alone", "a\r..b", "a\r..b"},
        {"dots inside a line", "a..b", "a..b"},
        {"a dot at each line start", "..\n..\n..", ".\n.\n."},
        {"a soft break keeps the start of a line", "a\n=\n..b", "a\n.b"},
        {"a soft break is no line start", "a=\r\n..b", "a..b"},
        {"a soft break at the very start", "=\r\n..b", ".b"},
        {"an escaped LF is no line start", "a=0A..b", "a\n..b"},
        {"underscore stays", "a_b", "a_b"},
        {"8-bit octets stay", "\xe3\x81\x82", "\xe3\x81\x82"},
    };
    PlatformDouble platform;
    for (const auto& c : cases)
        EXPECT_EQ("", octet_difference(c.out, decode(c.in))) << c.label;
}

TEST(FromQP, AgreesWithTheModelOnAnyOctets)
{
    PlatformDouble platform;
    PseudoRandom random(8128);
    for (std::size_t length = 0; length <= 200; ++length) {
        for (int round = 0; round < 30; ++round) {
            const std::string in = round % 3 == 0
                                       ? random.octets(length)
                                       : random.text(round % 3 == 1 ? "=\r\n.4aFg" : "ab=.\n3D", length);
            ASSERT_EQ("", octet_difference(model_decode(in), decode(in))) << printable(in);
        }
    }
}

TEST(FromQP, DecodesEveryCutOfAText)
{
    PlatformDouble platform;
    const std::string text = "..a=3D=\r\nb\r\n..c=E3=81=82=\n\n..=4=\r\n=";
    for (std::size_t cut = 0; cut <= text.size(); ++cut) {
        const std::string part = text.substr(0, cut);
        EXPECT_EQ("", octet_difference(model_decode(part), decode(part))) << cut;
    }
}

TEST(FromQP, RefusesWhenMemoryRunsOut)
{
    const struct {
        int nth;
        const char* trace;
    } cases[] = {
        {1, "<Error> : CntsMLUTLMimeUtility::FromQP() failed to allocate memory: Line221\n"},
        {2, "<Error> : CntsMLUTLMimeUtility::FromQP() failed to reallocate memory: Line257\n"},
    };
    for (const char* const in : {"", "a=3Db"}) {
        for (const auto& c : cases) {
            PlatformDouble platform;
            void* out = const_cast<char*>("before");
            long length = 5;
            platform.fail_allocation(c.nth);
            platform.expect_trace(c.trace);
            EXPECT_EQ(0, CntsMLUTLMimeUtility::FromQP(in, static_cast<long>(std::strlen(in)), out, length));
            EXPECT_EQ(nullptr, out);
            EXPECT_EQ(0, length);
        }
    }
    PlatformDouble platform;
    decode("a=3Db");
    EXPECT_EQ(2u, platform.allocations());
}

TEST(FromQP, RefusesANegativeLength)
{
    PlatformDouble platform;
    for (const long in_length : {-1L, -2L, -1000L, -2147483647L - 1L}) {
        void* out = const_cast<char*>("before");
        long length = 5;
        platform.expect_trace(
            "<Error> : CntsMLUTLMimeUtility::FromQP() failed to allocate memory: Line221\n");
        EXPECT_EQ(0, CntsMLUTLMimeUtility::FromQP("abc", in_length, out, length));
        EXPECT_EQ(nullptr, out);
        EXPECT_EQ(0, length);
    }
}

TEST(FromQP, CatchesThePlatformsException)
{
    for (const int nth : {1, 2}) {
        PlatformDouble platform;
        void* out = const_cast<char*>("before");
        long length = 5;
        platform.throw_on_allocation(nth, "%n");
        platform.expect_trace("<Error> : CntsMLUTLMimeUtility::FromQP() %n\n");
        EXPECT_EQ(0, CntsMLUTLMimeUtility::FromQP("a=3Db", 5, out, length)) << nth;
        EXPECT_EQ(nullptr, out);
        EXPECT_EQ(0, length);
    }
}

TEST(ReallocationBuffer, AppendsToTheExactSize)
{
    PlatformDouble platform;
    char* buffer = nullptr;
    long length = 0;
    std::string expected;
    PseudoRandom random(5);
    for (int round = 0; round < 50; ++round) {
        const std::string more = random.octets(random.below(5));
        const ExactCopy added(more);
        ASSERT_EQ(1, CntsMLUTLMimeUtility::ReallocationBuffer(buffer, length, added.data(), added.length()));
        expected += more;
        ASSERT_EQ(static_cast<long>(expected.size()), length);
        EXPECT_EQ(length + 1, PlatformDouble::block_size(buffer));
        EXPECT_EQ("", octet_difference(expected, std::string_view(buffer, expected.size())));
        EXPECT_EQ('\0', buffer[length]);
    }
    EXPECT_EQ(50u, platform.allocations());  // no spare room: each append reallocates
    CutlCPLBOSBoundary::MemFree(buffer);
}

TEST(ReallocationBuffer, LeavesTheBufferWhenMemoryRunsOut)
{
    PlatformDouble platform;
    char* buffer = nullptr;
    long length = 0;
    // Two blanks before "failed": that is how the line is searched for.
    const char* const trace =
        "<Error> : CntsMLUTLMimeUtility::ReallocationBuffer()  failed to reallocate memory\n";
    platform.fail_allocation(1);
    platform.expect_trace(trace);
    EXPECT_EQ(0, CntsMLUTLMimeUtility::ReallocationBuffer(buffer, length, "abc", 3));
    EXPECT_EQ(nullptr, buffer);
    EXPECT_EQ(0, length);
    ASSERT_EQ(1, CntsMLUTLMimeUtility::ReallocationBuffer(buffer, length, "abc", 3));
    char* const before = buffer;
    platform.fail_allocation(1);
    platform.expect_trace(trace);
    EXPECT_EQ(0, CntsMLUTLMimeUtility::ReallocationBuffer(buffer, length, "defg", 4));
    EXPECT_EQ(before, buffer);
    EXPECT_EQ(3, length);
    EXPECT_STREQ("abc", buffer);
    CutlCPLBOSBoundary::MemFree(buffer);
}

TEST(ReallocationBuffer, NeverCopiesANegativeLength)
{
    PlatformDouble platform;
    char* buffer = nullptr;
    long length = 0;
    ASSERT_EQ(1, CntsMLUTLMimeUtility::ReallocationBuffer(buffer, length, "abc", 3));
    for (const long wrong : {-1L, -4L, -2147483647L - 1L}) {
        platform.expect_trace(
            "<Error> : CntsMLUTLMimeUtility::ReallocationBuffer()  failed to reallocate memory\n");
        EXPECT_EQ(0, CntsMLUTLMimeUtility::ReallocationBuffer(buffer, length, "def", wrong));
        EXPECT_EQ(3, length);
        EXPECT_STREQ("abc", buffer);
    }
    CutlCPLBOSBoundary::MemFree(buffer);
}

TEST(ReallocationBuffer, LetsAnExceptionOfThePlatformPass)
{
    PlatformDouble platform;
    char* buffer = nullptr;
    long length = 0;
    platform.throw_on_allocation(1, "thrown by the heap");
    try {
        CntsMLUTLMimeUtility::ReallocationBuffer(buffer, length, "abc", 3);
        ADD_FAILURE() << "nothing was thrown";
    } catch (CntsMLUTLMailException* thrown) {
        EXPECT_STREQ("thrown by the heap", thrown->m_pszText);
        delete thrown;
    }
    EXPECT_EQ(nullptr, buffer);
    EXPECT_EQ(0, length);
}

TEST(MailException, KeepsItsTextAndIsDeletedThroughItsBase)
{
    PlatformDouble platform;
    CutlCPLBObject* const failure = new CntsMLUTLMailException("a text");
    EXPECT_STREQ("a text", static_cast<CntsMLUTLMailException*>(failure)->m_pszText);
    delete failure;  // the address sanitizer compares the sizes
}

}  // namespace
}  // namespace velorin_test
