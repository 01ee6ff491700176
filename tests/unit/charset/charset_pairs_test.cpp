// One text in every set that holds it, and from each of them to each.
#include <map>

#include <gtest/gtest.h>

#include "charset_support.h"

namespace {

struct Sample {
    const char* label;
    std::map<int, std::string> octets;  // by type, one of each family
};

int family_of(int type)
{
    return type <= 2 ? kAsciiType : type == kMicrosoftType ? kShiftJisType : type;
}

const std::vector<Sample>& samples()
{
    static const std::string ascii = "Hello, \"world\" {1}: 50% \\o/ ~\r\n\tsecond line\r\n";
    static const std::vector<Sample> table = {
        {"empty", {{0, ""}, {3, ""}, {4, ""}, {5, ""}, {7, ""}, {12, ""}, {13, ""}}},
        {"ASCII", {{0, ascii}, {3, ascii}, {4, ascii}, {5, ascii}, {7, ascii}, {12, ascii}, {13, ascii}}},
        {"Western and Eastern Europe",
         {{7, u8"caf\u00E9 \u00FCber"},
          {12, "caf\xE9 \xFC"
               "ber"},
          {13, "caf\xE9 \xFC"
               "ber"}}},
        {"Western Europe", {{7, u8"\u00BF\u00BC\u00F1?"}, {12, "\xBF\xBC\xF1?"}}},
        {"Eastern Europe",
         {{7, u8"\u0141\u00F3d\u017A \u02D9\u02C7"},
          {13, "\xA3\xF3"
               "d\xBC \xFF\xB7"}}},
        {"signs of all but ASCII",
         {{3, "a\x1B$B\x21\x78\x21\x6B\x21\x5F\x1B(Bb"},
          {4, "a\x1B$B\x21\x78\x21\x6B\x21\x5F\x1B(Bb"},
          {5, "a\x81\x98\x81\x8B\x81\x7E"
              "b"},
          {7, u8"a\u00A7\u00B0\u00D7b"},
          {12, "a\xA7\xB0\xD7"
               "b"},
          {13, "a\xA7\xB0\xD7"
               "b"}}},
        {"kanji",
         {{3, "\x1B$B\x46\x7C\x4B\x5C\x38\x6C\x1B(B"},
          {4, "\x1B$B\x46\x7C\x4B\x5C\x38\x6C\x1B(B"},
          {5, "\x93\xFA\x96\x7B\x8C\xEA"},
          {7, u8"\u65E5\u672C\u8A9E"}}},
        {"a subject, a list, a name",
         {{3, "\x1B$B\x37\x6F\x4C\x3E\x1B(B: A\r\n\x1B$B\x2D\x21\x2D\x6A\x7C\x62\x1B(B\r\n"},
          {4, "\x1B$B\x37\x6F\x4C\x3E\x1B(B: A\r\n\x1B$B\x2D\x21\x2D\x6A\x7C\x62\x1B(B\r\n"},
          {5, "\x8C\x8F\x96\xBC: A\r\n\x87\x40\x87\x8A\xFB\xFC\r\n"},
          {7, u8"\u4EF6\u540D: A\r\n\u2460\u3231\u9AD9\r\n"}}},
        {"hiragana, katakana, Cyrillic, Greek, lines",
         {{3, "\x1B$B\x24\x22\x25\x22\x27\x71\x26\x41\x28\x21\x1B(B"},
          {4, "\x1B$B\x24\x22\x25\x22\x27\x71\x26\x41\x28\x21\x1B(B"},
          {5, "\x82\xA0\x83\x41\x84\x91\x83\xBF\x84\x9F"},
          {7, u8"\u3042\u30A2\u044F\u03B1\u2500"}}},
        {"trails that look like ASCII",
         {{3, "\x1B$B\x49\x3D\x3D\x3D\x25\x3D\x1B(B\\"},
          {4, "\x1B$B\x49\x3D\x3D\x3D\x25\x3D\x1B(B\\"},
          {5, "\x95\x5C\x8F\x5C\x83\x5C\\"},
          {7, u8"\u8868\u5341\u30BD\\"}}},
        {"half-width kana",
         {{4, "\x1B(I\x36\x5E\x45\x1B(B"}, {5, "\xB6\xDE\xC5"}, {7, u8"\uFF76\uFF9E\uFF85"}}},
        {"user-defined",
         {{5, "\xF0\x40\xF0\x7E\xF0\x80\xF0\xFC\xF9\xFC"}, {7, u8"\uE000\uE03E\uE03F\uE0BB\uE757"}}},
        {"face", {{7, u8"\U0001F600"}}},
    };
    return table;
}

TEST(CharsetPairs, EverySampleGoesFromEverySetToEverySet)
{
    for (const Sample& sample : samples()) {
        for (const int from : kAllTypes) {
            const auto source = sample.octets.find(family_of(from));
            if (source == sample.octets.end()) continue;
            for (const int to : kAllTypes) {
                SCOPED_TRACE(testing::Message() << sample.label << ", " << from << " to " << to);
                const auto target = sample.octets.find(family_of(to));
                if (target != sample.octets.end()) {
                    EXPECT_EQ(convert(from, to, source->second), done(target->second));
                } else if (to == kJisType && sample.octets.count(kXJisType) != 0) {
                    EXPECT_EQ(convert(from, to, source->second),
                              done("\x1B$B\x25\x2C\x25\x4A\x1B(B"));  // widened
                } else {
                    EXPECT_EQ(convert(from, to, source->second), failed(UTL_LIB_CHGC_NO_PLACE));
                }
            }
        }
    }
}

TEST(CharsetPairs, EveryCapacityUpToTheNeededOneIsRefusedAndKeptTo)
{
    constexpr char kUntouched = '\x5A';
    for (const Sample& sample : samples()) {
        for (const auto& source : sample.octets) {
            for (const auto& target : sample.octets) {
                const std::string& expected = target.second;
                for (std::size_t capacity = 0; capacity <= expected.size() + 1; ++capacity) {
                    SCOPED_TRACE(testing::Message() << sample.label << ", " << source.first << " to "
                                                    << target.first << " in " << capacity);
                    const bool fits = capacity >= expected.size();
                    EXPECT_EQ(convert_into(source.first, target.first, source.second, capacity),
                              fits ? done(expected) : failed(UTL_LIB_CHGC_TOO_LONG));
                    // Once more into the middle of a larger block, whose rest must stay as it is.
                    std::string block(expected.size() + 32, kUntouched);
                    UTL_LIB_CHGC_REQUEST request = {source.second.c_str(), &block[8],
                                                    static_cast<std::uint32_t>(capacity), 0};
                    utl_lib_convert_encode(source.first, target.first, &request);
                    const std::size_t end = 8 + (fits ? expected.size() : capacity);
                    EXPECT_EQ(block.substr(0, 8), std::string(8, kUntouched));
                    EXPECT_EQ(block.substr(end), std::string(block.size() - end, kUntouched));
                }
            }
        }
    }
}

TEST(CharsetPairs, TextsOfEveryLengthAroundWordsAndBatches)
{
    const struct {
        int type;
        const char* character;  // U+3042
    } sets[] = {{kShiftJisType, "\x82\xA0"}, {kUtf8Type, u8"\u3042"}};
    for (std::size_t ascii = 0; ascii <= 24; ++ascii) {
        for (const std::size_t count : {0, 1, 2, 3, 254, 255, 256, 257, 258, 511, 512, 513}) {
            std::string texts[2];
            for (int index = 0; index < 2; ++index) {
                texts[index] = std::string(ascii, 'a');
                for (std::size_t added = 0; added < count; ++added)
                    texts[index] += sets[index].character;
                texts[index] += std::string(24 - ascii, 'z');
            }
            for (int from = 0; from < 2; ++from)
                for (int to = 0; to < 2; ++to)
                    ASSERT_EQ(convert(sets[from].type, sets[to].type, texts[from]), done(texts[to]))
                        << ascii << " and " << count;
        }
    }
}

TEST(CharsetPairs, ASecondCodeOfACharacterStaysInShiftJisAndIsUnifiedOnTheWayElsewhere)
{
    const std::string second =
        "\xED\x40\xEE\xEF\xFA\x4A\x87\x9A\xEE\xF9";  // NEC selection, IBM's XI, row 13, NEC's not
    const std::string first = "\xFA\x5C\xFA\x40\x87\x54\x81\xE6\x81\xCA";
    for (const int from : {kShiftJisType, kMicrosoftType})
        for (const int to : {kShiftJisType, kMicrosoftType})
            EXPECT_EQ(convert(from, to, second), done(second));
    EXPECT_EQ(convert(kUtf8Type, kShiftJisType, convert(kShiftJisType, kUtf8Type, second).octets),
              done(first));
    EXPECT_EQ(convert(kJisType, kShiftJisType, convert(kShiftJisType, kJisType, second).octets), done(first));
}

}  // namespace
