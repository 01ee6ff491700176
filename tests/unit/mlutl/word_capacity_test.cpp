// How much of a chunk the conversion of an encoded word may fill. The library's own conversion always takes
// all it is given, so this program takes its place.
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "CntsMLUTLMimeUtility.h"
#include "mlutl_support.h"
#include "platform_double.h"

namespace {

// What the conversion is to do in one round, and what it was given.
struct Round {
    int written;
    int consumed;
};
struct Given {
    int source_set;
    int destination_set;
    std::string text;
    int capacity;
    bool is_zeroed;
};

constexpr int kChunk = 39;  // 75 characters less 18 around the text and 2 of the line end: 13 groups
std::vector<Round> script;
std::vector<Given> given;

}  // namespace

int velorin::CntsMLUTLMailType::ConvertEncodedString(const ENCODED_STRING& source,
                                                     ENCODED_STRING& destination, int& consumed)
{
    if (given.size() >= script.size()) return -1;
    const Round round = script[given.size()];
    bool is_zeroed = true;
    for (int i = 0; i < kChunk; ++i)
        is_zeroed = is_zeroed && destination.m_pBuffer[i] == '\0';
    given.push_back({source.m_eCharSet, destination.m_eCharSet,
                     std::string(source.m_pBuffer, static_cast<std::size_t>(source.m_nLength)),
                     destination.m_nLength, is_zeroed});
    std::memset(destination.m_pBuffer, 'x', static_cast<std::size_t>(round.written));
    destination.m_nLength = round.written;
    consumed = round.consumed;
    return 0;
}

namespace velorin_test {
namespace {

using velorin::CntsMLUTLMailType;
using velorin::CntsMLUTLMimeUtility;

std::string encode(const std::string& text, std::vector<Round> rounds, int& result, int line = 75)
{
    script = std::move(rounds);
    given.clear();
    char* out = nullptr;
    long length = 0;
    result = CntsMLUTLMimeUtility::ToMimeEncode(CntsMLUTLMailType::eCharSetIso2022Jp, text.data(),
                                                static_cast<long>(text.size()), out, length, line);
    const Taken taken(out);
    return out != nullptr ? taken.octets(length) : "";
}

// Deliberate: the room of a later word is what the word before it filled, never the whole chunk again.
TEST(ToMimeEncodeCapacity, NeverGrowsBack)
{
    const PlatformDouble platform;
    int result = 0;
    const std::string text = "abcdefghijklmnopqrstuvwxyz";
    const std::string words = encode(text, {{12, 3}, {9, 4}, {9, 5}, {6, 14}}, result);
    EXPECT_EQ(1, result);
    ASSERT_EQ(4u, given.size());
    const int capacities[] = {kChunk, 12, 9, 9};
    const int taken[] = {0, 3, 7, 12};
    for (std::size_t i = 0; i < given.size(); ++i) {
        EXPECT_EQ(capacities[i], given[i].capacity) << "round " << i;
        EXPECT_EQ(text.substr(static_cast<std::size_t>(taken[i])), given[i].text)
            << "the rest, in round " << i;
        EXPECT_TRUE(given[i].is_zeroed) << "the whole chunk, in round " << i;
        EXPECT_EQ(CntsMLUTLMailType::eCharSetUtf8, given[i].source_set);
        EXPECT_EQ(CntsMLUTLMailType::eCharSetIso2022Jp, given[i].destination_set);
    }
    const std::string open = "=?iso-2022-jp?B?";
    const std::string fold = "?=\r\n\t" + open;
    EXPECT_EQ(open + base64_of(std::string(12, 'x')) + fold + base64_of(std::string(9, 'x')) + fold +
                  base64_of(std::string(9, 'x')) + fold + base64_of(std::string(6, 'x')) + "?=",
              words);
}

// Without room to fold there is one word, whatever the conversion left of the text.
TEST(ToMimeEncodeCapacity, OneWordIsTheLast)
{
    const PlatformDouble platform;
    int result = 0;
    const std::string text(kChunk + 1, 'a');
    EXPECT_EQ("=?iso-2022-jp?B?" + base64_of("xxx") + "?=", encode(text, {{3, 5}, {3, 35}}, result, 0));
    EXPECT_EQ(1, result);
    ASSERT_EQ(1u, given.size());
    EXPECT_EQ(kChunk + 1, given[0].capacity);
    EXPECT_EQ(text, given[0].text);
}

TEST(ToMimeEncodeCapacity, AFailureInALaterRoundFreesTheWordsBefore)
{
    PlatformDouble platform;
    platform.expect_trace(
        "<Error>: CntsMLUTLMimeUtility::ToMimeEncode() ConvertEncodedString return 0xffffffff "
        "[NG]: Line1474\n");
    int result = 1;
    EXPECT_EQ("", encode("abcdef", {{3, 3}}, result));
    EXPECT_EQ(0, result);
    EXPECT_EQ(0u, platform.live_blocks());
}

}  // namespace
}  // namespace velorin_test
