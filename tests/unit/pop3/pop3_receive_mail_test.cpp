// The mail under reception: its boundary stack and its current part.
#include <string>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "CntsPOP3ReceiveMail.h"
#include "mlutl_support.h"
#include "operator_new.h"
#include "platform_double.h"
#include "pop3_stack_support.h"

using velorin::CntsMLUTLMailPart;
using velorin::CntsPOP3MailInfo;
using velorin::CntsPOP3ReceiveMail;
using velorin::CntsPOP3ReceiveMailPart;
using velorin_test::Call;
using velorin_test::innermost;
using velorin_test::kDownEmpty;
using velorin_test::kDownNoVector;
using velorin_test::kUpFailed;
using velorin_test::live_news;
using velorin_test::PlatformDouble;
using velorin_test::stack_of;
using velorin_test::text_of;
using velorin_test::watch_news;

namespace {

class CountedPart : public CntsPOP3ReceiveMailPart {
public:
    CountedPart() { ++live; }
    CountedPart(const CountedPart&) = delete;
    CountedPart& operator=(const CountedPart&) = delete;
    ~CountedPart() override
    {
        --live;
        strings_at_its_end = live_news();
    }

    static inline int live = 0;
    static inline long strings_at_its_end = -1;
};

class ReceiveMail : public testing::Test {
protected:
    ReceiveMail() { watch_news(sizeof(CutlCPLBMString)); }

    PlatformDouble platform;
    CntsPOP3MailInfo info{4, "uid", 5, 1};
};

using Texts = std::vector<std::string>;

}  // namespace

TEST_F(ReceiveMail, BeginsAtTheFrontOfItsMail)
{
    CntsPOP3ReceiveMail mail(info);
    info.m_nId = 99;
    info.m_cUniqId.CopyString("changed", -1);
    EXPECT_EQ(mail.m_nPartDepth, 0);
    EXPECT_EQ(mail.m_bIsHasNext, 1);
    EXPECT_EQ(mail.m_bIsBoundaryDetected, 0);
    EXPECT_EQ(mail.m_pPart, nullptr);
    EXPECT_EQ(mail.GetPart(), nullptr);
    EXPECT_EQ(mail.GetBoundaryString(), nullptr);
    EXPECT_EQ(stack_of(mail), Texts{});
    for (const auto* const address : {&mail.m_cTo, &mail.m_cFrom, &mail.m_cCc, &mail.m_cNotificationTo,
                                      &mail.m_cReplyTo, &mail.m_cReturnPath})
        EXPECT_EQ(address->m_cAddress.GetString(), nullptr);
    for (const auto* const text :
         {&mail.m_cSubject, &mail.m_cDate, &mail.m_cMessageID, &mail.m_cInReplyTo, &mail.m_cReferences})
        EXPECT_EQ(text->GetLength(), 0);
    EXPECT_EQ(mail.m_cMailInfo.m_nId, 4);
    EXPECT_EQ(text_of(mail.m_cMailInfo.m_cUniqId), "uid");
    EXPECT_EQ(mail.m_cMailInfo.m_nSize, 5);
    EXPECT_EQ(mail.m_cMailInfo.m_nStatus, 1);
    EXPECT_EQ(static_cast<int>(mail.m_eContentType), 14);
    EXPECT_EQ(mail.m_pBuffer, nullptr);
}

TEST_F(ReceiveMail, IsAPartAndIsMadeFromAnEntryOnly)
{
    EXPECT_TRUE((std::is_base_of<CntsMLUTLMailPart, CntsPOP3ReceiveMail>::value));
    EXPECT_TRUE((std::is_base_of<CntsMLUTLMailPart, CntsPOP3ReceiveMailPart>::value));
    EXPECT_FALSE(std::is_default_constructible<CntsPOP3ReceiveMail>::value);
    const CntsPOP3ReceiveMailPart part;
    EXPECT_EQ(static_cast<int>(part.m_eContentType), 14);
    EXPECT_EQ(part.m_nLength, 0);
}

