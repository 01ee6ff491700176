// The received mail on the wire, both ways.
#include <cstddef>
#include <iterator>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ntc_email_esu_pop3_helper.h"
#include "operator_new.h"
#include "platform_double.h"
#include "pop3_mail_support.h"

using velorin::CntsMLUTLMailAddress;
using velorin::CntsPOP3MailInfo;
using velorin::CntsPOP3ReceiveMail;
using velorin::CntsPOP3ReceiveMailPart;
using velorin::ntc_email_esu_pop3_helper;
using velorin_test::delimited;
using velorin_test::empty_mail;
using velorin_test::fill;
using velorin_test::filled_mail;
using velorin_test::hex_of;
using velorin_test::kEmptyPart;
using velorin_test::live_news;
using velorin_test::octets_of;
using velorin_test::PlatformDouble;
using velorin_test::queue;
using velorin_test::queued;
using velorin_test::text_of;
using velorin_test::watch_news;

namespace {

using Message = velorin::ntc_email_esu_pop3_receive_mail;
using PartMessage = velorin::ntc_email_esu_pop3_receive_mail_part;

std::string octets_of_mail(const CntsPOP3ReceiveMail& mail)
{
    Message message;
    EXPECT_EQ(ntc_email_esu_pop3_helper::convert_pop3_receive_mail(mail, message), 0u);
    return message.SerializeAsString();
}

void read_mail(const std::string& octets, CntsPOP3ReceiveMail& mail)
{
    Message message;
    ASSERT_TRUE(message.ParseFromString(octets));
    EXPECT_EQ(ntc_email_esu_pop3_helper::convert_pop3_receive_mail(message, mail), 0u);
}

class ReceiveMailConvert : public testing::Test {
protected:
    PlatformDouble platform;
    CntsPOP3ReceiveMail mail{CntsPOP3MailInfo(300, "uid", 70000, 1)};
};

const struct {
    const char* tag;
    CntsMLUTLMailAddress CntsPOP3ReceiveMail::*member;
} kAddresses[] = {
    {"12", &CntsPOP3ReceiveMail::m_cTo},      {"1A", &CntsPOP3ReceiveMail::m_cFrom},
    {"22", &CntsPOP3ReceiveMail::m_cCc},      {"2A", &CntsPOP3ReceiveMail::m_cNotificationTo},
    {"32", &CntsPOP3ReceiveMail::m_cReplyTo}, {"6A", &CntsPOP3ReceiveMail::m_cReturnPath},
};

const struct {
    const char* tag;
    CutlCPLBMString CntsPOP3ReceiveMail::*member;
} kTexts[] = {
    {"3A", &CntsPOP3ReceiveMail::m_cSubject},    {"42", &CntsPOP3ReceiveMail::m_cDate},
    {"4A", &CntsPOP3ReceiveMail::m_cMessageID},  {"5A", &CntsPOP3ReceiveMail::m_cInReplyTo},
    {"62", &CntsPOP3ReceiveMail::m_cReferences},
};

// The fields that every mail carries, in front of and behind a text or an address.
std::string with_field(const std::string& octets)
{
    return delimited("0A", octets_of(kEmptyPart)) + octets +
           octets_of("70 00 78 01 82 01 08 08 00 12 00 18 00 20 00 90 01 00");
}

}  // namespace

TEST_F(ReceiveMailConvert, ANewMail)
{
    EXPECT_EQ(hex_of(octets_of_mail(CntsPOP3ReceiveMail(CntsPOP3MailInfo()))), hex_of(empty_mail()));
}

TEST_F(ReceiveMailConvert, EveryFieldInOrder)
{
    fill(mail);
    EXPECT_EQ(hex_of(octets_of_mail(mail)), hex_of(filled_mail()));
    EXPECT_EQ(queued(mail), std::string("a\0\xFF", 3)) << "the mail keeps its octets";
    EXPECT_EQ(queued(*mail.GetPart()), "JVBE");
    EXPECT_EQ(mail.IsIgnoreContentCIAJWNETFAX(), 1);
    EXPECT_EQ(text_of(mail.m_cOther), "stays here");
    EXPECT_EQ(mail.m_nPartDepth, 3);
}

