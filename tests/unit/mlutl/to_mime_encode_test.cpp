#include <limits>
#include <string>
#include <vector>

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
using CharSet = velorin::CntsMLUTLMailType::eCharSet;

const char kNoMemory[] = "<Error> : CntsMLUTLMimeUtility::ToMimeEncode() failed to allocate memory\n";
const char kNoGrowth[] =
    "<Error> : CntsMLUTLMimeUtility::ReallocationBuffer()  failed to reallocate memory\n";
const char kNoBase64[] = "<Error> : CntsMLUTLMimeUtility::FromQP() failed to allocate memory\n";
const char kNotConverted[] = "<Error>: CntsMLUTLMimeUtility::ToMimeEncode() ConvertEncodedString return "
                             "0xffffffff [NG]: Line1474\n";
constexpr int kUtf8 = 10;
constexpr int kJis = 5;
const char* const kNames[] = {"us-ascii", "us",        "ascii",  "iso-8859-1", "iso-8859-2", "iso-2022-jp",
                              "x-jis",    "shift_jis", "x-sjis", "ms-kanji",   "utf-8"};

std::string append_line(int number)
{
    return "<Error> : CntsMLUTLMimeUtility::ToMimeEncode() ReallocationBuffer[NG]: Line" +
           std::to_string(number) + "\n";
}

std::string word(const std::string& name, std::string_view text)
{
    return "=?" + name + "?B?" + base64_of(text) + "?=";
}

// Without a conversion: pieces of what fits the line, one word each.
std::string model(const std::string& name, std::string_view text, long line)
{
    const long room = line - (static_cast<long>(name.size()) + 7) - 2;
    if (room < 4) return word(name, text);
    const std::size_t piece = static_cast<std::size_t>(room / 4) * 3;
    std::string result = word(name, text.substr(0, piece));
    for (std::size_t at = piece; at < text.size(); at += piece)
        result += "\r\n\t" + word(name, text.substr(at, piece));
    return result;
}

HandedOver encode(int set, std::string_view in, int line)
{
    const ExactCopy input(in);
    char* out = const_cast<char*>("before");
    long length = 5;
    const int code = CntsMLUTLMimeUtility::ToMimeEncode(static_cast<CharSet>(set), input.data(),
                                                        input.length(), out, length, line);
    return handed_over(code, out, length);
}

TEST(EncodedWord, ConstantsAreThoseOfTheGrammar)
{
    EXPECT_STREQ("=?", velorin::ABNF_ENCODE_STRING_START);
    EXPECT_STREQ("?", velorin::ABNF_ENCODE_DELIMITER);
    EXPECT_STREQ("?=", velorin::ABNF_ENCODE_STRING_END);
}

TEST(ToMimeEncode, EncodesKnownTexts)
{
    const struct {
        const char* label;
        int set;
        std::string in;
        int line;
        std::string out;
    } cases[] = {
        {"no budget", kUtf8, "ab", 0, "=?utf-8?B?YWI=?="},
        {"a negative budget", kUtf8, "ab", -100, "=?utf-8?B?YWI=?="},
        {"empty", kUtf8, "", 0, "=?utf-8?B?\?="},
        {"empty with a budget", kUtf8, "", 75, "=?utf-8?B?\?="},
        {"room for 3 characters: one word", kUtf8, "abcdef", 17, "=?utf-8?B?YWJjZGVm?="},
        {"room for 4", kUtf8, "abcdef", 18, "=?utf-8?B?YWJj?=\r\n\t=?utf-8?B?ZGVm?="},
        {"room for 7 is room for 4", kUtf8, "abcdef", 21, "=?utf-8?B?YWJj?=\r\n\t=?utf-8?B?ZGVm?="},
        {"room for 8", kUtf8, "abcdefg", 22, "=?utf-8?B?YWJjZGVm?=\r\n\t=?utf-8?B?Zw==?="},
        {"characters may be cut", kUtf8, "a\xe3\x81\x82", 18, "=?utf-8?B?YeOB?=\r\n\t=?utf-8?B?gg==?="},
        {"NULs of UTF-8", kUtf8, std::string("a\0b", 3), 0, "=?utf-8?B?YQBi?="},
        {"Japanese", kJis, "\xe3\x81\x82", 0 + 75, "=?iso-2022-jp?B?GyRCJCIbKEI=?="},
        {"Shift_JIS", 7, "\xe3\x81\x82", 75, "=?shift_jis?B?gqA=?="},
        {"Shift_JIS under its other name", 8, "\xe3\x81\x82", 75, "=?x-sjis?B?gqA=?="},
        {"Latin 1", 3, "\xc3\xa9", 0, "=?iso-8859-1?B?6Q==?="},
    };
    PlatformDouble platform;
    for (const auto& c : cases) {
        const HandedOver got = encode(c.set, c.in, c.line);
        EXPECT_EQ(1, got.code) << c.label;
        EXPECT_EQ(c.out, got.text) << c.label;
    }
}