TEST_F(ReceiveMail, PushesAndPops)
{
    CntsPOP3ReceiveMail mail(info);
    mail.m_bIsBoundaryDetected = 1;
    EXPECT_EQ(mail.UpBoundaryLevel("a"), 1);
    EXPECT_EQ(mail.m_bIsBoundaryDetected, 0);
    EXPECT_EQ(mail.m_nPartDepth, 1);
    EXPECT_EQ(mail.UpBoundaryLevel("b"), 1);
    EXPECT_EQ(mail.m_nPartDepth, 2);
    EXPECT_EQ(stack_of(mail), (Texts{"a", "b"}));
    EXPECT_EQ(mail.GetBoundaryString(), mail.m_cBoundaryString->GetAt(1)) << "not a copy";
    EXPECT_EQ(innermost(mail), "b");
    mail.m_bIsBoundaryDetected = 1;
    EXPECT_EQ(mail.DownBoundaryLevel(), 1);
    EXPECT_EQ(mail.m_bIsBoundaryDetected, 0);
    EXPECT_EQ(mail.m_nPartDepth, 1);
    EXPECT_EQ(innermost(mail), "a");
    EXPECT_EQ(mail.DownBoundaryLevel(), 1);
    EXPECT_EQ(innermost(mail), "none");
    mail.m_bIsBoundaryDetected = 1;
    platform.expect_trace(kDownEmpty);
    EXPECT_EQ(mail.DownBoundaryLevel(), 0);
    EXPECT_EQ(mail.m_nPartDepth, 0);
    EXPECT_EQ(mail.m_bIsBoundaryDetected, 1) << "a failure changes nothing";
}

TEST_F(ReceiveMail, ABoundaryIsCopied)
{
    CntsPOP3ReceiveMail mail(info);
    char text[] = "first";
    EXPECT_EQ(mail.UpBoundaryLevel(text), 1);
    text[0] = 'X';
    EXPECT_EQ(innermost(mail), "first");
    EXPECT_EQ(mail.UpBoundaryLevel(""), 1) << "empty is a text";
    EXPECT_EQ(innermost(mail), "");
    EXPECT_EQ(mail.m_nPartDepth, 2);
}

TEST_F(ReceiveMail, PushesNoNull)
{
    CntsPOP3ReceiveMail mail(info);
    EXPECT_EQ(mail.UpBoundaryLevel("a"), 1);
    mail.m_bIsBoundaryDetected = 1;
    platform.expect_trace(kUpFailed);
    EXPECT_EQ(mail.UpBoundaryLevel(nullptr), 0);
    EXPECT_EQ(mail.m_nPartDepth, 1);
    EXPECT_EQ(mail.m_bIsBoundaryDetected, 1);
    EXPECT_EQ(stack_of(mail), Texts{"a"});
}

TEST_F(ReceiveMail, ABoundaryThatTheVectorRefusesIsDestroyed)
{
    CntsPOP3ReceiveMail mail(info);
    EXPECT_EQ(mail.UpBoundaryLevel("a"), 1);
    mail.m_bIsBoundaryDetected = 1;
    platform.fail_call(Call::vector_add, 1);
    platform.expect_trace(kUpFailed);
    const long before = live_news();  // what the expectation made is of that size too
    EXPECT_EQ(mail.UpBoundaryLevel("b"), 0);
    EXPECT_EQ(mail.m_nPartDepth, 1);
    EXPECT_EQ(mail.m_bIsBoundaryDetected, 1);
    EXPECT_EQ(stack_of(mail), Texts{"a"});
    EXPECT_EQ(live_news(), before);
    EXPECT_EQ(mail.UpBoundaryLevel("b"), 1);
    EXPECT_EQ(innermost(mail), "b");
}

TEST_F(ReceiveMail, OwnsItsBoundaries)
{
    {
        CntsPOP3ReceiveMail mail(info);
        EXPECT_EQ(mail.UpBoundaryLevel("a"), 1);
        EXPECT_EQ(mail.UpBoundaryLevel("b"), 1);
        EXPECT_EQ(mail.UpBoundaryLevel("c"), 1);
        EXPECT_EQ(live_news(), 3);
        EXPECT_EQ(mail.DownBoundaryLevel(), 1);
        EXPECT_EQ(live_news(), 2);
    }
    EXPECT_EQ(live_news(), 0);
}

TEST_F(ReceiveMail, ABoundaryThatTheVectorKeepsStaysTheMails)
{
    {
        CntsPOP3ReceiveMail mail(info);
        EXPECT_EQ(mail.UpBoundaryLevel("a"), 1);
        EXPECT_EQ(mail.UpBoundaryLevel("b"), 1);
        mail.m_bIsBoundaryDetected = 1;
        platform.fail_call(Call::vector_remove, 1);
        EXPECT_EQ(mail.DownBoundaryLevel(), 1) << "whether it was removed is not looked at";
        EXPECT_EQ(mail.m_nPartDepth, 1);
        EXPECT_EQ(mail.m_bIsBoundaryDetected, 0);
        EXPECT_EQ(innermost(mail), "a");
        ASSERT_EQ(mail.m_cBoundaryString->GetCount(), 2);
        EXPECT_EQ(stack_of(mail), (Texts{"a", "b"})) << "no slot points to what is gone";
        EXPECT_EQ(live_news(), 2);
        EXPECT_EQ(mail.UpBoundaryLevel("c"), 1);
        EXPECT_EQ(mail.m_nPartDepth, 2);
        EXPECT_EQ(innermost(mail), "c");
    }
    EXPECT_EQ(live_news(), 0);
}

