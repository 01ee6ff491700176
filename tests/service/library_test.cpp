// An application of the library with the service inside its own process.
#include <cstring>
#include <memory>
#include <string>

#include <csignal>

#include <gtest/gtest.h>

#include "CutlCPLBOSBoundary.h"
#include "loopback_smtp.h"
#include "ntc_email.h"
#include "octets.h"
#include "service_client.h"
#include "velorin_mail_service.h"

namespace velorin {
namespace {

using velorin_test::kSoon;
using velorin_test::LoopbackSmtp;
using velorin_test::name_of;
using velorin_test::Rule;
using velorin_test::SmtpOptions;
using velorin_test::Step;

CntsSMTPSettings settings_for(std::uint16_t port)
{
    nts_smtp_settings record;
    record.c_server = CutlCPLBMString("127.0.0.1");
    record.n_port = port;
    return CntsSMTPSettings(record);
}

void fill(CntsSMTPSendMail& mail)
{
    mail.m_eContentType = CntsMLUTLMailType::eContentTypeTextPlain;
    mail.m_eTransferEncoding = CntsMLUTLMailType::eTransferEncoding7bit;
    mail.m_eCharSet = CntsMLUTLMailType::eCharSetUsAscii;
    mail.m_cFrom = CntsMLUTLMailAddress("The Sender <sender@example.com>");
    mail.m_cTo = CntsMLUTLMailAddress("one@example.org");
    mail.m_cSubject = CutlCPLBMString("A test");
    mail.m_cDate = CutlCPLBMString("Thu, 01 Jan 2026 00:00:00 +0000");
    mail.SetMessageID("id@example.com");
}

void queue(CntsMLUTLMailPart& part, const std::string& octets)
{
    part.FreeBuffer();
    void* block = CutlCPLBOSBoundary::MemAllocate(octets.size());
    std::memcpy(block, octets.data(), octets.size());
    long length = static_cast<long>(octets.size());
    ASSERT_EQ(1, part.SetBuffer(block, length));
}

TEST(Embedded, SendsAMailOfTheLibrary)
{
    const EmbeddedMailService service;
    ASSERT_TRUE(service.running()) << service.error();
    EXPECT_STREQ("", service.error());
    const LoopbackSmtp server;
    {
        CntsSMTPBoundary session(settings_for(server.port()));
        CntsSMTPSendMail mail;
        fill(mail);
        EXPECT_EQ("ok", name_of(session.Test()));
        ASSERT_EQ("ok", name_of(session.Connect()));
        EXPECT_EQ("ok", name_of(session.JudgeSizeofData(1000)));
        ASSERT_EQ("ok", name_of(session.SendHeader(mail)));
        queue(mail, "Hello\n.\n");
        EXPECT_EQ("ok", name_of(session.SendBody(mail)));
        EXPECT_EQ("ok", name_of(session.Close(mail)));
        EXPECT_EQ("250", last_server_reply().substr(0, 3));
    }
    ASSERT_TRUE(server.wait_for_disconnect(2, kSoon));
    EXPECT_EQ("", velorin_test::octet_difference(velorin_test::plain_header() + "Hello\r\n.\r\n",
                                                 server.mails()[0].octets()));
    EXPECT_TRUE(server.conversations()[1].quit);
}

TEST(Embedded, EndsWithItsObject)
{
    const LoopbackSmtp server;
    auto service = std::make_unique<EmbeddedMailService>();
    ASSERT_TRUE(service->running());
    CntsSMTPBoundary session(settings_for(server.port()));
    CntsSMTPSendMail mail;
    fill(mail);
    ASSERT_EQ("ok", name_of(session.Connect()));
    ASSERT_EQ("ok", name_of(session.SendHeader(mail)));
    service.reset();
    ASSERT_TRUE(server.wait_for_disconnect(1, kSoon));
    EXPECT_TRUE(server.mails().empty());
    EXPECT_FALSE(server.conversations()[0].quit);
    EXPECT_EQ("", last_server_reply());
    // The next service knows nothing of the session.
    service = std::make_unique<EmbeddedMailService>();
    EXPECT_EQ("unknown-session", name_of(session.Close(mail)));
    EXPECT_EQ("", last_server_reply());
}

// A server that goes while octets are on their way must not end the application by SIGPIPE.
TEST(Embedded, NeverRaisesSigpipe)
{
    ASSERT_NE(SIG_ERR, std::signal(SIGPIPE, SIG_DFL));
    const EmbeddedMailService service;
    for (const bool tls : {false, true}) {
        SmtpOptions options;
        options.starttls = tls;
        options.rules = {Rule(Step::kBody).after(1000).reset()};
        const LoopbackSmtp server(options);
        nts_smtp_settings record;
        record.c_server = CutlCPLBMString("127.0.0.1");
        record.n_port = server.port();
        record.tlsmode = tls ? 1 : 0;
        record.sslauth = 1;
        CntsSMTPBoundary session((CntsSMTPSettings(record)));
        CntsSMTPSendMail mail;
        fill(mail);
        ASSERT_EQ("ok", name_of(session.Connect()));
        ASSERT_EQ("ok", name_of(session.SendHeader(mail)));
        std::uint32_t code = 0;
        for (int count = 0; count < 200 && code == 0; ++count) {
            queue(mail, std::string(100000, 'x'));
            code = session.SendBody(mail);
        }
        EXPECT_EQ("connection-lost", name_of(code)) << tls;
    }
}

TEST(Embedded, HoldsTwoSessionsOfOneProcess)
{
    const EmbeddedMailService service;
    const LoopbackSmtp server;
    CntsSMTPBoundary first(settings_for(server.port()));
    CntsSMTPBoundary second(settings_for(server.port()));
    CntsSMTPSendMail mail;
    fill(mail);
    for (CntsSMTPBoundary* const session : {&first, &second}) {
        ASSERT_EQ("ok", name_of(session->Connect()));
        ASSERT_EQ("ok", name_of(session->SendHeader(mail)));
    }
    for (CntsSMTPBoundary* const session : {&second, &first})
        EXPECT_EQ("ok", name_of(session->Close(mail)));
    EXPECT_EQ(2u, server.mails().size());
}

}  // namespace
}  // namespace velorin