TEST(ToMimeEncode, CutsAHundredOctetsIntoThreeWordsOfALine)
{
    PlatformDouble platform;
    const std::string text(100, 'x');
    const std::string expected = word("utf-8", std::string(45, 'x')) + "\r\n\t" +
                                 word("utf-8", std::string(45, 'x')) + "\r\n\t" +
                                 word("utf-8", std::string(10, 'x'));
    EXPECT_EQ(expected, encode(kUtf8, text, 75).text);
}

TEST(ToMimeEncode, AgreesWithTheModelForEveryLengthAndLine)
{
    PlatformDouble platform;
    PseudoRandom random(4711);
    for (std::size_t length = 0; length <= 150; ++length) {
        const std::string text = random.octets(length);
        for (int line = 0; line <= 100; ++line) {
            const HandedOver got = encode(kUtf8, text, line);
            ASSERT_EQ(1, got.code);
            ASSERT_EQ(model("utf-8", text, line), got.text) << length << " octets, line " << line;
        }
    }
}

TEST(ToMimeEncode, NeverPassesALineWithRoomForAWord)
{
    PlatformDouble platform;
    const std::string text(500, 'x');
    for (int line = 18; line <= 200; ++line) {
        std::string left = encode(kUtf8, text, line).text + "\r\n";
        for (std::size_t end = left.find("\r\n"); end != std::string::npos; end = left.find("\r\n")) {
            ASSERT_LE(end, static_cast<std::size_t>(line));
            left.erase(0, end + 2);
        }
    }
}

TEST(ToMimeEncode, TakesTheEdgesOfTheBudget)
{
    PlatformDouble platform;
    EXPECT_EQ("=?utf-8?B?YWI=?=", encode(kUtf8, "ab", std::numeric_limits<int>::min()).text);
    EXPECT_EQ("=?utf-8?B?YWI=?=", encode(kUtf8, "ab", std::numeric_limits<int>::min() + 14).text);
    platform.expect_trace(kNoMemory);  // a buffer of 2 GiB: more than this heap gives
    EXPECT_EQ(0, encode(kUtf8, "ab", std::numeric_limits<int>::max()).code);
}

TEST(ToMimeEncode, NamesEverySetOfTheVocabulary)
{
    PlatformDouble platform;
    for (int set = 0; set <= 10; ++set) {
        EXPECT_EQ(word(kNames[set], "abc"), encode(set, "abc", 75).text) << set;
    }
}

TEST(ToMimeEncode, RefusesASetWithoutAName)
{
    const struct {
        int set;
        const char* shown;
    } cases[] = {{11, "b"}, {12, "c"}, {13, "d"}, {255, "ff"}, {-1, "ffffffff"}};
    for (const auto& c : cases) {
        PlatformDouble platform;
        platform.expect_trace("<Error> : CntsMLUTLMimeUtility::ToMimeEncode() GetCharSet returns "
                              "empty-string.[" +
                              std::string(c.shown) + "]\n");
        EXPECT_EQ(0, encode(c.set, "ab", 75).code);
        EXPECT_EQ(0u, platform.allocations());
    }
}

