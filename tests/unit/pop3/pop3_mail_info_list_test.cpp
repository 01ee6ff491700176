// The list of the mails of a mailbox.
#include <climits>
#include <memory>
#include <string>
#include <type_traits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform_double.h"
#include "pop3_list_support.h"

using testing::ElementsAre;
using testing::IsEmpty;
using velorin::CntsPOP3MailInfo;
using velorin::CntsPOP3MailInfoList;
using velorin_test::Call;
using velorin_test::CountedInfo;
using velorin_test::entries;
using velorin_test::entry;
using velorin_test::info;
using velorin_test::list_line;
using velorin_test::PlatformDouble;
using velorin_test::text_of_entry;

namespace {

class MailInfoList : public testing::Test {
protected:
    MailInfoList() { CountedInfo::live = 0; }
    ~MailInfoList() override
    {
        list.reset();
        EXPECT_EQ(CountedInfo::live, 0);
    }
    void add(CntsPOP3MailInfo* entry) { ASSERT_EQ(list->AddMailInfo(entry, 1), 1); }
    void add_null_slot() { ASSERT_NE(list->m_cList.Add(list->m_cList.GetCount(), nullptr), 0); }
    // What stands behind a null slot is not destroyed with the list.
    void close_null_slots()
    {
        for (long index = list->m_cList.GetCount() - 1; index >= 0; --index)
            if (list->m_cList.GetAt(index) == nullptr) list->m_cList.Remove(index);
    }

    PlatformDouble platform;
    std::unique_ptr<CntsPOP3MailInfoList> list = std::make_unique<CntsPOP3MailInfoList>(100);
};

}  // namespace

TEST_F(MailInfoList, BeginsEmptyWithItsMaximum)
{
    EXPECT_EQ(list->m_nMaxListSize, 100);
    EXPECT_EQ(list->m_cList.GetCount(), 0);
    EXPECT_EQ(CntsPOP3MailInfoList(-1).m_nMaxListSize, -1);
    EXPECT_TRUE((std::is_base_of<CutlCPLBObject, CntsPOP3MailInfoList>::value));
    EXPECT_TRUE(std::has_virtual_destructor<CntsPOP3MailInfoList>::value);
}

TEST_F(MailInfoList, OwnsItsEntries)
{
    add(info(1, "a"));
    add(info(2, "b"));
    EXPECT_EQ(CountedInfo::live, 2);
    CountedInfo::destroyed.clear();
    list.reset();
    EXPECT_EQ(CountedInfo::live, 0);
    EXPECT_THAT(CountedInfo::destroyed, ElementsAre(1, 2)) << "the first one first";
}

TEST_F(MailInfoList, ItsEndStopsAtTheFirstNullSlot)
{
    add(info(1, "a"));
    add_null_slot();
    CountedInfo* const behind = info(2, "b");
    ASSERT_NE(list->m_cList.Add(2, behind), 0);
    list.reset();
    EXPECT_EQ(CountedInfo::live, 1) << "what stands behind it";
    delete behind;
}

TEST_F(MailInfoList, HasRoomBelowItsMaximum)
{
    for (const int maximum : {-5, 0}) {
        CntsPOP3MailInfoList none(maximum);
        EXPECT_EQ(none.IsHasRoom(), 0) << maximum;
        platform.expect_trace(list_line("AddMailInfo() no room."));
        EXPECT_EQ(none.AddMailInfo(info(1, "a"), 1), 0);
        EXPECT_EQ(CountedInfo::live, 0);
    }
    CntsPOP3MailInfoList two(2);
    EXPECT_EQ(two.IsHasRoom(), 1);
    EXPECT_EQ(two.AddMailInfo(info(1, "a"), 0), 1);
    EXPECT_EQ(two.IsHasRoom(), 1);
    EXPECT_EQ(two.AddMailInfo(info(2, "b"), 0), 1);
    EXPECT_EQ(two.IsHasRoom(), 0);
    platform.expect_trace(list_line("AddMailInfo() no room."));
    EXPECT_EQ(two.AddMailInfo(info(3, "c"), 0), 0);
    EXPECT_THAT(entries(two), ElementsAre("1:a:0:1", "2:b:0:1"));
    EXPECT_EQ(CountedInfo::live, 2);
}

