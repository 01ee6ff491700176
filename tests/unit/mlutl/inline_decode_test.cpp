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

const char kNoMemory[] = "<Error> : CntsMLUTLMimeUtility::InlineDecode() failed to allocate memory\n";
const char kNoGrowth[] =
    "<Error> : CntsMLUTLMimeUtility::ReallocationBuffer()  failed to reallocate memory\n";
constexpr int kBefore = 77;  // no set at all: what is left untouched shows

std::string append_line(int number)
{
    return "<Error> : CntsMLUTLMimeUtility::InlineDecode() ReallocationBuffer[NG]: Line" +
           std::to_string(number) + "\n";
}

struct Result : HandedOver {
    int set;
};

Result decode(std::string_view in)
{
    const ExactCopy input(in);
    char* out = const_cast<char*>("before");
    long length = 5;
    CharSet set = static_cast<CharSet>(kBefore);
    const int code =
        CntsMLUTLMimeUtility::InlineDecode(input.data(), input.length(), out, length, set, 12345);
    return {handed_over(code, out, length), set};
}

TEST(InlineDecode, DecodesKnownTexts)
{
    const struct {
        const char* label;
        std::string in;
        std::string out;
        int set;
    } cases[] = {
        {"empty", "", "", kBefore},
        {"plain", "plain text", "plain text", kBefore},
        {"too short to hold a word", "=????", "=????", kBefore},
        {"ISO-2022-JP stays as it is", "=?iso-2022-jp?B?GyRCJDMbKEI=?=", "\x1b$B$3\x1b(B", 5},
        {"quoted-printable behind text", "Re: =?ISO-8859-1?Q?caf=E9?=", "Re: caf\xe9", 3},
        {"small markers", "=?utf-8?b?YWI=?= =?utf-8?q?=41?=", "ab A", 10},
        {"an underscore stays", "=?utf-8?Q?a_b?=", "a_b", 10},
        {"an unknown encoding", "=?utf-8?X?abc?=", "=?utf-8?X?abc?=", kBefore},
        {"an unknown encoding, then a word", "a=?utf-8?X?abc?=b=?us-ascii?B?YWI=?=c", "a=?utf-8?X?abc?=babc",
         0},
        {"white space between words stays", "=?utf-8?B?YQ==?=\r\n\t=?utf-8?B?Yg==?=", "a\r\n\tb", 10},
        {"no white space between words", "=?utf-8?B?YQ==?==?utf-8?B?Yg==?=", "ab", 10},
        {"the set of the last word", "=?utf-8?B?YQ==?= =?us?B?Yg==?=", "a b", 1},
        {"the set of the last word that decodes", "=?utf-8?B?YQ==?= =?us?X?Yg==?=", "a =?us?X?Yg==?=", 10},
        {"a set without a name here", "=?koi8-r?B?YQ==?=", "a", 11},
        {"no set", "=??B?YQ==?=", "a", 11},
        {"a set with a language", "=?utf-8*ja?B?YQ==?=", "a", 10},
        {"an empty word", "x=?utf-8?B?\?=y", "xy", 10},
        {"an empty quoted-printable word", "=?utf-8?q?\?=", "", 10},
        {"the shortest", "=????\?=", "=????\?=", kBefore},
        {"text without words stays", "a =? b ?= c", "a =? b ?= c", kBefore},
        {"end of the set missing", "=?utf-8", "=?utf-8", kBefore},
        {"second delimiter missing", "=?utf-8?B", "=?utf-8?B", kBefore},
        {"end missing", "=?utf-8?B?YWI=", "=?utf-8?B?YWI=", kBefore},
        {"cut within the end", "=?utf-8?B?YWI=?", "=?utf-8?B?YWI=?", kBefore},
        {"the end may not share the delimiter", "=?utf-8?B?=", "=?utf-8?B?=", kBefore},
        {"so a word with such an end swallows the next", "=?u?B?= =?us?B?YQ==?=", "\xba\xc0\x58", 11},
        {"and one without an end", "=?utf-8?B?YWI= =?us?B?YQ==?=", "ab.\xb0\x16\x10", 10},
        {"NULs and 8-bit octets around", std::string("\0\xe3=?us?B?YQ==?=\0", 16),
         std::string("\0\xe3"
                     "a\0",
                     4),
         1},
        {"a NUL decoded", "=?utf-8?Q?=00?=", std::string(1, '\0'), 10},
        {"a soft break inside", "=?utf-8?q?a=\r\nb?=", "ab", 10},
        {"dots at the start of a word are unstuffed", "=?us?q?..x?=", ".x", 1},
        {"nested openings", "=?=?us?B?YQ==?=", "a", 11},
    };
    PlatformDouble platform;
    for (const auto& c : cases) {
        const Result got = decode(c.in);
        EXPECT_EQ(1, got.code) << c.label;
        EXPECT_EQ("", octet_difference(c.out, got.text)) << c.label;
        EXPECT_EQ(c.set, got.set) << c.label;
    }
}

