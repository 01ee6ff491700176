// The POP3 session: how it begins and ends.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <string>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "operator_new.h"
#include "platform_double.h"
#include "pop3_service.h"

using testing::IsEmpty;
using velorin::CntsMLUTLMailAddress;
using velorin::CntsPOP3Boundary;
using velorin::CntsPOP3MailInfo;
using velorin::CntsPOP3MailInfoList;
using velorin::CntsPOP3ReceiveMail;
using velorin_test::answer_of;
using velorin_test::Call;
using velorin_test::communicator_line;
using velorin_test::delimited;
using velorin_test::empty_settings;
using velorin_test::fail_exchange;
using velorin_test::hex_of;
using velorin_test::kCallFailed;
using velorin_test::kCreateInstance;
using velorin_test::kDestroyInstance;
using velorin_test::kReceiveHeaderOnly;
using velorin_test::live_nothrow_news;
using velorin_test::octets_of;
using velorin_test::PlatformDouble;
using velorin_test::request_of;
using velorin_test::session_in_create;
using velorin_test::session_line;
using velorin_test::settings;

namespace {

// Every operation of a session without its communicator returns the same, changes nothing and sends nothing.
void expect_dead(CntsPOP3Boundary& session, const PlatformDouble& platform)
{
    const std::size_t calls_before = platform.calls().size();
    CntsPOP3MailInfoList list(3);
    ASSERT_EQ(list.AddMailInfo(new CntsPOP3MailInfo(1, "a", 2, 1), 0), 1);
    CntsPOP3MailInfo info(4, "b", 5, 6);
    CntsPOP3ReceiveMail mail(info);
    int count = 77;
    EXPECT_EQ(session.Test(), kCallFailed);
    EXPECT_EQ(session.Connect(), kCallFailed);
    EXPECT_EQ(session.Stat(count), kCallFailed);
    EXPECT_EQ(count, 77);
    EXPECT_EQ(session.Close(), kCallFailed);
    EXPECT_EQ(session.Noop(), kCallFailed);
    EXPECT_EQ(session.List(list, 1), kCallFailed);
    EXPECT_EQ(session.ListNext(list, info), kCallFailed);
    EXPECT_EQ(session.DeleteByUID(list, mail), kCallFailed);
    EXPECT_EQ(session.ReceiveHeader(mail, 1), kCallFailed);
    EXPECT_EQ(session.ReceiveHeaderOnly(mail, 1), kCallFailed);
    EXPECT_EQ(session.ReceiveBody(mail), kCallFailed);
    EXPECT_EQ(session.ReceivePartHeader(mail, 1), kCallFailed);
    EXPECT_EQ(session.ReceivePartBody(mail), kCallFailed);
    EXPECT_EQ(session.SkipMail(mail), kCallFailed);
    EXPECT_EQ(session.SkipPart(mail), kCallFailed);
    EXPECT_EQ(session.Delete(mail), kCallFailed);
    EXPECT_EQ(session.RefMailAddress().m_cAddress.GetString(), nullptr);
    EXPECT_EQ(&session.RefMailAddress(), &session.RefMailAddress());
    EXPECT_EQ(list.m_cList.GetCount(), 1);
    EXPECT_EQ(info.m_nId, 4);
    EXPECT_EQ(platform.calls().size(), calls_before);
}

}  // namespace

TEST(Pop3Session, CreationSendsTheSettings)
{
    PlatformDouble platform;
    platform.answer(answer_of(kCreateInstance, "08", 0));
    CntsPOP3Boundary session(settings());
    ASSERT_EQ(platform.exchanges().size(), 1u);
    EXPECT_EQ(platform.exchanges()[0].endpoint, std::string("pcie:") + "ntc_email_pop3");
    EXPECT_EQ(platform.exchanges()[0].buffer_size, 8192u);
    EXPECT_EQ(hex_of(platform.request(0)),
              hex_of(request_of(kCreateInstance, session_in_create(platform.request(0)),
                                delimited("12", empty_settings()))));
    platform.answer("");
}

TEST(Pop3Session, CreationSendsEverySetting)
{
    PlatformDouble platform;
    velorin::SPOP3Setting record;
    record.c_address = CntsMLUTLMailAddress("me@b");
    record.c_server.CopyString("srv", -1);
    record.n_port = 110;
    record.c_user_id.CopyString("usr", -1);
    record.c_passwd.CopyString("pwd", -1);
    record.is_apop = 1;
    record.n_timeout = 60;
    record.b_is_ipv6 = 2;
    record.n_tls_mode = 1;
    record.n_ssl_auth = 2;
    record.n_ssl_encrypt = 255;
    platform.answer("");
    CntsPOP3Boundary session{velorin::CntsPOP3Settings(record)};
    EXPECT_EQ(hex_of(platform.request(0)),
              hex_of(request_of(kCreateInstance, session_in_create(platform.request(0)),
                                delimited("12", octets_of("0A 06 0A 04 6D 65 40 62 12 03 73 72 76 18 6E "
                                                          "22 03 75 73 72 2A 03 70 77 64 30 01 38 3C 40 00 "
                                                          "48 01 50 02 58 FF 01")))));
    platform.answer("");
}

