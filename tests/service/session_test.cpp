// Whose session it is, how many there may be, and how they end.
#include <atomic>
#include <chrono>
#include <future>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include <csignal>
#include <strings.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "emwCLB.h"
#include "loopback_smtp.h"
#include "process_start.h"
#include "service_client.h"

namespace {

std::atomic<bool> memory_runs_out{false};

}  // namespace

// The platform's function as this program has it: the first thing that SendHeader calls.
extern "C" int emwCLBCompStrCaseN(const char* a, const char* b, std::uint32_t count)
{
    if (memory_runs_out) throw std::bad_alloc();
    return ::strncasecmp(a, b, count);
}

namespace velorin::service {
namespace {

using velorin_channel::Caller;
using velorin_test::directly;
using velorin_test::kSoon;
using velorin_test::LoopbackSmtp;
using velorin_test::name_of;
using velorin_test::quick_options;
using velorin_test::Rule;
using velorin_test::ServiceClient;
using velorin_test::SmtpOptions;
using velorin_test::Step;
using velorin_test::this_caller;

Caller of_user(std::uint32_t uid)
{
    Caller caller = this_caller();
    caller.uid = uid;
    return caller;
}

TEST(Session, IsReachedByItsOwnProcessOnly)
{
    MailService service(quick_options());
    ServiceClient owner(directly(service));
    ASSERT_EQ("ok", name_of(owner.create()));
    Caller other_user = this_caller();
    other_user.uid += 1;
    Caller other_process = this_caller();
    other_process.pid += 1;
    Caller later_process = this_caller();
    later_process.start_time += 1;
    for (const Caller& caller : {other_user, other_process, later_process}) {
        ServiceClient stranger(directly(service, caller));
        EXPECT_EQ("unknown-session", name_of(stranger.connect()));
        EXPECT_EQ("unknown-session", name_of(stranger.abort()));
        EXPECT_EQ("unknown-session", name_of(stranger.destroy()));
    }
    EXPECT_EQ("unknown-session", name_of(ServiceClient(directly(service), 2).abort()));
    EXPECT_EQ("ok", name_of(owner.destroy()));
    EXPECT_EQ("unknown-session", name_of(owner.destroy()));
}

TEST(Session, IsReplacedByASecondOfItsKey)
{
    const LoopbackSmtp first;
    const LoopbackSmtp second;
    MailService service(quick_options());
    ServiceClient client(directly(service));
    ASSERT_EQ("ok", name_of(client.open(first.port())));
    ASSERT_EQ("ok", name_of(client.open(second.port())));
    ASSERT_TRUE(first.wait_for_disconnect(1, kSoon));
    EXPECT_FALSE(first.conversations()[0].quit);
    EXPECT_EQ("ok", name_of(client.send("x")));
    EXPECT_TRUE(second.wait_for_mail(1, kSoon));
}

TEST(Session, HasLimits)
{
    MailServiceOptions options = quick_options();
    options.max_sessions = 5;
    options.max_sessions_per_user = 3;
    MailService service(options);
    for (std::uint32_t id = 1; id <= 3; ++id) {
        EXPECT_EQ("ok", name_of(ServiceClient(directly(service, of_user(1)), id).create()));
    }
    EXPECT_EQ("limit-reached", name_of(ServiceClient(directly(service, of_user(1)), 4).create()));
    EXPECT_EQ("ok", name_of(ServiceClient(directly(service, of_user(1)), 3).create()))
        << "a replacement is no more";
    EXPECT_EQ("ok", name_of(ServiceClient(directly(service, of_user(2)), 1).create()));
    EXPECT_EQ("ok", name_of(ServiceClient(directly(service, of_user(3)), 1).create()));
    EXPECT_EQ("limit-reached", name_of(ServiceClient(directly(service, of_user(4)), 1).create()));
    EXPECT_EQ("ok", name_of(ServiceClient(directly(service, of_user(1)), 1).destroy()));
    EXPECT_EQ("ok", name_of(ServiceClient(directly(service, of_user(4)), 1).create()));
}

TEST(Session, HasTheLimitsOfTheDesignByDefault)
{
    MailService service(MailServiceOptions{});
    for (std::uint32_t user = 0; user < 4; ++user) {
        for (std::uint32_t id = 1; id <= 16; ++id) {
            ASSERT_EQ("ok", name_of(ServiceClient(directly(service, of_user(user)), id).create()));
        }
        EXPECT_EQ("limit-reached", name_of(ServiceClient(directly(service, of_user(user)), 17).create()));
    }
    EXPECT_EQ("limit-reached", name_of(ServiceClient(directly(service, of_user(9)), 1).create()));
}

// Memory runs out in the middle of an operation: the caller is told, the session starts afresh, the service goes
// on.
TEST(Session, ThatFailsInMidOperationStartsAfresh)
{
    const LoopbackSmtp server;
    MailService service(quick_options());
    ServiceClient client(directly(service));
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    memory_runs_out = true;
    const std::uint32_t code = client.header();
    memory_runs_out = false;
    EXPECT_EQ("internal-failure", name_of(code));
    ASSERT_TRUE(server.wait_for_disconnect(1, kSoon));
    EXPECT_EQ("wrong-order", name_of(client.header()));
    ASSERT_EQ("ok", name_of(client.connect()));
    EXPECT_EQ("ok", name_of(client.send("x")));
}

TEST(Session, EndsWhenNobodyUsesIt)
{
    MailServiceOptions options = quick_options();
    options.idle_timeout = 1;
    const LoopbackSmtp server;
    MailService service(options);
    ServiceClient client(directly(service));
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    ASSERT_EQ("ok", name_of(client.header()));
    ASSERT_TRUE(server.wait_for_disconnect(1, kSoon));
    EXPECT_EQ("unknown-session", name_of(client.body("x")));
    EXPECT_TRUE(server.mails().empty());
    EXPECT_FALSE(server.conversations()[0].quit);
}

TEST(Session, ThatIsBusyIsNotIdle)
{
    MailServiceOptions options = quick_options();
    options.idle_timeout = 1;
    SmtpOptions server_options;
    server_options.rules = {Rule(Step::kDot).delay(2500)};
    const LoopbackSmtp server(server_options);
    MailService service(options);
    ServiceClient client(directly(service));
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    EXPECT_EQ("ok", name_of(client.send("x")));
    EXPECT_EQ(1u, server.mails().size());
}

// One session waits for its server; the others do not notice.
TEST(Session, WithASlowServerDelaysNoOther)
{
    SmtpOptions slow_options;
    slow_options.rules = {Rule(Step::kMail).silence()};
    const LoopbackSmtp slow(slow_options);
    const LoopbackSmtp quick;
    MailService service(quick_options());
    ServiceClient waiting(directly(service), 1);
    waiting.settings.set_n_tmo(3);
    ASSERT_EQ("ok", name_of(waiting.open(slow.port())));
    auto result = std::async(std::launch::async, [&] { return waiting.header(); });
    ASSERT_TRUE(slow.wait_for_command("MAIL", kSoon));
    ServiceClient other(directly(service), 2);
    ASSERT_EQ("ok", name_of(other.open(quick.port())));
    for (int number = 0; number < 50; ++number)
        EXPECT_EQ("ok", name_of(other.send("x")));
    EXPECT_EQ(std::future_status::timeout, result.wait_for(std::chrono::seconds(0)));
    EXPECT_EQ("time-out", name_of(result.get()));
}

class Busy : public testing::Test {
protected:
    Busy() : server(silent()), service(quick_options()), client(directly(service)) {}

