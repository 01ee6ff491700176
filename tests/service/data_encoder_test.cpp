#include "data_encoder.h"

#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "octets.h"

namespace velorin::service {
namespace {

class StringSink : public OctetSink {
public:
    std::uint32_t write(const char* octets, std::size_t count) override
    {
        if (fail_from <= writes++) return 7;
        text.append(octets, count);
        return 0;
    }
    std::string text;
    std::size_t writes = 0;
    std::size_t fail_from = SIZE_MAX;
};

// What has to come out, written down octet by octet as the rule reads.
std::string expected_data(const std::string& octets)
{
    std::string out;
    bool line_start = true;
    for (std::size_t index = 0; index < octets.size(); ++index) {
        const char octet = octets[index];
        if (octet == '\r' || octet == '\n') {
            if (octet == '\r' && index + 1 < octets.size() && octets[index + 1] == '\n') ++index;
            out += "\r\n";
            line_start = true;
            continue;
        }
        if (octet == '.' && line_start) out += '.';
        out += octet;
        line_start = false;
    }
    return line_start ? out : out + "\r\n";
}

// Feeds a slice from a block of its exact size, so that a look past its end is seen.
std::uint32_t feed(DataEncoder& encoder, const std::string& slice)
{
    const std::unique_ptr<char[]> block(new char[slice.size()]);
    std::memcpy(block.get(), slice.data(), slice.size());
    return encoder.feed(block.get(), slice.size());
}

std::string encoded(const std::vector<std::string>& slices)
{
    StringSink sink;
    DataEncoder encoder(sink);
    encoder.begin();
    for (const std::string& slice : slices)
        EXPECT_EQ(0u, feed(encoder, slice));
    EXPECT_EQ(0u, encoder.finish());
    return sink.text;
}

struct Case {
    const char* label;
    std::string octets;
    std::string data;
};

const Case cases[] = {
    {"nothing", "", ""},
    {"a whole line", "abc\r\n", "abc\r\n"},
    {"a line without its end", "abc", "abc\r\n"},
    {"a lone LF", "a\nb", "a\r\nb\r\n"},
    {"a lone CR", "a\rb", "a\r\nb\r\n"},
    {"a CR at the end", "a\r", "a\r\n"},
    {"an LF at the end", "a\n", "a\r\n"},
    {"two CRs", "a\r\rb", "a\r\n\r\nb\r\n"},
    {"CR CR LF", "a\r\r\nb", "a\r\n\r\nb\r\n"},
    {"LF CR", "a\n\rb", "a\r\n\r\nb\r\n"},
    {"a dot alone", ".", "..\r\n"},
    {"a final dot line inside", "a\r\n.\r\nb", "a\r\n..\r\nb\r\n"},
    {"dots after lone line ends", "a\n.b\r.c", "a\r\n..b\r\n..c\r\n"},
    {"two dots", "..", "...\r\n"},
    {"a dot inside a line", "a.b\r\n", "a.b\r\n"},
    {"a hidden end with lone LFs", "a\n.\nMAIL FROM:<x>\n", "a\r\n..\r\nMAIL FROM:<x>\r\n"},
    {"a hidden end with lone CRs", "a\r.\rQUIT\r", "a\r\n..\r\nQUIT\r\n"},
    {"NUL and 8-bit octets", std::string("\0\x80\xFF.\r\n", 6), std::string("\0\x80\xFF.\r\n", 6)},
    {"empty lines", "\r\n\r\n\n\n", "\r\n\r\n\r\n\r\n"},
};

TEST(DataEncoder, StuffsDotsAndMakesLineEndsWhole)
{
    for (const Case& one : cases) {
        EXPECT_EQ("", velorin_test::octet_difference(one.data, encoded({one.octets}))) << one.label;
        EXPECT_EQ(one.data, expected_data(one.octets)) << one.label;
    }
}

TEST(DataEncoder, GivesTheSameOctetsAtEveryCut)
{
    for (const Case& one : cases) {
        for (std::size_t first = 0; first <= one.octets.size(); ++first) {
            for (std::size_t second = first; second <= one.octets.size(); ++second) {
                const std::string out =
                    encoded({one.octets.substr(0, first), one.octets.substr(first, second - first),
                             one.octets.substr(second)});
                EXPECT_EQ("", velorin_test::octet_difference(one.data, out))
                    << one.label << " cut at " << first << " and " << second;
            }
        }
    }
}

TEST(DataEncoder, AgreesWithTheRuleOnRandomOctetsInRandomSlices)
{
    std::mt19937 random(20260101);
    constexpr char kAlphabet[] = {'\r', '\n', '.', 'a', '\0'};
    for (int round = 0; round < 3000; ++round) {
        std::string octets(random() % 40, '\0');
        for (char& octet : octets)
            octet = kAlphabet[random() % sizeof kAlphabet];
        std::vector<std::string> slices;
        for (std::size_t at = 0; at < octets.size();) {
            const std::size_t length = random() % 6;
            slices.push_back(octets.substr(at, length));
            at += length;
        }
        ASSERT_EQ("", velorin_test::octet_difference(expected_data(octets), encoded(slices)))
            << velorin_test::printable(octets);
    }
}

// Lines as a mail of base64 has them, as long as several of the blocks that are looked at together.
std::string long_data()
{
    std::string octets;
    while (octets.size() < 5000)
        octets += std::string(76, 'A') + "\r\n";
    return octets;
}

TEST(DataEncoder, FindsWhatNeedsAChangeAnywhereInLongData)
{
    for (const char* const defect : {"\r", "\n", ".", "\r\n.", "\n\r", "\r\r\n"}) {
        const std::string octets = long_data();
        for (std::size_t at = 1960; at < 2140; ++at) {  // both sides of a block's end, every place in a line
            std::string changed = octets;
            changed.replace(at, std::strlen(defect), defect);
            ASSERT_EQ("", velorin_test::octet_difference(expected_data(changed), encoded({changed})))
                << velorin_test::printable(defect) << " at " << at;
        }
    }
}

TEST(DataEncoder, GivesTheSameOctetsOfLongDataAtEveryCut)
{
    const std::string octets = long_data();
    for (std::size_t cut = 0; cut < octets.size(); ++cut) {
        const std::vector<std::string> slices = {octets.substr(0, cut), octets.substr(cut)};
        ASSERT_EQ("", velorin_test::octet_difference(octets, encoded(slices))) << cut;
    }
}

// Long clean stretches are looked at in blocks: one octet of every kind at every place around their ends.
TEST(DataEncoder, FindsOneOddOctetInALongCleanText)
{
    std::string clean;
    while (clean.size() < 9000)
        clean += std::string(76, 'A') + "\r\n";
    for (std::size_t at = 0; at<clean.size(); at += at % 2048> 2 && at % 2048 < 2040 ? 7 : 1) {
        for (const char octet : {'\r', '\n', '.', 'A'}) {
            std::string octets = clean;
            octets[at] = octet;
            ASSERT_EQ("", velorin_test::octet_difference(expected_data(octets), encoded({octets})))
                << static_cast<int>(octet) << " at " << at;
        }
    }
}

TEST(DataEncoder, AgreesWithTheRuleOnLongTextsInRandomSlices)
{
    std::mt19937 random(20260102);
    constexpr char kOdd[] = {'\r', '\n', '.', '\0'};
    for (int round = 0; round < 300; ++round) {
        std::string octets;
        const std::size_t length = random() % 20000;
        while (octets.size() < length) {
            octets += std::string(random() % 100, 'x');
            octets += random() % 8 != 0 ? std::string("\r\n") : std::string(1, kOdd[random() % sizeof kOdd]);
            if (random() % 16 == 0) octets += '.';
        }
        std::vector<std::string> slices;
        for (std::size_t at = 0; at < octets.size();) {
            const std::size_t slice = random() % 6000;
            slices.push_back(octets.substr(at, slice));
            at += slice;
        }
        ASSERT_EQ("", velorin_test::octet_difference(expected_data(octets), encoded(slices))) << round;
    }
}

TEST(DataEncoder, HandsLongRunsOnInOnePiece)
{
    std::string octets;
    for (int line = 0; line < 1000; ++line)
        octets += std::string(76, 'A') + "\r\n";
    StringSink sink;
    DataEncoder encoder(sink);
    encoder.begin();
    EXPECT_EQ(0u, encoder.feed(octets.data(), octets.size()));
    EXPECT_EQ(1u, sink.writes);
    EXPECT_EQ(octets, sink.text);
}

TEST(DataEncoder, TakesManyLoneLineEndsInLinearTime)
{
    // A search for the next LF from every CR would look at 10^12 octets.
    const std::string octets(1 << 20, '\r');
    StringSink sink;
    DataEncoder encoder(sink);
    encoder.begin();
    EXPECT_EQ(0u, encoder.feed(octets.data(), octets.size()));
    EXPECT_EQ(0u, encoder.finish());
    EXPECT_EQ(octets.size() * 2, sink.text.size());
}

TEST(DataEncoder, BeginsTheNextMailAtTheStartOfALine)
{
    StringSink sink;
    DataEncoder encoder(sink);
    encoder.begin();
    EXPECT_EQ(0u, encoder.feed("abc\r", 4));
    encoder.begin();
    EXPECT_EQ(0u, encoder.feed("\n.", 2));
    EXPECT_EQ(0u, encoder.finish());
    EXPECT_EQ("abc\r\n..\r\n", sink.text);
}

TEST(DataEncoder, StopsAtTheFirstFailedWrite)
{
    const std::string octets = "a\n.b\r\nc\rd\r";
    StringSink counting;
    DataEncoder whole(counting);
    whole.begin();
    ASSERT_EQ(0u, whole.feed(octets.data(), octets.size()));
    ASSERT_EQ(0u, whole.finish());
    for (std::size_t nth = 0; nth < counting.writes; ++nth) {
        StringSink sink;
        sink.fail_from = nth;
        DataEncoder encoder(sink);
        encoder.begin();
        std::uint32_t code = encoder.feed(octets.data(), octets.size());
        if (code == 0) code = encoder.finish();
        EXPECT_EQ(7u, code) << nth;
        EXPECT_EQ(nth + 1, sink.writes) << nth;
    }
}

}  // namespace
}  // namespace velorin::service
