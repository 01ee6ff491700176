// Servers that go, stall or trickle at every step.
#include <chrono>
#include <string>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "loopback_smtp.h"
#include "service_client.h"

namespace velorin::service {
namespace {

using velorin_test::directly;
using velorin_test::kSoon;
using velorin_test::LoopbackSmtp;
using velorin_test::name_of;
using velorin_test::quick_options;
using velorin_test::Rule;
using velorin_test::ServiceClient;
using velorin_test::SmtpOptions;
using velorin_test::Step;

// Connect, then a mail; "operation: code" of the first that fails.
std::string send_a_mail(ServiceClient& client, std::uint16_t port, const std::string& body = "x\r\n")
{
    std::uint32_t code = client.open(port);
    if (code != 0) return "connect: " + name_of(code);
    if ((code = client.header()) != 0) return "header: " + name_of(code);
    if ((code = client.body(body)) != 0) return "body: " + name_of(code);
    if ((code = client.close()) != 0) return "close: " + name_of(code);
    return "ok";
}

struct Case {
    Rule rule;
    const char* result;
};

TEST(Break, OfTheConnectionAtEveryStep)
{
    const Case cases[] = {
        {Rule(Step::kConnect).close(), "connect: connection-lost"},
        {Rule(Step::kConnect).close_inside(), "connect: connection-lost"},
        {Rule(Step::kEhlo).close(), "connect: connection-lost"},
        {Rule(Step::kEhlo).close_inside(), "connect: connection-lost"},
        {Rule(Step::kEhlo).close_after(), "header: connection-lost"},
        {Rule(Step::kMail).close(), "header: connection-lost"},
        {Rule(Step::kMail).close_inside(), "header: connection-lost"},
        {Rule(Step::kMail).close_after(), "header: connection-lost"},
        {Rule(Step::kMail).reset(), "header: connection-lost"},
        {Rule(Step::kRcpt).close(), "header: connection-lost"},
        {Rule(Step::kRcpt).close_inside(), "header: connection-lost"},
        {Rule(Step::kData).close(), "header: connection-lost"},
        {Rule(Step::kData).close_inside(), "header: connection-lost"},
        // Between the final dot and the verdict: the mail may have been delivered.
        {Rule(Step::kDot).close(), "close: not-confirmed"},
        {Rule(Step::kDot).close_inside(), "close: not-confirmed"},
        {Rule(Step::kDot).reset(), "close: not-confirmed"},
        {Rule(Step::kDot).close_after(), "ok"},
    };
    int number = 0;
    for (const Case& one : cases) {
        SmtpOptions options;
        options.rules = {one.rule};
        const LoopbackSmtp server(options);
        MailService service(quick_options());
        ServiceClient client(directly(service));
        EXPECT_EQ(one.result, send_a_mail(client, server.port())) << number;
        if (std::string(one.result) == "ok") continue;
        EXPECT_EQ("wrong-order", name_of(client.header())) << number;
        // The session is as before Connect, and connects again.
        EXPECT_EQ("ok", name_of(client.connect())) << number;
        EXPECT_EQ("ok", name_of(client.send("again"))) << number;
        ++number;
    }
}

TEST(Break, ByAResetInThePlaceOfAGreeting)
{
    SmtpOptions options;
    options.rules = {Rule(Step::kConnect).reset()};
    const LoopbackSmtp server(options);
    MailService service(quick_options());
    ServiceClient client(directly(service));
    // It may arrive while the connection is still being made.
    const std::string code = name_of(client.open(server.port()));
    EXPECT_TRUE(code == "connection-lost" || code == "connect-refused") << code;
    EXPECT_EQ("ok", name_of(client.connect()));
}

TEST(Break, InTheMiddleOfAMail)
{
    const Case cases[] = {
        {Rule(Step::kBody).after(1000).close(), "connection-lost"},
        {Rule(Step::kBody).after(1000).reset(), "connection-lost"},
        {Rule(Step::kBody).after(1000).reply("552 5.3.4 too much").close_after(), "too-large"},
        {Rule(Step::kBody).after(1000).reply("451 4.3.0 later").close_after(), "try-later"},
        {Rule(Step::kBody).after(1000).reply("554 5.7.1 spam").close_after(), "mail-refused"},
    };
    for (const Case& one : cases) {
        SmtpOptions options;
        options.rules = {one.rule};
        const LoopbackSmtp server(options);
        MailService service(quick_options());
        ServiceClient client(directly(service));
        ASSERT_EQ("ok", name_of(client.open(server.port())));
        ASSERT_EQ("ok", name_of(client.header()));
        std::uint32_t code = 0;
        const std::string slice(100000, 'x');
        for (int count = 0; count < 100 && code == 0; ++count)
            code = client.body(slice);
        // A server that reads on to the end of what is sent is heard only then.
        if (code == 0) code = client.close();
        EXPECT_EQ(one.result, name_of(code));
        ASSERT_TRUE(server.wait_for_disconnect(1, kSoon));
        EXPECT_TRUE(server.mails().empty());
        EXPECT_EQ("wrong-order", name_of(client.close()));
    }
}

// Idle servers close; the caller hears of it at its next mail, before anything of it was sent.
TEST(Break, OfAnIdleConnection)
{
    SmtpOptions options;
    options.rules = {Rule(Step::kDot).reply("250 ok\r\n421 4.4.2 idle").close_after(),
                     Rule(Step::kDot, 2).close_after()};
    const LoopbackSmtp server(options);
    MailService service(quick_options());
    ServiceClient client(directly(service));
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    ASSERT_EQ("ok", name_of(client.send("x")));
    ASSERT_TRUE(server.wait_for_disconnect(1, kSoon));
    EXPECT_EQ("try-later", name_of(client.header()));
    ASSERT_EQ("ok", name_of(client.connect()));
    ASSERT_EQ("ok", name_of(client.send("x")));
    ASSERT_TRUE(server.wait_for_disconnect(2, kSoon));
    EXPECT_EQ("connection-lost", name_of(client.header()));
    EXPECT_EQ(2u, server.mails().size());
}

TEST(Break, BySilenceAtEveryStep)
{
    const Case cases[] = {
        {Rule(Step::kConnect).silence(), "connect: time-out"},
        {Rule(Step::kEhlo).silence(), "connect: time-out"},
        {Rule(Step::kMail).silence(), "header: time-out"},
        {Rule(Step::kRcpt).silence(), "header: time-out"},
        {Rule(Step::kData).silence(), "header: time-out"},
        {Rule(Step::kDot).silence(), "close: not-confirmed"},
    };
    MailServiceOptions options = quick_options();
    options.data_timeout = 1;
    for (const Case& one : cases) {
        SmtpOptions server_options;
        server_options.rules = {one.rule};
        const LoopbackSmtp server(server_options);
        MailService service(options);
        ServiceClient client(directly(service));
        client.settings.set_n_tmo(1);
        const auto begun = std::chrono::steady_clock::now();
        EXPECT_EQ(one.result, send_a_mail(client, server.port()));
        const auto taken = std::chrono::steady_clock::now() - begun;
        EXPECT_GE(taken, std::chrono::milliseconds(950)) << one.result;
        EXPECT_LE(taken, std::chrono::milliseconds(4500)) << one.result;
    }
}

TEST(Break, BySilenceAmongPipelinedReplies)
{
    for (const Step step : {Step::kMail, Step::kRcpt}) {
        SmtpOptions options;
        options.pipelining = true;
        options.rules = {Rule(step).silence()};
        const LoopbackSmtp server(options);
        MailService service(quick_options());
        ServiceClient client(directly(service));
        client.settings.set_n_tmo(1);
        const auto begun = std::chrono::steady_clock::now();
        EXPECT_EQ("header: time-out", send_a_mail(client, server.port()));
        EXPECT_LE(std::chrono::steady_clock::now() - begun, std::chrono::milliseconds(4500));
    }
}

// One octet every 100 ms never completes a reply in time, and never moves its deadline either.
TEST(Break, ByATricklingServer)
{
    const Case cases[] = {
        {Rule(Step::kConnect).trickle(100), "connect: time-out"},
        {Rule(Step::kEhlo).trickle(100), "connect: time-out"},
        {Rule(Step::kMail).trickle(100), "header: time-out"},
        {Rule(Step::kRcpt).trickle(100), "header: time-out"},
        {Rule(Step::kDot).trickle(100), "close: not-confirmed"},
    };
    MailServiceOptions options = quick_options();
    options.data_timeout = 1;
    for (const Case& one : cases) {
        SmtpOptions server_options;
        server_options.rules = {one.rule};
        const LoopbackSmtp server(server_options);
        MailService service(options);
        ServiceClient client(directly(service));
        client.settings.set_n_tmo(1);
        const auto begun = std::chrono::steady_clock::now();
        EXPECT_EQ(one.result, send_a_mail(client, server.port()));
        EXPECT_LE(std::chrono::steady_clock::now() - begun, std::chrono::milliseconds(4500)) << one.result;
    }
}

TEST(Break, ByRepliesInSingleOctetsIsNone)
{
    SmtpOptions options;
    for (const Step step : {Step::kConnect, Step::kEhlo, Step::kMail, Step::kRcpt, Step::kData, Step::kDot}) {
        options.rules.push_back(Rule(step).every().split());
    }
    const LoopbackSmtp server(options);
    MailService service(quick_options());
    ServiceClient client(directly(service));
    EXPECT_EQ("ok", send_a_mail(client, server.port()));
}

TEST(Break, ByAServerThatNeverStopsTalking)
{
    const Case cases[] = {
        {Rule(Step::kConnect).endless_line(), "connect: reply-malformed"},
        {Rule(Step::kEhlo).endless_line(), "connect: reply-malformed"},
        {Rule(Step::kMail).endless_line(), "header: reply-malformed"},
        {Rule(Step::kDot).endless_line(), "close: not-confirmed"},
    };
    for (const Case& one : cases) {
        SmtpOptions options;
        options.rules = {one.rule};
        const LoopbackSmtp server(options);
        MailService service(quick_options());
        ServiceClient client(directly(service));
        EXPECT_EQ(one.result, send_a_mail(client, server.port()));
    }
}

// A server that takes no more octets holds the caller no longer than its time-out.
TEST(Break, ByAServerThatStopsReading)
{
    SmtpOptions options;
    options.rules = {Rule(Step::kBody).after(1).stall()};
    const LoopbackSmtp server(options);
    MailService service(quick_options());
    ServiceClient client(directly(service));
    client.settings.set_n_tmo(1);
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    ASSERT_EQ("ok", name_of(client.header()));
    std::uint32_t code = 0;
    const std::string slice(4 << 20, 'x');
    const auto begun = std::chrono::steady_clock::now();
    for (int count = 0; count < 20 && code == 0; ++count)
        code = client.body(slice);
    EXPECT_EQ("time-out", name_of(code));
    EXPECT_LE(std::chrono::steady_clock::now() - begun, std::chrono::seconds(8));
    EXPECT_TRUE(server.mails().empty());
}

TEST(Break, WhereNobodyListens)
{
    // A port that is taken, so that nobody else gets it, and never listened on.
    const int taken = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    ASSERT_EQ(0, ::bind(taken, reinterpret_cast<sockaddr*>(&address), length));
    ASSERT_EQ(0, ::getsockname(taken, reinterpret_cast<sockaddr*>(&address), &length));
    MailService service(quick_options());
    ServiceClient client(directly(service));
    EXPECT_EQ("connect-refused", name_of(client.open(ntohs(address.sin_port))));
    EXPECT_EQ("connect-refused", name_of(client.test()));
    ::close(taken);
}

TEST(Break, WhereTheNameMeansNothing)
{
    MailServiceOptions options = quick_options();
    options.connect_timeout = 50;  // a host without name servers takes its time to say so
    MailService service(options);
    ServiceClient client(directly(service));
    client.settings.set_c_server("no-such-host.invalid");
    EXPECT_EQ("name-lookup", name_of(client.open(25)));
    ServiceClient six(directly(service), 2);
    six.settings.set_b_is_ipv6(true);
    six.settings.set_c_server("[::1");
    EXPECT_EQ("bad-settings", name_of(six.open(25)));
}

// A server whose queue of connections is full: the connection is never answered.
TEST(Break, WhereTheConnectionIsNeverAnswered)
{
    const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    ASSERT_EQ(0, ::bind(listener, reinterpret_cast<sockaddr*>(&address), length));
    ASSERT_EQ(0, ::listen(listener, 0));
    ASSERT_EQ(0, ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length));
    int fillers[4];
    for (int& filler : fillers) {
        filler = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        static_cast<void>(::connect(filler, reinterpret_cast<sockaddr*>(&address), length));
    }
    MailServiceOptions options = quick_options();
    options.connect_timeout = 1;
    MailService service(options);
    ServiceClient client(directly(service));
    const auto begun = std::chrono::steady_clock::now();
    EXPECT_EQ("time-out", name_of(client.open(ntohs(address.sin_port))));
    EXPECT_LE(std::chrono::steady_clock::now() - begun, std::chrono::milliseconds(4500));
    for (const int filler : fillers)
        ::close(filler);
    ::close(listener);
}

}  // namespace
}  // namespace velorin::service
