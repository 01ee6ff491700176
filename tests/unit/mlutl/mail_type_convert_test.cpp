#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "CntsMLUTLMailType.h"
#include "mlutl_support.h"
#include "octets.h"
#include "platform_double.h"

namespace velorin_test {
namespace {

using velorin::CntsMLUTLMailType;
using CharSet = CntsMLUTLMailType::eCharSet;
using EncodedString = CntsMLUTLMailType::ENCODED_STRING;

EncodedString encoded(int set, char* buffer, long length)
{
    return EncodedString{static_cast<CharSet>(set), buffer, static_cast<int>(length)};
}

TEST(MailTypeConvertSameSet, CopiesAsMuchAsFits)
{
    PlatformDouble platform;
    for (const int set : {0, 5, 7, 10, 11, 12, 99, -3}) {  // no row is needed, nothing is converted
        for (int length = 0; length <= 6; ++length) {
            for (int capacity = 0; capacity <= 6; ++capacity) {
                const ExactCopy in(
                    std::string("a\0\xe3\x81\x82z", 6).substr(0, static_cast<std::size_t>(length)));
                const ExactCopy out(std::string(static_cast<std::size_t>(capacity), '#'));
                const EncodedString source = encoded(set, in.data(), length);
                EncodedString destination = encoded(set, out.data(), capacity);
                int consumed = -7;
                EXPECT_EQ(0, CntsMLUTLMailType::ConvertEncodedString(source, destination, consumed));
                const int expected = length < capacity ? length : capacity;
                EXPECT_EQ(expected, consumed);
                EXPECT_EQ(expected, destination.m_nLength);
                EXPECT_EQ(std::string(in.data(), static_cast<std::size_t>(expected)) +
                              std::string(static_cast<std::size_t>(capacity - expected), '#'),
                          std::string(out.data(), static_cast<std::size_t>(capacity)));
            }
        }
    }
}

TEST(MailTypeConvertSameSet, NeverCopiesANegativeLength)
{
    const int lengths[][2] = {{-1, 4}, {4, -1}, {-5, -6}, {std::numeric_limits<int>::min(), 4}};
    PlatformDouble platform;
    for (const auto& pair : lengths) {
        char in[] = "abcd";
        char out[] = "####";
        const EncodedString source = encoded(10, in, pair[0]);
        EncodedString destination = encoded(10, out, pair[1]);
        int consumed = 0;
        CntsMLUTLMailType::ConvertEncodedString(source, destination, consumed);
        EXPECT_STREQ("####", out) << pair[0] << " to " << pair[1];
        EXPECT_LE(consumed, 0);
    }
}

struct ConverterCall {
    int from;
    int to;
    std::string input;
    const char* input_at;
    char* output_at;
    std::uint32_t capacity;
    std::uint32_t length_before;
};

TEST(MailTypeConvert, HandsACopyWithANulToTheConverter)
{
    PlatformDouble platform;
    std::vector<ConverterCall> calls;
    platform.converter(
        [&](UTL_LIB_CHGC_ENCODE_TYPE from, UTL_LIB_CHGC_ENCODE_TYPE to, UTL_LIB_CHGC_REQUEST* r) {
            calls.push_back({from, to, r->input, r->input, r->output, r->output_capacity, r->output_length});
            EXPECT_EQ(4, PlatformDouble::block_size(r->input));
            r->output[0] = 'x';
            r->output[1] = 'y';
            r->output_length = 2;
            return 0u;
        });
    const ExactCopy in("abc");
    const ExactCopy out("#########");
    const EncodedString source = encoded(10, in.data(), 3);
    EncodedString destination = encoded(5, out.data(), 9);
    int consumed = -1;
    EXPECT_EQ(0, CntsMLUTLMailType::ConvertEncodedString(source, destination, consumed));
    ASSERT_EQ(1u, calls.size());
    EXPECT_EQ(7, calls[0].from);
    EXPECT_EQ(3, calls[0].to);
    EXPECT_EQ("abc", calls[0].input);
    EXPECT_NE(in.data(), calls[0].input_at);
    EXPECT_EQ(out.data(), calls[0].output_at);
    EXPECT_EQ(9u, calls[0].capacity);
    EXPECT_EQ(0u, calls[0].length_before);
    EXPECT_EQ(3, consumed);
    EXPECT_EQ(2, destination.m_nLength);
    EXPECT_EQ("xy#######", std::string(out.data(), 9));
    EXPECT_EQ(0u, platform.live_blocks());
}

TEST(MailTypeConvert, UsesTheTypesOfTheTable)
{
    const int types[] = {0, 1, 2, 12, 13, 3, 4, 5, 5, 6, 7};
    PlatformDouble platform;
    int from = -1;
    int to = -1;
    platform.converter([&](UTL_LIB_CHGC_ENCODE_TYPE f, UTL_LIB_CHGC_ENCODE_TYPE t, UTL_LIB_CHGC_REQUEST* r) {
        from = f;
        to = t;
        r->output_length = 1;
        return 0u;
    });
    for (int source_set = 0; source_set <= 10; ++source_set) {
        for (int destination_set = 0; destination_set <= 10; ++destination_set) {
            if (source_set == destination_set) continue;
            const ExactCopy in("a");
            char out[4] = {};
            const EncodedString source = encoded(source_set, in.data(), 1);
            EncodedString destination = encoded(destination_set, out, 4);
            int consumed = 0;
            EXPECT_EQ(0, CntsMLUTLMailType::ConvertEncodedString(source, destination, consumed));
            // "x-sjis" and "shift_jis" are different sets of one type: the converter is called all the same.
            EXPECT_EQ(types[source_set], from) << source_set << " to " << destination_set;
            EXPECT_EQ(types[destination_set], to) << source_set << " to " << destination_set;
        }
    }
}

TEST(MailTypeConvert, ReportsTheWholeSourceAsConsumedAlsoPastANul)
{
    PlatformDouble platform;
    std::string seen;
    platform.converter([&](UTL_LIB_CHGC_ENCODE_TYPE, UTL_LIB_CHGC_ENCODE_TYPE, UTL_LIB_CHGC_REQUEST* r) {
        seen = r->input;
        r->output_length = 0;
        return 0u;
    });
    const ExactCopy in(std::string("ab\0cd", 5));
    char out[2] = {'#', '#'};
    const EncodedString source = encoded(10, in.data(), 5);
    EncodedString destination = encoded(7, out, 2);
    int consumed = -1;
    EXPECT_EQ(0, CntsMLUTLMailType::ConvertEncodedString(source, destination, consumed));
    EXPECT_EQ("ab", seen);
    EXPECT_EQ(5, consumed);
    EXPECT_EQ(0, destination.m_nLength);
}

TEST(MailTypeConvert, TakesANegativeLengthForNothing)
{
    PlatformDouble platform;
    std::string seen = "nothing";
    std::uint32_t capacity = 77;
    platform.converter([&](UTL_LIB_CHGC_ENCODE_TYPE, UTL_LIB_CHGC_ENCODE_TYPE, UTL_LIB_CHGC_REQUEST* r) {
        seen = r->input;
        capacity = r->output_capacity;
        r->output_length = 0;
        return 0u;
    });
    for (const int negative : {-1, -4, std::numeric_limits<int>::min()}) {
        char in[] = "abc";
        char out[] = "####";
        const EncodedString source = encoded(10, in, negative);
        EncodedString destination = encoded(7, out, negative);
        int consumed = -7;
        EXPECT_EQ(0, CntsMLUTLMailType::ConvertEncodedString(source, destination, consumed));
        EXPECT_EQ("", seen);
        EXPECT_EQ(0u, capacity);
        EXPECT_EQ(0, consumed);
        EXPECT_EQ(0, destination.m_nLength);
        EXPECT_STREQ("####", out);
    }
}

TEST(MailTypeConvert, RefusesSetsWithoutARow)
{
    const struct {
        const char* label;
        int source;
        int destination;
        const char* trace;
    } cases[] = {
        {"source unknown", 11, 10, "CntsMLUTLMailType::ConvertEncodedString(): unknown encode(11)[Error]\n"},
        {"source none", 12, 10, "CntsMLUTLMailType::ConvertEncodedString(): unknown encode(12)[Error]\n"},
        {"destination unknown", 10, 11,
         "CntsMLUTLMailType::ConvertEncodedString(): unknown encode(11)[Error]\n"},
        {"destination none", 5, 12, "CntsMLUTLMailType::ConvertEncodedString(): unknown encode(12)[Error]\n"},
        {"both: the source's", 11, 12,
         "CntsMLUTLMailType::ConvertEncodedString(): unknown encode(11)[Error]\n"},
        {"both, the other way", 99, 11,
         "CntsMLUTLMailType::ConvertEncodedString(): unknown encode(99)[Error]\n"},
        {"negative", 0, -1, "CntsMLUTLMailType::ConvertEncodedString(): unknown encode(-1)[Error]\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.label);
        PlatformDouble platform;
        platform.converter([](UTL_LIB_CHGC_ENCODE_TYPE, UTL_LIB_CHGC_ENCODE_TYPE, UTL_LIB_CHGC_REQUEST*) {
            ADD_FAILURE() << "the converter is not asked";
            return 0u;
        });
        char in[] = "abc";
        char out[] = "####";
        const EncodedString source = encoded(c.source, in, 3);
        EncodedString destination = encoded(c.destination, out, 4);
        int consumed = -7;
        platform.expect_trace(c.trace);
        EXPECT_EQ(-1, CntsMLUTLMailType::ConvertEncodedString(source, destination, consumed));
        EXPECT_EQ(-7, consumed);
        EXPECT_EQ(4, destination.m_nLength);
        EXPECT_STREQ("####", out);
        EXPECT_EQ(0u, platform.allocations());
    }
}

TEST(MailTypeConvert, PassesTheConvertersRefusalUp)
{
    PlatformDouble platform;
    platform.converter([](UTL_LIB_CHGC_ENCODE_TYPE, UTL_LIB_CHGC_ENCODE_TYPE, UTL_LIB_CHGC_REQUEST* r) {
        r->output[0] = '!';
        r->output_length = 1;
        return 0x8badf00du;
    });
    char in[] = "abc";
    char out[] = "####";
    const EncodedString source = encoded(10, in, 3);
    EncodedString destination = encoded(5, out, 4);
    int consumed = -7;
    platform.expect_trace(
        "CntsMLUTLMailType::ConvertEncodedString(): utl_lib_convert_encode return 0x8badf00d[Error]\n");
    EXPECT_EQ(-1, CntsMLUTLMailType::ConvertEncodedString(source, destination, consumed));
    EXPECT_STREQ("!###", out);
    EXPECT_EQ(-7, consumed);
    EXPECT_EQ(0u, platform.live_blocks());
}

TEST(MailTypeConvert, RefusesWhenTheCopyFindsNoMemory)
{
    PlatformDouble platform;
    char in[] = "abc";
    char out[] = "####";
    const EncodedString source = encoded(10, in, 3);
    EncodedString destination = encoded(5, out, 4);
    int consumed = -7;
    platform.fail_allocation(1);
    EXPECT_EQ(-1, CntsMLUTLMailType::ConvertEncodedString(source, destination, consumed));
    EXPECT_TRUE(platform.allocation_failed());
    EXPECT_EQ(-7, consumed);
    EXPECT_EQ(4, destination.m_nLength);
    EXPECT_STREQ("####", out);
}

// With the converter of this platform: the same text in five sets, every pair of them.
TEST(MailTypeConvert, ConvertsJapaneseTextBetweenAllItsSets)
{
    const struct {
        int set;
        const char* octets;  // U+6F22 U+5B57 "a"
    } forms[] = {
        {5, "\x1b$B4A;z\x1b(Ba"},
        {6, "\x1b$B4A;z\x1b(Ba"},
        {7, "\x8a\xbf\x8e\x9a"
            "a"},
        {8, "\x8a\xbf\x8e\x9a"
            "a"},
        {9, "\x8a\xbf\x8e\x9a"
            "a"},
        {10, "\xe6\xbc\xa2\xe5\xad\x97"
             "a"},
    };
    PlatformDouble platform;
    for (const auto& from : forms) {
        for (const auto& to : forms) {
            const std::string expected = to.octets;
            const ExactCopy in(from.octets);
            const ExactCopy out(std::string(expected.size(), '#'));
            const EncodedString source = encoded(from.set, in.data(), in.length());
            EncodedString destination = encoded(to.set, out.data(), out.length());
            int consumed = -1;
            EXPECT_EQ(0, CntsMLUTLMailType::ConvertEncodedString(source, destination, consumed))
                << from.set << " to " << to.set;
            EXPECT_EQ(in.length(), consumed);
            EXPECT_EQ(out.length(), destination.m_nLength);
            EXPECT_EQ("", octet_difference(expected, std::string_view(out.data(), expected.size())))
                << from.set << " to " << to.set;
        }
    }
}

}  // namespace
}  // namespace velorin_test
