// Each operation of the SMTP communicator: its request as octets, its answer, its failures.
#include <cstdint>
#include <functional>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "CntsSMTPSendMail.h"
#include "CntsSMTPSettings.h"
#include "ntc_email_esu_smtp_main_communicator.h"
#include "platform_double.h"
#include "smtp_service.h"
#include "wire_octets.h"

using velorin::CntsSMTPSendMail;
using velorin::CntsSMTPSettings;
using velorin::nts_smtp_settings;
using velorin_test::answer_of;
using velorin_test::Call;
using velorin_test::communicator_line;
using velorin_test::delimited;
using velorin_test::hex_of;
using velorin_test::kCallFailed;
using velorin_test::octets_of;
using velorin_test::PlatformDouble;
using velorin_test::request_of;
using velorin_test::SmtpMethod;

namespace {

using Communicator = velorin::ntc_email_esu_smtp_main_communicator;

// A mail that was never filled in: its own part with its four numbers for "none", length 0, not the last
// piece.
std::string empty_mail()
{
    return delimited("12", delimited("0A", octets_of("08 0E 10 05 18 03 20 0C 58 00 60 00")));
}

struct Operation {
    const char* name;
    SmtpMethod method;
    std::string rest;  // of the request, behind the session's number
    std::function<std::uint32_t(Communicator&)> call;
};

std::uint32_t with_mail(Communicator& communicator, std::uint32_t (Communicator::*call)(CntsSMTPSendMail&))
{
    CntsSMTPSendMail mail;
    return (communicator.*call)(mail);
}

std::vector<Operation> operations()
{
    return {
        {"call_create_instance", velorin_test::kCreateInstance,
         delimited("12", velorin_test::empty_settings()),
         [](Communicator& one) { return one.call_create_instance(CntsSMTPSettings(nts_smtp_settings())); }},
        {"call_test", velorin_test::kTest, "", [](Communicator& one) { return one.call_test(); }},
        {"call_connect", velorin_test::kConnect, "", [](Communicator& one) { return one.call_connect(); }},
        {"call_send_header", velorin_test::kSendHeader, empty_mail(),
         [](Communicator& one) { return with_mail(one, &Communicator::call_send_header); }},
        {"call_send_body", velorin_test::kSendBody, empty_mail(),
         [](Communicator& one) { return with_mail(one, &Communicator::call_send_body); }},
        {"call_send_part_header", velorin_test::kSendPartHeader, empty_mail(),
         [](Communicator& one) { return with_mail(one, &Communicator::call_send_part_header); }},
        {"call_send_part_body", velorin_test::kSendPartBody, empty_mail(),
         [](Communicator& one) { return with_mail(one, &Communicator::call_send_part_body); }},
        {"call_close", velorin_test::kClose, empty_mail(),
         [](Communicator& one) { return with_mail(one, &Communicator::call_close); }},
        {"call_abort", velorin_test::kAbort, "", [](Communicator& one) { return one.call_abort(); }},
        {"call_judge_size_of_data", velorin_test::kJudgeSizeOfData, octets_of("10 AC 02"),
         [](Communicator& one) { return one.call_judge_size_of_data(300); }},
        {"call_destroy_instance", velorin_test::kDestroyInstance, "",
         [](Communicator& one) { return one.call_destroy_instance(); }},
    };
}

// The number of a session: the communicator's address, as far as 32 bits hold it.
std::uint32_t session_of(const Communicator& communicator)
{
    return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(&communicator));
}

}  // namespace

TEST(SmtpCommunicator, EveryRequestOctetByOctet)
{
    for (const Operation& operation : operations()) {
        SCOPED_TRACE(operation.name);
        PlatformDouble platform;
        platform.answer(answer_of(operation.method, 0));
        Communicator communicator;
        EXPECT_EQ(operation.call(communicator), 0u);
        ASSERT_EQ(platform.exchanges().size(), 1u);
        EXPECT_EQ(platform.exchanges()[0].endpoint, "pcie:ntc_email_smtp");
        EXPECT_EQ(platform.exchanges()[0].buffer_size, 4096u);
        EXPECT_EQ(hex_of(platform.request(0)),
                  hex_of(request_of(operation.method, session_of(communicator), operation.rest)));
    }
}

