// A server that goes away behind any octet of what it says.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "loopback_script.h"
#include "pop3_fixture.h"

namespace velorin::service {
namespace {

using velorin_test::kSoon;
using velorin_test::name_of;
using velorin_test::pop3_directly;
using velorin_test::Pop3Client;
using velorin_test::quick_options;
using velorin_test::Script;
using velorin_test::ScriptedServer;

const char* const kConversation =
    "S: +OK ready\n"
    "C= CAPA\nS: +OK\nS: USER\nS: TOP\nS: UIDL\nS: .\n"
    "C= USER user\nS: +OK\nC= PASS secret-pw\nS: +OK logged in\n"
    "C= STAT\nS: +OK 2 300\n"
    "C= UIDL\nS: +OK\nS: 1 a\nS: 2 b\nS: .\n"
    "C= LIST\nS: +OK\nS: 1 100\nS: 2 200\nS: .\n"
    "C= TOP 1 0\nS: +OK\nS: Subject: one\nS: \nS: .\n"
    "C= RETR 1\nS: +OK\nS: Subject: one\nS: Content-Type: multipart/mixed; boundary=b\nS: \n"
    "S: --b\nS: Content-Transfer-Encoding: quoted-printable\nS: \nS: ..=2E\nS: --b\nS: \nS: two\nS: "
    "--b--\nS: .\n"
    "C= DELE 1\nS: +OK\n"
    "C= UIDL 2\nS: +OK 2 b\nC= DELE 2\nS: +OK\n"
    "C= QUIT\nS: +OK bye\n";

std::uint32_t remove_second(Pop3Client& client)
{
    client.list.mutable_c_list(client.list.c_list_size() - 1)->set_n_status(2);
    return client.remove_by_uid();
}

constexpr std::uint32_t (*kSteps[])(Pop3Client&) = {
    [](Pop3Client& client) { return client.connect(); },
    [](Pop3Client& client) { return client.stat(); },
    [](Pop3Client& client) { return client.update(); },
    [](Pop3Client& client) {
        client.mean(1, "a");
        return client.header_only();
    },
    [](Pop3Client& client) { return client.header(); },
    [](Pop3Client& client) { return client.part_header(); },
    [](Pop3Client& client) { return client.part_body(); },
    [](Pop3Client& client) { return client.part_header(); },
    [](Pop3Client& client) { return client.part_body(); },
    [](Pop3Client& client) { return client.remove(); },
    remove_second,
    [](Pop3Client& client) { return client.close(); },
};
constexpr std::size_t kStepCount = sizeof kSteps / sizeof kSteps[0];

// The conversation up to so many octets of the server's. Then it closes.
Script cut_behind(std::size_t octets)
{
    Script script = Script::parse(kConversation);
    auto& commands = script.connections.front();
    for (std::size_t at = 0; at < commands.size(); ++at) {
        if (commands[at].act != Script::Act::kSend) continue;
        if (octets > commands[at].text.size()) {
            octets -= commands[at].text.size();
            continue;
        }
        commands[at].text.resize(octets);
        commands.resize(at + 1);
        break;
    }
    return script;
}

std::size_t octets_of_conversation()
{
    const Script script = Script::parse(kConversation);
    std::size_t octets = 0;
    for (const Script::Command& command : script.connections.front()) {
        if (command.act == Script::Act::kSend) octets += command.text.size();
    }
    return octets;
}

// Steps that went well; the one behind them has the lost connection, and nothing more is possible then.
std::size_t steps_done(Pop3Client& client, std::size_t octets)
{
    std::size_t done = 0;
    while (done < kStepCount) {
        const std::string code = name_of(kSteps[done](client));
        if (code != "ok") {
            EXPECT_EQ("connection-lost", code) << "step " << done << " behind octet " << octets;
            break;
        }
        ++done;
    }
    EXPECT_EQ("wrong-order", name_of(client.noop())) << "behind octet " << octets;
    return done;
}

TEST(Pop3Cut, BehindEveryOctet)
{
    const std::size_t all = octets_of_conversation();
    std::size_t before = 0;
    for (std::size_t octets = 0; octets <= all; ++octets) {
        ScriptedServer server(cut_behind(octets));
        MailService service(quick_options());
        Pop3Client client(pop3_directly(service));
        client.settings.set_n_port(server.port());
        ASSERT_EQ("ok", name_of(client.create()));
        const std::size_t done = steps_done(client, octets);
        EXPECT_GE(done, before) << "behind octet " << octets;
        EXPECT_EQ(octets == all, done == kStepCount) << "behind octet " << octets;
        before = done;
        EXPECT_EQ("", server.mismatch(kSoon)) << server.transcript();
        if (HasFailure()) return;
    }
}

}  // namespace
}  // namespace velorin::service
