// Every operation in every state of a session.
#include <functional>
#include <string>
#include <vector>

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
using velorin_test::ServiceClient;

struct State {
    const char* label;
    void (*reach)(ServiceClient&, std::uint16_t port);
};

const State states[] = {
    {"unknown", [](ServiceClient&, std::uint16_t) {}},
    {"created",
     [](ServiceClient& client, std::uint16_t port) {
         client.settings.set_n_port(port);
         ASSERT_EQ("ok", name_of(client.create()));
     }},
    {"connected",
     [](ServiceClient& client, std::uint16_t port) { ASSERT_EQ("ok", name_of(client.open(port))); }},
    {"single",
     [](ServiceClient& client, std::uint16_t port) {
         ASSERT_EQ("ok", name_of(client.open(port)));
         ASSERT_EQ("ok", name_of(client.header()));
     }},
    {"multipart",
     [](ServiceClient& client, std::uint16_t port) {
         client.make_multipart();
         ASSERT_EQ("ok", name_of(client.open(port)));
         ASSERT_EQ("ok", name_of(client.header()));
     }},
    {"part",
     [](ServiceClient& client, std::uint16_t port) {
         client.make_multipart();
         ASSERT_EQ("ok", name_of(client.open(port)));
         ASSERT_EQ("ok", name_of(client.header()));
         ASSERT_EQ("ok", name_of(client.part_header()));
     }},
};

struct Operation {
    const char* label;
    std::uint32_t (*run)(ServiceClient&);
    const char* codes[6];  // in the order of the states
};

constexpr char kOk[] = "ok";
constexpr char kNo[] = "wrong-order";
constexpr char kWho[] = "unknown-session";

const Operation operations[] = {
    {"create", [](ServiceClient& client) { return client.create(); }, {kOk, kOk, kOk, kOk, kOk, kOk}},
    {"test", [](ServiceClient& client) { return client.test(); }, {kWho, kOk, kOk, kNo, kNo, kNo}},
    {"connect", [](ServiceClient& client) { return client.connect(); }, {kWho, kOk, kNo, kNo, kNo, kNo}},
    {"judge", [](ServiceClient& client) { return client.judge(5); }, {kWho, kNo, kOk, kOk, kOk, kOk}},
    {"header", [](ServiceClient& client) { return client.header(); }, {kWho, kNo, kOk, kNo, kNo, kNo}},
    {"body", [](ServiceClient& client) { return client.body("x"); }, {kWho, kNo, kNo, kOk, kOk, kNo}},
    {"part header",
     [](ServiceClient& client) { return client.part_header(); },
     {kWho, kNo, kNo, kNo, kOk, kOk}},
    {"part body",
     [](ServiceClient& client) { return client.part_body("x"); },
     {kWho, kNo, kNo, kNo, kNo, kOk}},
    {"close", [](ServiceClient& client) { return client.close(); }, {kWho, kNo, kNo, kOk, kOk, kOk}},
    {"abort", [](ServiceClient& client) { return client.abort(); }, {kWho, kOk, kOk, kOk, kOk, kOk}},
    {"destroy", [](ServiceClient& client) { return client.destroy(); }, {kWho, kOk, kOk, kOk, kOk, kOk}},
};

TEST(Order, OfEveryOperationInEveryState)
{
    for (const Operation& operation : operations) {
        std::size_t index = 0;
        for (const State& state : states) {
            const LoopbackSmtp server;
            MailService service(quick_options());
            ServiceClient client(directly(service));
            client.set_part("a.pdf");
            state.reach(client, server.port());
            EXPECT_EQ(operation.codes[index++], name_of(operation.run(client)))
                << operation.label << " when " << state.label;
        }
    }
}