TEST(ToMimeEncode, RefusesALengthThatIsNone)
{
    const struct {
        long length;
        int line;
    } cases[] = {
        {-1, 0},
        {-1, 75},
        {std::numeric_limits<long>::min(), 0},
        {std::numeric_limits<long>::min(), 75},
        {std::numeric_limits<long>::max(), 0},  // one word of it
    };
    for (const auto& c : cases) {
        PlatformDouble platform;
        char* out = const_cast<char*>("before");
        long length = 5;
        platform.expect_trace(kNoMemory);
        EXPECT_EQ(0, CntsMLUTLMimeUtility::ToMimeEncode(static_cast<CharSet>(kUtf8), "ab", c.length, out,
                                                        length, c.line));
        EXPECT_EQ(nullptr, out);
        EXPECT_EQ(0, length);
    }
}

// Another set than UTF-8 is converted whole at each round, so all of it has to fit the first word.
TEST(ToMimeEncode, ConvertsTheWholeRestAtOnce)
{
    PlatformDouble platform;
    std::vector<std::string> inputs;
    std::vector<std::uint32_t> capacities;
    platform.converter([&](int from, int to, UTL_LIB_CHGC_REQUEST* request) {
        EXPECT_EQ(7, from);
        EXPECT_EQ(3, to);
        inputs.emplace_back(request->input);
        capacities.push_back(request->output_capacity);
        for (std::uint32_t i = 0; i < request->output_capacity; ++i)
            EXPECT_EQ('\0', request->output[i]) << "the chunk is zeroed";
        request->output[0] = 'J';
        request->output_length = 1;
        return 0u;
    });
    const std::string text(100, 'x');
    EXPECT_EQ("=?iso-2022-jp?B?Sg==?=", encode(kJis, text, 75).text);
    EXPECT_EQ(std::vector<std::string>{text}, inputs);
    EXPECT_EQ(std::vector<std::uint32_t>{39}, capacities) << "75 - 18 - 2 = 55: 13 groups of 3 octets";
    EXPECT_EQ("=?iso-2022-jp?B?Sg==?=", encode(kJis, text, 0).text);
    EXPECT_EQ(100u, capacities.back()) << "one word: as much as goes in";
}

// Room for the longest piece that is appended, and for the text of one word: folded, it does not grow with the
// text.
TEST(ToMimeEncode, AsksForBlocksOfThePlannedSizes)
{
    PlatformDouble platform;
    std::vector<std::size_t> sizes;
    platform.converter([&](int, int, UTL_LIB_CHGC_REQUEST* request) {
        sizes = platform.live_block_sizes();
        request->output_length = 0;
        return 0u;
    });
    const std::string text(100, 'x');
    EXPECT_EQ("=?iso-2022-jp?B?\?=", encode(kJis, text, 75).text);
    EXPECT_EQ((std::vector<std::size_t>{18 + 3 + 52 + 1, 39, 16 + 1, 100 + 1}), sizes);
    EXPECT_EQ("=?iso-2022-jp?B?\?=", encode(kJis, text, 0).text);
    EXPECT_EQ((std::vector<std::size_t>{136 + 18 + 1, 100, 16 + 1, 100 + 1}), sizes);
}

TEST(ToMimeEncode, FailsWhenTheTextDoesNotFitOrConvert)
{
    const struct {
        const char* label;
        int set;
        const char* in;
        int line;
        int code;  // of the converter
    } cases[] = {
        {"no place in the set", 0, "\xe3\x81\x82", 0, 4},
        {"not UTF-8", kJis, "\xff", 75, 3},
        {"longer than a word", kJis,
         "\xe3\x81\x82\xe3\x81\x82\xe3\x81\x82\xe3\x81\x82\xe3\x81\x82\xe3\x81\x82\xe3\x81\x82\xe3\x81\x82"
         "\xe3\x81\x82\xe3\x81\x82\xe3\x81\x82\xe3\x81\x82\xe3\x81\x82\xe3\x81\x82\xe3\x81\x82\xe3\x81\x82"
         "\xe3\x81\x82",
         75, 5},
        {"longer than its UTF-8, without folding", kJis, "\xe3\x81\x82", 0, 5},
    };
    for (const auto& c : cases) {
        PlatformDouble platform;
        platform.expect_trace("CntsMLUTLMailType::ConvertEncodedString(): utl_lib_convert_encode return 0x" +
                              std::to_string(c.code) + "[Error]\n");
        platform.expect_trace(kNotConverted);
        EXPECT_EQ(0, encode(c.set, c.in, c.line).code) << c.label;
        EXPECT_EQ(0u, platform.live_blocks());
    }
}

