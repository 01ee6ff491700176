// The operations of a POP3 session on its account.
#include <cstdint>
#include <functional>
#include <new>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ntc_email_esu_pop3_main_communicator.h"
#include "operator_new.h"
#include "platform_double.h"
#include "pop3_service.h"

using testing::IsEmpty;
using velorin::CntsMLUTLMailAddress;
using velorin::CntsPOP3Boundary;
using velorin_test::answer_of;
using velorin_test::Call;
using velorin_test::communicator_line;
using velorin_test::delimited;
using velorin_test::fail_exchange;
using velorin_test::hex_of;
using velorin_test::kCallFailed;
using velorin_test::kCreateInstance;
using velorin_test::kRefMailAddress;
using velorin_test::kStat;
using velorin_test::octets_of;
using velorin_test::Pop3Method;
using velorin_test::request_of;
using Pop3SessionAccount = velorin_test::Pop3Session;

namespace {

struct Control {
    const char* name;
    const char* call_name;
    Pop3Method method;
    const char* code_tag;
    std::function<std::uint32_t(CntsPOP3Boundary&)> call;
};

std::uint32_t stat(CntsPOP3Boundary& session)
{
    int count = 0;
    return session.Stat(count);
}

const Control kControls[] = {
    {"Test", "call_test", velorin_test::kTest, "08",
     [](CntsPOP3Boundary& session) { return session.Test(); }},
    {"Connect", "call_connect", velorin_test::kConnect, "08",
     [](CntsPOP3Boundary& session) { return session.Connect(); }},
    {"Stat", "call_stat", kStat, "10", stat},
    {"Close", "call_close", velorin_test::kClose, "08",
     [](CntsPOP3Boundary& session) { return session.Close(); }},
    {"Noop", "call_noop", velorin_test::kNoop, "08",
     [](CntsPOP3Boundary& session) { return session.Noop(); }},
};

}  // namespace

TEST_F(Pop3SessionAccount, EachSendsTheSessionsNumberAndNoMore)
{
    for (const Control& control : kControls) {
        SCOPED_TRACE(control.name);
        platform.answer(answer_of(control.method, control.code_tag, 0));
        EXPECT_EQ(control.call(*session), 0u);
        EXPECT_EQ(hex_of(last_request()), hex_of(request_of(control.method, number)));
    }
}

TEST(Pop3Communicator, ItsNumberIsTheLowHalfOfItsAddress)
{
    velorin_test::PlatformDouble platform;
    platform.answer("");
    velorin::ntc_email_esu_pop3_main_communicator communicator;
    EXPECT_EQ(communicator.call_noop(), 0u);
    const auto address = reinterpret_cast<std::uintptr_t>(&communicator);
    EXPECT_EQ(hex_of(platform.request(0)),
              hex_of(request_of(velorin_test::kNoop, static_cast<std::uint32_t>(address))));
}

TEST_F(Pop3SessionAccount, EachPassesTheServicesCodeThrough)
{
    for (const Control& control : kControls) {
        for (const std::uint32_t code : velorin_test::kRetcodes) {
            SCOPED_TRACE(std::string(control.name) + " " + std::to_string(code));
            platform.answer(answer_of(control.method, control.code_tag, code));
            EXPECT_EQ(control.call(*session), code);
        }
    }
}

TEST_F(Pop3SessionAccount, AnAnswerWithoutTheResponseIsZero)
{
    for (const Control& control : kControls) {
        SCOPED_TRACE(control.name);
        platform.answer("");
        EXPECT_EQ(control.call(*session), 0u);
        platform.answer(answer_of(kCreateInstance, "08", 5));
        EXPECT_EQ(control.call(*session), 0u);
    }
}

TEST_F(Pop3SessionAccount, AFailedExchangeLeavesTheSessionUsable)
{
    for (const Control& control : kControls) {
        SCOPED_TRACE(control.name);
        fail_exchange(platform, control.call_name);
        EXPECT_EQ(control.call(*session), kCallFailed);
        EXPECT_TRUE(platform.verify());
        platform.answer(answer_of(control.method, control.code_tag, 3));
        EXPECT_EQ(control.call(*session), 3u);
    }
}

TEST_F(Pop3SessionAccount, AnAnswerThatIsNoEnvelopeFails)
{
    for (const Control& control : kControls) {
        SCOPED_TRACE(control.name);
        platform.answer(octets_of("0B"));
        platform.expect_trace(communicator_line("call_esu_method", "ParseFromString() returns NG"));
        platform.expect_trace(communicator_line(control.call_name, "call_esu_method() returns 0x21077103"));
        EXPECT_EQ(control.call(*session), kCallFailed);
    }
}

TEST_F(Pop3SessionAccount, WithoutMemoryForTheRequestTheOperationThrowsAndNothingIsSent)
{
    for (const Control& control : kControls) {
        SCOPED_TRACE(control.name);
        platform.forget_calls();
        velorin_test::fail_new(1);
        bool thrown = false;
        try {
            control.call(*session);
        } catch (const std::bad_alloc&) {
            thrown = true;
        }
        velorin_test::fail_new(0);
        EXPECT_TRUE(thrown);
        EXPECT_THAT(platform.calls(), IsEmpty());
    }
}