TEST_F(ReceiveMailConvert, AddressesAndTextsThatAreNotNull)
{
    for (const char* const text : {"", "ab@cd", " %s%n\xFF "}) {
        for (const auto& one : kAddresses) {
            SCOPED_TRACE(one.tag);
            CntsPOP3ReceiveMail sent{CntsPOP3MailInfo()};
            (sent.*one.member).m_cAddress.CopyString(text, -1);
            EXPECT_EQ(hex_of(octets_of_mail(sent)),
                      hex_of(with_field(delimited(one.tag, delimited("0A", text)))));
            read_mail(delimited(one.tag, delimited("0A", text)), mail);
            EXPECT_EQ(text_of((mail.*one.member).m_cAddress), text);
        }
        for (const auto& one : kTexts) {
            SCOPED_TRACE(one.tag);
            CntsPOP3ReceiveMail sent{CntsPOP3MailInfo()};
            (sent.*one.member).CopyString(text, -1);
            EXPECT_EQ(hex_of(octets_of_mail(sent)), hex_of(with_field(delimited(one.tag, text))));
            read_mail(delimited(one.tag, text), mail);
            EXPECT_EQ(text_of(mail.*one.member), text);
        }
    }
}

TEST_F(ReceiveMailConvert, DepthAndFlagsAlwaysTravel)
{
    CntsPOP3ReceiveMail sent{CntsPOP3MailInfo()};
    sent.m_nPartDepth = -1;
    sent.m_bIsHasNext = 0;
    sent.m_bIsBoundaryDetected = 1;
    EXPECT_EQ(
        hex_of(octets_of_mail(sent)),
        hex_of(
            delimited("0A", octets_of(kEmptyPart)) +
            octets_of("70 FF FF FF FF FF FF FF FF FF 01 78 00 82 01 08 08 00 12 00 18 00 20 00 90 01 01")));
}

TEST_F(ReceiveMailConvert, ANullBoundaryStackIsNoField)
{
    mail.SetBoundaryStringList(nullptr);
    EXPECT_EQ(hex_of(octets_of_mail(mail)),
              hex_of(delimited("0A", octets_of(kEmptyPart)) +
                     octets_of("70 00 78 01 82 01 0E 08 AC 02 12 03 75 69 64 18 F0 A2 04 20 01 90 01 00")));
}

TEST_F(ReceiveMailConvert, AnyNumberButZeroIsAFlagThatIsSet)
{
    for (const int flag : {2, -1, 256}) {
        mail.m_bIsHasNext = flag;
        mail.m_bIsBoundaryDetected = flag;
        Message message;
        EXPECT_EQ(ntc_email_esu_pop3_helper::convert_pop3_receive_mail(mail, message), 0u);
        EXPECT_TRUE(message.is_has_next()) << flag;
        EXPECT_TRUE(message.is_boundary_detected()) << flag;
    }
}

TEST_F(ReceiveMailConvert, BoundariesTravelUpToANullSlotAndNullTextsAsEmpty)
{
    auto* const list = new CutlCPLBMVector;
    ASSERT_NE(list->Add(0, new CutlCPLBMString("a")), 0);
    ASSERT_NE(list->Add(1, new CutlCPLBMString), 0);
    ASSERT_NE(list->Add(2, nullptr), 0);
    CutlCPLBMString behind("behind");
    ASSERT_NE(list->Add(3, &behind), 0);  // not the mail's: its end stops at the null slot too
    mail.SetBoundaryStringList(list);
    Message message;
    EXPECT_EQ(ntc_email_esu_pop3_helper::convert_pop3_receive_mail(mail, message), 0u);
    ASSERT_EQ(message.c_boundary_string_size(), 2);
    EXPECT_EQ(message.c_boundary_string(0), "a");
    EXPECT_EQ(message.c_boundary_string(1), "");
}