TEST_F(MailInfoList, AddTakesNoNull)
{
    for (const int force : {0, 1}) {
        platform.expect_trace(list_line("AddMailInfo() no info."));
        EXPECT_EQ(list->AddMailInfo(nullptr, force), 0);
    }
    EXPECT_EQ(list->m_cList.GetCount(), 0);
}

TEST_F(MailInfoList, AddWithoutForceTakesRegisteredEntriesOnly)
{
    for (const int status : {0, 2, 3, -1, INT_MAX}) {
        SCOPED_TRACE(status);
        platform.expect_trace(list_line("AddMailInfo() info is not registered."));
        EXPECT_EQ(list->AddMailInfo(info(1, "a", status), 0), 0);
        EXPECT_EQ(CountedInfo::live, 0) << "destroyed";
    }
    EXPECT_EQ(list->AddMailInfo(info(1, "a", 1), 0), 1);
    for (const int force : {1, 2, -1})
        EXPECT_EQ(list->AddMailInfo(info(force, "b", 0), force), 1);
    EXPECT_THAT(entries(*list), ElementsAre("1:a:0:1", "1:b:0:0", "2:b:0:0", "-1:b:0:0"));
}

TEST_F(MailInfoList, TheStatusIsLookedAtBeforeTheRoom)
{
    CntsPOP3MailInfoList none(0);
    platform.expect_trace(list_line("AddMailInfo() info is not registered."));
    EXPECT_EQ(none.AddMailInfo(info(1, "a", 0), 0), 0);
}

TEST_F(MailInfoList, AnEntryThatTheVectorRefusesIsDestroyed)
{
    add(info(1, "a"));
    platform.fail_call(Call::vector_add, 1);
    platform.expect_trace(list_line("AddMailInfo() cannot add info."));
    EXPECT_EQ(list->AddMailInfo(info(2, "b"), 0), 0);
    EXPECT_EQ(CountedInfo::live, 1);
    EXPECT_THAT(entries(*list), ElementsAre("1:a:0:1"));
}

TEST_F(MailInfoList, UpdateCarriesTheIdToTheEntryWithTheSameUniqueId)
{
    add(info(1, "a", 2, 10));
    add(info(2, "b", 0, 20));
    add(info(3, "b", 1, 30));
    EXPECT_EQ(list->UpdateMailInfo(info(7, "b", 1, 99)), 1);
    EXPECT_THAT(entries(*list), ElementsAre("1:a:10:2", "7:b:20:0", "3:b:30:1")) << "the first, its id only";
    EXPECT_EQ(list->UpdateMailInfo(info(8, "B")), 1);
    EXPECT_EQ(list->UpdateMailInfo(info(8, "b ")), 1);
    EXPECT_EQ(list->UpdateMailInfo(info(8, "bb")), 1);
    EXPECT_THAT(entries(*list), ElementsAre("1:a:10:2", "7:b:20:0", "3:b:30:1")) << "exact, nothing is added";
    EXPECT_EQ(CountedInfo::live, 3) << "what it was given is destroyed";
}

TEST_F(MailInfoList, UpdateOfAnEmptyListIsNoError)
{
    EXPECT_EQ(list->UpdateMailInfo(info(7, "b")), 1);
    EXPECT_EQ(list->m_cList.GetCount(), 0);
    EXPECT_EQ(CountedInfo::live, 0);
}

TEST_F(MailInfoList, UpdateRefusesNullAndUnregistered)
{
    add(info(1, "a"));
    platform.expect_trace(list_line("UpdateMailInfo() no info."));
    EXPECT_EQ(list->UpdateMailInfo(nullptr), 0);
    for (const int status : {0, 2, 3, -1}) {
        platform.expect_trace(list_line("UpdateMailInfo() info is not registered."));
        EXPECT_EQ(list->UpdateMailInfo(info(7, "a", status)), 0);
    }
    platform.expect_trace(list_line("UpdateMailInfo() info is not registered."));
    EXPECT_EQ(list->UpdateMailInfo(info(7, "", 0)), 0) << "looked at before the unique id";
    EXPECT_THAT(entries(*list), ElementsAre("1:a:0:1"));
    EXPECT_EQ(CountedInfo::live, 1);
}

