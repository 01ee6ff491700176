// Readers of what a server says.
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "last_reply.h"
#include "opening_replies.h"
#include "reply_mask.h"
#include "secret.h"
#include "smtp_capabilities.h"
#include "smtp_reply.h"

namespace velorin::service {
namespace {

using Result = SmtpReplyParser::Result;

// Feeds octets in slices of that many, each from a block of its exact size.
Result parse(SmtpReplyParser& parser, const std::string& octets, std::size_t slice, std::size_t& used)
{
    used = 0;
    Result result = Result::incomplete;
    while (used < octets.size() && result == Result::incomplete) {
        const std::string piece = octets.substr(used, slice);
        const std::unique_ptr<char[]> block(new char[piece.size()]);
        std::memcpy(block.get(), piece.data(), piece.size());
        std::size_t taken = 0;
        result = parser.feed(block.get(), piece.size(), taken);
        used += taken;
        if (result == Result::incomplete) {
            EXPECT_EQ(piece.size(), taken);
        }
    }
    return result;
}

struct Case {
    const char* label;
    std::string octets;
    Result result;
    int code;
    std::string last_line;
    std::size_t used;
};

const Case cases[] = {
    {"one line", "250 fine\r\n", Result::complete, 250, "250 fine", 10},
    {"several lines", "250-a\r\n250-b\r\n250 c\r\n", Result::complete, 250, "250 c", 21},
    {"code alone", "354\r\n", Result::complete, 354, "354", 5},
    {"LF alone", "250 a\n", Result::complete, 250, "250 a", 6},
    {"8-bit text", "550 \xE3\x81\x82\r\n", Result::complete, 550, "550 \xE3\x81\x82", 9},
    {"a second reply behind", "250 a\r\n550 b\r\n", Result::complete, 250, "250 a", 7},
    {"not finished", "250-a\r\n250 b", Result::incomplete, 0, "", 12},
    {"other code in the middle", "250-a\r\n550 b\r\n", Result::malformed, 0, "", 14},
    {"no code", "hello\r\n", Result::malformed, 0, "", 7},
    {"an empty line", "\r\n", Result::malformed, 0, "", 2},
    {"a code that is none", "199 a\r\n", Result::malformed, 0, "", 7},
    {"a code above 599", "600 a\r\n", Result::malformed, 0, "", 7},
    {"no blank behind the code", "2500\r\n", Result::malformed, 0, "", 6},
    {"a POP3 reply", "+OK\r\n", Result::malformed, 0, "", 5},
};

TEST(SmtpReplyParser, ReadsRepliesInEverySlice)
{
    for (const Case& one : cases) {
        for (std::size_t slice = 1; slice <= one.octets.size(); ++slice) {
            SmtpReplyParser parser;
            std::size_t used = 0;
            EXPECT_EQ(one.result, parse(parser, one.octets, slice, used)) << one.label << " by " << slice;
            EXPECT_EQ(one.used, used) << one.label << " by " << slice;
            if (one.result != Result::complete) continue;
            EXPECT_EQ(one.code, parser.reply().code) << one.label;
            EXPECT_EQ(one.last_line, parser.reply().last_line) << one.label;
        }
    }
}

TEST(SmtpReplyParser, ReadsTheNextReplyAfterReset)
{
    SmtpReplyParser parser;
    std::size_t used = 0;
    EXPECT_EQ(Result::complete, parse(parser, "250-a\r\n250 b\r\n", 100, used));
    parser.reset();
    EXPECT_EQ(Result::complete, parse(parser, "550 c\r\n", 100, used));
    EXPECT_EQ(550, parser.reply().code);
    EXPECT_EQ("550 c", parser.reply().last_line);
}

TEST(SmtpReplyParser, EndsLinesWithoutEnd)
{
    SmtpReplyParser parser;
    std::size_t used = 0;
    EXPECT_EQ(Result::malformed, parse(parser, "250 " + std::string(1 << 20, 'x'), 1000, used));
    EXPECT_LE(used, 4096u);
}

TEST(SmtpReplyParser, EndsRepliesWithoutEnd)
{
    std::string octets;
    for (int line = 0; line < 10000; ++line)
        octets += "250-x\r\n";
    SmtpReplyParser parser;
    std::size_t used = 0;
    EXPECT_EQ(Result::malformed, parse(parser, octets, 512, used));
    EXPECT_LE(used, 1024u);
}

TEST(PrintableLine, HidesWhatATerminalWouldObey)
{
    EXPECT_EQ("550 a?[31m??b", printable_line("550 a\x1B[31m\x80\rb"));
    EXPECT_EQ(512u, printable_line(std::string(2000, 'x')).size());
}

TEST(ReplyMask, HidesThePasswordThatAServerRepeats)
{
    const struct {
        const char* password;
        const char* line;
        const char* told;
    } lines[] = {
        {"secret-pw", "-ERR no", "-ERR no"},
        {"secret-pw", "-ERR what is PASS secret-pw", "-ERR what is PASS *****"},
        {"secret-pw", "xsecret-pwx secret-pw", "x*****x *****"},
        {"secret-pw", "secret-p", "secret-p"},
        {"a b", "-ERR PASS a b", "-ERR PASS *****"},
        {"", "-ERR no", "-ERR no"},
        {"", "", ""},
        {"secret-pw", "", ""},
        // A short one stands in many a word.
        {"no", "-ERR no, know not", "-ERR *****, know not"},
        {"n", "550 n+n nn n", "550 *****+***** nn *****"},
        // base64: of "\0user\0secret-pw", of the password alone, of a bearer's token
        {"secret-pw", "500 AUTH PLAIN AHVzZXIAc2VjcmV0LXB3?", "500 AUTH PLAIN *****?"},
        {"secret-pw", "501 \"c2VjcmV0LXB3\" it is not", "501 \"*****\" it is not"},
        {"secret-pw", "535 dXNlcj11AWF1dGg9QmVhcmVyIHNlY3JldC1wdwEB.", "535 *****."},
        {"secret-pwd", "535 c2VjcmV0LXB3ZA==", "535 *****"},
        {"secret-pw", "535 c2VjcmV0LXB2", "535 c2VjcmV0LXB2"},
        {"+OK", "+OK +OK", "***** *****"},
    };
    for (const auto& one : lines)
        EXPECT_EQ(one.told, without_password(one.line, Secret(std::string(one.password)))) << one.line;
}

TEST(SmtpCapabilities, AreReadLineByLine)
{
    const SmtpCapabilities all = read_capabilities(
        {"mx.example greets", "8bitmime", "PIPELINING", "SIZE 1000", "STARTTLS", "X-OTHER"});
    EXPECT_TRUE(all.eight_bit);
    EXPECT_TRUE(all.pipelining);
    EXPECT_TRUE(all.start_tls);
    EXPECT_TRUE(all.size_offered);
    EXPECT_EQ(1000u, all.size);

    EXPECT_FALSE(read_capabilities({"PIPELINING"}).pipelining) << "the first line is a name";
    EXPECT_FALSE(read_capabilities({}).eight_bit);
    EXPECT_TRUE(read_capabilities({"x", "SIZE"}).size_offered);
    EXPECT_EQ(0u, read_capabilities({"x", "SIZE"}).size);
    EXPECT_EQ(0u, read_capabilities({"x", "SIZE 99999999999999999999999"}).size);
    EXPECT_EQ(0u, read_capabilities({"x", "SIZE 12x"}).size);
    EXPECT_EQ(0u, read_capabilities({"x", "SIZE 0"}).size);
}

bool take(OpeningReplies& replies, const std::string& octets)
{
    return replies.take(octets.data(), octets.size());
}

TEST(OpeningReplies, DropsWhatWasOfferedBeforeTls)
{
    LastReply last;
    OpeningReplies replies(ServerProtocol::smtp, last);
    EXPECT_TRUE(take(replies, "220 hello\r\n250-mx\r\n250-AUTH PLAIN\r\n250 STARTTLS\r\n"));
    EXPECT_TRUE(replies.offers_tls());
    EXPECT_EQ(3u, replies.capability_lines().size());
    EXPECT_TRUE(take(replies, "220 go\r\n"));
    EXPECT_TRUE(replies.secured());
    EXPECT_TRUE(replies.capability_lines().empty());
    EXPECT_TRUE(take(replies, "250-mx\r\n250 SIZE 5\r\n"));
    EXPECT_EQ((std::vector<std::string>{"mx", "SIZE 5"}), replies.capability_lines());
}

TEST(OpeningReplies, KnowsWhetherTheLogInWasGranted)
{
    LastReply last;
    OpeningReplies replies(ServerProtocol::smtp, last);
    EXPECT_TRUE(take(replies, "220 hello\r\n250 mx\r\n334 abc\r\n"));
    EXPECT_FALSE(replies.login_granted());
    EXPECT_TRUE(take(replies, "535 no\r\n"));
    EXPECT_TRUE(replies.refused());
    EXPECT_EQ(535, replies.code());
    EXPECT_EQ("535 no", last.get());
    EXPECT_TRUE(take(replies, "235 yes\r\n"));
    EXPECT_TRUE(replies.login_granted());
    EXPECT_FALSE(replies.refused());
}

TEST(OpeningReplies, CountsAStepForAWholeReplyOnly)
{
    LastReply last;
    OpeningReplies replies(ServerProtocol::smtp, last);
    EXPECT_TRUE(take(replies, "220-a\r\n220-b\r\n220 "));
    EXPECT_FALSE(replies.take_step());
    EXPECT_TRUE(take(replies, "c\r\n"));
    EXPECT_TRUE(replies.take_step());
    EXPECT_FALSE(replies.take_step());
}

TEST(OpeningReplies, RefusesWhatIsNoReply)
{
    for (const char* const octets :
         {"hello\r\n", "2x0 a\r\n", "220a\r\n", "220-a\r\n550 b\r\n", "999 a\r\n", "\r\n", "+OK\r\n"}) {
        LastReply last;
        OpeningReplies replies(ServerProtocol::smtp, last);
        EXPECT_FALSE(take(replies, octets)) << octets;
        EXPECT_TRUE(replies.malformed()) << octets;
        EXPECT_FALSE(take(replies, "220 a\r\n")) << octets;
    }
    LastReply last;
    OpeningReplies pop(ServerProtocol::pop3, last);
    EXPECT_FALSE(take(pop, "220 a\r\n"));
}

TEST(OpeningReplies, AreBounded)
{
    LastReply last;
    OpeningReplies endless_line(ServerProtocol::smtp, last);
    EXPECT_FALSE(take(endless_line, "220 " + std::string(5000, 'x')));
    OpeningReplies endless_reply(ServerProtocol::smtp, last);
    std::string octets;
    for (int line = 0; line < 300; ++line)
        octets += "220-x\r\n";
    EXPECT_FALSE(take(endless_reply, octets));
}

TEST(OpeningReplies, FollowsAPop3Server)
{
    LastReply last;
    OpeningReplies replies(ServerProtocol::pop3, last);
    EXPECT_TRUE(take(replies, "+OK ready\r\n"));
    EXPECT_TRUE(replies.take_step());
    EXPECT_TRUE(take(replies, "+OK\r\nUSER\r\nSTLS\r\n"));
    EXPECT_TRUE(replies.offers_tls());
    EXPECT_TRUE(replies.take_step());
    EXPECT_TRUE(take(replies, "SASL PLAIN\r\n"));
    EXPECT_FALSE(replies.take_step());
    EXPECT_TRUE(take(replies, ".\r\n"));
    EXPECT_TRUE(replies.take_step());
    EXPECT_TRUE(take(replies, "-ERR [IN-USE] busy\r\n"));
    EXPECT_TRUE(replies.refused());
    EXPECT_EQ("-ERR [IN-USE] busy", last.get());
}

}  // namespace
}  // namespace velorin::service