TEST_F(ReceiveMailConvert, EveryFieldIsRead)
{
    read_mail(filled_mail(), mail);
    EXPECT_EQ(static_cast<int>(mail.m_eContentType), 1);
    EXPECT_EQ(static_cast<int>(mail.m_eTransferEncoding), 2);
    EXPECT_EQ(static_cast<int>(mail.m_eContentDisposition), 0);
    EXPECT_EQ(static_cast<int>(mail.m_eCharSet), 5);
    EXPECT_EQ(text_of(mail.m_cContentType), "ct");
    EXPECT_EQ(text_of(mail.m_cContentTypeString), "cs");
    EXPECT_EQ(text_of(mail.m_cTransferEncoding), "te");
    EXPECT_EQ(text_of(mail.m_cFIleName), "fn");
    EXPECT_EQ(text_of(mail.m_cExtension), "ex");
    EXPECT_EQ(queued(mail), std::string("a\0\xFF", 3));
    EXPECT_EQ(mail.m_bIsTerminate, 1);
    const char* const addresses[] = {"t@x", "f@x", "c@x", "n@x", "r@x", "p@x"};
    for (std::size_t index = 0; index < std::size(kAddresses); ++index)
        EXPECT_EQ(text_of((mail.*kAddresses[index].member).m_cAddress), addresses[index]);
    const char* const texts[] = {"sub", "dat", "mid", "irt", "ref"};
    for (std::size_t index = 0; index < std::size(kTexts); ++index)
        EXPECT_EQ(text_of(mail.*kTexts[index].member), texts[index]);
    ASSERT_EQ(mail.m_cBoundaryString->GetCount(), 3);
    const char* const stack[] = {"out", "", "in"};
    for (long index = 0; index < 3; ++index)
        EXPECT_EQ(text_of(*static_cast<CutlCPLBMString*>(mail.m_cBoundaryString->GetAt(index))),
                  stack[index]);
    EXPECT_EQ(mail.m_nPartDepth, 3);
    EXPECT_EQ(mail.m_bIsHasNext, 0);
    EXPECT_EQ(mail.m_cMailInfo.m_nId, 300);
    ASSERT_NE(mail.GetPart(), nullptr);
    EXPECT_EQ(static_cast<int>(mail.GetPart()->m_eContentType), 7);
    EXPECT_EQ(text_of(mail.GetPart()->m_cFIleName), "a.pdf");
    EXPECT_EQ(queued(*mail.GetPart()), "JVBE");
    EXPECT_EQ(mail.m_bIsBoundaryDetected, 1);
    EXPECT_EQ(hex_of(octets_of_mail(mail)), hex_of(filled_mail()));
}

TEST_F(ReceiveMailConvert, AbsentFieldsChangeNothing)
{
    fill(mail);
    const CntsPOP3ReceiveMailPart* const part = mail.GetPart();
    const CutlCPLBMVector* const stack = mail.m_cBoundaryString;
    read_mail("", mail);
    EXPECT_EQ(hex_of(octets_of_mail(mail)), hex_of(filled_mail()));
    EXPECT_EQ(mail.GetPart(), part);
    EXPECT_EQ(mail.m_cBoundaryString, stack);
    EXPECT_EQ(mail.IsIgnoreContentCIAJWNETFAX(), 1);
    CntsPOP3ReceiveMail untouched{CntsPOP3MailInfo()};
    read_mail("", untouched);
    EXPECT_EQ(hex_of(octets_of_mail(untouched)), hex_of(empty_mail())) << "null texts stay null";
}

TEST_F(ReceiveMailConvert, EachFieldIsReadByItself)
{
    read_mail(octets_of("78 00"), mail);
    EXPECT_EQ(mail.m_bIsHasNext, 0);
    read_mail(octets_of("78 01"), mail);
    EXPECT_EQ(mail.m_bIsHasNext, 1);
    read_mail(octets_of("90 01 01"), mail);
    EXPECT_EQ(mail.m_bIsBoundaryDetected, 1);
    read_mail(octets_of("90 01 00"), mail);
    EXPECT_EQ(mail.m_bIsBoundaryDetected, 0);
    read_mail(octets_of("70 FF FF FF FF FF FF FF FF FF 01"), mail);
    EXPECT_EQ(mail.m_nPartDepth, -1);
    EXPECT_EQ(mail.m_cMailInfo.m_nId, 300);
}

TEST_F(ReceiveMailConvert, AnAnswerCannotEmptyTheBoundaryStack)
{
    watch_news(sizeof(CutlCPLBMString));
    ASSERT_EQ(mail.UpBoundaryLevel("a"), 1);
    ASSERT_EQ(mail.UpBoundaryLevel("b"), 1);
    read_mail(octets_of("70 00"), mail);
    EXPECT_EQ(mail.m_nPartDepth, 0) << "the depth is copied all the same";
    EXPECT_EQ(mail.m_cBoundaryString->GetCount(), 2);
    read_mail(octets_of("52 01 78 70 01"), mail);
    ASSERT_EQ(mail.m_cBoundaryString->GetCount(), 1);
    EXPECT_EQ(text_of(*mail.GetBoundaryString()), "x");
    EXPECT_EQ(live_news(), 1) << "the old boundaries are destroyed";
}