// A step at the wrong time leaves the mail under way as it was.
TEST(Order, AWrongStepHarmsNoMail)
{
    const LoopbackSmtp server;
    MailService service(quick_options());
    ServiceClient client(directly(service));
    client.set_part("a.pdf");
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    ASSERT_EQ("ok", name_of(client.header()));
    EXPECT_EQ("wrong-order", name_of(client.connect()));
    EXPECT_EQ("wrong-order", name_of(client.test()));
    EXPECT_EQ("wrong-order", name_of(client.header()));
    EXPECT_EQ("wrong-order", name_of(client.part_header()));
    EXPECT_EQ("wrong-order", name_of(client.part_body("y")));
    EXPECT_EQ("ok", name_of(client.body("x")));
    EXPECT_EQ("ok", name_of(client.close()));
    ASSERT_TRUE(server.wait_for_mail(1, kSoon));
    EXPECT_EQ(velorin_test::plain_header() + "x\r\n", server.mails()[0].wire);
}

struct Ending {
    const char* label;
    std::uint32_t (*run)(ServiceClient&);
};

// No half mail is ever delivered: the connection goes without the final dot and without QUIT.
TEST(Order, AMailThatIsNotClosedIsNotSent)
{
    const Ending endings[] = {{"abort", [](ServiceClient& client) { return client.abort(); }},
                              {"destroy", [](ServiceClient& client) { return client.destroy(); }},
                              {"create", [](ServiceClient& client) { return client.create(); }}};
    for (const Ending& ending : endings) {
        const LoopbackSmtp server;
        MailService service(quick_options());
        ServiceClient client(directly(service));
        ASSERT_EQ("ok", name_of(client.open(server.port())));
        ASSERT_EQ("ok", name_of(client.header()));
        ASSERT_EQ("ok", name_of(client.body("half a mail\r\n")));
        EXPECT_EQ("ok", name_of(ending.run(client))) << ending.label;
        ASSERT_TRUE(server.wait_for_disconnect(1, kSoon)) << ending.label;
        EXPECT_TRUE(server.mails().empty()) << ending.label;
        ASSERT_EQ(1u, server.unfinished().size()) << ending.label;
        // No QUIT either, which would stand in the mail.
        EXPECT_EQ(std::string::npos, server.unfinished()[0].wire.find("QUIT")) << ending.label;
        EXPECT_FALSE(server.conversations()[0].quit) << ending.label;
    }
}

TEST(Order, AnAbortedSessionConnectsAgain)
{
    const LoopbackSmtp server;
    MailService service(quick_options());
    ServiceClient client(directly(service));
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    ASSERT_EQ("ok", name_of(client.header()));
    ASSERT_EQ("ok", name_of(client.abort()));
    EXPECT_EQ("ok", name_of(client.abort()));
    EXPECT_EQ("wrong-order", name_of(client.header()));
    ASSERT_EQ("ok", name_of(client.connect()));
    EXPECT_EQ("ok", name_of(client.send("again")));
    ASSERT_TRUE(server.wait_for_mail(1, kSoon));
}

TEST(Order, TestLeavesNothingBehind)
{
    const LoopbackSmtp server;
    MailService service(quick_options());
    ServiceClient client(directly(service));
    client.settings.set_n_port(server.port());
    ASSERT_EQ("ok", name_of(client.create()));
    EXPECT_EQ("ok", name_of(client.test()));
    ASSERT_TRUE(server.wait_for_disconnect(1, kSoon));
    EXPECT_EQ("EHLO client.example\nQUIT\n", server.conversations()[0].client_lines());
}

TEST(Order, AConnectedSessionCanBeTestedOnAConnectionOfItsOwn)
{
    const LoopbackSmtp server;
    MailService service(quick_options());
    ServiceClient client(directly(service));
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    EXPECT_EQ("ok", name_of(client.test()));
    EXPECT_EQ("ok", name_of(client.send("x")));
    ASSERT_TRUE(server.wait_for_mail(1, kSoon));
    EXPECT_EQ(0u, server.mails()[0].connection);
    EXPECT_EQ(2u, server.conversations().size());
}

}  // namespace
}  // namespace velorin::service