TEST_F(MailInfoList, UpdateWithoutAUniqueIdChangesNothing)
{
    add(info(1, ""));
    platform.expect_trace(list_line("UpdateMailInfo() This Server is not Supported UIDL."));
    EXPECT_EQ(list->UpdateMailInfo(info(7, "")), 1);
    CountedInfo* const without_text = info(7, "");
    without_text->m_cUniqId.CopyString(nullptr, -1);
    platform.expect_trace(list_line("UpdateMailInfo() This Server is not Supported UIDL."));
    EXPECT_EQ(list->UpdateMailInfo(without_text), 1);
    EXPECT_THAT(entries(*list), ElementsAre("1::0:1"));
    EXPECT_EQ(CountedInfo::live, 1);
}

TEST_F(MailInfoList, AnEntryWhoseUniqueIdIsNullMatchesNone)
{
    add(info(1, "a"));
    entry(*list, 0)->m_cUniqId.CopyString(nullptr, -1);
    EXPECT_EQ(list->UpdateMailInfo(info(7, "a")), 1);
    EXPECT_EQ(entry(*list, 0)->m_nId, 1);
    platform.expect_trace(list_line("SearchMailInfo(): not found."));
    EXPECT_EQ(list->SearchMailInfo(CntsPOP3MailInfo(0, "a", 0, 0)), nullptr);
}

TEST_F(MailInfoList, SearchGivesTheEntryItself)
{
    add(info(1, "a"));
    add(info(2, "b"));
    add(info(3, "b"));
    EXPECT_EQ(list->SearchMailInfo(CntsPOP3MailInfo(99, "b", 0, 0)), entry(*list, 1));
    for (const char* const uid : {"B", "bb", " b", "c"}) {
        platform.expect_trace(list_line("SearchMailInfo(): not found."));
        EXPECT_EQ(list->SearchMailInfo(CntsPOP3MailInfo(1, uid, 0, 0)), nullptr) << uid;
    }
}

TEST_F(MailInfoList, SearchWithoutAUniqueIdGivesTheFirstEntry)
{
    list->m_cList.SetPosition(5);
    EXPECT_EQ(list->SearchMailInfo(CntsPOP3MailInfo()), nullptr) << "no trace line";
    EXPECT_EQ(list->m_cList.GetPosition(), 0);
    add(info(1, "a"));
    add(info(2, "b"));
    list->m_cList.SetPosition(5);
    EXPECT_EQ(list->SearchMailInfo(CntsPOP3MailInfo(2, nullptr, 0, 0)), entry(*list, 0));
    EXPECT_EQ(list->m_cList.GetPosition(), 0);
    CntsPOP3MailInfo without_text;
    without_text.m_cUniqId.CopyString(nullptr, -1);
    EXPECT_EQ(list->SearchMailInfo(without_text), entry(*list, 0));
}

TEST_F(MailInfoList, SearchInAnEmptyListFindsNothing)
{
    platform.expect_trace(list_line("SearchMailInfo(): not found."));
    EXPECT_EQ(list->SearchMailInfo(CntsPOP3MailInfo(1, "a", 0, 0)), nullptr);
}

