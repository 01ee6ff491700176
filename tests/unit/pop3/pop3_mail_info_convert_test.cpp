// Entries and lists on the wire, both ways.
#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ntc_email_esu_pop3_helper.h"
#include "platform_double.h"
#include "pop3_list_support.h"
#include "wire_octets.h"

using testing::ElementsAre;
using testing::IsEmpty;
using velorin::CntsPOP3MailInfo;
using velorin::CntsPOP3MailInfoList;
using velorin::ntc_email_esu_pop3_helper;
using velorin_test::Call;
using velorin_test::CountedInfo;
using velorin_test::delimited;
using velorin_test::entries;
using velorin_test::hex_of;
using velorin_test::info;
using velorin_test::list_line;
using velorin_test::octets_of;
using velorin_test::PlatformDouble;
using velorin_test::text_of_entry;

namespace {

using InfoMessage = velorin::ntc_email_esu_pop3_mail_info;
using ListMessage = velorin::ntc_email_esu_pop3_mail_info_list;

constexpr std::uint32_t kFailed = 0x21077103;
constexpr const char* kAddFailed =
    "ntc_email_esu_pop3_helper::convert_pop3_mail_info_list():AddMailInfo() returns NG\n";

std::string wire_of(const CntsPOP3MailInfo& info)
{
    InfoMessage message;
    EXPECT_EQ(ntc_email_esu_pop3_helper::convert_pop3_mail_info(info, message), 0u);
    return hex_of(message.SerializeAsString());
}

std::string wire_of(const CntsPOP3MailInfoList& list)
{
    ListMessage message;
    EXPECT_EQ(ntc_email_esu_pop3_helper::convert_pop3_mail_info_list(list, message), 0u);
    return hex_of(message.SerializeAsString());
}

void read_wire(const std::string& octets, CntsPOP3MailInfo& info)
{
    InfoMessage message;
    ASSERT_TRUE(message.ParseFromString(octets));
    EXPECT_EQ(ntc_email_esu_pop3_helper::convert_pop3_mail_info(message, info), 0u);
}

std::uint32_t read_wire(const std::string& octets, CntsPOP3MailInfoList& list)
{
    ListMessage message;
    EXPECT_TRUE(message.ParseFromString(octets));
    return ntc_email_esu_pop3_helper::convert_pop3_mail_info_list(message, list);
}

// An element of a list: id, unique id "u", size 5, status.
std::string element(int id, int status)
{
    return delimited("0A", octets_of("08") + velorin_test::varint_of_int32(id) +
                               octets_of("12 01 75 18 05 20") + velorin_test::varint_of_int32(status));
}

class MailInfoListConvert : public testing::Test {
protected:
    MailInfoListConvert() { CountedInfo::live = 0; }

    PlatformDouble platform;
    std::unique_ptr<CntsPOP3MailInfoList> list = std::make_unique<CntsPOP3MailInfoList>(3);
};

}  // namespace

TEST(MailInfoConvert, SendsEveryField)
{
    PlatformDouble platform;
    EXPECT_EQ(wire_of(CntsPOP3MailInfo()), "08 00 12 00 18 00 20 00");
    EXPECT_EQ(wire_of(CntsPOP3MailInfo(300, "uid", 70000, 2)), "08 AC 02 12 03 75 69 64 18 F0 A2 04 20 02");
    EXPECT_EQ(wire_of(CntsPOP3MailInfo(-1, "\xFF", 2147483647, -1)),
              "08 FF FF FF FF FF FF FF FF FF 01 12 01 FF 18 FF FF FF FF 07 20 FF FF FF FF FF FF FF FF FF 01");
}

TEST(MailInfoConvert, ASizeIsUnsignedOnTheWireAndSignedInTheEntry)
{
    PlatformDouble platform;
    EXPECT_EQ(wire_of(CntsPOP3MailInfo(0, "", -1, 0)), "08 00 12 00 18 FF FF FF FF 0F 20 00");
    const struct {
        const char* hex;
        long size;
    } cases[] = {
        {"FF FF FF FF 0F", -1},
        {"80 80 80 80 08", -2147483647L - 1},
        {"FF FF FF FF 07", 2147483647},
        {"00", 0},
    };
    for (const auto& one : cases) {
        CntsPOP3MailInfo info;
        read_wire(octets_of(std::string("08 01 12 00 18") + one.hex + "20 01"), info);
        EXPECT_EQ(info.m_nSize, one.size) << one.hex;
        EXPECT_EQ(wire_of(info), hex_of(octets_of(std::string("08 01 12 00 18") + one.hex + "20 01")));
    }
}

