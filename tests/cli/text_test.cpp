#include "text.h"

#include <algorithm>
#include <cstring>

#include <gtest/gtest.h>

#include "report.h"
#include "utf8.h"

using namespace velorin;
using namespace velorin::cli;

namespace {

// Gives its octets out as they are asked for.
class TextSource : public OctetSource {
public:
    explicit TextSource(std::string octets) : octets_(std::move(octets)) {}
    bool read(char* buffer, std::size_t capacity, std::size_t& count) override
    {
        count = std::min(capacity, octets_.size() - position_);
        std::memcpy(buffer, octets_.data() + position_, count);
        position_ += count;
        return true;
    }

private:
    std::string octets_;
    std::size_t position_ = 0;
};

std::string content(Spool& spool)
{
    std::string octets(static_cast<std::size_t>(spool.size()) + 1, '\0');
    std::size_t count = 0;
    EXPECT_TRUE(spool.read(&octets[0], octets.size(), count));
    octets.resize(count);
    return octets;
}

struct Prepared {
    std::string octets;
    std::int32_t encoding;
};

Prepared prepared(const std::string& octets, const std::string& charset)
{
    TextSource source(octets);
    MailText text;
    Failure failure;
    EXPECT_TRUE(prepare_text(source, "f", charset, text, failure)) << failure.sentence;
    return {content(text.octets), text.encoding};
}

Failure refused(const std::string& octets, const std::string& charset)
{
    TextSource source(octets);
    MailText text;
    Failure failure;
    EXPECT_FALSE(prepare_text(source, "f", charset, text, failure));
    return failure;
}

std::string repeated(const std::string& text, std::size_t times)
{
    std::string all;
    while (times-- > 0)
        all += text;
    return all;
}

}  // namespace

TEST(CliText, LineEndsBecomeCrLf)
{
    EXPECT_EQ("a\r\nb\r\n\r\nc\r\n\r\nd", prepared("a\nb\r\n\nc\r\rd", "utf-8").octets);
    EXPECT_EQ("", prepared("", "utf-8").octets);
    EXPECT_EQ("\r\n", prepared("\r", "us-ascii").octets);
    EXPECT_EQ("a", prepared("\xEF\xBB\xBF"
                            "a",
                            "us-ascii")
                       .octets);
}

TEST(CliText, SevenBitWhereverItSuffices)
{
    static const struct {
        const char* label;
        std::string text;
        const char* charset;
        std::int32_t encoding;
    } cases[] = {
        {"ASCII", "hello\n", "utf-8", 0},
        {"998", std::string(998, 'x') + "\n" + std::string(998, 'x'), "utf-8", 0},
        {"999", "a\n" + std::string(999, 'x') + "\nb", "utf-8", 2},
        {"8 bit", "h\xC3\xA4\n", "utf-8", 2},
        {"8 bit of iso-8859-1", "h\xC3\xA4\n", "iso-8859-1", 2},
        {"iso-2022-jp", "\xE3\x81\x93\n", "iso-2022-jp", 0},
        {"long iso-2022-jp", repeated("\xE3\x81\x93", 600), "iso-2022-jp", 2},
        {"shift_jis", "\xE3\x81\x93\n", "Shift_JIS", 2},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.encoding, prepared(c.text, c.charset).encoding) << c.label;
}

TEST(CliText, ConvertsToEverySet)
{
    EXPECT_EQ("\x1B$B$3$s\x1B(B!\r\n", prepared("\xE3\x81\x93\xE3\x82\x93!\n", "iso-2022-jp").octets);
    EXPECT_EQ("\x82\xB1", prepared("\xE3\x81\x93", "shift_jis").octets);
    EXPECT_EQ("\xE4", prepared("\xC3\xA4", "iso-8859-1").octets);
    EXPECT_EQ("\xB1", prepared("\xC4\x85", "iso-8859-2").octets);
    EXPECT_EQ("\xE3\x81\x93", prepared("\xE3\x81\x93", "UTF-8").octets);
}

// Whatever the pieces are, the text is the same as in one: lines before and behind every piece's end.
TEST(CliText, AnySizeIsConvertedAsOne)
{
    for (const std::size_t before : {0u, 1u, 2u, 3u, 4u, 5u}) {
        const std::string lead(before, 'x');
        EXPECT_EQ(lead + "\r\n" + repeated("\x1B$B$3\x1B(By\r\n", 40000),
                  prepared(lead + "\n" + repeated("\xE3\x81\x93y\n", 40000), "iso-2022-jp").octets);
        EXPECT_EQ(lead + repeated("\x82\xB1", 40000),
                  prepared(lead + repeated("\xE3\x81\x93", 40000), "shift_jis").octets);
    }
}