TEST_F(MailInfoList, TheNextMailIsTheRegisteredOneWithTheLowestId)
{
    CntsPOP3MailInfo out(5, "out", 6, 7);
    platform.expect_trace(list_line("SearchNextMail(): not detected."));
    EXPECT_EQ(list->SearchNextMail(out), 0);
    EXPECT_EQ(text_of_entry(&out), "5:out:6:7") << "unchanged";
    add(info(4, "four", 1, 40));
    add(info(2, "first two", 1, 20));
    add(info(2, "second two", 1, 21));
    add(info(1, "not to fetch", 2));
    EXPECT_EQ(list->SearchNextMail(out), 1);
    EXPECT_EQ(text_of_entry(&out), "2:first two:20:1");
    EXPECT_EQ(list->m_cList.GetCount(), 4);
    EXPECT_EQ(list->SetAllEntryStatus(0), 1);
    platform.expect_trace(list_line("SearchNextMail(): not detected."));
    EXPECT_EQ(list->SearchNextMail(out), 0);
    EXPECT_EQ(text_of_entry(&out), "2:first two:20:1");
}

TEST_F(MailInfoList, AnIdOfZeroGivesWayToALaterCandidate)
{
    add(info(0, "gone"));
    add(info(9, "here"));
    CntsPOP3MailInfo out;
    EXPECT_EQ(list->SearchNextMail(out), 1);
    EXPECT_EQ(text_of_entry(&out), "9:here:0:1");
    add(info(0, "gone too"));
    EXPECT_EQ(list->SearchNextMail(out), 1);
    EXPECT_EQ(text_of_entry(&out), "0:gone too:0:1") << "lower than 9, and none follows";
    add(info(-3, "negative"));
    EXPECT_EQ(list->SearchNextMail(out), 1);
    EXPECT_EQ(text_of_entry(&out), "-3:negative:0:1");
}

TEST_F(MailInfoList, RemoveTakesOneEntryACall)
{
    add(info(1, "a", 1));
    add(info(6, "b", 2));
    add(info(3, "c", 2));
    EXPECT_EQ(list->RemoveMailInfo(), 1);
    EXPECT_THAT(entries(*list), ElementsAre("1:a:0:1", "6:b:0:2"));
    EXPECT_EQ(CountedInfo::live, 2);
    EXPECT_EQ(list->RemoveMailInfo(), 1);
    EXPECT_THAT(entries(*list), ElementsAre("1:a:0:1"));
    platform.expect_trace(list_line("RemoveMailInfo(): not detected."));
    EXPECT_EQ(list->RemoveMailInfo(), 0);
    EXPECT_THAT(entries(*list), ElementsAre("1:a:0:1"));
    EXPECT_EQ(list->ClearId(), 1);
    EXPECT_EQ(list->ClearList(), 1);
    platform.expect_trace(list_line("RemoveMailInfo(): not detected."));
    EXPECT_EQ(list->RemoveMailInfo(), 0);
}

TEST_F(MailInfoList, AnEntryThatTheVectorKeepsStaysTheLists)
{
    add(info(1, "a", 2));
    add(info(2, "b", 2));
    platform.fail_call(Call::vector_remove, 1);
    platform.expect_trace(list_line("RemoveMailInfo() could not remove mail."));
    EXPECT_EQ(list->RemoveMailInfo(), 0);
    EXPECT_EQ(CountedInfo::live, 2);
    EXPECT_THAT(entries(*list), ElementsAre("1:a:0:2", "2:b:0:2"));
    EXPECT_EQ(list->RemoveMailInfo(), 1) << "the next call does it";
    EXPECT_THAT(entries(*list), ElementsAre("2:b:0:2"));
}

TEST_F(MailInfoList, ARegisteredEntryIsANextMail)
{
    EXPECT_EQ(list->IsHasNextMail(), 0);
    add(info(1, "a", 0));
    add(info(2, "b", 2));
    EXPECT_EQ(list->IsHasNextMail(), 0);
    add(info(0, "c", 1));
    EXPECT_EQ(list->IsHasNextMail(), 1);
}

TEST_F(MailInfoList, TheStatusIsSetById)
{
    CntsPOP3MailInfo wanted(2, "never looked at", 0, 0);
    platform.expect_trace(list_line("SetEntryStatus() no match."));
    EXPECT_EQ(list->SetEntryStatus(wanted, 2), 0);
    add(info(1, "a"));
    platform.expect_trace(list_line("SetEntryStatus() no match."));
    EXPECT_EQ(list->SetEntryStatus(wanted, 2), 0);
    add(info(2, "b"));
    add(info(2, "never looked at"));
    EXPECT_EQ(list->SetEntryStatus(wanted, 77), 1);
    EXPECT_THAT(entries(*list), ElementsAre("1:a:0:1", "2:b:0:77", "2:never looked at:0:1"));
    EXPECT_EQ(wanted.m_nStatus, 0);
}

