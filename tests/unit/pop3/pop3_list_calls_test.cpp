// The operations on the list of mails: it travels whole, and the answer replaces it.
#include <cstdint>
#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "pop3_list_support.h"
#include "pop3_service.h"

using testing::ElementsAre;
using testing::IsEmpty;
using velorin::CntsPOP3MailInfo;
using velorin::CntsPOP3MailInfoList;
using velorin::CntsPOP3ReceiveMail;
using velorin_test::answer_of;
using velorin_test::Call;
using velorin_test::communicator_line;
using velorin_test::CountedInfo;
using velorin_test::delimited;
using velorin_test::entries;
using velorin_test::fail_exchange;
using velorin_test::helper_line;
using velorin_test::hex_of;
using velorin_test::info;
using velorin_test::kCallFailed;
using velorin_test::kDeleteByUid;
using velorin_test::kList;
using velorin_test::kListNext;
using velorin_test::list_line;
using velorin_test::octets_of;
using velorin_test::Pop3Method;
using velorin_test::request_of;
using velorin_test::text_of_entry;

namespace {

// The list of every test here, and the one that answers bring.
const std::string kSentList =
    octets_of("0A 09 08 02 12 01 62 18 05 20 01 0A 09 08 01 12 01 61 18 06 20 02 10 0A");
const std::string kReceivedList =
    octets_of("0A 09 08 07 12 01 78 18 08 20 09 0A 09 08 03 12 01 79 18 04 20 00 10 05");

class Pop3SessionLists : public velorin_test::Pop3Session {
protected:
    Pop3SessionLists()
    {
        CountedInfo::live = 0;
        EXPECT_EQ(list.AddMailInfo(info(2, "b", 1, 5), 0), 1);
        EXPECT_EQ(list.AddMailInfo(info(1, "a", 2, 6), 1), 1);
    }
    void expect_unchanged() const
    {
        EXPECT_THAT(entries(list), ElementsAre("2:b:5:1", "1:a:6:2"));
        EXPECT_EQ(list.m_nMaxListSize, 10);
        EXPECT_EQ(text_of_entry(&next), "4:n:5:6");
    }
    void expect_received() const
    {
        EXPECT_THAT(entries(list), ElementsAre("7:x:8:9", "3:y:4:0"));
        EXPECT_EQ(list.m_nMaxListSize, 5);
        EXPECT_EQ(CountedInfo::live, 0) << "the old entries are destroyed";
    }

    CntsPOP3MailInfoList list{10};
    CntsPOP3MailInfo next{4, "n", 5, 6};
    CntsPOP3ReceiveMail mail{next};

public:
    struct Operation {
        const char* name;
        const char* call_name;
        Pop3Method method;
        const char* code_tag;
        const char* info_in_request;
        std::uint32_t (Pop3SessionLists::*call)();
    };
    std::uint32_t do_list() { return session->List(list, 0); }
    std::uint32_t do_list_next() { return session->ListNext(list, next); }
    std::uint32_t do_delete() { return session->DeleteByUID(list, mail); }
};

const Pop3SessionLists::Operation kOperations[] = {
    {"List", "call_list", kList, "10", "", &Pop3SessionLists::do_list},
    {"ListNext", "call_list_next", kListNext, "18", "1A 09 08 04 12 01 6E 18 05 20 06",
     &Pop3SessionLists::do_list_next},
    {"DeleteByUID", "call_delete_by_uid", kDeleteByUid, "10", "", &Pop3SessionLists::do_delete},
};

}  // namespace

TEST_F(Pop3SessionLists, TheWholeListIsSent)
{
    for (const Operation& operation : kOperations) {
        SCOPED_TRACE(operation.name);
        platform.answer(answer_of(operation.method, operation.code_tag, 0, delimited("0A", kSentList)));
        EXPECT_EQ((this->*operation.call)(), 0u);
        EXPECT_EQ(hex_of(last_request()),
                  hex_of(request_of(operation.method, number,
                                    delimited("12", kSentList) + octets_of(operation.info_in_request))));
    }
}

TEST_F(Pop3SessionLists, TheNumberOfListNeverTravels)
{
    for (const int retry : {0, 1, 5, -1}) {
        platform.answer(answer_of(kList, "10", 0, delimited("0A", kSentList)));
        EXPECT_EQ(session->List(list, retry), 0u);
        EXPECT_EQ(hex_of(last_request()), hex_of(request_of(kList, number, delimited("12", kSentList))))
            << retry;
    }
}

TEST_F(Pop3SessionLists, TheMailOfDeleteByUidNeverTravelsNorChanges)
{
    mail.m_cSubject.CopyString("subject", -1);
    platform.answer(
        octets_of("08 11") +
        delimited(kDeleteByUid.response,
                  delimited("0A", kSentList) + octets_of("10 00 1A 03 3A 01 73")));  // a mail as field 3
    EXPECT_EQ(session->DeleteByUID(list, mail), 0u);
    EXPECT_EQ(hex_of(last_request()), hex_of(request_of(kDeleteByUid, number, delimited("12", kSentList))));
    EXPECT_STREQ(mail.m_cSubject.GetString(), "subject");
}

TEST_F(Pop3SessionLists, TheAnswerReplacesTheListWhateverTheCode)
{
    for (const Operation& operation : kOperations) {
        for (const std::uint32_t code : velorin_test::kRetcodes) {
            SCOPED_TRACE(std::string(operation.name) + " " + std::to_string(code));
            platform.answer(
                answer_of(operation.method, operation.code_tag, code, delimited("0A", kReceivedList)));
            EXPECT_EQ((this->*operation.call)(), code);
            expect_received();
        }
    }
}

