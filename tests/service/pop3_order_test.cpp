// Every POP3 operation in every state of a session.
#include <string>

#include <gtest/gtest.h>

#include "pop3_fixture.h"

namespace velorin::service {
namespace {

using velorin_test::kNoAnswer;
using velorin_test::kSoon;
using velorin_test::name_of;
using velorin_test::pop3_directly;
using velorin_test::Pop3Client;
using velorin_test::Pop3Fixture;
using velorin_test::quick_options;
using velorin_test::small_mails;
using velorin_test::with_mails;

const char* const kMultipart =
    "Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n\r\none\r\n--b\r\n"
    "Content-Type: multipart/mixed; boundary=c\r\n\r\n--c\r\n\r\ntwo\r\n--c--\r\n--b--\r\n";

struct State {
    const char* label;
    void (*reach)(Pop3Client&);
};

void open(Pop3Client& client)
{
    ASSERT_EQ("ok", name_of(client.create()));
    ASSERT_EQ("ok", name_of(client.connect()));
}

void begin(Pop3Client& client, std::int32_t number)
{
    open(client);
    client.mean(number);
    ASSERT_EQ("ok", name_of(client.header()));
}

const State states[] = {
    {"unknown", [](Pop3Client&) {}},
    {"created", [](Pop3Client& client) { ASSERT_EQ("ok", name_of(client.create())); }},
    {"connected", [](Pop3Client& client) { open(client); }},
    {"single", [](Pop3Client& client) { begin(client, 1); }},
    {"single read",
     [](Pop3Client& client) {
         begin(client, 1);
         ASSERT_EQ("ok", name_of(client.body()));
     }},
    {"multipart", [](Pop3Client& client) { begin(client, 2); }},
    {"part",
     [](Pop3Client& client) {
         begin(client, 2);
         ASSERT_EQ("ok", name_of(client.part_header()));
     }},
    {"part read",
     [](Pop3Client& client) {
         begin(client, 2);
         ASSERT_EQ("ok", name_of(client.part_header()));
         ASSERT_EQ("ok", name_of(client.part_body()));
     }},
    {"nested",
     [](Pop3Client& client) {
         begin(client, 2);
         ASSERT_EQ("ok", name_of(client.part_header()));
         ASSERT_EQ("ok", name_of(client.part_header()));
     }},
};

constexpr char kOk[] = "ok";
constexpr char kNo[] = "wrong-order";
constexpr char kWho[] = "unknown-session";

struct Operation {
    const char* label;
    std::uint32_t (*run)(Pop3Client&);
    const char* codes[9];  // in the order of the states
};

const Operation operations[] = {
    {"create",
     [](Pop3Client& client) { return client.create(); },
     {kOk, kOk, kOk, kOk, kOk, kOk, kOk, kOk, kOk}},
    {"test",
     [](Pop3Client& client) { return client.test(); },
     {kWho, kOk, kNo, kNo, kNo, kNo, kNo, kNo, kNo}},
    {"connect",
     [](Pop3Client& client) { return client.connect(); },
     {kWho, kOk, kNo, kNo, kNo, kNo, kNo, kNo, kNo}},
    {"stat",
     [](Pop3Client& client) { return client.stat(); },
     {kWho, kNo, kOk, kNo, kOk, kNo, kNo, kNo, kNo}},
    {"noop",
     [](Pop3Client& client) { return client.noop(); },
     {kWho, kNo, kOk, kNo, kOk, kNo, kNo, kNo, kNo}},
    {"list",
     [](Pop3Client& client) { return client.update(); },
     {kWho, kNo, kOk, kNo, kOk, kNo, kNo, kNo, kNo}},
    {"list next",
     [](Pop3Client& client) {
         client.info.set_n_id(0);
         return client.next();
     },
     {kWho, kNo, kOk, kNo, kOk, kNo, kNo, kNo, kNo}},
    {"header",
     [](Pop3Client& client) { return client.header(); },
     {kWho, kNo, kOk, kNo, kOk, kNo, kNo, kNo, kNo}},
    {"header only",
     [](Pop3Client& client) { return client.header_only(); },
     {kWho, kNo, kOk, kNo, kOk, kNo, kNo, kNo, kNo}},
    {"body",
     [](Pop3Client& client) { return client.body(); },
     {kWho, kNo, kNo, kOk, kNo, kNo, kNo, kNo, kNo}},
    {"part header",
     [](Pop3Client& client) { return client.part_header(); },
     {kWho, kNo, kNo, kNo, kNo, kOk, kOk, kOk, kOk}},
    {"part body",
     [](Pop3Client& client) { return client.part_body(); },
     {kWho, kNo, kNo, kNo, kNo, kNo, kOk, kNo, kOk}},
    {"skip part",
     [](Pop3Client& client) { return client.skip_part(); },
     {kWho, kNo, kNo, kOk, kNo, kOk, kOk, kNo, kOk}},
    {"skip mail",
     [](Pop3Client& client) { return client.skip_mail(); },
     {kWho, kNo, kNo, kOk, kNo, kOk, kOk, kOk, kOk}},
    {"delete",
     [](Pop3Client& client) {
         client.mean(1, "uid-1");
         return client.remove();
     },
     {kWho, kNo, kOk, kNo, kOk, kNo, kNo, kNo, kNo}},
    {"delete by uid",
     [](Pop3Client& client) { return client.remove_by_uid(); },
     {kWho, kNo, kOk, kNo, kOk, kNo, kNo, kNo, kNo}},
    {"close",
     [](Pop3Client& client) { return client.close(); },
     {kWho, kNo, kOk, kNo, kOk, kNo, kNo, kNo, kNo}},
    {"destroy",
     [](Pop3Client& client) { return client.destroy(); },
     {kWho, kOk, kOk, kOk, kOk, kOk, kOk, kOk, kOk}},
};

TEST(Pop3Order, OfEveryOperationInEveryState)
{
    for (const Operation& operation : operations) {
        std::size_t index = 0;
        for (const State& state : states) {
            Pop3Fixture fixture(with_mails({"Subject: a\r\n\r\ntext\r\n", kMultipart}));
            state.reach(fixture.client);
            EXPECT_EQ(operation.codes[index++], name_of(operation.run(fixture.client)))
                << operation.label << " when " << state.label;
        }
    }
}

// A step at the wrong time leaves the mail under way as it was.
TEST(Pop3Order, AWrongStepHarmsNoMail)
{
    Pop3Fixture fixture(with_mails({"Subject: a\r\n\r\ntext\r\n", kMultipart}));
    Pop3Client& client = fixture.client;
    begin(client, 1);
    EXPECT_EQ("wrong-order", name_of(client.connect()));
    EXPECT_EQ("wrong-order", name_of(client.stat()));
    EXPECT_EQ("wrong-order", name_of(client.part_header()));
    EXPECT_EQ("wrong-order", name_of(client.part_body()));
    EXPECT_EQ("wrong-order", name_of(client.close()));
    EXPECT_EQ("ok", name_of(client.body()));
    EXPECT_EQ("text\r\n", client.part().p_buffer());
    EXPECT_EQ("ok", name_of(client.close()));
}

// Only the mail under way may be read.
TEST(Pop3Order, AnotherMailIsNotRead)
{
    Pop3Fixture fixture(with_mails(small_mails(2)));
    Pop3Client& client = fixture.client;
    begin(client, 1);
    const auto first = client.mail;
    client.mean(2, "uid-2");
    EXPECT_EQ("wrong-order", name_of(client.body()));
    EXPECT_EQ("wrong-order", name_of(client.skip_mail()));
    EXPECT_EQ("wrong-order", name_of(client.skip_part()));
    client.mean(1, "uid-2");
    EXPECT_EQ("wrong-order", name_of(client.body()));
    client.mail = first;
    EXPECT_EQ("ok", name_of(client.body()));
    EXPECT_EQ("text 1\r\n", client.part().p_buffer());
}

TEST(Pop3Order, AfterCloseTheSessionConnectsAgain)
{
    Pop3Fixture fixture(with_mails(small_mails(1)));
    Pop3Client& client = fixture.client;
    open(client);
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ("ok", name_of(client.close()));
        EXPECT_EQ("wrong-order", name_of(client.close()));
        EXPECT_EQ("ok", name_of(client.connect()));
    }
}

TEST(Pop3Order, TheOwnAddressIsKnownFromTheStart)
{
    Pop3Fixture fixture(with_mails({}));
    fixture.client.settings.mutable_c_address()->set_c_address("Me <me@example.com>");
    ASSERT_EQ("ok", name_of(fixture.client.create()));
    fixture.client.ref_mail_address();
    EXPECT_EQ("Me <me@example.com>", fixture.client.address);
}

TEST(Pop3Order, AnOwnAddressOfAnyLengthFits)
{
    Pop3Fixture fixture(with_mails({}));
    std::string addresses;
    for (int count = 0; count < 1000; ++count)
        addresses += "someone@example.com, ";
    fixture.client.settings.mutable_c_address()->set_c_address(addresses);
    ASSERT_EQ("ok", name_of(fixture.client.create()));
    fixture.client.ref_mail_address();
    EXPECT_GT(fixture.client.address.size(), 8000u);
    EXPECT_EQ("example.com", fixture.client.address.substr(fixture.client.address.size() - 11));
}

// A caller whose buffer is small has an answer as long as one without lists and texts fits.
TEST(Pop3Order, AnAnswerFitsASmallBuffer)
{
    constexpr std::uint32_t kSmallest = 48;  // octets
    for (std::uint32_t capacity = kSmallest; capacity < 400; capacity += 8) {
        Pop3Fixture fixture(with_mails(small_mails(2)));
        Pop3Client client(pop3_directly(fixture.service, velorin_test::this_caller(), capacity));
        client.settings.mutable_c_address()->set_c_address("Me <" + std::string(500, 'm') + "@example.com>");
        ASSERT_EQ("ok", name_of(client.open(fixture.server.port())));
        EXPECT_EQ(0u, client.ref_mail_address()) << capacity;
        const auto fill = [&] {
            client.list.clear_c_list();
            client.list.set_n_max_list_size(200);
            for (int number = 1; number <= 100; ++number)
                *client.list.add_c_list() = velorin_test::info(number, "uid-" + std::to_string(number), 0);
        };
        for (const auto run : {&Pop3Client::update, &Pop3Client::next, &Pop3Client::remove_by_uid}) {
            fill();
            EXPECT_NE(kNoAnswer, (client.*run)()) << capacity;
            EXPECT_LT(client.list.ByteSizeLong(), capacity);
        }
    }
}

// SMTP and POP3 sessions of one number are two sessions.
TEST(Pop3Order, ProtocolsDoNotMeet)
{
    Pop3Fixture fixture(with_mails({}));
    velorin_test::ServiceClient smtp(velorin_test::directly(fixture.service));
    ASSERT_EQ("ok", name_of(fixture.client.create()));
    EXPECT_EQ("unknown-session", name_of(smtp.connect()));
    ASSERT_EQ("ok", name_of(smtp.create()));
    EXPECT_EQ("ok", name_of(smtp.destroy()));
    EXPECT_EQ("ok", name_of(fixture.client.connect()));
}

// A session belongs to the process that made it.
TEST(Pop3Order, AnotherProcessHasNoPart)
{
    Pop3Fixture fixture(with_mails({}));
    ASSERT_EQ("ok", name_of(fixture.client.create()));
    velorin_channel::Caller other = velorin_test::this_caller();
    other.pid += 1;
    Pop3Client stranger(pop3_directly(fixture.service, other));
    EXPECT_EQ("unknown-session", name_of(stranger.connect()));
    EXPECT_EQ("unknown-session", name_of(stranger.destroy()));
    EXPECT_EQ("ok", name_of(fixture.client.connect()));
}

TEST(Pop3Order, MalformedRequestsAreAnswered)
{
    MailService service(quick_options());
    const auto exchange = pop3_directly(service);
    for (const std::string& request : {std::string(), std::string("\xFF\xFF\xFF"), std::string(10000, 'x'),
                                       std::string("\x08\x05"), std::string("\x08\x63")}) {
        std::string octets;
        ASSERT_TRUE(exchange(request, octets));
        ntc_email_esu_pop3_method answer;
        ASSERT_TRUE(answer.ParseFromString(octets));
        EXPECT_EQ("malformed-request", name_of(static_cast<std::uint32_t>(answer.list_res().retcode())));
        EXPECT_EQ("malformed-request",
                  name_of(static_cast<std::uint32_t>(answer.receive_body_res().retcode())));
        EXPECT_EQ("malformed-request",
                  name_of(static_cast<std::uint32_t>(answer.create_instance_res().retcode())));
    }
    Pop3Client client(exchange);
    client.settings.clear_c_server();
    EXPECT_EQ("ok", name_of(client.create()));
    EXPECT_EQ("bad-settings", name_of(client.connect()));
    EXPECT_EQ("bad-settings", name_of(client.test()));
    client.settings.set_c_server("127.0.0.1");
    client.settings.set_c_user_id("a\r\nDELE 1");
    EXPECT_EQ("ok", name_of(client.create()));
    EXPECT_EQ("unsafe-text", name_of(client.connect()));
    // No mail is named.
    client.mail.clear_c_mail_info();
    EXPECT_EQ("malformed-request", name_of(client.header()));
    EXPECT_EQ("malformed-request", name_of(client.remove()));
}

// An error's answer leaves the caller's list as it is: the library replaces it by what the answer holds.
TEST(Pop3Order, AListSurvivesEveryError)
{
    Pop3Fixture fixture(with_mails(small_mails(3)));
    Pop3Client& client = fixture.client;
    ASSERT_EQ("ok", name_of(client.open(fixture.server.port())));
    ASSERT_EQ("ok", name_of(client.update()));
    const std::string before = client.list.SerializeAsString();
    ASSERT_EQ("ok", name_of(client.close()));
    EXPECT_EQ("wrong-order", name_of(client.update()));
    EXPECT_EQ(before, client.list.SerializeAsString());
    EXPECT_EQ("wrong-order", name_of(client.next()));
    EXPECT_EQ("wrong-order", name_of(client.remove_by_uid()));
    EXPECT_EQ(before, client.list.SerializeAsString());
    ASSERT_EQ("ok", name_of(client.destroy()));
    EXPECT_EQ("unknown-session", name_of(client.update()));
    EXPECT_EQ(before, client.list.SerializeAsString());
    fixture.service.shut_down(0);
    EXPECT_EQ("shutting-down", name_of(client.update()));
    EXPECT_EQ("shutting-down", name_of(client.remove_by_uid()));
    EXPECT_EQ(before, client.list.SerializeAsString());
}

}  // namespace
}  // namespace velorin::service