TEST(SmtpCommunicator, EveryRetcodeIsPassedThrough)
{
    for (const Operation& operation : operations()) {
        for (const std::uint32_t code : velorin_test::kRetcodes) {
            SCOPED_TRACE(std::string(operation.name) + " " + std::to_string(code));
            PlatformDouble platform;
            platform.answer(answer_of(operation.method, code));
            Communicator communicator;
            EXPECT_EQ(operation.call(communicator), code);
        }
    }
}

TEST(SmtpCommunicator, AnAnswerWithoutTheOperationsResponseIsZero)
{
    for (const Operation& operation : operations()) {
        SCOPED_TRACE(operation.name);
        const std::string answers[] = {
            "",                                                                           // nothing at all
            octets_of(operation.method.type),                                             // the method alone
            octets_of(operation.method.type) + delimited(operation.method.response, ""),  // response, no code
            // another operation's response
            answer_of(operation.method.type == velorin_test::kConnect.type ? velorin_test::kTest
                                                                           : velorin_test::kConnect,
                      77),
        };
        for (const std::string& answer : answers) {
            SCOPED_TRACE(hex_of(answer));
            PlatformDouble platform;
            platform.answer(answer);
            Communicator communicator;
            EXPECT_EQ(operation.call(communicator), 0u);
        }
    }
}

TEST(SmtpCommunicator, OnlyTheOwnResponseCounts)
{
    for (const Operation& operation : operations()) {
        SCOPED_TRACE(operation.name);
        PlatformDouble platform;
        std::string answer;
        for (const Operation& other : operations()) {
            const std::uint32_t code = other.name == std::string(operation.name) ? 5 : 99;
            answer += delimited(other.method.response, octets_of("08") + velorin_test::varint(code));
        }
        platform.answer(answer);
        Communicator communicator;
        EXPECT_EQ(operation.call(communicator), 5u);
    }
}

TEST(SmtpCommunicator, AFailedExchangeIsTracedWithTheOperationsName)
{
    for (const Operation& operation : operations()) {
        SCOPED_TRACE(operation.name);
        PlatformDouble platform;
        platform.fail_call(Call::call, 1, 0x99);
        platform.expect_trace(communicator_line("call_esu_method", "emwGENPacketClntCall returns 0x99"));
        platform.expect_trace(communicator_line(operation.name, "call_esu_method() returns 0x21077103"));
        Communicator communicator;
        EXPECT_EQ(operation.call(communicator), kCallFailed);
    }
}

TEST(SmtpCommunicator, AFailedCloseOfTheChannelHidesTheRetcode)
{
    for (const Operation& operation : operations()) {
        SCOPED_TRACE(operation.name);
        PlatformDouble platform;
        platform.answer(answer_of(operation.method, 0));
        platform.fail_call(Call::term, 1, 0x98);
        platform.expect_trace(communicator_line("end_method", "emwGENPacketClntTerm() returns 0x98"));
        platform.expect_trace(communicator_line("call_esu_method", "end_method() returns 0x21077103"));
        platform.expect_trace(communicator_line(operation.name, "call_esu_method() returns 0x21077103"));
        Communicator communicator;
        EXPECT_EQ(operation.call(communicator), kCallFailed);
    }
}

TEST(SmtpCommunicator, AChannelThatCannotBeOpenedFailsEveryOperation)
{
    for (const Operation& operation : operations()) {
        SCOPED_TRACE(operation.name);
        PlatformDouble platform;
        platform.fail_call(Call::init, 1, 0x97);
        platform.expect_kept_pool_blocks(1);
        platform.expect_trace(communicator_line("start_method", "emwGENPacketClntInit() returns 0x97"));
        platform.expect_trace(communicator_line("call_esu_method", "start_method()  0x21077103"));
        platform.expect_trace(communicator_line(operation.name, "call_esu_method() returns 0x21077103"));
        Communicator communicator;
        EXPECT_EQ(operation.call(communicator), kCallFailed);
        EXPECT_EQ(platform.exchanges().size(), 0u);
    }
}