TEST(Pop3Session, TheEndSendsOneDestroyAndDeletesTheCommunicator)
{
    PlatformDouble platform;
    const long before = live_nothrow_news();
    platform.answer("");
    auto session = std::make_unique<CntsPOP3Boundary>(settings());
    EXPECT_EQ(live_nothrow_news(), before + 1) << "the communicator";
    platform.answer(answer_of(kDestroyInstance, "08", 0));
    session.reset();
    ASSERT_EQ(platform.exchanges().size(), 2u);
    EXPECT_EQ(hex_of(platform.request(1)),
              hex_of(request_of(kDestroyInstance, session_in_create(platform.request(0)))));
    EXPECT_EQ(live_nothrow_news(), before);
}

TEST(Pop3Session, ItEndsThroughItsBaseToo)
{
    PlatformDouble platform;
    platform.answer("");
    CutlCPLBObject* const session = new CntsPOP3Boundary(settings());
    platform.answer("");
    delete session;
    EXPECT_EQ(hex_of(platform.request(1)),
              hex_of(request_of(kDestroyInstance, session_in_create(platform.request(0)))));
}

TEST(Pop3Session, HasNoCopies)
{
    EXPECT_TRUE(std::has_virtual_destructor<CntsPOP3Boundary>::value);
    EXPECT_FALSE(std::is_copy_constructible<CntsPOP3Boundary>::value);
    EXPECT_FALSE(std::is_copy_assignable<CntsPOP3Boundary>::value);
}

TEST(Pop3Session, ARefusedCreationLeavesASessionThatDoesNothing)
{
    const struct {
        std::uint32_t code;
        const char* hex;
    } cases[] = {
        {1, "0x1"},
        {0x2108000A, "0x2108000a"},
        {kCallFailed, "0x21077103"},
        {0xFFFFFFFF, "0xffffffff"},
        {0x80000000, "0x80000000"},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.hex);
        PlatformDouble platform;
        const long before = live_nothrow_news();
        platform.answer(answer_of(kCreateInstance, "08", one.code));
        platform.expect_trace(
            session_line("CntsPOP3Boundary", std::string("call_create_instance() returns ") + one.hex));
        {
            CntsPOP3Boundary session(settings());
            EXPECT_EQ(live_nothrow_news(), before) << "the communicator is deleted at once";
            EXPECT_TRUE(platform.verify());
            expect_dead(session, platform);
        }
        EXPECT_EQ(platform.exchanges().size(), 1u) << "no destroy request";
    }
}

TEST(Pop3Session, AFailedCreationIsTracedFromTheChannelUp)
{
    PlatformDouble platform;
    const long before = live_nothrow_news();
    fail_exchange(platform, "call_create_instance");
    platform.expect_trace(session_line("CntsPOP3Boundary", "call_create_instance() returns 0x21077103"));
    {
        CntsPOP3Boundary session(settings());
        expect_dead(session, platform);
        EXPECT_EQ(live_nothrow_news(), before);
    }
    EXPECT_EQ(platform.exchanges().size(), 1u);
}

TEST(Pop3Session, WithoutMemoryForTheReceiveBufferNothingIsSent)
{
    PlatformDouble platform;
    platform.fail_call(Call::pool_alloc, 1, 0x9);
    platform.expect_trace(communicator_line("call_esu_method", "emwOSWAllocMem returns 0x9"));
    platform.expect_trace(communicator_line("call_create_instance", "call_esu_method() returns 0x21077103"));
    platform.expect_trace(session_line("CntsPOP3Boundary", "call_create_instance() returns 0x21077103"));
    CntsPOP3Boundary session(settings());
    EXPECT_THAT(platform.exchanges(), IsEmpty());
}

TEST(Pop3Session, WithoutMemoryForTheCommunicatorNothingIsSent)
{
    PlatformDouble platform;
    const long before = live_nothrow_news();
    const velorin::CntsPOP3Settings own_settings = settings();
    platform.expect_trace(session_line("CntsPOP3Boundary", "get_instance() returns NULL"));
    {
        velorin_test::fail_nothrow_new(1);
        CntsPOP3Boundary session(own_settings);
        velorin_test::fail_nothrow_new(0);
        EXPECT_EQ(live_nothrow_news(), before);
        EXPECT_TRUE(platform.verify());
        expect_dead(session, platform);
    }
    EXPECT_THAT(platform.calls(), IsEmpty());
}

