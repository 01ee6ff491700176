// Ways to log in to a POP3 server, TLS modes, deadlines, ends of sessions, and the library on top.
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "CntsPOP3Boundary.h"
#include "CntsPOP3MailInfoList.h"
#include "CntsPOP3ReceiveMail.h"
#include "CntsPOP3Settings.h"
#include "CutlCPLBOSBoundary.h"
#include "ca_file.h"
#include "octets.h"
#include "pop3_fixture.h"
#include "velorin_mail_service.h"

namespace velorin::service {
namespace {

using velorin_test::CaFile;
using velorin_test::Conversation;
using velorin_test::kNoAnswer;
using velorin_test::kPassword;
using velorin_test::kSoon;
using velorin_test::kUser;
using velorin_test::LoopbackPop3;
using velorin_test::name_of;
using velorin_test::octet_difference;
using velorin_test::pop3_directly;
using velorin_test::Pop3Client;
using velorin_test::Pop3Fixture;
using velorin_test::Pop3Options;
using velorin_test::quick_options;
using velorin_test::ReceivedPart;
using velorin_test::Rule;
using velorin_test::small_mails;
using velorin_test::Step;
using velorin_test::trusting;
using velorin_test::with_mails;

struct LoginCase {
    const char* label;
    bool asks_apop, capa, apop, user;
    std::vector<std::string> mechanisms;
    const char* code;
    const char* used;  // by the last connection; empty: nothing
};

const LoginCase logins[] = {
    {"USER and PASS", false, true, false, true, {}, "ok", "USER"},
    {"USER and PASS without CAPA", false, false, false, true, {}, "ok", "USER"},
    {"PLAIN", false, true, false, true, {"PLAIN"}, "ok", "PLAIN"},
    {"LOGIN", false, true, false, true, {"LOGIN"}, "ok", "LOGIN"},
    {"the strongest", false, true, false, true, {"PLAIN", "LOGIN", "CRAM-MD5"}, "ok", "CRAM-MD5"},
    {"SASL goes before APOP that nobody asked for", false, true, true, true, {"PLAIN"}, "ok", "PLAIN"},
    {"APOP", true, true, true, true, {}, "ok", "APOP"},
    {"APOP without CAPA", true, false, true, true, {}, "ok", "APOP"},
    {"APOP goes before SASL where it is asked for", true, true, true, true, {"CRAM-MD5"}, "ok", "APOP"},
    {"APOP that is not offered", true, true, false, true, {"PLAIN"}, "no-common-method", ""},
    {"APOP that is not offered, without CAPA", true, false, false, true, {}, "no-common-method", ""},
    {"no method at all", false, true, false, false, {}, "no-common-method", ""},
    {"an unknown method", false, true, false, false, {"X-UNKNOWN"}, "no-common-method", ""},
};

TEST(Pop3Login, ByEveryWay)
{
    for (const LoginCase& one : logins) {
        Pop3Options options = with_mails(small_mails(1));
        options.capa = one.capa;
        options.apop = one.apop;
        options.user = one.user;
        options.auth = one.mechanisms;
        Pop3Fixture fixture(std::move(options));
        fixture.client.settings.set_is_apop(one.asks_apop);
        EXPECT_EQ(one.code, name_of(fixture.client.open(fixture.server.port()))) << one.label;
        const Conversation conversation = fixture.server.conversations().back();
        EXPECT_EQ(one.used, conversation.mechanism) << one.label;
        if (std::string(one.code) != "ok") continue;
        EXPECT_EQ(kUser, conversation.user) << one.label;
        EXPECT_EQ("ok", name_of(fixture.client.stat())) << one.label;
        EXPECT_EQ(1, fixture.client.count) << one.label;
    }
}

TEST(Pop3Login, WithAWrongPasswordIsRefused)
{
    for (const LoginCase& one : logins) {
        if (std::string(one.code) != "ok") continue;
        Pop3Options options = with_mails({});
        options.capa = one.capa;
        options.apop = one.apop;
        options.user = one.user;
        options.auth = one.mechanisms;
        Pop3Fixture fixture(std::move(options));
        fixture.client.settings.set_is_apop(one.asks_apop);
        fixture.client.settings.set_c_passwd("wrong");
        EXPECT_EQ("login-refused", name_of(fixture.client.open(fixture.server.port()))) << one.label;
        EXPECT_EQ("login-refused", name_of(fixture.client.test())) << one.label;
        EXPECT_EQ("wrong-order", name_of(fixture.client.stat())) << one.label;
    }
}

TEST(Pop3Login, TestConnectsLogsInAndLeaves)
{
    Pop3Fixture fixture(with_mails(small_mails(1)));
    ASSERT_EQ("ok", name_of(fixture.client.create()));
    EXPECT_EQ("ok", name_of(fixture.client.test()));
    ASSERT_TRUE(fixture.server.wait_for_disconnect(1, kSoon));
    EXPECT_EQ("CAPA\nUSER user\nPASS " + std::string(kPassword) + "\nQUIT\n",
              fixture.server.conversations()[0].client_lines());
    EXPECT_EQ("wrong-order", name_of(fixture.client.stat()));
}

TEST(Pop3Tls, OnRequestAndFromTheStart)
{
    std::string body;
    for (int line = 0; line < 20000; ++line)
        body += "line " + std::to_string(line) + "\r\n";
    for (const bool from_start : {false, true}) {
        Pop3Options options = with_mails({"Subject: a\r\n\r\n" + body});
        options.stls = !from_start;
        options.implicit_tls = from_start;
        options.tls_required = true;
        const LoopbackPop3 server(options);
        const CaFile ca(server.certificates());
        MailService service(trusting(ca));
        Pop3Client client(pop3_directly(service));
        client.settings.set_n_tls_mode(from_start ? 2 : 1);
        ASSERT_EQ("ok", name_of(client.open(server.port()))) << from_start;
        std::vector<ReceivedPart> parts;
        ASSERT_EQ("ok", name_of(client.receive(parts)));
        EXPECT_EQ("", octet_difference(body, parts[0].joined()));
        EXPECT_EQ("ok", name_of(client.close()));
        EXPECT_NE("", server.conversations()[0].tls_version);
    }
}

// What was offered before TLS does not count.
TEST(Pop3Tls, CapabilitiesAreThoseInsideIt)
{
    Pop3Options options = with_mails({});
    options.stls = true;
    options.tls_required = true;
    options.clear_capabilities = std::vector<std::string>{"SASL X-UNKNOWN"};
    options.auth = {"CRAM-MD5"};
    const LoopbackPop3 server(options);
    const CaFile ca(server.certificates());
    MailService service(trusting(ca));
    Pop3Client client(pop3_directly(service));
    client.settings.set_n_tls_mode(1);
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    EXPECT_EQ("CRAM-MD5", server.conversations()[0].mechanism);
}

TEST(Pop3Tls, ThatIsNotOfferedIsNotDoneWithout)
{
    Pop3Fixture fixture(with_mails({}));
    fixture.client.settings.set_n_tls_mode(1);
    EXPECT_EQ("tls-not-offered", name_of(fixture.client.open(fixture.server.port())));
    ASSERT_TRUE(fixture.server.wait_for_disconnect(1, kSoon));
    EXPECT_EQ("CAPA\n", fixture.server.conversations()[0].client_lines());
}

TEST(Pop3Tls, TrustsNoCertificateThatIsWrong)
{
    const struct {
        const char* label;
        bool expired, wrong_host, untrusted;
    } cases[] = {{"expired", true, false, false},
                 {"another host's", false, true, false},
                 {"nobody's", false, false, true}};
    for (const auto& one : cases) {
        for (const bool from_start : {false, true}) {
            Pop3Options options = with_mails({});
            options.stls = !from_start;
            options.implicit_tls = from_start;
            options.tls.expired = one.expired;
            options.tls.wrong_host = one.wrong_host;
            options.tls.untrusted = one.untrusted;
            const LoopbackPop3 server(options);
            const CaFile ca(server.certificates());
            MailService service(trusting(ca));
            Pop3Client client(pop3_directly(service));
            client.settings.set_n_tls_mode(from_start ? 2 : 1);
            EXPECT_EQ("certificate-refused", name_of(client.open(server.port()))) << one.label << from_start;
            client.settings.set_n_ssl_auth(1);
            EXPECT_EQ("ok", name_of(client.open(server.port()))) << one.label << from_start;
        }
    }
}

TEST(Pop3Tls, TakesTheVersionThatIsAskedFor)
{
    const struct {
        int highest;
        std::uint32_t encryption;
        const char* code;
    } cases[] = {{0x0303, 0, "ok"}, {0x0304, 1, "ok"}, {0x0303, 1, "tls-failed"}};
    for (const auto& one : cases) {
        Pop3Options options = with_mails({});
        options.stls = true;
        options.tls.max_version = one.highest;
        const LoopbackPop3 server(options);
        const CaFile ca(server.certificates());
        MailService service(trusting(ca));
        Pop3Client client(pop3_directly(service));
        client.settings.set_n_tls_mode(1);
        client.settings.set_n_ssl_encrypt(one.encryption);
        EXPECT_EQ(one.code, name_of(client.open(server.port()))) << one.highest << " " << one.encryption;
    }
}

// No step waits longer than the account says, whatever the server does in the meantime.
TEST(Pop3Deadline, HoldsAtEveryStep)
{
    const struct {
        const char* label;
        Step step;
        std::uint32_t (*run)(Pop3Client&);
    } steps[] = {
        {"greeting", Step::kConnect, [](Pop3Client& client) { return client.connect(); }},
        {"CAPA", Step::kCapa, [](Pop3Client& client) { return client.connect(); }},
        {"USER", Step::kUser, [](Pop3Client& client) { return client.connect(); }},
        {"PASS", Step::kPass, [](Pop3Client& client) { return client.connect(); }},
        {"STAT", Step::kStat, [](Pop3Client& client) { return client.stat(); }},
        {"UIDL", Step::kUidl, [](Pop3Client& client) { return client.update(); }},
        {"LIST", Step::kList, [](Pop3Client& client) { return client.update(); }},
        {"RETR", Step::kRetr, [](Pop3Client& client) { return client.header(); }},
        {"TOP", Step::kTop, [](Pop3Client& client) { return client.header_only(); }},
        {"DELE", Step::kDele, [](Pop3Client& client) { return client.remove(); }},
        {"NOOP", Step::kNoop, [](Pop3Client& client) { return client.noop(); }},
        {"QUIT", Step::kQuit, [](Pop3Client& client) { return client.close(); }},
    };
    for (const auto& one : steps) {
        Pop3Options options = with_mails(small_mails(2));
        options.rules = {Rule(one.step).silence()};
        Pop3Fixture fixture(std::move(options));
        Pop3Client& client = fixture.client;
        client.settings.set_n_timeout(1);
        client.mean(1, "uid-1");
        ASSERT_EQ("ok", name_of(client.create()));
        if (one.step >= Step::kStat || one.step == Step::kNoop || one.step == Step::kQuit) {
            ASSERT_EQ("ok", name_of(client.connect())) << one.label;
        }
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_EQ("time-out", name_of(one.run(client))) << one.label;
        const auto taken = std::chrono::steady_clock::now() - begin;
        EXPECT_GE(taken, std::chrono::milliseconds(900)) << one.label;
        EXPECT_LT(taken, std::chrono::seconds(4)) << one.label;
        EXPECT_EQ("ok", name_of(client.connect())) << one.label << ": the session may try again";
    }
}

// Nobody waits longer for a farewell than for a reply.
TEST(Pop3Deadline, HoldsForTheFarewellOfATest)
{
    Pop3Options options = with_mails({});
    options.rules = {Rule(Step::kQuit).silence()};
    Pop3Fixture fixture(std::move(options));
    fixture.client.settings.set_n_timeout(1);
    ASSERT_EQ("ok", name_of(fixture.client.create()));
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ("ok", name_of(fixture.client.test()));
    const auto taken = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(taken, std::chrono::milliseconds(900));
    EXPECT_LT(taken, std::chrono::seconds(4));
}

// A session that waits for its server holds up no other, and is busy for a second caller.
TEST(Pop3Deadline, ASlowServerDelaysNobodyElse)
{
    Pop3Options options = with_mails(small_mails(1));
    options.rules = {Rule(Step::kStat).silence()};
    Pop3Fixture fixture(std::move(options));
    ASSERT_EQ("ok", name_of(fixture.client.open(fixture.server.port())));
    std::string slow;
    std::thread waiting([&] { slow = name_of(fixture.client.stat()); });
    ASSERT_TRUE(fixture.server.wait_for_command("STAT", kSoon));
    Pop3Client same(pop3_directly(fixture.service));
    EXPECT_EQ("session-busy", name_of(same.noop()));
    Pop3Client other(pop3_directly(fixture.service), 2);
    EXPECT_EQ("ok", name_of(other.open(fixture.server.port())));
    EXPECT_EQ("ok", name_of(other.noop()));
    fixture.service.shut_down(0);
    waiting.join();
    EXPECT_EQ("aborted", slow);
}

// A service that stops lets a QUIT that is under way come to its end.
TEST(Pop3Deadline, AVerdictIsWaitedForWhenTheServiceStops)
{
    Pop3Options options = with_mails(small_mails(2));
    options.rules = {Rule(Step::kQuit).delay(300)};
    Pop3Fixture fixture(std::move(options));
    ASSERT_EQ("ok", name_of(fixture.client.open(fixture.server.port())));
    fixture.client.mean(1, "uid-1");
    ASSERT_EQ("ok", name_of(fixture.client.remove()));
    std::string verdict;
    std::thread closing([&] { verdict = name_of(fixture.client.close()); });
    ASSERT_TRUE(fixture.server.wait_for_command("QUIT", kSoon));
    fixture.service.shut_down(5);
    closing.join();
    EXPECT_EQ("ok", verdict);
    EXPECT_EQ(1u, fixture.server.maildrop().mails().size());
}

// The last reply is the server's, printable, and never what logs in.
TEST(Pop3Login, TheLastReplyIsKept)
{
    Pop3Options options = with_mails({});
    options.rules = {Rule(Step::kPass).reply("-ERR no\x1B[31m such user")};
    Pop3Fixture fixture(std::move(options));
    EXPECT_EQ("login-refused", name_of(fixture.client.open(fixture.server.port())));
    EXPECT_EQ("-ERR no?[31m such user", velorin_test::last_reply_of(fixture.service));
}

// Whichever way it was said; behind a refused APOP the dialogue is the service's own.
TEST(Pop3Login, TellsNoReplyWithThePasswordInIt)
{
    for (const bool apop : {false, true}) {
        Pop3Options options = with_mails({});
        options.apop = apop;
        options.rules = {Rule(Step::kApop).reply("-ERR no secret"),
                         Rule(Step::kPass).reply("-ERR what is PASS secret-pw?")};
        Pop3Fixture fixture(std::move(options));
        EXPECT_EQ("login-refused", name_of(fixture.client.open(fixture.server.port())));
        EXPECT_EQ("-ERR what is PASS *****?", velorin_test::last_reply_of(fixture.service));
    }
}

// An application of the library, the service inside its process: the loop of the document.
TEST(Pop3Library, ReadsAndDeletesAMailbox)
{
    std::string attachment;
    for (int line = 0; line < 500; ++line)
        attachment += "QUJDREVGR0hJSktMTU5PUFFSU1RVVldYWVphYmNkZWZnaGlqa2xtbm9wcXJzdHV2d3h5ejAxMjM0\r\n";
    std::vector<std::string> mails = small_mails(2);
    mails.push_back(
        "Subject: =?utf-8?B?44GC?=\r\nContent-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n\r\nhello\r\n"
        "--b\r\nContent-Type: application/pdf; name=a.pdf\r\nContent-Transfer-Encoding: base64\r\n\r\n" +
        attachment + "--b--\r\n");
    const LoopbackPop3 server(with_mails(mails));
    const EmbeddedMailService service(quick_options());
    ASSERT_TRUE(service.running()) << service.error();
    SPOP3Setting record;
    record.c_server.CopyString("127.0.0.1", -1);
    record.n_port = server.port();
    record.c_user_id.CopyString(kUser, -1);
    record.c_passwd.CopyString(kPassword, -1);
    record.c_address = CntsMLUTLMailAddress("user@example.com");
    {
        CntsPOP3Boundary session{CntsPOP3Settings(record)};
        ASSERT_EQ("ok", name_of(session.Connect()));
        EXPECT_STREQ("user@example.com", session.RefMailAddress().m_cAddress.GetString());
        int count = 0;
        EXPECT_EQ("ok", name_of(session.Stat(count)));
        EXPECT_EQ(3, count);
        CntsPOP3MailInfoList list(200);
        ASSERT_EQ("ok", name_of(session.List(list, 0)));
        EXPECT_EQ(3, list.m_cList.GetCount());
        std::string subjects, texts, octets;
        for (CntsPOP3MailInfo info; session.ListNext(list, info) == 0;) {
            CntsPOP3ReceiveMail mail(info);
            ASSERT_EQ("ok", name_of(session.ReceiveHeader(mail, 1)));
            subjects += std::string(mail.m_cSubject.GetString()) + ";";
            const auto take = [&mail](std::string& target) {
                void* block = nullptr;
                long length = 0;
                ASSERT_EQ(1, mail.GetPart()->GetBuffer(block, length));
                target.append(static_cast<const char*>(block), static_cast<std::size_t>(length));
                CutlCPLBOSBoundary::MemFree(block);
            };
            if (mail.m_nPartDepth == 0) {
                do {
                    ASSERT_EQ("ok", name_of(session.ReceiveBody(mail)));
                    take(texts);
                } while (mail.m_bIsHasNext != 0);
            } else {
                EXPECT_STREQ("b", mail.GetBoundaryString()->GetString());
                while (mail.m_bIsHasNext != 0) {
                    ASSERT_EQ("ok", name_of(session.ReceivePartHeader(mail, 1)));
                    const bool file = mail.GetPart()->m_cFIleName.GetString() != nullptr;
                    while (mail.GetPart()->m_bIsTerminate == 0) {
                        ASSERT_EQ("ok", name_of(session.ReceivePartBody(mail)));
                        take(file ? octets : texts);
                    }
                }
            }
            ASSERT_EQ("ok", name_of(session.Delete(mail)));
        }
        EXPECT_EQ("mail 1;mail 2;\xE3\x81\x82;", subjects);
        EXPECT_EQ("text 1\r\ntext 2\r\nhello", texts);
        EXPECT_EQ("", octet_difference(attachment.substr(0, attachment.size() - 2), octets));
        EXPECT_EQ("ok", name_of(session.Close()));
    }
    EXPECT_TRUE(server.maildrop().mails().empty());
}

}  // namespace
}  // namespace velorin::service
