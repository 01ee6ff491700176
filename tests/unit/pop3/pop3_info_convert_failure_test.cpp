// The converter of an entry never fails by itself. This program has its own in its place, so that the nth
// does.
#include <cstdint>
#include <functional>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ntc_email_esu_pop3_helper.h"
#include "ntc_email_esu_pop3_main_communicator.h"
#include "platform_double.h"
#include "pop3_list_support.h"
#include "pop3_service.h"

namespace {

int calls_until_failure = 0;  // 1: the next; 0: none

std::uint32_t next_result()
{
    return calls_until_failure > 0 && --calls_until_failure == 0 ? velorin_test::kCallFailed : 0;
}

}  // namespace

namespace velorin {

std::uint32_t ntc_email_esu_pop3_helper::convert_pop3_mail_info(const CntsPOP3MailInfo&,
                                                                ntc_email_esu_pop3_mail_info&)
{
    return next_result();
}

std::uint32_t ntc_email_esu_pop3_helper::convert_pop3_mail_info(const ntc_email_esu_pop3_mail_info& message,
                                                                CntsPOP3MailInfo& info)
{
    info.m_nId = message.n_id();
    return next_result();
}

}  // namespace velorin

using testing::IsEmpty;
using velorin::CntsPOP3MailInfo;
using velorin::CntsPOP3MailInfoList;
using velorin::CntsPOP3ReceiveMail;
using velorin::ntc_email_esu_pop3_helper;
using velorin_test::answer_of;
using velorin_test::communicator_line;
using velorin_test::CountedInfo;
using velorin_test::helper_line;
using velorin_test::info;
using velorin_test::kCallFailed;
using velorin_test::octets_of;
using velorin_test::PlatformDouble;

namespace {

using Communicator = velorin::ntc_email_esu_pop3_main_communicator;

const std::string kOfList = helper_line("convert_pop3_mail_info_list", "convert_pop3_mail_info()");
const std::string kOfMail = helper_line("convert_pop3_receive_mail", "convert_pop3_mail_info()");

class Pop3InfoConvertFailure : public testing::Test {
protected:
    Pop3InfoConvertFailure()
    {
        calls_until_failure = 0;
        CountedInfo::live = 0;
        for (int id = 1; id <= 3; ++id)
            EXPECT_EQ(list.AddMailInfo(info(id, "u"), 0), 1);
    }

    PlatformDouble platform;
    CntsPOP3MailInfoList list{3};
    CntsPOP3MailInfo next{7, "n", 8, 9};
    CntsPOP3ReceiveMail mail{next};
    Communicator communicator;
};

}  // namespace

TEST_F(Pop3InfoConvertFailure, OfAnyEntryEmptiesTheMessage)
{
    for (int nth = 1; nth <= 4; ++nth) {
        SCOPED_TRACE(nth);
        velorin::ntc_email_esu_pop3_mail_info_list message;
        if (nth <= 3) platform.expect_trace(kOfList);
        calls_until_failure = nth;
        EXPECT_EQ(ntc_email_esu_pop3_helper::convert_pop3_mail_info_list(list, message),
                  nth <= 3 ? kCallFailed : 0u);
        EXPECT_EQ(message.c_list_size(), nth <= 3 ? 0 : 3);
        EXPECT_TRUE(platform.verify());
        EXPECT_EQ(CountedInfo::live, 3);
    }
}

TEST_F(Pop3InfoConvertFailure, OfTheListSendsNothing)
{
    const struct {
        const char* name;
        std::function<std::uint32_t()> call;
    } calls[] = {
        {"call_list", [this] { return communicator.call_list(list, 0); }},
        {"call_list_next", [this] { return communicator.call_list_next(list, next); }},
        {"call_delete_by_uid", [this] { return communicator.call_delete_by_uid(list, mail); }},
    };
    for (const auto& one : calls) {
        SCOPED_TRACE(one.name);
        platform.expect_trace(kOfList);
        platform.expect_trace(
            communicator_line(one.name, "convert_pop3_mail_info_list() returns 0x21077103"));
        calls_until_failure = 2;
        EXPECT_EQ(one.call(), kCallFailed);
        EXPECT_TRUE(platform.verify());
    }
    EXPECT_THAT(platform.calls(), IsEmpty());
}

TEST_F(Pop3InfoConvertFailure, OfTheEntryOfListNextSendsNothing)
{
    platform.expect_trace(communicator_line("call_list_next", "convert_pop3_mail_info() returns 0x21077103"));
    calls_until_failure = 4;  // behind those of the list
    EXPECT_EQ(communicator.call_list_next(list, next), kCallFailed);
    EXPECT_THAT(platform.calls(), IsEmpty());
}

TEST_F(Pop3InfoConvertFailure, OfTheAnswersEntryFailsListNextBehindItsList)
{
    platform.answer(answer_of(velorin_test::kListNext, "18", 0, octets_of("0A 04 0A 02 08 05 12 02 08 06")));
    platform.expect_trace(communicator_line("call_list_next", "convert_pop3_mail_info() returns 0x21077103"));
    calls_until_failure = 6;  // three of the list, the entry, then the list of the answer
    EXPECT_EQ(communicator.call_list_next(list, next), kCallFailed);
    ASSERT_EQ(list.m_cList.GetCount(), 1);
    EXPECT_EQ(velorin_test::entry(list, 0)->m_nId, 5) << "the list is the answer's by then";
}

TEST_F(Pop3InfoConvertFailure, OfItsEntryEndsTheMail)
{
    velorin::ntc_email_esu_pop3_receive_mail message;
    platform.expect_trace(kOfMail);
    calls_until_failure = 1;
    EXPECT_EQ(ntc_email_esu_pop3_helper::convert_pop3_receive_mail(mail, message), kCallFailed);
    EXPECT_TRUE(message.has_is_has_next());
    EXPECT_FALSE(message.has_is_boundary_detected());
    EXPECT_TRUE(platform.verify());
    platform.expect_trace(kOfMail);
    platform.expect_trace(
        communicator_line("call_receive_body", "convert_pop3_receive_mail() returns 0x21077103"));
    calls_until_failure = 1;
    EXPECT_EQ(communicator.call_receive_body(mail), kCallFailed);
    EXPECT_THAT(platform.calls(), IsEmpty());
}
