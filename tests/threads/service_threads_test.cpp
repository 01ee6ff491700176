// Many threads that send and receive at once with the mail service in their process.
#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "CutlCPLBOSBoundary.h"
#include "loopback_pop3.h"
#include "loopback_smtp.h"
#include "many_sessions.h"
#include "ntc_email.h"
#include "service_client.h"
#include "velorin_mail_service.h"

namespace velorin_test {
namespace {

using namespace velorin;

std::string address_of(unsigned number)
{
    return "user" + std::to_string(number) + "@example.org";
}

std::string text_of_mail(unsigned number)
{
    return "The text of " + std::to_string(number) + ".\r\n";
}

std::string user_of(unsigned number)
{
    return "user" + std::to_string(number);
}

void send_one(std::uint16_t port, unsigned number)
{
    nts_smtp_settings record;
    record.c_server = CutlCPLBMString("127.0.0.1");
    record.n_port = port;
    CntsSMTPSendMail mail;
    mail.m_eContentType = CntsMLUTLMailType::eContentTypeTextPlain;
    mail.m_eTransferEncoding = CntsMLUTLMailType::eTransferEncoding7bit;
    mail.m_eCharSet = CntsMLUTLMailType::eCharSetUsAscii;
    mail.m_cFrom = CntsMLUTLMailAddress("sender@example.com");
    mail.m_cTo = CntsMLUTLMailAddress(address_of(number).c_str());
    mail.m_cDate = CutlCPLBMString("Thu, 01 Jan 2026 00:00:00 +0000");
    mail.m_cSubject = CutlCPLBMString("A test");
    mail.SetMessageID("id@example.com");
    const std::string text = text_of_mail(number);
    void* block = CutlCPLBOSBoundary::MemAllocate(text.size());
    ASSERT_NE(block, nullptr);
    std::memcpy(block, text.data(), text.size());
    long length = static_cast<long>(text.size());
    ASSERT_EQ(mail.SetBuffer(block, length), 1);

    CntsSMTPBoundary session((CntsSMTPSettings(record)));
    ASSERT_EQ(name_of(session.Connect()), "ok");
    EXPECT_EQ(name_of(session.SendHeader(mail)), "ok");
    EXPECT_EQ(name_of(session.SendBody(mail)), "ok");
    EXPECT_EQ(name_of(session.Close(mail)), "ok");
}

std::unique_ptr<LoopbackPop3> mailbox_of(unsigned number)
{
    Pop3Options options;
    options.users[user_of(number)] = kPassword;
    options.maildrop = std::make_shared<Maildrop>();
    options.maildrop->add("Subject: " + user_of(number) + "\r\n\r\n" + text_of_mail(number));
    return std::make_unique<LoopbackPop3>(options);
}

// Its one mail is its user's.
void look_into_mailbox(std::uint16_t port, unsigned number)
{
    SPOP3Setting record;
    record.c_server = CutlCPLBMString("127.0.0.1");
    record.n_port = port;
    record.c_user_id = CutlCPLBMString(user_of(number).c_str());
    record.c_passwd = CutlCPLBMString(kPassword);
    CntsPOP3Boundary session((CntsPOP3Settings(record)));
    ASSERT_EQ(name_of(session.Connect()), "ok");
    int count = -1;
    EXPECT_EQ(name_of(session.Stat(count)), "ok");
    EXPECT_EQ(count, 1);
    CntsPOP3MailInfoList list(1);
    CntsPOP3MailInfo info;
    EXPECT_EQ(name_of(session.ListNext(list, info)), "ok");
    CntsPOP3ReceiveMail mail(info);
    EXPECT_EQ(name_of(session.ReceiveHeader(mail, 1)), "ok");
    EXPECT_STREQ(mail.m_cSubject.GetString(), user_of(number).c_str());
    EXPECT_EQ(name_of(session.ReceiveBody(mail)), "ok");
    const CntsPOP3ReceiveMailPart& piece = *mail.GetPart();
    EXPECT_EQ(
        std::string(static_cast<const char*>(piece.m_pBuffer), static_cast<std::size_t>(piece.m_nLength)),
        text_of_mail(number));
    EXPECT_EQ(name_of(session.Close()), "ok");
}

TEST(ManySessionsOfTheService, SendAndReceiveAtOnce)
{
    MailServiceOptions options = quick_options();
    options.max_sessions = 2 * kManyThreads;
    options.max_sessions_per_user = 2 * kManyThreads;
    const EmbeddedMailService service(options);
    ASSERT_TRUE(service.running()) << service.error();
    const LoopbackSmtp smtp;
    std::vector<std::unique_ptr<LoopbackPop3>> mailboxes;
    for (unsigned number = 0; number < kManyThreads; ++number)
        mailboxes.push_back(mailbox_of(number));

    std::vector<std::thread> threads;
    for (unsigned number = 0; number < kManyThreads; ++number) {
        threads.emplace_back([&smtp, &mailboxes, number] {
            send_one(smtp.port(), number);
            look_into_mailbox(mailboxes[number]->port(), number);
        });
    }
    for (std::thread& thread : threads)
        thread.join();

    ASSERT_EQ(smtp.mails().size(), kManyThreads);
    for (unsigned number = 0; number < kManyThreads; ++number) {
        const std::vector<LoopbackMail> mails = smtp.mails();
        const auto mine = std::find_if(mails.begin(), mails.end(), [number](const LoopbackMail& mail) {
            return mail.recipients == std::vector<std::string>{address_of(number)};
        });
        ASSERT_NE(mine, mails.end()) << address_of(number);
        const std::string octets = mine->octets();
        EXPECT_EQ(octets.substr(octets.find("\r\n\r\n") + 4), text_of_mail(number));
    }
}

}  // namespace
}  // namespace velorin_test