    static SmtpOptions silent()
    {
        SmtpOptions options;
        options.rules = {Rule(Step::kMail).silence()};
        return options;
    }

    // An operation that waits for the server until something ends it.
    std::future<std::uint32_t> wait_for_the_server()
    {
        EXPECT_EQ("ok", name_of(client.open(server.port())));
        auto result = std::async(std::launch::async, [this] { return client.header(); });
        EXPECT_TRUE(server.wait_for_command("MAIL", kSoon));
        return result;
    }

    LoopbackSmtp server;
    MailService service;
    ServiceClient client;
};

TEST_F(Busy, IsToldToWhoeverAsksMore)
{
    auto result = wait_for_the_server();
    ServiceClient second(directly(service));
    EXPECT_EQ("session-busy", name_of(second.body("x")));
    EXPECT_EQ("session-busy", name_of(second.connect()));
    EXPECT_EQ("ok", name_of(second.abort()));
    EXPECT_EQ("aborted", name_of(result.get()));
}

TEST_F(Busy, EndsByAbort)
{
    auto result = wait_for_the_server();
    EXPECT_EQ("ok", name_of(ServiceClient(directly(service)).abort()));
    EXPECT_EQ("aborted", name_of(result.get()));
    ASSERT_TRUE(server.wait_for_disconnect(1, kSoon));
    // The session lives on and connects again.
    EXPECT_EQ("ok", name_of(client.connect()));
    EXPECT_EQ("ok", name_of(client.send("x")));
}

TEST_F(Busy, EndsByDestroy)
{
    auto result = wait_for_the_server();
    EXPECT_EQ("ok", name_of(ServiceClient(directly(service)).destroy()));
    EXPECT_EQ("aborted", name_of(result.get()));
    EXPECT_TRUE(server.wait_for_disconnect(1, kSoon));
    EXPECT_EQ("unknown-session", name_of(client.connect()));
}

TEST_F(Busy, EndsByAnotherOfItsKey)
{
    auto result = wait_for_the_server();
    EXPECT_EQ("ok", name_of(ServiceClient(directly(service)).create()));
    EXPECT_EQ("aborted", name_of(result.get()));
    EXPECT_TRUE(server.wait_for_disconnect(1, kSoon));
}

TEST_F(Busy, EndsByShutDown)
{
    auto result = wait_for_the_server();
    service.shut_down(5);
    EXPECT_EQ("aborted", name_of(result.get()));
    EXPECT_TRUE(server.wait_for_disconnect(1, kSoon));
    EXPECT_EQ("shutting-down", name_of(client.create()));
    EXPECT_EQ("shutting-down", name_of(client.connect()));
}

TEST(ShutDown, WaitsForTheVerdictOnAMail)
{
    SmtpOptions options;
    options.rules = {Rule(Step::kDot).delay(500)};
    const LoopbackSmtp server(options);
    MailService service(quick_options());
    ServiceClient client(directly(service));
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    ASSERT_EQ("ok", name_of(client.header()));
    auto result = std::async(std::launch::async, [&] { return client.close(); });
    ASSERT_TRUE(server.wait_for_octets(velorin_test::plain_header().size(), kSoon));
    service.shut_down(10);
    EXPECT_EQ("ok", name_of(result.get()));
}

TEST(ShutDown, DoesNotWaitForEver)
{
    SmtpOptions options;
    options.rules = {Rule(Step::kDot).silence()};
    const LoopbackSmtp server(options);
    MailService service(quick_options());
    ServiceClient client(directly(service));
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    ASSERT_EQ("ok", name_of(client.header()));
    auto result = std::async(std::launch::async, [&] { return client.close(); });
    ASSERT_TRUE(server.wait_for_octets(velorin_test::plain_header().size(), kSoon));
    const auto begun = std::chrono::steady_clock::now();
    service.shut_down(1);
    EXPECT_EQ("not-confirmed", name_of(result.get()));
    EXPECT_LE(std::chrono::steady_clock::now() - begun, std::chrono::milliseconds(4500));
}

// A process that lives until it is told to die.
class Child {
public:
    Child() : pid_(::fork())
    {
        if (pid_ == 0) {
            for (;;)
                ::pause();
        }
    }
    ~Child() { kill(); }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    Caller caller() const
    {
        return {::getuid(), ::getgid(), static_cast<std::int32_t>(pid_),
                velorin_channel::read_start_time(pid_), false};
    }
    void kill()
    {
        if (pid_ <= 0) return;
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
        pid_ = 0;
    }

private:
    pid_t pid_;
};

TEST(ClientDeath, EndsItsSessionsWithoutDotAndWithoutQuit)
{
    const LoopbackSmtp server;
    MailService service(quick_options());
    Child child;
    ServiceClient in_mail(directly(service, child.caller()), 1);
    ServiceClient connected(directly(service, child.caller()), 2);
    ServiceClient other(directly(service), 1);
    ASSERT_EQ("ok", name_of(in_mail.open(server.port())));
    ASSERT_EQ("ok", name_of(in_mail.header()));
    ASSERT_EQ("ok", name_of(in_mail.body("half a mail\r\n")));
    ASSERT_EQ("ok", name_of(connected.open(server.port())));
    ASSERT_EQ("ok", name_of(other.open(server.port())));
    child.kill();
    ASSERT_TRUE(server.wait_for_disconnect(2, kSoon));
    EXPECT_EQ("unknown-session", name_of(in_mail.abort()));
    EXPECT_EQ("unknown-session", name_of(connected.abort()));
    EXPECT_TRUE(server.mails().empty());
    EXPECT_FALSE(server.conversations()[0].quit);
    EXPECT_FALSE(server.conversations()[1].quit);
    EXPECT_EQ("ok", name_of(other.send("x")));
}

TEST(ClientDeath, EndsAnOperationThatWaits)
{
    SmtpOptions options;
    options.rules = {Rule(Step::kMail).silence()};
    const LoopbackSmtp server(options);
    MailService service(quick_options());
    Child child;
    ServiceClient client(directly(service, child.caller()));
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    auto result = std::async(std::launch::async, [&] { return client.header(); });
    ASSERT_TRUE(server.wait_for_command("MAIL", kSoon));
    child.kill();
    EXPECT_EQ("aborted", name_of(result.get()));
    EXPECT_TRUE(server.wait_for_disconnect(1, kSoon));
}

TEST(ClientDeath, LeavesNoSessionToTheNextProcessOfItsNumber)
{
    MailService service(quick_options());
    Child child;
    Caller earlier = child.caller();
    earlier.start_time -= 1;
    EXPECT_EQ("unknown-session", name_of(ServiceClient(directly(service, earlier)).create()));
    Caller gone = child.caller();
    child.kill();
    EXPECT_EQ("unknown-session", name_of(ServiceClient(directly(service, gone)).create()));
    gone.start_time = 0;
    EXPECT_EQ("unknown-session", name_of(ServiceClient(directly(service, gone)).create()));
}

// Sessions of many threads at once, made, used, aborted and replaced; for the thread sanitizer.
TEST(Session, OfManyThreadsAtOnce)
{
    const LoopbackSmtp server;
    MailServiceOptions options = quick_options();
    options.max_sessions_per_user = 64;
    MailService service(options);
    std::atomic<int> sent{0};
    std::vector<std::thread> threads;
    for (std::uint32_t number = 0; number < 8; ++number) {
        threads.emplace_back([&, number] {
            for (int round = 0; round < 5; ++round) {
                ServiceClient client(directly(service), number / 2);  // two threads share a session
                if (client.open(server.port()) != 0) continue;
                if (client.send("x") == 0) ++sent;
                if (round % 2 == 0) client.abort();
                client.destroy();
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_GE(server.mails().size(), static_cast<std::size_t>(sent.load()));
    ServiceClient client(directly(service), 100);
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    EXPECT_EQ("ok", name_of(client.send("x")));
}

}  // namespace
}  // namespace velorin::service