TEST(MailInfoConvert, AUniqueIdThatIsNullIsAbsent)
{
    PlatformDouble platform;
    CntsPOP3MailInfo info(1, "x", 2, 1);
    info.m_cUniqId.CopyString(nullptr, -1);
    EXPECT_EQ(wire_of(info), "08 01 18 02 20 01");
}

TEST(MailInfoConvert, ReadsAllFourFieldsOrNone)
{
    PlatformDouble platform;
    const char* const fields[] = {"08 07", "12 01 6E", "18 08", "20 02"};
    for (unsigned present = 0; present < 16; ++present) {
        SCOPED_TRACE(present);
        std::string octets;
        for (unsigned field = 0; field < 4; ++field)
            if ((present & (1u << field)) != 0) octets += octets_of(fields[field]);
        CntsPOP3MailInfo info(1, "old", 2, 3);
        read_wire(octets, info);
        EXPECT_EQ(text_of_entry(&info), present == 15 ? "7:n:8:2" : "1:old:2:3");
    }
}

TEST_F(MailInfoListConvert, SendsItsEntriesInOrderAndItsMaximum)
{
    EXPECT_EQ(wire_of(*list), "10 03");
    ASSERT_EQ(list->AddMailInfo(info(2, "b", 1, 5), 1), 1);
    ASSERT_EQ(list->AddMailInfo(info(1, "a", 0, 6), 1), 1);
    EXPECT_EQ(wire_of(*list), "0A 09 08 02 12 01 62 18 05 20 01 0A 09 08 01 12 01 61 18 06 20 00 10 03");
    list->m_nMaxListSize = -1;
    EXPECT_EQ(wire_of(*list), "0A 09 08 02 12 01 62 18 05 20 01 0A 09 08 01 12 01 61 18 06 20 00 10 "
                              "FF FF FF FF FF FF FF FF FF 01");
    EXPECT_THAT(entries(*list), ElementsAre("2:b:5:1", "1:a:6:0")) << "the list keeps them";
}

TEST_F(MailInfoListConvert, SendsNothingForANullSlot)
{
    ASSERT_NE(list->m_cList.Add(0, nullptr), 0);
    ASSERT_EQ(list->AddMailInfo(info(2, "b", 1, 5), 1), 1);
    EXPECT_EQ(wire_of(*list), "0A 09 08 02 12 01 62 18 05 20 01 10 03");
    list->m_cList.Remove(0);
}

TEST_F(MailInfoListConvert, WhatTheMessageHeldIsReplaced)
{
    ASSERT_EQ(list->AddMailInfo(info(2, "b", 1, 5), 1), 1);
    ListMessage message;
    message.add_c_list()->set_n_id(9);
    message.add_c_list();
    message.set_n_max_list_size(77);
    EXPECT_EQ(ntc_email_esu_pop3_helper::convert_pop3_mail_info_list(*list, message), 0u);
    EXPECT_EQ(hex_of(message.SerializeAsString()), "0A 09 08 02 12 01 62 18 05 20 01 10 03");
}

TEST_F(MailInfoListConvert, AReceivedListReplacesTheCallers)
{
    for (int id = 1; id <= 3; ++id)
        ASSERT_EQ(list->AddMailInfo(info(id, "old"), 1), 1);
    EXPECT_EQ(read_wire(element(9, 0) + element(-4, 2) + element(9, 33) + octets_of("10 04"), *list), 0u);
    EXPECT_THAT(entries(*list), ElementsAre("9:u:5:0", "-4:u:5:2", "9:u:5:33"));
    EXPECT_EQ(list->m_nMaxListSize, 4);
    EXPECT_EQ(CountedInfo::live, 0) << "the old entries are destroyed";
}

TEST_F(MailInfoListConvert, AnAbsentMaximumIsKept)
{
    EXPECT_EQ(read_wire(element(1, 1), *list), 0u);
    EXPECT_EQ(list->m_nMaxListSize, 3);
    EXPECT_THAT(entries(*list), ElementsAre("1:u:5:1"));
}

TEST_F(MailInfoListConvert, AnEmptyMessageEmptiesTheList)
{
    ASSERT_EQ(list->AddMailInfo(info(1, "old"), 1), 1);
    EXPECT_EQ(read_wire("", *list), 0u);
    EXPECT_THAT(entries(*list), IsEmpty());
    EXPECT_EQ(list->m_nMaxListSize, 3);
    EXPECT_EQ(CountedInfo::live, 0);
}