TEST_F(Pop3SessionAccount, StatOverwritesTheCountWhateverTheCode)
{
    const struct {
        std::string response;
        int count;
        std::uint32_t code;
    } cases[] = {
        {octets_of("08 AC 02 10 00"), 300, 0},
        {octets_of("08 07 10 05"), 7, 5},
        {octets_of("10 05"), 0, 5},
        {octets_of("08 FF FF FF FF FF FF FF FF FF 01"), -1, 0},
        {"", 0, 0},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(hex_of(one.response));
        int count = 77;
        platform.answer(octets_of("08 04") + delimited(kStat.response, one.response));
        EXPECT_EQ(session->Stat(count), one.code);
        EXPECT_EQ(count, one.count);
    }
    int count = 77;
    platform.answer("");
    EXPECT_EQ(session->Stat(count), 0u);
    EXPECT_EQ(count, 0) << "an answer without the response counts none";
}

TEST_F(Pop3SessionAccount, AFailedExchangeLeavesTheCount)
{
    int count = 77;
    fail_exchange(platform, "call_stat");
    EXPECT_EQ(session->Stat(count), kCallFailed);
    EXPECT_EQ(count, 77);
    platform.answer(octets_of("08 04") + delimited(kStat.response, octets_of("08 07")));
    platform.fail_call(Call::term, 1, 0x56);
    platform.expect_trace(communicator_line("end_method", "emwGENPacketClntTerm() returns 0x56"));
    platform.expect_trace(communicator_line("call_esu_method", "end_method() returns 0x21077103"));
    platform.expect_trace(communicator_line("call_stat", "call_esu_method() returns 0x21077103"));
    EXPECT_EQ(session->Stat(count), kCallFailed);
    EXPECT_EQ(count, 77);
}

TEST_F(Pop3SessionAccount, TheMailAddressIsAskedAnewEachTime)
{
    platform.answer(octets_of("08 0F") +
                    delimited(kRefMailAddress.response, octets_of("0A 05 0A 03 61 40 62")));
    CntsMLUTLMailAddress& address = session->RefMailAddress();
    EXPECT_EQ(hex_of(last_request()), hex_of(request_of(kRefMailAddress, number)));
    EXPECT_STREQ(address.m_cAddress.GetString(), "a@b");
    platform.answer(octets_of("08 0F") +
                    delimited(kRefMailAddress.response, octets_of("0A 05 0A 03 63 40 64")));
    EXPECT_EQ(&session->RefMailAddress(), &address);
    EXPECT_STREQ(address.m_cAddress.GetString(), "c@d");
    EXPECT_EQ(platform.exchanges().size(), 3u);
}

TEST_F(Pop3SessionAccount, AnAnswerWithoutAnAddressKeepsTheOldOne)
{
    platform.answer("");
    EXPECT_EQ(session->RefMailAddress().m_cAddress.GetString(), nullptr);
    platform.answer(octets_of("08 0F") + delimited(kRefMailAddress.response, octets_of("0A 03 0A 01 61")));
    EXPECT_STREQ(session->RefMailAddress().m_cAddress.GetString(), "a");
    for (const char* const response : {"", "0A 00", "08 05 10 05"}) {
        platform.answer(octets_of("08 0F") + delimited(kRefMailAddress.response, octets_of(response)));
        EXPECT_STREQ(session->RefMailAddress().m_cAddress.GetString(), "a") << response;
    }
    platform.answer(octets_of("08 0F") + delimited(kRefMailAddress.response, octets_of("0A 02 0A 00")));
    EXPECT_STREQ(session->RefMailAddress().m_cAddress.GetString(), "") << "empty is an address";
}

TEST_F(Pop3SessionAccount, AFailedExchangeKeepsTheMailAddress)
{
    platform.answer(octets_of("08 0F") + delimited(kRefMailAddress.response, octets_of("0A 03 0A 01 61")));
    CntsMLUTLMailAddress& address = session->RefMailAddress();
    fail_exchange(platform, "call_ref_mail_address");
    platform.expect_trace(
        "<Error> CntsPOP3Boundary::RefMailAddress(): call_ref_mail_address() returns [0x21077103]\n");
    EXPECT_EQ(&session->RefMailAddress(), &address);
    EXPECT_STREQ(address.m_cAddress.GetString(), "a");
}

TEST_F(Pop3SessionAccount, TheOrderOfOperationsIsNotTheLibrarysToCheck)
{
    for (int turn = 0; turn < 2; ++turn) {
        EXPECT_EQ(session->Close(), 0u);
        EXPECT_EQ(session->Noop(), 0u);
        EXPECT_EQ(stat(*session), 0u);
        EXPECT_EQ(session->Connect(), 0u);
        EXPECT_EQ(session->Test(), 0u);
    }
    EXPECT_EQ(platform.exchanges().size(), 11u);
}