TEST_F(ReceiveMailConvert, AStackThatTheVectorRefusesLeavesTheOldOne)
{
    ASSERT_EQ(mail.UpBoundaryLevel("a"), 1);
    Message message;
    ASSERT_TRUE(message.ParseFromString(octets_of("3A 01 73 52 01 78 52 01 79 5A 01 74 70 02")));
    for (const int nth : {1, 2}) {
        watch_news(sizeof(CutlCPLBMString));
        platform.fail_call(velorin_test::Call::vector_add, nth);
        EXPECT_EQ(ntc_email_esu_pop3_helper::convert_pop3_receive_mail(message, mail), 0x21077103u);
        EXPECT_EQ(live_news(), 0) << "the new boundaries are destroyed";
        ASSERT_NE(mail.GetBoundaryString(), nullptr);
        EXPECT_EQ(text_of(*mail.GetBoundaryString()), "a");
        EXPECT_EQ(mail.m_nPartDepth, 1) << "nothing behind it is read";
        EXPECT_EQ(text_of(mail.m_cInReplyTo), "(null)");
        EXPECT_EQ(text_of(mail.m_cSubject), "s");
    }
}

TEST_F(ReceiveMailConvert, AStackReplacesOneThatWasNull)
{
    mail.SetBoundaryStringList(nullptr);
    read_mail(octets_of("52 01 78 52 01 79 70 02"), mail);
    ASSERT_NE(mail.GetBoundaryString(), nullptr);
    EXPECT_EQ(text_of(*mail.GetBoundaryString()), "y");
}

TEST_F(ReceiveMailConvert, AnEntryThatLacksAFieldIsReadAsADefaultEntry)
{
    read_mail(octets_of("82 01 07 08 07 12 01 75 18 05"), mail);
    EXPECT_EQ(mail.m_cMailInfo.m_nId, 0);
    EXPECT_EQ(text_of(mail.m_cMailInfo.m_cUniqId), "");
    EXPECT_EQ(mail.m_cMailInfo.m_nSize, 0);
    EXPECT_EQ(mail.m_cMailInfo.m_nStatus, 0);
    read_mail(octets_of("82 01 09 08 07 12 01 75 18 05 20 02"), mail);
    EXPECT_EQ(mail.m_cMailInfo.m_nId, 7);
    EXPECT_EQ(text_of(mail.m_cMailInfo.m_cUniqId), "u");
    EXPECT_EQ(mail.m_cMailInfo.m_nSize, 5);
    EXPECT_EQ(mail.m_cMailInfo.m_nStatus, 2);
}

TEST_F(ReceiveMailConvert, EachPartIsANewOne)
{
    auto* const old = new CntsPOP3ReceiveMailPart;
    queue(*old, "old octets");
    mail.SetPart(old);
    read_mail(delimited("8A 01", delimited("0A", octets_of("52 03 6E 65 77 58 03"))), mail);
    ASSERT_NE(mail.GetPart(), nullptr);
    EXPECT_EQ(queued(*mail.GetPart()), "new") << "not behind the old queue";
    EXPECT_EQ(platform.live_blocks(), 1u);
    read_mail(octets_of("8A 01 00"), mail);  // a part message without its part
    ASSERT_NE(mail.GetPart(), nullptr);
    EXPECT_EQ(queued(*mail.GetPart()), "(null)");
    EXPECT_EQ(static_cast<int>(mail.GetPart()->m_eContentType), 14);
    EXPECT_EQ(platform.live_blocks(), 0u);
}

TEST_F(ReceiveMailConvert, TheMailsOwnOctetsAreQueuedBehindWhatItHolds)
{
    queue(mail, "abc");
    read_mail(delimited("0A", octets_of("52 03 78 00 7A 58 03 60 01")), mail);
    EXPECT_EQ(queued(mail), std::string("abcx\0z", 6));
    EXPECT_EQ(mail.m_bIsTerminate, 1);
    EXPECT_EQ(static_cast<int>(mail.m_eContentType), 14) << "absent: the default stays";
}