TEST_F(MailInfoListConvert, AnElementThatLacksAFieldBecomesADefaultEntry)
{
    EXPECT_EQ(
        read_wire(delimited("0A", octets_of("08 07 12 01 75 18 05")) + delimited("0A", "") + element(1, 1),
                  *list),
        0u);
    EXPECT_THAT(entries(*list), ElementsAre("0::0:0", "0::0:0", "1:u:5:1"));
}

TEST_F(MailInfoListConvert, OnlyWhatFitsIsKept)
{
    ASSERT_EQ(list->AddMailInfo(info(8, "old"), 1), 1);
    platform.expect_trace(list_line("AddMailInfo() no room."));
    platform.expect_trace(kAddFailed);
    EXPECT_EQ(read_wire(element(1, 1) + element(2, 1) + element(3, 1) + element(4, 1) + element(5, 1), *list),
              kFailed)
        << "by the caller's maximum";
    EXPECT_THAT(entries(*list), ElementsAre("1:u:5:1", "2:u:5:1", "3:u:5:1"));
    platform.expect_trace(list_line("AddMailInfo() no room."));
    platform.expect_trace(kAddFailed);
    EXPECT_EQ(read_wire(element(6, 1) + element(7, 1) + octets_of("10 01"), *list), kFailed) << "by its own";
    EXPECT_THAT(entries(*list), ElementsAre("6:u:5:1"));
    EXPECT_EQ(list->m_nMaxListSize, 1);
    EXPECT_EQ(CountedInfo::live, 0);
}

TEST_F(MailInfoListConvert, AnEntryThatTheVectorRefusesEndsTheReading)
{
    platform.fail_call(Call::vector_add, 2);
    platform.expect_trace(list_line("AddMailInfo() cannot add info."));
    platform.expect_trace(kAddFailed);
    EXPECT_EQ(read_wire(element(1, 1) + element(2, 1) + element(3, 1), *list), kFailed);
    EXPECT_THAT(entries(*list), ElementsAre("1:u:5:1"));
}

TEST_F(MailInfoListConvert, AnEntryThatTheVectorKeepsStaysOwned)
{
    ASSERT_EQ(list->AddMailInfo(info(8, "old"), 1), 1);
    platform.fail_call(Call::vector_remove, 1);
    platform.expect_trace(list_line("ClearList() cannnot remove info."));
    EXPECT_EQ(read_wire(element(1, 1), *list), 0u) << "the reading goes on";
    EXPECT_EQ(CountedInfo::live, 1);
    EXPECT_THAT(entries(*list), ElementsAre("0:old:0:1", "1:u:5:1"));
    list.reset();
    EXPECT_EQ(CountedInfo::live, 0);
}

TEST_F(MailInfoListConvert, ANullSlotStopsTheClearingNotTheReading)
{
    ASSERT_EQ(list->AddMailInfo(info(8, "old"), 1), 1);
    ASSERT_NE(list->m_cList.Add(1, nullptr), 0);
    platform.expect_trace(list_line("ClearId() strange list."));
    platform.expect_trace(list_line("ClearId() strange list."));  // of ClearList
    EXPECT_EQ(read_wire(element(1, 1), *list), 0u);
    EXPECT_THAT(entries(*list), ElementsAre("null", "1:u:5:1"));
    EXPECT_EQ(CountedInfo::live, 0);
    list->m_cList.Remove(0);
}

TEST_F(MailInfoListConvert, GoesThereAndBack)
{
    velorin_test::PseudoRandom random(7);
    for (int turn = 0; turn < 300; ++turn) {
        CntsPOP3MailInfoList sent(static_cast<int>(random.below(20)));
        const int count = sent.m_nMaxListSize;
        for (int index = 0; index < count; ++index) {
            const std::string uid = random.text("abcXYZ0189!~", random.below(71));
            ASSERT_EQ(sent.AddMailInfo(info(static_cast<int>(random.next()), uid.c_str(),
                                            static_cast<int>(random.next()), static_cast<int>(random.next())),
                                       1),
                      1);
        }
        ListMessage message;
        ASSERT_EQ(ntc_email_esu_pop3_helper::convert_pop3_mail_info_list(sent, message), 0u);
        ASSERT_EQ(read_wire(message.SerializeAsString(), *list), 0u);
        ASSERT_EQ(entries(*list), entries(sent));
        ASSERT_EQ(list->m_nMaxListSize, sent.m_nMaxListSize);
    }
}