TEST(CliText, ASoundMarkStaysWithItsKana)
{
    // Half-width KA and its sound mark are one character in ISO-2022-JP, wherever a piece ends.
    const std::string ga = "\xEF\xBD\xB6\xEF\xBE\x9E";
    for (const std::size_t before : {0u, 1u, 2u, 3u, 4u, 5u}) {
        const std::string octets =
            prepared(std::string(before, 'x') + repeated(ga, 20000), "iso-2022-jp").octets;
        std::size_t count = 0;
        for (std::size_t i = octets.find("%,"); i != std::string::npos; i = octets.find("%,", i + 2))
            ++count;
        EXPECT_EQ(20000u, count) << before;
        EXPECT_EQ(std::string::npos, octets.find("!+")) << before;
    }
}

TEST(CliText, SaysWhereACharacterDoesNotFit)
{
    static const struct {
        const char* text;
        const char* charset;
        const char* part;
    } cases[] = {
        {"a\nb\xE2\x98\x83\n", "iso-8859-1", "f, line 2: the character U+2603 has no place in iso-8859-1"},
        {"\xC3\xA4", "us-ascii", "line 1: the character U+00E4 has no place in us-ascii"},
        {"a\r\nb\r\n\xF0\x9F\x98\x80", "iso-2022-jp", "line 3: the character U+1F600"},
        {"a\n\xC0\x80", "utf-8", "line 2: the text is not UTF-8"},
        {"a\n\xE3\x81", "utf-8", "line 2: the text is not UTF-8"},
    };
    for (const auto& c : cases) {
        const Failure failure = refused(c.text, c.charset);
        EXPECT_EQ(kExitData, failure.exit_code);
        EXPECT_NE(std::string::npos, failure.sentence.find(c.part)) << failure.sentence;
    }
    EXPECT_NE(std::string::npos, refused(std::string("a\0b", 3), "utf-8").sentence.find("NUL"));
    const Failure late = refused(repeated("line\n", 100000) + "\xE2\x98\x83", "shift_jis");
    EXPECT_NE(std::string::npos, late.sentence.find("line 100001")) << late.sentence;
    EXPECT_EQ(kExitUsage, refused("a", "utf-16").exit_code);
}

TEST(CliSpool, LargeTextsGoToAFileAndComeBack)
{
    for (const std::size_t size :
         {std::size_t{0}, std::size_t{5}, Spool::kInMemory, Spool::kInMemory + 1, 3 * Spool::kInMemory + 7}) {
        std::string octets(size, '\0');
        for (std::size_t i = 0; i < size; ++i)
            octets[i] = static_cast<char>(i * 31 % 251);
        Spool spool;
        for (std::size_t i = 0; i < size; i += 70000)
            ASSERT_TRUE(spool.write(octets.data() + i, std::min<std::size_t>(70000, size - i)));
        EXPECT_EQ(size, spool.size());
        EXPECT_EQ(size > Spool::kInMemory, spool.in_file());
        ASSERT_TRUE(spool.rewind());
        EXPECT_EQ(octets, content(spool));
    }
}

TEST(CliUtf8, KnowsEveryFormThatIsNone)
{
    static const struct {
        const char* octets;
        std::size_t width;
    } cases[] = {
        {"a", 1},
        {"\xC2\x80", 2},
        {"\xE0\xA0\x80", 3},
        {"\xED\x9F\xBF", 3},
        {"\xF0\x90\x80\x80", 4},
        {"\xF4\x8F\xBF\xBF", 4},
        {"\x80", 0},
        {"\xC0\x80", 0},
        {"\xC1\xBF", 0},
        {"\xE0\x9F\xBF", 0},
        {"\xED\xA0\x80", 0},
        {"\xF0\x8F\xBF\xBF", 0},
        {"\xF4\x90\x80\x80", 0},
        {"\xF5\x80\x80\x80", 0},
        {"\xE3\x81", 0},
        {"\xE3\x81"
         "a",
         0},
        {"\xFF", 0},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.width, utf8_width(c.octets, std::strlen(c.octets))) << c.octets;
    EXPECT_EQ(0x10FFFFu, utf8_character("\xF4\x8F\xBF\xBF", 4));
    EXPECT_EQ(0x3053u, utf8_character("\xE3\x81\x93", 3));
    EXPECT_TRUE(utf8_is_begun("\xE3\x81", 2));
    EXPECT_FALSE(utf8_is_begun("\xE3\xC1", 2));
    EXPECT_FALSE(utf8_is_begun("\xED\xA0", 2));
    EXPECT_FALSE(utf8_is_begun("a", 1));
}