TEST_F(MailInfoList, EveryStatusIsSet)
{
    EXPECT_EQ(list->SetAllEntryStatus(2), 1);
    add(info(1, "a", 0));
    add(info(2, "b", 1));
    EXPECT_EQ(list->SetAllEntryStatus(-9), 1);
    EXPECT_THAT(entries(*list), ElementsAre("1:a:0:-9", "2:b:0:-9"));
}

TEST_F(MailInfoList, TheNextIdIsBehindTheHighest)
{
    EXPECT_EQ(list->GetNextId(), 1);
    add(info(-4, "n"));
    EXPECT_EQ(list->GetNextId(), 1);
    add(info(0, "z"));
    EXPECT_EQ(list->GetNextId(), 1);
    add(info(3, "a"));
    add(info(7, "b"));
    add(info(5, "c"));
    EXPECT_EQ(list->GetNextId(), 8);
    add(info(INT_MAX - 1, "d"));
    EXPECT_EQ(list->GetNextId(), INT_MAX);
    add(info(INT_MAX, "e"));
    EXPECT_EQ(list->GetNextId(), INT_MAX) << "there is none behind it";
}

TEST_F(MailInfoList, ClearIdThenClearListEmptiesTheList)
{
    EXPECT_EQ(list->ClearId(), 1);
    EXPECT_EQ(list->ClearList(), 1);
    add(info(1, "a"));
    add(info(2, "b", 2, 5));
    EXPECT_EQ(list->ClearId(), 1);
    EXPECT_THAT(entries(*list), ElementsAre("0:a:0:1", "0:b:5:2"));
    EXPECT_EQ(list->ClearList(), 1);
    EXPECT_THAT(entries(*list), IsEmpty());
    EXPECT_EQ(CountedInfo::live, 0);
    EXPECT_EQ(list->m_nMaxListSize, 100);
}

TEST_F(MailInfoList, ClearListKeepsWhatIsOnTheServer)
{
    for (const int id : {0, 0, 1, 0, -2, 3, 0})
        add(info(id, "u"));
    EXPECT_EQ(list->ClearList(), 1);
    EXPECT_THAT(entries(*list), ElementsAre("1:u:0:1", "-2:u:0:1", "3:u:0:1"));
    EXPECT_EQ(CountedInfo::live, 3);
}

TEST_F(MailInfoList, ClearListStopsWhereTheVectorKeepsAnEntry)
{
    for (const int id : {0, 1, 0, 0})
        add(info(id, "u"));
    platform.fail_call(Call::vector_remove, 2);
    platform.expect_trace(list_line("ClearList() cannnot remove info."));
    EXPECT_EQ(list->ClearList(), 0);
    EXPECT_THAT(entries(*list), ElementsAre("1:u:0:1", "0:u:0:1", "0:u:0:1"))
        << "what was cleared stays cleared";
    EXPECT_EQ(CountedInfo::live, 3);
}

TEST_F(MailInfoList, ClearListBeginsInFrontAlsoWhereAllGo)
{
    for (const char* const uid : {"a", "b", "c"})
        add(info(0, uid));
    platform.fail_call(Call::vector_remove, 2);
    platform.expect_trace(list_line("ClearList() cannnot remove info."));
    EXPECT_EQ(list->ClearList(), 0);
    EXPECT_THAT(entries(*list), ElementsAre("0:b:0:1", "0:c:0:1"));
    EXPECT_EQ(CountedInfo::live, 2);
}

TEST_F(MailInfoList, ShowListPrintsNothing)
{
    list->ShowList();
    add(info(1, "a"));
    add_null_slot();
    list->ShowList();
    EXPECT_THAT(entries(*list), ElementsAre("1:a:0:1", "null"));
}