// The markers have an order of their own: one that stands further on wins over one that comes later in it.
TEST(InlineDecode, LooksForTheMarkersInTheirOrder)
{
    const struct {
        const char* label;
        std::string in;
        std::string out;
        int set;
    } cases[] = {
        {"B before q", "=?us?q?=41?B?YQ==?=", "a", 1},
        {"B before Q", "=?us?Q?=41?B?YQ==?=", "a", 1},
        {"B before b", "=?us?b?YQ==?B?Yg==?=", "b", 1},
        {"Q before b", "=?us?b?YQ==?Q?A?=", "A", 1},
        {"Q before q", "=?us?q?=41?Q?B?=", "B", 1},
        {"b before q", "=?us?q?=41?b?YQ==?=", "a", 1},
        {"the first of two alike", "=?us?q?a?q?b?=", "a?q?b", 1},
        {"one behind the word does not count", "=?us?q?=41?= ?B? =?us?b?YQ==?=", "A ?B? a", 1},
        {"nor one of the next word", "=?us?q?=41?= =?utf-8?B?YQ==?=", "A a", 10},
        {"nor one that reaches into the end", "=?us?q?x?B?=y", "x?By", 1},
        {"a marker that only begins in the word is none", "=?us?x?B?=", "=?us?x?B?=", kBefore},
        {"B before q, without a set", "=??B?x?q?YQ==?=", "\xc6\xa6\x10", 11},
    };
    PlatformDouble platform;
    for (const auto& c : cases) {
        const Result got = decode(c.in);
        EXPECT_EQ(1, got.code) << c.label;
        EXPECT_EQ("", octet_difference(c.out, got.text)) << c.label;
        EXPECT_EQ(c.set, got.set) << c.label;
    }
}

// From the rule: the shape, then the four markers over the whole rest of the text.
std::string model(const std::string& in, int& set)
{
    std::string out;
    std::size_t at = 0;
    while (in.size() >= 6) {
        const std::size_t open = in.find("=?", at);
        if (open == std::string::npos) break;
        const std::size_t set_end = in.find('?', open + 2);
        if (set_end == std::string::npos) break;
        const std::size_t next = in.find('?', set_end + 1);
        if (next == std::string::npos) break;
        const std::size_t end = in.find("?=", next + 1);
        if (end == std::string::npos) break;
        bool is_decoded = false;
        for (const std::string marker : {"?B?", "?Q?", "?b?", "?q?"}) {
            const std::size_t found = in.find(marker, open + 2);
            if (found == std::string::npos || found + 3 > end) continue;
            const std::string encoded = in.substr(found + 3, end - found - 3);
            void* octets = nullptr;
            long length = 0;
            if (marker == "?B?" || marker == "?b?")
                CntsMLUTLMimeUtility::FromB64(encoded.data(), static_cast<long>(encoded.size()), octets,
                                              length);
            else
                CntsMLUTLMimeUtility::FromQP(encoded.data(), static_cast<long>(encoded.size()), octets,
                                             length);
            out += in.substr(at, open - at) + Taken(octets).octets(length);
            set = velorin::CntsMLUTLMailType::TestCharSet(in.substr(open + 2, found - open - 2).c_str());
            is_decoded = true;
            break;
        }
        if (!is_decoded) out += in.substr(at, end + 2 - at);
        at = end + 2;
    }
    return out + in.substr(at);
}

TEST(InlineDecode, AgreesWithTheModelOnAnyText)
{
    PlatformDouble platform;
    PseudoRandom random(1234);
    const char* const pieces[] = {"=?", "?=",   "?",   "=", "?B?", "?Q?", "?b?",    "?q?",        "utf-8",
                                  "us", "YQ==", "=41", "_", " ",   "x",   "\r\n\t", "=?utf-8?B?", "=?us?q?"};
    for (int round = 0; round < 50000; ++round) {
        std::string in;
        for (std::uint32_t count = random.below(14); count > 0; --count)
            in += pieces[random.below(sizeof pieces / sizeof pieces[0])];
        int set = kBefore;
        const std::string expected = model(in, set);
        const Result got = decode(in);
        ASSERT_EQ(1, got.code);
        ASSERT_EQ("", octet_difference(expected, got.text)) << in;
        ASSERT_EQ(set, got.set) << in;
    }
}

TEST(InlineDecode, TakesAWordCutAnywhereAsText)
{
    PlatformDouble platform;
    const std::string word = "=?utf-8?B?YWI=?=";
    for (std::size_t cut = 0; cut < word.size(); ++cut) {
        const Result got = decode("x" + word.substr(0, cut));
        EXPECT_EQ("x" + word.substr(0, cut), got.text);
        EXPECT_EQ(kBefore, got.set);
    }
}