TEST_F(Pop3SessionLists, AnAnswerWithoutAListEmptiesIt)
{
    for (const Operation& operation : kOperations) {
        SCOPED_TRACE(operation.name);
        ASSERT_EQ(list.AddMailInfo(info(9, "z"), 0), 1);
        platform.answer("");
        EXPECT_EQ((this->*operation.call)(), 0u);
        EXPECT_THAT(entries(list), IsEmpty());
        EXPECT_EQ(list.m_nMaxListSize, 10);
        EXPECT_EQ(text_of_entry(&next), "4:n:5:6") << "an entry that lacks a field is not read";
    }
    EXPECT_EQ(CountedInfo::live, 0);
}

TEST_F(Pop3SessionLists, TheNextMailComesWithTheList)
{
    platform.answer(answer_of(
        kListNext, "18", 3, delimited("0A", kReceivedList) + octets_of("12 09 08 07 12 01 78 18 08 20 01")));
    EXPECT_EQ(session->ListNext(list, next), 3u);
    expect_received();
    EXPECT_EQ(text_of_entry(&next), "7:x:8:1");
}

TEST_F(Pop3SessionLists, ANextMailThatLacksAFieldIsNotRead)
{
    platform.answer(answer_of(kListNext, "18", 0,
                              delimited("0A", kReceivedList) + octets_of("12 07 08 07 12 01 78 18 08")));
    EXPECT_EQ(session->ListNext(list, next), 0u);
    expect_received();
    EXPECT_EQ(text_of_entry(&next), "4:n:5:6");
}

// The list that comes destroys the entry before the next mail is read.
TEST_F(Pop3SessionLists, ANextMailReadIntoAnEntryOfTheListGoesWithIt)
{
    platform.answer(answer_of(
        kListNext, "18", 3, delimited("0A", kReceivedList) + octets_of("12 09 08 07 12 01 78 18 08 20 01")));
    EXPECT_EQ(session->ListNext(list, *velorin_test::entry(list, 1)), 3u);
    EXPECT_EQ(hex_of(last_request()),
              hex_of(request_of(kListNext, number,
                                delimited("12", kSentList) + octets_of("1A 09 08 01 12 01 61 18 06 20 02"))));
    expect_received();
}

TEST_F(Pop3SessionLists, AFailedExchangeChangesNothing)
{
    for (const Operation& operation : kOperations) {
        SCOPED_TRACE(operation.name);
        fail_exchange(platform, operation.call_name);
        EXPECT_EQ((this->*operation.call)(), kCallFailed);
        EXPECT_TRUE(platform.verify());
        expect_unchanged();
    }
}

TEST_F(Pop3SessionLists, AListThatDoesNotFitFailsWithWhatFitted)
{
    for (const Operation& operation : kOperations) {
        SCOPED_TRACE(operation.name);
        constexpr std::uint32_t kUnseen = 5;  // the service's own code gives way
        const std::string too_many =
            octets_of("0A 09 08 07 12 01 78 18 08 20 09 0A 09 08 03 12 01 79 18 04 20 00 "
                      "10 01");
        const std::string with_info = operation.method.type == kListNext.type
                                          ? octets_of("12 09 08 07 12 01 78 18 08 20 01")
                                          : std::string();
        platform.answer(
            answer_of(operation.method, operation.code_tag, kUnseen, delimited("0A", too_many) + with_info));
        platform.expect_trace(list_line("AddMailInfo() no room."));
        platform.expect_trace(helper_line("convert_pop3_mail_info_list", "AddMailInfo()"));
        platform.expect_trace(
            communicator_line(operation.call_name, "convert_pop3_mail_info_list() returns 0x21077103"));
        EXPECT_EQ((this->*operation.call)(), kCallFailed);
        EXPECT_TRUE(platform.verify());
        EXPECT_THAT(entries(list), ElementsAre("7:x:8:9"));
        EXPECT_EQ(list.m_nMaxListSize, 1);
        EXPECT_EQ(text_of_entry(&next), "4:n:5:6") << "read only after the list";
    }
}

TEST_F(Pop3SessionLists, AVectorThatRefusesAnEntryFailsTheCall)
{
    platform.answer(answer_of(kList, "10", 0, delimited("0A", kReceivedList)));
    platform.fail_call(Call::vector_add, 1);
    platform.expect_trace(list_line("AddMailInfo() cannot add info."));
    platform.expect_trace(helper_line("convert_pop3_mail_info_list", "AddMailInfo()"));
    platform.expect_trace(communicator_line("call_list", "convert_pop3_mail_info_list() returns 0x21077103"));
    EXPECT_EQ(session->List(list, 0), kCallFailed);
    EXPECT_THAT(entries(list), IsEmpty());
}

TEST_F(Pop3SessionLists, ALongListTravelsBothWays)
{
    CntsPOP3MailInfoList many(300);
    std::string octets;
    for (int id = 1; id <= 300; ++id) {
        ASSERT_EQ(many.AddMailInfo(info(id, "uid"), 0), 1);
        octets += delimited("0A", octets_of("08") + velorin_test::varint_of_int32(id) +
                                      octets_of("12 03 75 69 64 18 00 20 01"));
    }
    octets += octets_of("10 AC 02");
    platform.answer(answer_of(kList, "10", 0, delimited("0A", octets)));
    EXPECT_EQ(session->List(many, 0), 0u);
    EXPECT_TRUE(last_request() == request_of(kList, number, delimited("12", octets)));
    EXPECT_EQ(many.m_cList.GetCount(), 300);
    EXPECT_EQ(many.GetNextId(), 301);
}