struct Failure {
    int nth;
    int code;
    std::vector<std::string> traces;
    std::string text;
};

void expect_failures(int set, const char* in, int line, const std::vector<Failure>& failures,
                     std::size_t allocations)
{
    for (const Failure& failure : failures) {
        SCOPED_TRACE("allocation " + std::to_string(failure.nth));
        PlatformDouble platform;
        for (const std::string& trace : failure.traces)
            platform.expect_trace(trace);
        platform.fail_allocation(failure.nth);
        const HandedOver got = encode(set, in, line);
        EXPECT_TRUE(platform.allocation_failed());
        EXPECT_EQ(failure.code, got.code);
        EXPECT_EQ(failure.text, got.text);
        EXPECT_EQ(0u, platform.live_blocks());
    }
    PlatformDouble platform;
    EXPECT_EQ(1, encode(set, in, line).code);
    EXPECT_EQ(allocations, platform.allocations()) << "each has been made to fail";
}

TEST(ToMimeEncode, EveryFailedAllocationLeavesNothingBehind)
{
    expect_failures(kUtf8, "abcdef", 18,
                    {
                        {1, 0, {kNoMemory}, ""},                                       // the work buffer
                        {2, 0, {kNoMemory}, ""},                                       // the chunk
                        {3, 0, {kNoGrowth, append_line(1439)}, ""},                    // the opening
                        {4, 1, {kNoBase64}, "=?utf-8?B?abc?=\r\n\t=?utf-8?B?ZGVm?="},  // raw instead
                        {5, 0, {kNoGrowth, append_line(1509)}, ""},                    // the fold
                        {6, 1, {kNoBase64}, "=?utf-8?B?YWJj?=\r\n\t=?utf-8?B?def?="},
                        {7, 0, {kNoGrowth, append_line(1522)}, ""},  // the last chunk
                        {8, 0, {kNoGrowth, append_line(1539)}, ""},  // the closing
                    },
                    8);
    expect_failures(kJis, "abc", 75,
                    {
                        {4, 0, {kNotConverted}, ""},  // the converter's copy
                        {5, 1, {kNoBase64}, "=?iso-2022-jp?B?abc?="},
                        {6, 0, {kNoGrowth, append_line(1522)}, ""},
                        {7, 0, {kNoGrowth, append_line(1539)}, ""},
                    },
                    7);
}

TEST(ToMimeEncode, EndsARawChunkAtItsNul)
{
    PlatformDouble platform;
    platform.fail_allocation(4);
    platform.expect_trace(kNoBase64);
    EXPECT_EQ("=?utf-8?B?a?=", encode(kUtf8, std::string_view("a\0b", 3), 0).text);
}

TEST(ToMimeEncode, LetsAnExceptionOfTheHeapPass)
{
    for (const int nth : {1, 2, 3, 5, 6}) {
        PlatformDouble platform;
        platform.throw_on_allocation(nth, "thrown by the heap");
        char* out = const_cast<char*>("before");
        long length = 5;
        try {
            CntsMLUTLMimeUtility::ToMimeEncode(static_cast<CharSet>(kUtf8), "ab", 2, out, length, 0);
            ADD_FAILURE() << "nothing was thrown at allocation " << nth;
        } catch (CntsMLUTLMailException* thrown) {
            EXPECT_STREQ("thrown by the heap", thrown->m_pszText);
            delete thrown;
        }
        EXPECT_EQ(nullptr, out);
        EXPECT_EQ(0, length);
        EXPECT_EQ(0u, platform.live_blocks());
    }
    PlatformDouble platform;
    platform.throw_on_allocation(4, "gone");  // inside ToB64, which catches it
    platform.expect_trace("<Error> : CntsMLUTLMimeUtility::ToB64() gone\n");
    EXPECT_EQ("=?utf-8?B?ab?=", encode(kUtf8, "ab", 0).text);
}

}  // namespace
}  // namespace velorin_test