TEST_F(MailInfoList, EveryWalkEndsAtANullSlot)
{
    add(info(1, "a", 0));
    add_null_slot();
    add(info(0, "b", 0));
    CntsPOP3MailInfo out(5, "out", 6, 7);
    CntsPOP3MailInfo second(0, "b", 0, 0);

    platform.expect_trace(list_line("SearchNextMail() strange list."));
    EXPECT_EQ(list->SearchNextMail(out), 0);
    EXPECT_EQ(text_of_entry(&out), "5:out:6:7");
    platform.expect_trace(list_line("RemoveMailInfo() strange list."));
    EXPECT_EQ(list->RemoveMailInfo(), 0);
    platform.expect_trace(list_line("IsHasNextMail() strange list."));
    EXPECT_EQ(list->IsHasNextMail(), 0);
    platform.expect_trace(list_line("SetEntryStatus() strange list."));
    EXPECT_EQ(list->SetEntryStatus(second, 3), 0);
    platform.expect_trace(list_line("SearchMailInfo(): GetAt() error."));
    EXPECT_EQ(list->SearchMailInfo(second), nullptr);
    platform.expect_trace(list_line("GetNextId(): GetAt() error."));
    EXPECT_EQ(list->GetNextId(), -1);
    platform.expect_trace(list_line("UpdateMailInfo() strange list."));
    EXPECT_EQ(list->UpdateMailInfo(info(9, "b")), 0);
    EXPECT_EQ(CountedInfo::live, 2) << "what Update was given is destroyed";
    EXPECT_THAT(entries(*list), ElementsAre("1:a:0:0", "null", "0:b:0:0"));

    platform.expect_trace(list_line("SetAllEntryStatus(): GetAt() error."));
    EXPECT_EQ(list->SetAllEntryStatus(4), 0);
    EXPECT_THAT(entries(*list), ElementsAre("1:a:0:4", "null", "0:b:0:0")) << "those before it are changed";
    platform.expect_trace(list_line("ClearId() strange list."));
    EXPECT_EQ(list->ClearId(), 0);
    EXPECT_THAT(entries(*list), ElementsAre("0:a:0:4", "null", "0:b:0:0"));
    platform.expect_trace(list_line("ClearId() strange list."));  // not its own name
    EXPECT_EQ(list->ClearList(), 0);
    EXPECT_THAT(entries(*list), ElementsAre("null", "0:b:0:0"));
    EXPECT_EQ(CountedInfo::live, 1);
    close_null_slots();
}

TEST_F(MailInfoList, WhatStandsBeforeANullSlotIsFound)
{
    add(info(1, "a", 1));
    add_null_slot();
    CntsPOP3MailInfo first(1, "a", 0, 0);
    EXPECT_EQ(list->SearchMailInfo(first), entry(*list, 0));
    EXPECT_EQ(list->SetEntryStatus(first, 1), 1);
    EXPECT_EQ(list->IsHasNextMail(), 1);
    EXPECT_EQ(list->UpdateMailInfo(info(9, "a")), 1);
    EXPECT_EQ(entry(*list, 0)->m_nId, 9);
    // The lowest id is known only at the end.
    platform.expect_trace(list_line("SearchNextMail() strange list."));
    EXPECT_EQ(list->SearchNextMail(first), 0);
    EXPECT_EQ(list->SetAllEntryStatus(2), 0);
    platform.expect_trace(list_line("SetAllEntryStatus(): GetAt() error."));
    platform.expect_trace(list_line("RemoveMailInfo() strange list."));
    EXPECT_EQ(list->RemoveMailInfo(), 0);
    EXPECT_EQ(CountedInfo::live, 1);
}

TEST_F(MailInfoList, ANullSlotInFrontIsWhatASearchWithoutAUniqueIdFinds)
{
    add_null_slot();
    add(info(1, "a"));
    EXPECT_EQ(list->SearchMailInfo(CntsPOP3MailInfo()), nullptr);
    close_null_slots();
}
