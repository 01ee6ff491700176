#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "CntsMLUTLMimeUtility.h"
#include "handed_over.h"
#include "mlutl_support.h"
#include "octets.h"
#include "platform_double.h"

namespace velorin_test {
namespace {

using velorin::CntsMLUTLMimeUtility;
using CharSet = velorin::CntsMLUTLMailType::eCharSet;

const char kNoLine[] = "<Error> : CntsMLUTLMimeUtility::InlineEncode() '\n' not found\n";
const char kNoOpening[] = "<Error> : CntsMLUTLMimeUtility::InlineEncode() '\"' and ' ' not found\n";
const char kNoBracket[] = "<Error> : CntsMLUTLMimeUtility::InlineEncode() '<' not found\n";
const char kNoCopy[] = "<Error> : CntsMLUTLMimeUtility::InlineEncode() failed to allocate memory: Line633\n";
const char kNoGrowth[] =
    "<Error> : CntsMLUTLMimeUtility::ReallocationBuffer()  failed to reallocate memory\n";
const char kNoBase64[] = "<Error> : CntsMLUTLMimeUtility::FromQP() failed to allocate memory\n";
const char kNoWords[] = "<Error> : CntsMLUTLMimeUtility::ToMimeEncode() failed to allocate memory\n";
const char kA[] = "\xe3\x81\x82";  // one hiragana
constexpr int kUtf8 = 10;

std::string append_line(const std::string& operation, int number)
{
    return "<Error> : CntsMLUTLMimeUtility::" + operation + "() ReallocationBuffer[NG]: Line" +
           std::to_string(number) + "\n";
}

HandedOver encode(std::string_view in, int set = kUtf8)
{
    const ExactCopy input(in);
    char* out = const_cast<char*>("before");
    long length = 5;
    const int code = CntsMLUTLMimeUtility::InlineEncode(input.data(), input.length(), out, length,
                                                        static_cast<CharSet>(set));
    return handed_over(code, out, length);
}

// The words of a stretch that begins in a column, utf-8.
std::string words(std::string_view stretch, long column)
{
    const long room = 75 - column - 12 - 2;
    const std::size_t piece = room < 4 ? stretch.size() + 1 : static_cast<std::size_t>(room / 4) * 3;
    std::string result = "=?utf-8?B?" + base64_of(stretch.substr(0, piece)) + "?=";
    for (std::size_t at = piece; at < stretch.size(); at += piece)
        result += "\r\n\t=?utf-8?B?" + base64_of(stretch.substr(at, piece)) + "?=";
    return result;
}

TEST(InlineEncode, EncodesKnownBlocks)
{
    const std::string a = kA;
    const std::string first = "From: a@b\r\n";
    const struct {
        const char* label;
        std::string in;
        std::string out;
    } cases[] = {
        {"empty", "", ""},
        {"nothing to encode", "A: b\r\nTo: x <a@b>\r\n\r\n", "A: b\r\nTo: x <a@b>\r\n\r\n"},
        {"all white space is plain", "\t\n\v\f\r ~", "\t\n\v\f\r ~"},
        {"a subject", first + "Subject: " + a + "\r\n", first + "Subject: " + words(a, 9) + "\r\n"},
        {"no line end after it", first + "Subject: " + a, first + "Subject: " + words(a, 9)},
        {"from the first blank of the line", first + "Subject: Re: " + a + " x\r\nB: c\r\n",
         first + "Subject: " + words("Re: " + a + " x", 9) + "\r\nB: c\r\n"},
        {"a recipient", first + "To: " + a + " <a@b>\r\n", first + "To: " + words(a + " ", 4) + "<a@b>\r\n"},
        {"the last bracket of a recipient", first + "To: <" + a + " <a@b>\r\n",
         first + "To: " + words("<" + a + " ", 4) + "<a@b>\r\n"},
        {"a recipient in quotes after a blank keeps none of them", first + "To: \"" + a + "\" <a@b>\r\n",
         first + "To: " + words("\"" + a + "\" ", 4) + "<a@b>\r\n"},
        {"only \"To: \" is a recipient", first + "to: " + a + " <a@b>\r\n",
         first + "to: " + words(a + " <a@b>", 4) + "\r\n"},
        {"the blank belongs to it", first + "To:x " + a + "\r\n", first + "To:x " + words(a, 5) + "\r\n"},
        {"Cc is none", first + "Cc: " + a + " <a@b>\r\n", first + "Cc: " + words(a + " <a@b>", 4) + "\r\n"},
        {"a quoted parameter", first + "\tname=\"" + a + ".pdf\"\r\n",
         first + "\tname=\"" + words(a + ".pdf", 7) + "\"\r\n"},
        {"a quoted parameter at the end of the block", first + "\tname=\"" + a + "\"",
         first + "\tname=\"" + words(a, 7) + "\""},
        {"a quote that is not closed at the end", first + "\t\"" + a + "\" <a@b>\r\n",
         first + "\t\"" + words(a + "\" <a@b>", 2) + "\r\n"},
        {"the first character of the line is a quote", first + "\"" + a + "\"\r\n",
         first + "\"" + words(a, 1) + "\"\r\n"},
        {"and a blank", first + " " + a + "\r\n", first + " " + words(a, 1) + "\r\n"},
        {"a blank before a quote wins", first + "A: \"" + a + "\"\r\n",
         first + "A: " + words("\"" + a + "\"", 3) + "\r\n"},
        {"a quote after a blank closes nothing", first + "A: " + a + "\"\r\n",
         first + "A: " + words(a + "\"", 3) + "\r\n"},
        {"two lines", first + "A: " + a + "\r\nB: " + a + "\r\n",
         first + "A: " + words(a, 3) + "\r\nB: " + words(a, 3) + "\r\n"},
        {"a control octet", first + "A: x\x01y\r\n", first + "A: " + words("x\x01y", 3) + "\r\n"},
        {"DEL", first + "A: \x7f\r\n", first + "A: " + words("\x7f", 3) + "\r\n"},
        {"a NUL", first + std::string("A: \0x\r\n", 7),
         first + "A: " + words(std::string_view("\0x", 2), 3) + "\r\n"},
        {"without CR up to the end of the block", "A: b\nC: " + a + "\nD: e\n",
         "A: b\nC: " + words(a + "\nD: e\n", 3)},
        {"a long subject is folded", first + "Subject: " + std::string(100, 'x') + a + "\r\n",
         first + "Subject: " + words(std::string(100, 'x') + a, 9) + "\r\n"},
        {"a far column leaves no room to fold", first + std::string(60, 'x') + " " + a + a + "\r\n",
         first + std::string(60, 'x') + " " + words(a + a, 61) + "\r\n"},
        {"a column past the line", first + std::string(200, 'x') + " " + a + "\r\n",
         first + std::string(200, 'x') + " " + words(a, 201) + "\r\n"},
    };
    PlatformDouble platform;
    for (const auto& c : cases) {
        const HandedOver got = encode(c.in);
        EXPECT_EQ(1, got.code) << c.label;
        EXPECT_EQ("", octet_difference(c.out, got.text)) << c.label;
    }
}

TEST(InlineEncode, RefusesWhatItCannotPlace)
{
    const std::string a = kA;
    const struct {
        const char* label;
        std::string in;
        const char* trace;
    } cases[] = {
        {"in the first line", "Subject: " + a + "\r\n", kNoLine},
        {"at the very start", a, kNoLine},
        {"no blank and no quote before it", "A: b\r\nSubject:" + a + " x\r\n", kNoOpening},
        {"at the start of a line", "A: b\r\n" + a + " x\r\n", kNoOpening},
        {"a tab is no blank", "A: b\r\n\t" + a + "\r\n", kNoOpening},
        {"a recipient without brackets", "A: b\r\nTo: " + a + "\r\n", kNoBracket},
        {"a bracket on the next line only", "A: b\r\nTo: " + a + "\r\n <a@b>\r\n", kNoBracket},
        {"again behind the bracket", "A: b\r\nTo: " + a + " <" + a + "@b>\r\n", kNoLine},
        {"only behind the bracket", "A: b\r\nTo: <" + a + "@b>\r\n", kNoLine},
        {"behind a CR inside the line", "A: b\r\nC: x\r" + a + "\r\n", kNoLine},
        {"behind an opening quote and a CR", "A: b\r\nC\"\r" + a + "\r\n", kNoLine},
        {"in a later line", "A: b\r\nC: " + a + "\r\nD:" + a + "\r\n", kNoOpening},
    };
    for (const auto& c : cases) {
        PlatformDouble platform;
        platform.expect_trace(c.trace);
        EXPECT_EQ(0, encode(c.in).code) << c.label;
        EXPECT_EQ(0u, platform.live_blocks()) << c.label;
    }
}

TEST(InlineEncode, FindsEveryOctetThatIsNeitherPrintableNorWhiteSpace)
{
    PlatformDouble platform;
    for (int octet = 0; octet < 256; ++octet) {
        const std::string one(1, static_cast<char>(static_cast<unsigned char>(octet)));
        const bool is_white = octet == 32 || (octet >= 9 && octet <= 13);
        const bool is_plain = is_white || (octet > 32 && octet < 127);
        const std::string expected = is_plain ? "A: b\r\nC: x" + one : "A: b\r\nC: " + words("x" + one, 3);
        EXPECT_EQ("", octet_difference(expected, encode("A: b\r\nC: x" + one).text)) << octet;
    }
}

TEST(InlineEncode, KeepsFirstLinesWithinSeventyFive)
{
    PlatformDouble platform;
    for (std::size_t name = 1; name <= 57; ++name) {  // 57: the last with room for a word of three octets
        for (const std::size_t length : {1u, 3u, 30u, 45u, 46u, 100u, 300u}) {
            const std::string block = "A: b\r\n" + std::string(name - 1, 'N') + " ";
            std::string got = encode(block + std::string(length, 'x') + "\x80\r\n").text;
            ASSERT_EQ(
                "",
                octet_difference(
                    block + words(std::string(length, 'x') + "\x80", static_cast<long>(name)) + "\r\n", got));
            got.erase(0, 6);
            ASSERT_LE(got.find("\r\n"), 75u) << "the header's name included";
        }
    }
}

// Any block of well-formed lines: what is encoded is taken from the line alone.
TEST(InlineEncode, AgreesWithTheModelOnAnyBlock)
{
    PlatformDouble platform;
    PseudoRandom random(77);
    for (int round = 0; round < 3000; ++round) {
        std::string in = "First: line\r\n";
        std::string expected = in;
        for (std::uint32_t lines = random.below(6); lines > 0; --lines) {
            const std::string name = random.text("AbTo-", random.below(8));
            const std::string value = random.text("ab\"< \xe3\x81", random.below(60));
            switch (random.below(4)) {
            case 0:  // plain
                in += name + ": abc\r\n";
                expected += name + ": abc\r\n";
                break;
            case 1:
                in += name + "x: \xc3" + value + "\r\n";
                expected += name + "x: " + words("\xc3" + value, static_cast<long>(name.size()) + 3) + "\r\n";
                break;
            case 2:
                in += "To: \xc3" + value + "<a>\r\n";
                expected += "To: " + words("\xc3" + value, 4) + "<a>\r\n";
                break;
            default:
                in += name + "=\"\xc3" + value + "\"\r\n";
                expected +=
                    name + "=\"" + words("\xc3" + value, static_cast<long>(name.size()) + 2) + "\"\r\n";
            }
        }
        const HandedOver got = encode(in);
        ASSERT_EQ(1, got.code) << printable(in);
        ASSERT_EQ("", octet_difference(expected, got.text)) << printable(in);
    }
}

TEST(InlineEncode, IsReadBackByInlineDecode)
{
    PlatformDouble platform;
    const std::string block = encode("A: b\r\nSubject: " + std::string(kA) + "\r\n").text;
    char* out = nullptr;
    long length = 0;
    CharSet set = static_cast<CharSet>(0);
    ASSERT_EQ(1, CntsMLUTLMimeUtility::InlineDecode(block.data(), static_cast<long>(block.size()), out,
                                                    length, set, 0));
    const Taken taken(out);
    EXPECT_EQ("A: b\r\nSubject: " + std::string(kA) + "\r\n", taken.octets(length));
    EXPECT_EQ(10, set);
}

TEST(InlineEncode, LeavesAStretchThatDoesNotEncode)
{
    const struct {
        const char* label;
        std::string stretch;
        char refusal;  // of the converter
    } cases[] = {{"not UTF-8", "\xff", '3'},
                 {"a character that is cut", "x\xe3\x81", '3'},
                 {"no place in the set", "\xe2\x98\x83", '4'}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.label);
        const std::string block = "A: b\r\nC: " + c.stretch + "\r\nD: e\r\n";
        PlatformDouble platform;
        platform.expect_trace(
            std::string("CntsMLUTLMailType::ConvertEncodedString(): utl_lib_convert_encode ") + "return 0x" +
            c.refusal + "[Error]\n");
        platform.expect_trace("<Error>: CntsMLUTLMimeUtility::ToMimeEncode() ConvertEncodedString return "
                              "0xffffffff [NG]: Line1474\n");
        const HandedOver got = encode(block, 5);
        EXPECT_EQ(1, got.code);
        EXPECT_EQ("", octet_difference(block, got.text));
    }
    const std::string block = "A: b\r\nC: \xff\r\nD: e\r\n";
    PlatformDouble platform;
    platform.expect_trace(
        "<Error> : CntsMLUTLMimeUtility::ToMimeEncode() GetCharSet returns empty-string.[b]\n");
    const HandedOver got = encode(block, 11);
    EXPECT_EQ(1, got.code);
    EXPECT_EQ("", octet_difference(block, got.text));
}

TEST(InlineEncode, EncodesInTheChosenSet)
{
    PlatformDouble platform;
    EXPECT_EQ("A: b\r\nC: =?iso-2022-jp?B?GyRCJCIbKEI=?=\r\n",
              encode("A: b\r\nC: " + std::string(kA) + "\r\n", 5).text);
    EXPECT_EQ("A: b\r\nC: =?iso-8859-1?B?6Q==?=\r\n", encode("A: b\r\nC: \xc3\xa9\r\n", 3).text);
}

TEST(InlineEncode, RefusesANegativeLength)
{
    for (const long in_length : {-1L, std::numeric_limits<long>::min()}) {
        PlatformDouble platform;
        char* out = const_cast<char*>("before");
        long length = 5;
        platform.expect_trace(kNoCopy);
        EXPECT_EQ(
            0, CntsMLUTLMimeUtility::InlineEncode("ab", in_length, out, length, static_cast<CharSet>(kUtf8)));
        EXPECT_EQ(nullptr, out);
        EXPECT_EQ(0, length);
    }
}

TEST(InlineEncode, EveryFailedAllocationLeavesNothingBehind)
{
    const std::string block = "A: b\r\nC: " + std::string(kA) + "\r\n";
    const std::string raw = "A: b\r\nC: =?utf-8?B?" + std::string(kA) + "?=\r\n";
    const struct {
        int nth;
        int code;
        std::vector<std::string> traces;
        std::string text;
    } cases[] = {
        {1, 0, {kNoCopy}, ""},
        {2, 0, {kNoGrowth, append_line("InlineEncode", 725)}, ""},
        {3, 1, {kNoWords}, block},
        {4, 1, {kNoWords}, block},
        {5, 1, {kNoGrowth, append_line("ToMimeEncode", 1439)}, block},
        {6, 1, {kNoBase64}, raw},
        {7, 1, {kNoGrowth, append_line("ToMimeEncode", 1522)}, block},
        {8, 1, {kNoGrowth, append_line("ToMimeEncode", 1539)}, block},
        {9, 0, {kNoGrowth, append_line("InlineEncode", 742)}, ""},
        {10, 0, {kNoGrowth, append_line("InlineEncode", 765)}, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE("allocation " + std::to_string(c.nth));
        PlatformDouble platform;
        for (const std::string& trace : c.traces)
            platform.expect_trace(trace);
        platform.fail_allocation(c.nth);
        const HandedOver got = encode(block);
        EXPECT_TRUE(platform.allocation_failed());
        EXPECT_EQ(c.code, got.code);
        EXPECT_EQ("", octet_difference(c.text, got.text));
        EXPECT_EQ(0u, platform.live_blocks());
    }
    {
        PlatformDouble platform;
        EXPECT_EQ(1, encode(block).code);
        EXPECT_EQ(10u, platform.allocations()) << "each has been made to fail";
    }
    PlatformDouble platform;  // neither words nor the room for the stretch as it is
    for (const std::string& trace :
         {std::string(kNoWords), std::string(kNoGrowth), append_line("InlineEncode", 754)})
        platform.expect_trace(trace);
    platform.fail_allocations_from(3);
    EXPECT_EQ(0, encode(block).code);
    EXPECT_EQ(0u, platform.live_blocks());
}

TEST(InlineEncode, CatchesThePlatformsException)
{
    const std::string block = "A: b\r\nC: " + std::string(kA) + "\r\n";
    for (const int nth : {1, 2, 3, 4, 5, 7, 8, 9, 10}) {
        PlatformDouble platform;
        platform.throw_on_allocation(nth, "no %s left");
        platform.expect_trace("<Error> : CntsMLUTLMimeUtility::InlineEncode() no %s left\n");
        EXPECT_EQ(0, encode(block).code) << "allocation " << nth;
        EXPECT_EQ(0u, platform.live_blocks());
    }
    PlatformDouble platform;  // the base64 encoder catches its own
    platform.throw_on_allocation(6, "no %s left");
    platform.expect_trace("<Error> : CntsMLUTLMimeUtility::ToB64() no %s left\n");
    EXPECT_EQ(1, encode(block).code);
}

}  // namespace
}  // namespace velorin_test