TEST(InlineDecode, RefusesANegativeLength)
{
    for (const long in_length : {-1L, std::numeric_limits<long>::min()}) {
        PlatformDouble platform;
        char* out = const_cast<char*>("before");
        long length = 5;
        CharSet set = static_cast<CharSet>(kBefore);
        platform.expect_trace(kNoMemory);
        EXPECT_EQ(0, CntsMLUTLMimeUtility::InlineDecode("ab", in_length, out, length, set, 0));
        EXPECT_EQ(nullptr, out);
        EXPECT_EQ(0, length);
        EXPECT_EQ(kBefore, set);
    }
}

// The set is told as a word is decoded, so a failure behind it leaves that of the last word.
TEST(InlineDecode, EveryFailedAllocationLeavesNothingBehind)
{
    const std::string text = "a=?utf-8?B?YWI=?=b=?us?X?c?=d=?us?Q?e?=f";
    const std::string no_first =
        "<Error> : CntsMLUTLMimeUtility::FromB64() failed to allocate memory: Line122\n";
    const std::string no_shrink =
        "<Error> : CntsMLUTLMimeUtility::FromB64() failed to reallocate memory[NG]: Line161\n";
    const std::string no_qp = "<Error> : CntsMLUTLMimeUtility::FromQP() failed to allocate memory: Line221\n";
    const std::string no_qp_shrink =
        "<Error> : CntsMLUTLMimeUtility::FromQP() failed to reallocate memory: Line257\n";
    const struct {
        int nth;
        int code;
        std::vector<std::string> traces;
        std::string text;
        int set;
    } cases[] = {
        {1, 0, {kNoMemory}, "", kBefore},
        {2, 1, {no_first}, "a=?utf-8?B?YWI=?=b=?us?X?c?=def", 1},
        {3, 1, {no_shrink}, "a=?utf-8?B?YWI=?=b=?us?X?c?=def", 1},
        {4, 0, {kNoGrowth, append_line(524)}, "", kBefore},
        {5, 0, {kNoGrowth, append_line(550)}, "", 10},
        {6, 0, {kNoGrowth, append_line(507)}, "", 10},
        {7, 1, {no_qp}, "aabb=?us?X?c?=d=?us?Q?e?=f", 10},
        {8, 1, {no_qp_shrink}, "aabb=?us?X?c?=d=?us?Q?e?=f", 10},
        {9, 0, {kNoGrowth, append_line(524)}, "", 10},
        {10, 0, {kNoGrowth, append_line(550)}, "", 1},
        {11, 0, {kNoGrowth, append_line(572)}, "", 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE("allocation " + std::to_string(c.nth));
        PlatformDouble platform;
        for (const std::string& trace : c.traces)
            platform.expect_trace(trace);
        platform.fail_allocation(c.nth);
        const Result got = decode(text);
        EXPECT_TRUE(platform.allocation_failed());
        EXPECT_EQ(c.code, got.code);
        EXPECT_EQ(c.text, got.text);
        EXPECT_EQ(c.set, got.set);
        EXPECT_EQ(0u, platform.live_blocks());
    }
    {
        PlatformDouble platform;
        EXPECT_EQ("aabb=?us?X?c?=def", decode(text).text);
        EXPECT_EQ(11u, platform.allocations()) << "each has been made to fail";
    }
    PlatformDouble platform;  // neither the word nor the room for it as it stands
    for (const std::string& trace : {no_first, std::string(kNoGrowth), append_line(561)})
        platform.expect_trace(trace);
    platform.fail_allocations_from(2);
    EXPECT_EQ(0, decode(text).code);
    EXPECT_EQ(0u, platform.live_blocks());
}

TEST(InlineDecode, CatchesThePlatformsException)
{
    for (const int nth : {1, 4, 5, 6}) {
        PlatformDouble platform;
        platform.throw_on_allocation(nth, "heap %d");
        platform.expect_trace("<Error> : CntsMLUTLMimeUtility::InlineDecode() heap %d\n");
        const Result got = decode("a=?utf-8?B?YWI=?=");
        EXPECT_EQ(0, got.code) << "allocation " << nth;
        EXPECT_EQ(nth < 5 ? kBefore : 10, got.set) << "told before the word is appended";
        EXPECT_EQ(0u, platform.live_blocks());
    }
    PlatformDouble platform;  // the base64 decoder catches its own
    platform.throw_on_allocation(2, "heap %d");
    platform.expect_trace("<Error> : CntsMLUTLMimeUtility::FromB64() heap %d\n");
    EXPECT_EQ("a=?utf-8?B?YWI=?=", decode("a=?utf-8?B?YWI=?=").text);
}

}  // namespace
}  // namespace velorin_test
