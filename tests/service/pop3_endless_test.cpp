// Servers that never stop sending: every operation ends all the same, the connection goes, the session can be
// used again, and nobody else notices.
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "loopback_script.h"
#include "octets.h"
#include "pop3_fixture.h"

namespace velorin::service {
namespace {

using velorin_test::kSoon;
using velorin_test::LoopbackPop3;
using velorin_test::name_of;
using velorin_test::pop3_directly;
using velorin_test::Pop3Client;
using velorin_test::quick_options;
using velorin_test::ReceivedPart;
using velorin_test::Script;
using velorin_test::ScriptedServer;
using velorin_test::small_mails;
using velorin_test::with_mails;

constexpr std::size_t kSend = 64 * 1024;   // octets of one send of the server, about
constexpr std::size_t kMore = 256u << 20;  // more than any answer may have
constexpr std::size_t kMiB = 1u << 20;

const std::string kGreeting = "S: +OK ready\n";
const std::string kLogin =
    kGreeting + "C= CAPA\nS: -ERR unknown\nC= USER user\nS: +OK\nC= PASS secret-pw\nS: +OK\n";
const std::string kUidl = "C= UIDL\nS: +OK\nS: 1 a\nS: .\n";

std::string list_of(std::size_t size)
{
    return "C= LIST\nS: +OK\nS: 1 " + std::to_string(size) + "\nS: .\n";
}

const std::string kRetr = kLogin + kUidl + list_of(10) + "C= RETR 1\nS: +OK\n";
const std::string kTop = kLogin + kUidl + list_of(10) + "C= TOP 1 0\nS: +OK\n";
const std::string kNested = "S: Content-Type: multipart/mixed; boundary=b\nS: \nS: --b\n"
                            "S: Content-Type: multipart/mixed; boundary=c\nS: \n";
const std::string kPart = "S: Content-Type: multipart/mixed; boundary=b\nS: \nS: --b\nS: \n";

// The same text, with escapes, so many octets of it.
std::string flood(const std::string& text, std::size_t octets = kMore)
{
    const std::size_t length = velorin_test::from_printable(text).size();
    std::string out;
    for (std::size_t count = 0; count < kSend / length; ++count)
        out += text;
    return "!repeat " + std::to_string(octets / (kSend / length * length)) + "\nS- " + out + "\n";
}

// The session may try again, on a connection of its own.
const std::string kAgain = "!next\n" + kLogin + "C= QUIT\nS: +OK\n!end\n";

Script script_of(const std::string& text)
{
    return Script::parse(text + "!silence\n" + kAgain);
}

struct Operation {
    std::uint32_t (*run)(Pop3Client&);
    const char* code;
};

const Operation kConnects = {[](Pop3Client& client) { return client.connect(); }, "ok"};
const Operation kHeader = {[](Pop3Client& client) { return client.header(); }, "ok"};
const Operation kPartHeader = {[](Pop3Client& client) { return client.part_header(); }, "ok"};

std::uint32_t read_to_the_end(Pop3Client& client)
{
    std::uint32_t code = 0;
    while (code == 0 && client.mail.is_has_next())
        code = client.body();
    return code;
}

std::uint32_t remove_listed(Pop3Client& client)
{
    if (const std::uint32_t code = client.update()) return code;
    client.list.mutable_c_list(0)->set_n_status(2);
    return client.remove_by_uid();
}

struct Case {
    const char* label;
    std::string server;
    std::vector<Operation> operations;  // the last one ends the connection
};

void PrintTo(const Case& one, std::ostream* out)
{
    *out << one.label;
}

const Case kCases[] = {
    {"GreetingLines", flood("x\\r\\n"), {{kConnects.run, "reply-malformed"}}},
    {"CapaLines", kGreeting + "C= CAPA\nS: +OK\n" + flood("X\\r\\n"), {{kConnects.run, "reply-malformed"}}},
    {"GreetingLine", "S- +OK \n" + flood("x"), {{kConnects.run, "reply-malformed"}}},
    {"CapaLine", kGreeting + "C= CAPA\nS: +OK\n" + flood("x"), {{kConnects.run, "reply-malformed"}}},
    {"PassReply",
     kGreeting + "C= CAPA\nS: -ERR\nC= USER user\nS: +OK\nC= PASS secret-pw\nS- +OK \n" + flood("x"),
     {{kConnects.run, "reply-malformed"}}},
    {"StatReply",
     kLogin + "C= STAT\nS- +OK 1\n" + flood("1"),
     {kConnects, {[](Pop3Client& client) { return client.stat(); }, "reply-malformed"}}},
    {"UidlLine",
     kLogin + "C= UIDL\nS: +OK\nS- 1 a\n" + flood("x"),
     {kConnects, {[](Pop3Client& client) { return client.update(); }, "reply-malformed"}}},
    {"UidlLinesThatAreNone",
     kLogin + "C= UIDL\nS: +OK\n" + flood("\\r\\n"),
     {kConnects, {[](Pop3Client& client) { return client.update(); }, "reply-malformed"}}},
    {"UidlLinesThatAreSound",
     kLogin + "C= UIDL\nS: +OK\n" + flood("1 a\\r\\n"),
     {kConnects, {[](Pop3Client& client) { return client.update(); }, "limit-reached"}}},
    {"ListLine",
     kLogin + kUidl + "C= LIST\nS: +OK\nS- 1 \n" + flood("1"),
     {kConnects, {[](Pop3Client& client) { return client.update(); }, "reply-malformed"}}},
    {"ListLinesThatAreSound",
     kLogin + kUidl + "C= LIST\nS: +OK\n" + flood("1 10 " + std::string(4000, 'x') + "\\r\\n"),
     {kConnects, {[](Pop3Client& client) { return client.update(); }, "limit-reached"}}},
    {"HeaderLine",
     kRetr + "S- Subject: \n" + flood("x"),
     {kConnects,
      {kHeader.run, "answer-cut"},
      {[](Pop3Client& client) { return client.skip_mail(); }, "limit-reached"}}},
    {"HeaderLines",
     kRetr + flood("X: " + std::string(70, 'y') + "\\r\\n"),
     {kConnects, {kHeader.run, "answer-cut"}, {read_to_the_end, "limit-reached"}}},
    {"HeaderLineOfTop",
     kTop + "S- Subject: \n" + flood("x"),
     {kConnects, {[](Pop3Client& client) { return client.header_only(); }, "limit-reached"}}},
    {"BodyOfTop",
     kTop + "S: Subject: a\nS: \n" + flood("text\\r\\n"),
     {kConnects, {[](Pop3Client& client) { return client.header_only(); }, "limit-reached"}}},
    {"BodyThatIsRead",
     kRetr + "S: Subject: a\nS: \n" + flood("text\\r\\n"),
     {kConnects, kHeader, {read_to_the_end, "limit-reached"}}},
    {"BodyOfSkipMail",
     kRetr + "S: Subject: a\nS: \n" + flood("text\\r\\n"),
     {kConnects, kHeader, {[](Pop3Client& client) { return client.skip_mail(); }, "limit-reached"}}},
    {"BodyOfSkipPart",
     kRetr + kPart + flood("x"),
     {kConnects,
      kHeader,
      kPartHeader,
      {[](Pop3Client& client) { return client.skip_part(); }, "limit-reached"}}},
    {"BodyBeforeANextPart",
     kRetr + kPart + flood(".\\r"),
     {kConnects, kHeader, kPartHeader, {kPartHeader.run, "limit-reached"}}},
    {"NestedPreamble",
     kRetr + kNested + flood("--\\r\\n" + std::string(70, '-')),
     {kConnects,
      kHeader,
      kPartHeader,
      {[](Pop3Client& client) { return client.skip_part(); }, "limit-reached"}}},
    {"TextBehindTheLastBoundary",
     kRetr + kPart + "S: text\nS: --b--\n" + flood("text\\r\\n"),
     {kConnects,
      kHeader,
      kPartHeader,
      {[](Pop3Client& client) { return client.part_body(); }, "limit-reached"}}},
    {"UidlOfOneMail",
     kLogin + kUidl + list_of(10) + "C= UIDL 1\nS- +OK 1 a\n" + flood(" "),
     {kConnects, {remove_listed, "reply-malformed"}}},
    {"DeleReply",
     kLogin + kUidl + list_of(10) + "C= UIDL 1\nS: +OK 1 a\nC= DELE 1\nS- +OK\n" + flood("x"),
     {kConnects, {remove_listed, "reply-malformed"}}},
    {"QuitReply",
     kLogin + "C= QUIT\nS- +OK\n" + flood("x"),
     {kConnects, {[](Pop3Client& client) { return client.close(); }, "reply-malformed"}}},
};

class Pop3Endless : public testing::TestWithParam<Case> {};

TEST_P(Pop3Endless, EndsTheOperationAndNothingElse)
{
    ScriptedServer server(script_of(GetParam().server));
    MailService service(quick_options());
    Pop3Client client(pop3_directly(service));
    client.settings.set_n_port(server.port());
    client.settings.set_n_timeout(20);  // nothing here waits: it is not reached
    client.mean(1, "a");
    ASSERT_EQ("ok", name_of(client.create()));
    for (const Operation& operation : GetParam().operations)
        EXPECT_EQ(operation.code, name_of(operation.run(client)));
    EXPECT_EQ("wrong-order", name_of(client.noop())) << "the connection has been dropped";
    EXPECT_EQ("ok", name_of(client.connect())) << "the session may try again";
    EXPECT_EQ("ok", name_of(client.close()));
    const std::string mismatch = server.mismatch(kSoon);
    EXPECT_NE(std::string::npos, mismatch.find("cannot send: the client ")) << mismatch;
}

INSTANTIATE_TEST_SUITE_P(Servers, Pop3Endless, testing::ValuesIn(kCases),
                         [](const auto& test) { return test.param.label; });

// A session that ends leaves its server at once, however much of the mail under way is still to come.
TEST(Pop3EndlessMail, AMailIsNotWaitedForWhenTheSessionEnds)
{
    ScriptedServer server(script_of(kRetr + "S: Subject: a\nS: \n" + flood("text\\r\\n")));
    MailService service(quick_options());
    Pop3Client client(pop3_directly(service));
    client.mean(1, "a");
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    ASSERT_EQ("ok", name_of(client.header()));
    EXPECT_EQ("ok", name_of(client.destroy()));
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    EXPECT_EQ("ok", name_of(client.close()));
}

// While one session reads what never ends, others work, and whoever ends it needs not wait.
TEST(Pop3EndlessMail, AnOperationCanBeEndedAndDisturbsNobody)
{
    const std::size_t announced = 0x7FFFFFFF;  // as long as a mail may be
    ScriptedServer server(Script::parse(kLogin + kUidl + list_of(announced) + "C= RETR 1\nS: +OK\nS: \n" +
                                        flood("x", 2 * announced)));
    const LoopbackPop3 sound(with_mails(small_mails(1)));
    MailService service(quick_options());
    Pop3Client client(pop3_directly(service));
    client.mean(1, "a");
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    ASSERT_EQ("ok", name_of(client.header()));
    std::string code;
    std::thread skipping([&] { code = name_of(client.skip_mail()); });
    Pop3Client same(pop3_directly(service));
    while (name_of(same.noop()) != "session-busy")
        std::this_thread::yield();
    Pop3Client other(pop3_directly(service), 2);
    std::vector<ReceivedPart> parts;
    EXPECT_EQ("ok", name_of(other.open(sound.port())));
    EXPECT_EQ("ok", name_of(other.receive(parts)));
    EXPECT_EQ("mail 1", other.mail.c_subject());
    EXPECT_EQ("ok", name_of(other.close()));
    EXPECT_EQ("session-busy", name_of(same.noop())) << "still at it";
    service.shut_down(0);
    skipping.join();
    EXPECT_EQ("aborted", code);
}

// What a server counts as a mail's size may be half of what it sends, and an estimate.
TEST(Pop3EndlessMail, ALongMailOfAWrongSizeIsReadWhole)
{
    const struct {
        const char* label;
        std::size_t announced;
        std::size_t sent;
        const char* code;
    } mails[] = {
        {"none", 0, 60 * kMiB, "ok"},
        {"half of it", 40 * kMiB, 80 * kMiB, "ok"},
        {"half of it, and an estimate", 40 * kMiB, 140 * kMiB, "ok"},
        {"far less", 40 * kMiB, 150 * kMiB, "limit-reached"},
    };
    for (const auto& one : mails) {
        ScriptedServer server(Script::parse(kLogin + kUidl + list_of(one.announced) +
                                            "C= RETR 1\nS: +OK\nS: Subject: a\nS: \n" +
                                            flood("text\\r\\n", one.sent) + "S: .\n!silence\n"));
        MailService service(quick_options());
        Pop3Client client(pop3_directly(service));
        client.settings.set_n_timeout(20);
        client.mean(1, "a");
        ASSERT_EQ("ok", name_of(client.open(server.port())));
        ASSERT_EQ("ok", name_of(client.header()));
        EXPECT_EQ(one.code, name_of(client.skip_mail())) << one.label;
    }
}

}  // namespace
}  // namespace velorin::service