TEST(SmtpCommunicator, EveryRequestOfOneCommunicatorCarriesTheSameSession)
{
    PlatformDouble platform;
    Communicator communicator;
    Communicator other;
    EXPECT_NE(session_of(communicator), session_of(other));
    std::size_t index = 0;
    for (const Operation& operation : operations()) {
        SCOPED_TRACE(operation.name);
        platform.answer("");
        platform.answer("");
        EXPECT_EQ(operation.call(communicator), 0u);
        EXPECT_EQ(operation.call(other), 0u);
        EXPECT_EQ(platform.request(index),
                  request_of(operation.method, session_of(communicator), operation.rest));
        EXPECT_EQ(platform.request(index + 1),
                  request_of(operation.method, session_of(other), operation.rest));
        index += 2;
    }
}

TEST(SmtpCommunicator, TheSettingsTravelWhole)
{
    PlatformDouble platform;
    platform.answer("");
    nts_smtp_settings record;
    record.c_server.CopyString("srv", -1);
    record.c_usr_id.CopyString("u", -1);
    record.c_paswd.CopyString("p", -1);
    record.c_host_name.CopyString("h", -1);
    record.auth_kind = 1;
    record.n_port = 465;
    record.n_tmo = 30;
    record.n_size_limit = 0x01000000;
    record.n_pop_wait_time = 2;
    record.b_is_ipv6 = 1;
    record.tlsmode = 2;
    record.sslauth = 1;
    record.sslencrypt = 1;
    velorin::SPOP3Setting pop3_record;
    pop3_record.c_server.CopyString("pop", -1);
    velorin::CntsPOP3Settings pop3(pop3_record);
    record.p_pop3_settings = &pop3;
    Communicator communicator;
    EXPECT_EQ(communicator.call_create_instance(CntsSMTPSettings(record)), 0u);
    const std::string settings =
        octets_of("08 01  12 03 73 72 76  18 D1 03  20 1E"
                  "2A 1B 0A 02 0A 00 12 03 70 6F 70 18 00 22 00 2A 00 30 00 38 00 40 00 48 00 50 00 58 00"
                  "32 01 75  3A 01 70  42 01 68  48 80 80 80 08  50 02  58 01  60 02  68 01  70 01");
    EXPECT_EQ(hex_of(platform.request(0)),
              hex_of(request_of(velorin_test::kCreateInstance, session_of(communicator),
                                delimited("12", settings))));
}

TEST(SmtpCommunicator, TheSizeIsAlwaysPresent)
{
    const struct {
        unsigned long size;
        const char* hex;
    } cases[] = {
        {0, "10 00"},
        {1, "10 01"},
        {127, "10 7F"},
        {128, "10 80 01"},
        {0x7FFFFFFF, "10 FF FF FF FF 07"},
        {0x80000000, "10 80 80 80 80 08"},
        {0xFFFFFFFF, "10 FF FF FF FF 0F"},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.size);
        PlatformDouble platform;
        platform.answer("");
        Communicator communicator;
        EXPECT_EQ(communicator.call_judge_size_of_data(one.size), 0u);
        EXPECT_EQ(
            hex_of(platform.request(0)),
            hex_of(request_of(velorin_test::kJudgeSizeOfData, session_of(communicator), octets_of(one.hex))));
    }
}

TEST(SmtpCommunicator, ASizeThatThirtyTwoBitsDoNotHoldIsJudgedAsTheLargest)
{
    if (sizeof(unsigned long) == 4) return;  // every size fits there
    constexpr int kHalf = 16;
    const unsigned long four_gib = 1ul << kHalf << kHalf;
    for (const unsigned long size : {four_gib, four_gib + 1, four_gib * 2 + 5, ~0ul}) {
        SCOPED_TRACE(size);
        PlatformDouble platform;
        platform.answer("");
        Communicator communicator;
        EXPECT_EQ(communicator.call_judge_size_of_data(size), 0u);
        EXPECT_EQ(platform.request(0), request_of(velorin_test::kJudgeSizeOfData, session_of(communicator),
                                                  octets_of("10 FF FF FF FF 0F")));
    }
}
