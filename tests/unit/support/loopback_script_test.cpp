#include "loopback_script.h"

#include <fstream>
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "plain_client.h"

namespace velorin_test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

constexpr int kSoon = 10000;
constexpr int kAWhile = 50;

std::string error_of(std::string_view text)
{
    try {
        Script::parse(text);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "";
}

TEST(Script, SaysWhichLineIsWrong)
{
    EXPECT_EQ("", error_of("# nothing\n\n@ note\nS: x\n"));
    EXPECT_EQ("line 2: no such line: X: y", error_of("S: x\nX: y"));
    EXPECT_EQ("line 1: no such action: !vanish", error_of("!vanish"));
    EXPECT_EQ("line 1: !delay wants a number", error_of("!delay soon"));
    EXPECT_EQ("line 1: !close stands alone", error_of("!close 5"));
    EXPECT_EQ("line 1: a blank is wanted behind the mark", error_of("C:EHLO"));
    EXPECT_THAT(error_of("\nC~ ("), StartsWith("line 2: no regular expression"));
}

TEST(Script, IsReadFromAFile)
{
    const std::string path = testing::TempDir() + "loopback_script_case.txt";
    std::ofstream(path) << "@ send mail\n@\nS: 220 x\n!next\nbad\n";
    try {
        Script::read(path);
        ADD_FAILURE() << "the last line is no line of a script";
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(path + ": line 5: no such line: bad", error.what());
    }
    std::ofstream(path) << "@ send mail\n@\nS: 220 x\n!next\n";
    const Script script = Script::read(path);
    EXPECT_THAT(script.notes, ElementsAre("send mail", ""));
    EXPECT_EQ(2U, script.connections.size());
    std::remove(path.c_str());
    EXPECT_THROW(Script::read(path), std::runtime_error);
}

TEST(ScriptedServer, PlaysAWholeConversation)
{
    const ScriptedServer server(Script::parse("S: 220 ready\n"
                                              "C: EHLO \n"
                                              "S- 250-a\\r\\n250 b\\r\\n\n"
                                              "C~ MAIL FROM:<[^>]*>( SIZE=\\d+)?\n"
                                              "S: 250 ok\n"
                                              "C= DATA\n"
                                              "S: 354 go\n"
                                              "!body\n"
                                              "S: 250 taken\n"
                                              "C- QUIT\\r\\n\n"
                                              "S: 221 bye\n"));
    PlainClient client(server.port());
    EXPECT_EQ("220 ready", client.line());
    EXPECT_EQ("250-a|250 b", client.say("ehlo me"));
    EXPECT_EQ("250 ok", client.say("MAIL FROM:<a@b> SIZE=5"));
    EXPECT_EQ("354 go", client.say("DATA"));
    EXPECT_EQ("250 taken", client.say("..x\r\n."));
    EXPECT_EQ("221 bye", client.say("QUIT"));
    EXPECT_EQ("(end)", client.rest());
    EXPECT_EQ("", server.mismatch(kSoon));
    EXPECT_THAT(server.bodies(), ElementsAre("..x\r\n"));
    EXPECT_THAT(server.transcript(), HasSubstr("C: DATA\nS: 354 go\\r\\n\n"));
}

// What the server says when a client sends these octets to this script, reads a line, and goes.
std::string mismatch_of(std::string_view script, std::string_view octets)
{
    const ScriptedServer server(Script::parse(script));
    {
        PlainClient client(server.port());
        client.write(octets);
        client.line();
    }
    return server.mismatch(kSoon);
}

TEST(ScriptedServer, ReportsTheFirstMismatch)
{
    EXPECT_EQ("", mismatch_of("C: QUIT\nS: 221", "QUIT\r\n"));
    EXPECT_EQ("line 2: expected a line that begins with \"MAIL\", got \"DATA\"",
              mismatch_of("\nC: MAIL\nS: x", "DATA\r\n"));
    EXPECT_EQ("line 1: expected the line \"MAIL\", got \"MAIL \"", mismatch_of("C= MAIL\nS: x", "MAIL \r\n"));
    EXPECT_EQ("line 1: expected a line that matches \"a+\", got \"aab\"",
              mismatch_of("C~ a+\nS: x", "aab\r\n"));
    EXPECT_EQ("line 1: expected CR LF behind \"MAIL\", got LF", mismatch_of("C: MAIL\nS: x", "MAIL\n"));
    EXPECT_THAT(mismatch_of("C- ab\\n\nS: x", "abc"),
                HasSubstr("line 1: expected 3 octets, got 3; first difference at offset 2"));
    EXPECT_EQ("line 2: expected \"MAIL\": the client closed", mismatch_of("S: 220\nC: MAIL", ""));
    EXPECT_EQ("line 2: the final dot did not come: the client closed",
              mismatch_of("S: 354\n!body", "half\r\n.\r"));
    EXPECT_EQ("line 2: 3 octets were still to come: the client closed", mismatch_of("S: x\n!octets 5", "ab"));
    EXPECT_EQ("line 2: expected the end, got \"more\"", mismatch_of("S: x\n!end", "more"));
    EXPECT_EQ("", mismatch_of("S: x\n!end", ""));
    EXPECT_EQ("", mismatch_of("S: x\n!silence", "whatever"));
    EXPECT_EQ("", mismatch_of("S: x\n!stall", ""));
    EXPECT_EQ("", mismatch_of("!octets 3\n!delay 1\nS: x\n", "abc"));
}

TEST(ScriptedServer, SaysWhereItStillWaits)
{
    const ScriptedServer server(Script::parse("S: 220\nC: EHLO\n"));
    EXPECT_EQ("no client came for the next connection", server.mismatch(1));
    PlainClient client(server.port());
    client.line();
    EXPECT_EQ("line 2: still waiting", server.mismatch(kAWhile));
}

TEST(ScriptedServer, SendsSlowlyRepeatedlyAndNotAtAll)
{
    const ScriptedServer server(
        Script::parse("!trickle 1\nS: 220\n!trickle off\n!repeat 3\nS- ab\nS: .\n!close\n"));
    PlainClient client(server.port());
    EXPECT_EQ("220\r\nababab.\r\n(end)", client.rest());
    EXPECT_EQ("", server.mismatch(kSoon));

    const ScriptedServer rude(Script::parse("C: x\n!reset\n"));
    PlainClient victim(rude.port());
    EXPECT_EQ("(reset)", victim.say("x"));
    EXPECT_EQ("", rude.mismatch(kSoon));
}

TEST(ScriptedServer, SpeaksTls)
{
    const ScriptedServer server(
        Script::parse("S: 220\nC= STARTTLS\nS: 220 go\n!starttls\nC: EHLO\nS: 250 ok\n"));
    PlainClient client(server.port());
    client.line();
    ASSERT_EQ("220 go", client.say("STARTTLS"));
    ASSERT_EQ("", client.start_tls(server.certificates().ca_pem()));
    EXPECT_EQ("250 ok", client.say("EHLO me"));
    EXPECT_EQ("", server.mismatch(kSoon));

    const ScriptedServer refusing(Script::parse("!fail-tls\n"));
    PlainClient refused(refusing.port());
    EXPECT_EQ("handshake failed", refused.start_tls(refusing.certificates().ca_pem()));
    EXPECT_EQ("", refusing.mismatch(kSoon));

    const ScriptedServer strict(Script::parse("C= STARTTLS\n!starttls\n"));
    PlainClient hasty(strict.port());
    ASSERT_TRUE(hasty.write("STARTTLS\r\nEHLO me\r\n"));
    EXPECT_EQ("line 2: octets in clear before the handshake", strict.mismatch(kSoon));
}

TEST(ScriptedServer, PlaysOneConnectionAfterTheOther)
{
    const ScriptedServer server(Script::parse("S: one\n!next\nS: two\n"));
    EXPECT_EQ("one\r\n(end)", PlainClient(server.port()).rest());
    EXPECT_EQ("two\r\n(end)", PlainClient(server.port()).rest());
    EXPECT_EQ("", server.mismatch(kSoon));
    EXPECT_EQ("(end)", PlainClient(server.port()).rest());
    EXPECT_EQ("a connection more than the script has", server.mismatch(kSoon));
}

}  // namespace
}  // namespace velorin_test
