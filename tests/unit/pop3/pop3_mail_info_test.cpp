// One mail of a mailbox.
#include <climits>
#include <type_traits>

#include <gtest/gtest.h>

#include "CntsPOP3MailInfo.h"
#include "pop3_list_support.h"

using velorin::CntsPOP3MailInfo;
using velorin_test::text_of_entry;

TEST(MailInfo, BeginsUnset)
{
    const CntsPOP3MailInfo info;
    EXPECT_EQ(text_of_entry(&info), "0::0:0");
    EXPECT_TRUE(std::has_virtual_destructor<CntsPOP3MailInfo>::value);
    EXPECT_TRUE((std::is_base_of<CutlCPLBObject, CntsPOP3MailInfo>::value));
}

TEST(MailInfo, StoresWhatItIsGiven)
{
    const CntsPOP3MailInfo info(-7, "UID 1", 2147483647, 99);
    EXPECT_EQ(text_of_entry(&info), "-7:UID 1:2147483647:99");
    const CntsPOP3MailInfo smallest(INT_MIN, "", -2147483647 - 1, INT_MIN);
    EXPECT_EQ(text_of_entry(&smallest), "-2147483648::-2147483648:-2147483648");
}

TEST(MailInfo, AUniqueIdThatIsNullBecomesEmpty)
{
    const CntsPOP3MailInfo info(1, nullptr, 2, 3);
    EXPECT_EQ(text_of_entry(&info), "1::2:3");
}

TEST(MailInfo, AssignmentCopiesEveryMember)
{
    CntsPOP3MailInfo target(9, "old", 9, 9);
    {
        CntsPOP3MailInfo source(1, "new", 2, 3);
        EXPECT_EQ(&(target = source), &target);
        source.m_cUniqId.CopyString("changed", -1);
    }
    EXPECT_EQ(text_of_entry(&target), "1:new:2:3");
    CntsPOP3MailInfo& same = target;
    target = same;
    EXPECT_EQ(text_of_entry(&target), "1:new:2:3");
}