TEST_F(ReceiveMail, WithoutAVectorNothingIsOnTheStack)
{
    CntsPOP3ReceiveMail mail(info);
    EXPECT_EQ(mail.UpBoundaryLevel("a"), 1);
    mail.SetBoundaryStringList(nullptr);
    EXPECT_EQ(live_news(), 0) << "the old stack is destroyed";
    EXPECT_EQ(mail.m_cBoundaryString, nullptr);
    EXPECT_EQ(mail.m_nPartDepth, 1) << "the depth is its setter's";
    EXPECT_EQ(innermost(mail), "none");
    platform.expect_trace(kDownNoVector);
    EXPECT_EQ(mail.DownBoundaryLevel(), 0);
    EXPECT_EQ(mail.m_nPartDepth, 1);
    mail.m_nPartDepth = 0;
    platform.expect_trace(kDownEmpty);
    EXPECT_EQ(mail.DownBoundaryLevel(), 0);
    EXPECT_EQ(mail.UpBoundaryLevel("b"), 1) << "makes a vector";
    EXPECT_EQ(innermost(mail), "b");
    EXPECT_EQ(stack_of(mail), Texts{"b"});
}

TEST_F(ReceiveMail, ANegativeDepthIsAnEmptyStack)
{
    CntsPOP3ReceiveMail mail(info);
    EXPECT_EQ(mail.UpBoundaryLevel("a"), 1);
    mail.m_nPartDepth = -1;
    EXPECT_EQ(innermost(mail), "none");
    platform.expect_trace(kDownEmpty);
    EXPECT_EQ(mail.DownBoundaryLevel(), 0);
    EXPECT_EQ(mail.m_nPartDepth, -1);
}

TEST_F(ReceiveMail, ADepthBeyondTheStackComesDownOneAtATime)
{
    CntsPOP3ReceiveMail mail(info);
    EXPECT_EQ(mail.UpBoundaryLevel("a"), 1);
    mail.m_nPartDepth = 3;
    EXPECT_EQ(innermost(mail), "none");
    EXPECT_EQ(mail.DownBoundaryLevel(), 1);
    EXPECT_EQ(mail.DownBoundaryLevel(), 1);
    EXPECT_EQ(mail.m_nPartDepth, 1);
    EXPECT_EQ(stack_of(mail), Texts{"a"}) << "what is there was not theirs";
    EXPECT_EQ(innermost(mail), "a");
    EXPECT_EQ(mail.DownBoundaryLevel(), 1);
    EXPECT_EQ(stack_of(mail), Texts{});
}

TEST_F(ReceiveMail, ADepthWhereTheStackHasNoPlaceTakesNoBoundary)
{
    CntsPOP3ReceiveMail mail(info);
    EXPECT_EQ(mail.UpBoundaryLevel("a"), 1);
    for (const int depth : {2, 2147483647, -1}) {
        mail.m_nPartDepth = depth;
        mail.m_bIsBoundaryDetected = 1;
        platform.expect_trace(kUpFailed);
        EXPECT_EQ(mail.UpBoundaryLevel("b"), 0) << depth;
        EXPECT_EQ(mail.m_nPartDepth, depth);
        EXPECT_EQ(mail.m_bIsBoundaryDetected, 1);
        EXPECT_EQ(stack_of(mail), Texts{"a"});
    }
    mail.m_nPartDepth = 0;
    EXPECT_EQ(mail.UpBoundaryLevel("b"), 1);
    EXPECT_EQ(innermost(mail), "b");
    EXPECT_EQ(stack_of(mail), (Texts{"b", "a"})) << "at the depth, whatever stands there";
}

TEST_F(ReceiveMail, ADepthBelowTheStackLooksUpByDepth)
{
    CntsPOP3ReceiveMail mail(info);
    for (const char* const text : {"a", "b", "c"})
        EXPECT_EQ(mail.UpBoundaryLevel(text), 1);
    mail.m_nPartDepth = 2;
    EXPECT_EQ(innermost(mail), "b");
    EXPECT_EQ(mail.DownBoundaryLevel(), 1);
    EXPECT_EQ(stack_of(mail), (Texts{"a", "c"}));
    EXPECT_EQ(live_news(), 2);
}

TEST_F(ReceiveMail, ANullSlotIsPoppedToo)
{
    CntsPOP3ReceiveMail mail(info);
    ASSERT_NE(mail.m_cBoundaryString->Add(0, nullptr), 0);
    mail.m_nPartDepth = 1;
    EXPECT_EQ(mail.GetBoundaryString(), nullptr);
    EXPECT_EQ(mail.DownBoundaryLevel(), 1);
    EXPECT_EQ(mail.m_nPartDepth, 0);
    EXPECT_EQ(stack_of(mail), Texts{});
}