TEST_F(ReceiveMailConvert, AnAddressWithoutTextIsReadAsEmpty)
{
    mail.m_cTo.m_cAddress.CopyString("old", -1);
    read_mail(octets_of("12 00"), mail);
    EXPECT_EQ(text_of(mail.m_cTo.m_cAddress), "");
    EXPECT_EQ(text_of(mail.m_cFrom.m_cAddress), "(null)");
}

TEST_F(ReceiveMailConvert, KeepsItsQueuesWhenMemoryRunsOut)
{
    fill(mail);
    bool failed = true;
    int nth = 1;
    for (; failed && nth < 50; ++nth) {
        SCOPED_TRACE(nth);
        const std::size_t blocks = platform.live_blocks();
        const std::size_t before = platform.allocations();
        platform.fail_allocation(nth);
        Message message;
        EXPECT_EQ(ntc_email_esu_pop3_helper::convert_pop3_receive_mail(mail, message), 0u);
        failed = platform.allocations() - before >= static_cast<std::size_t>(nth);
        platform.fail_allocation(0);
        const std::vector<std::string> lines = platform.take_traces();
        if (failed) {
            EXPECT_EQ(lines, std::vector<std::string>{
                                 "<Error> : CntsMLUTLMailPart::CopyPart() failed to allocate memory\n"});
        } else {
            EXPECT_TRUE(lines.empty());
            EXPECT_EQ(hex_of(message.SerializeAsString()), hex_of(filled_mail()));
        }
        EXPECT_EQ(platform.live_blocks(), blocks);
        EXPECT_EQ(queued(mail), std::string("a\0\xFF", 3));
        EXPECT_EQ(queued(*mail.GetPart()), "JVBE");
    }
    EXPECT_GE(nth, 4) << "both queues are copied";
}

TEST_F(ReceiveMailConvert, WithoutMemoryForItsOctetsAPartIsReadWithoutThem)
{
    platform.fail_allocations_from(1);
    Message message;
    ASSERT_TRUE(
        message.ParseFromString(delimited("8A 01", delimited("0A", octets_of("42 01 6E 52 01 78 58 01")))));
    EXPECT_EQ(ntc_email_esu_pop3_helper::convert_pop3_receive_mail(message, mail), 0u);
    EXPECT_TRUE(platform.allocation_failed());
    platform.take_traces();
    ASSERT_NE(mail.GetPart(), nullptr);
    EXPECT_EQ(text_of(mail.GetPart()->m_cFIleName), "n");
    EXPECT_EQ(queued(*mail.GetPart()), "(null)");
}

TEST(ReceiveMailPartConvert, AlwaysSendsItsPart)
{
    PlatformDouble platform;
    CntsPOP3ReceiveMailPart part;
    PartMessage message;
    EXPECT_EQ(ntc_email_esu_pop3_helper::convert_pop3_receive_mail_part(part, message), 0u);
    EXPECT_EQ(hex_of(message.SerializeAsString()), hex_of(delimited("0A", octets_of(kEmptyPart))));
    queue(part, "x");
    PartMessage filled;
    EXPECT_EQ(ntc_email_esu_pop3_helper::convert_pop3_receive_mail_part(part, filled), 0u);
    EXPECT_EQ(hex_of(filled.SerializeAsString()), "0A 0F 08 0E 10 05 18 03 20 0C 52 01 78 58 01 60 00");
}

TEST(ReceiveMailPartConvert, ReadsOnlyAPartThatIsPresent)
{
    PlatformDouble platform;
    CntsPOP3ReceiveMailPart part;
    part.m_cFIleName.CopyString("old", -1);
    PartMessage message;
    EXPECT_EQ(ntc_email_esu_pop3_helper::convert_pop3_receive_mail_part(message, part), 0u);
    EXPECT_EQ(text_of(part.m_cFIleName), "old");
    ASSERT_TRUE(message.ParseFromString(octets_of("0A 05 08 07 42 01 6E")));
    EXPECT_EQ(ntc_email_esu_pop3_helper::convert_pop3_receive_mail_part(message, part), 0u);
    EXPECT_EQ(text_of(part.m_cFIleName), "n");
    EXPECT_EQ(static_cast<int>(part.m_eContentType), 7);
}