// Messages are made with new; what it throws is the caller's to catch, and leaves nothing behind.
TEST(Pop3Session, WithoutMemoryForTheRequestTheConstructorThrows)
{
    PlatformDouble platform;
    const velorin::CntsPOP3Settings own_settings = settings();
    const long before = live_nothrow_news();
    int thrown = 0;
    for (int nth = 1; platform.calls().empty(); ++nth) {  // until the request is made
        platform.on_exchange([](const velorin_test::Exchange&) { return velorin_test::Answer{}; });
        alignas(CntsPOP3Boundary) unsigned char place[sizeof(CntsPOP3Boundary)];  // no new of its own
        velorin_test::fail_new(nth);
        try {
            CntsPOP3Boundary* const made = ::new (place) CntsPOP3Boundary(own_settings);
            velorin_test::fail_new(0);
            made->~CntsPOP3Boundary();
        } catch (const std::bad_alloc&) {
            velorin_test::fail_new(0);
            ++thrown;
        }
        EXPECT_EQ(live_nothrow_news(), before) << "the communicator is deleted";
        EXPECT_EQ(platform.held_semaphores(), 0u);
        EXPECT_EQ(platform.open_channels(), 0u);
        ASSERT_LT(nth, 1000);
    }
    EXPECT_GE(thrown, 2) << "the request and its settings";
}

TEST(Pop3Session, WithoutMemoryForTheDestroyRequestNothingLeavesTheDestructor)
{
    PlatformDouble platform;
    const long before = live_nothrow_news();
    platform.answer("");
    auto session = std::make_unique<CntsPOP3Boundary>(settings());
    platform.expect_trace(session_line("~CntsPOP3Boundary", "call_destroy_instance() returns 0x21077103"));
    velorin_test::fail_new(1);
    session.reset();
    velorin_test::fail_new(0);
    EXPECT_EQ(platform.exchanges().size(), 1u) << "no destroy request";
    EXPECT_EQ(live_nothrow_news(), before + 1) << "as after any failed destroy";
}

// The service's answer to a destroy is never looked at: the code is read from another response.
TEST(Pop3Session, ADestroyThatTheServiceRefusesIsGoodAllTheSame)
{
    for (const std::uint32_t code : {1u, 0x21080001u, 0xFFFFFFFFu}) {
        PlatformDouble platform;
        const long before = live_nothrow_news();
        platform.answer("");
        auto session = std::make_unique<CntsPOP3Boundary>(settings());
        platform.answer(answer_of(kDestroyInstance, "08", code));
        session.reset();
        EXPECT_EQ(live_nothrow_news(), before);
    }
}

TEST(Pop3Session, TheCodeOfADestroyIsTheOneOfReceiveHeaderOnly)
{
    PlatformDouble platform;
    const long before = live_nothrow_news();
    platform.answer("");
    auto session = std::make_unique<CntsPOP3Boundary>(settings());
    ASSERT_EQ(live_nothrow_news(), before + 1);
    platform.answer(octets_of("08 13") + delimited(kReceiveHeaderOnly.response, octets_of("10 05")) +
                    delimited(kDestroyInstance.response, octets_of("08 00")));
    platform.expect_trace(session_line("~CntsPOP3Boundary", "call_destroy_instance() returns 0x5"));
    session.reset();
    EXPECT_EQ(live_nothrow_news(), before + 1) << "kept: the service may still hold the session";
}

TEST(Pop3Session, AFailedDestroyKeepsTheCommunicator)
{
    PlatformDouble platform;
    const long before = live_nothrow_news();
    platform.answer("");
    auto session = std::make_unique<CntsPOP3Boundary>(settings());
    ASSERT_EQ(live_nothrow_news(), before + 1);
    fail_exchange(platform, "call_destroy_instance");
    platform.expect_trace(session_line("~CntsPOP3Boundary", "call_destroy_instance() returns 0x21077103"));
    session.reset();
    EXPECT_EQ(live_nothrow_news(), before + 1);
    EXPECT_EQ(platform.exchanges().size(), 2u) << "asked once, not again";
}

TEST(Pop3Session, SessionsThatLiveTogetherHaveDifferentNumbers)
{
    PlatformDouble platform;
    platform.on_exchange([](const velorin_test::Exchange&) { return velorin_test::Answer{}; });
    std::vector<std::unique_ptr<CntsPOP3Boundary>> sessions;
    std::vector<std::uint32_t> numbers;
    for (std::size_t index = 0; index < 20; ++index) {
        sessions.push_back(std::make_unique<CntsPOP3Boundary>(settings()));
        const std::uint32_t number = session_in_create(platform.request(index));
        EXPECT_THAT(numbers, testing::Not(testing::Contains(number)));
        numbers.push_back(number);
    }
    for (std::size_t index = 0; index < sessions.size(); ++index) {
        sessions[index].reset();
        EXPECT_EQ(platform.request(20 + index), request_of(kDestroyInstance, numbers[index]));
    }
}