TEST_F(ReceiveMail, AStackThatIsSetReplacesTheOldOne)
{
    {
        CntsPOP3ReceiveMail mail(info);
        EXPECT_EQ(mail.UpBoundaryLevel("a"), 1);
        EXPECT_EQ(mail.UpBoundaryLevel("b"), 1);
        mail.m_bIsBoundaryDetected = 1;
        CutlCPLBMVector* const list = new CutlCPLBMVector(1);
        ASSERT_NE(list->Add(0, new CutlCPLBMString("x")), 0);
        EXPECT_EQ(live_news(), 3);
        mail.SetBoundaryStringList(list);
        EXPECT_EQ(live_news(), 1);
        EXPECT_EQ(mail.m_cBoundaryString, list);
        EXPECT_EQ(mail.m_nPartDepth, 2);
        EXPECT_EQ(mail.m_bIsBoundaryDetected, 1);
        EXPECT_EQ(innermost(mail), "none") << "the depth is beyond it";
        mail.m_nPartDepth = 1;
        EXPECT_EQ(innermost(mail), "x");
    }
    EXPECT_EQ(live_news(), 0);
}

TEST_F(ReceiveMail, OnlyBoundariesBeforeANullSlotAreDestroyedWithTheStack)
{
    auto* const behind = new CutlCPLBMString("behind");
    for (const bool at_its_end : {false, true}) {
        CntsPOP3ReceiveMail mail(info);
        EXPECT_EQ(mail.UpBoundaryLevel("a"), 1);
        ASSERT_NE(mail.m_cBoundaryString->Add(1, nullptr), 0);
        ASSERT_NE(mail.m_cBoundaryString->Add(2, behind), 0);
        EXPECT_EQ(live_news(), 2);
        if (!at_its_end) {
            mail.SetBoundaryStringList(nullptr);
            EXPECT_EQ(live_news(), 1);
        }
    }
    ASSERT_EQ(live_news(), 1);
    EXPECT_EQ(text_of(*behind), "behind");
    delete behind;
}

TEST_F(ReceiveMail, WhatItHasAlreadyIsNotDestroyed)
{
    CountedPart::live = 0;
    CntsPOP3ReceiveMail mail(info);
    EXPECT_EQ(mail.UpBoundaryLevel("a"), 1);
    mail.SetBoundaryStringList(mail.m_cBoundaryString);
    EXPECT_EQ(live_news(), 1);
    EXPECT_EQ(innermost(mail), "a");
    mail.SetPart(new CountedPart);
    mail.SetPart(mail.GetPart());
    EXPECT_EQ(CountedPart::live, 1);
    ASSERT_NE(mail.GetPart(), nullptr);
    EXPECT_EQ(static_cast<int>(mail.GetPart()->m_eContentType), 14);
}

TEST_F(ReceiveMail, OwnsItsPart)
{
    CountedPart::live = 0;
    {
        CntsPOP3ReceiveMail mail(info);
        mail.DeletePart();
        EXPECT_EQ(mail.GetPart(), nullptr) << "without a part it does nothing";
        CountedPart* const first = new CountedPart;
        mail.SetPart(first);
        EXPECT_EQ(mail.GetPart(), first);
        EXPECT_EQ(mail.m_pPart, first);
        CountedPart* const second = new CountedPart;
        mail.SetPart(second);
        EXPECT_EQ(CountedPart::live, 1) << "the first is destroyed";
        EXPECT_EQ(mail.GetPart(), second);
        mail.DeletePart();
        EXPECT_EQ(CountedPart::live, 0);
        EXPECT_EQ(mail.GetPart(), nullptr);
        mail.SetPart(new CountedPart);
        mail.SetPart(nullptr);
        EXPECT_EQ(CountedPart::live, 0);
        EXPECT_EQ(mail.GetPart(), nullptr);
        mail.SetPart(new CountedPart);
    }
    EXPECT_EQ(CountedPart::live, 0) << "destroyed with the mail";
}

TEST_F(ReceiveMail, ItEndsThroughItsBaseToo)
{
    CountedPart::live = 0;
    CntsPOP3ReceiveMail* const mail = new CntsPOP3ReceiveMail(info);
    mail->SetPart(new CountedPart);
    EXPECT_EQ(mail->UpBoundaryLevel("a"), 1);
    CutlCPLBObject* const base = mail;
    delete base;
    EXPECT_EQ(CountedPart::live, 0);
    EXPECT_EQ(CountedPart::strings_at_its_end, 1) << "the part goes before the boundaries";
    EXPECT_EQ(live_news(), 0);
}
