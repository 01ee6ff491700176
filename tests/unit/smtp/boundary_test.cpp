// The SMTP session: how it begins and ends, and its control operations.
#include <cstdint>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "CntsSMTPBoundary.h"
#include "ntc_email_esu_smtp_main_communicator.h"
#include "operator_new.h"
#include "platform_double.h"
#include "smtp_service.h"
#include "wire_octets.h"

using testing::IsEmpty;
using velorin::CntsSMTPBoundary;
using velorin::CntsSMTPSendMail;
using velorin::CntsSMTPSettings;
using velorin::nts_smtp_settings;
using velorin_test::answer_of;
using velorin_test::Call;
using velorin_test::communicator_line;
using velorin_test::delimited;
using velorin_test::empty_settings;
using velorin_test::hex_of;
using velorin_test::kCallFailed;
using velorin_test::kCreateInstance;
using velorin_test::kDestroyInstance;
using velorin_test::live_nothrow_news;
using velorin_test::octets_of;
using velorin_test::PlatformDouble;
using velorin_test::request_of;
using velorin_test::session_in_create;
using velorin_test::session_line;
using velorin_test::SmtpMethod;

namespace {

CntsSMTPSettings settings()
{
    return CntsSMTPSettings(nts_smtp_settings());
}

// Every operation of a session without its communicator returns the same and sends nothing.
void expect_dead(CntsSMTPBoundary& session, const PlatformDouble& platform)
{
    const std::size_t calls_before = platform.calls().size();
    CntsSMTPSendMail mail;
    EXPECT_EQ(session.Connect(), kCallFailed);
    EXPECT_EQ(session.Test(), kCallFailed);
    EXPECT_EQ(session.Abort(), kCallFailed);
    EXPECT_EQ(session.JudgeSizeofData(0), kCallFailed);
    EXPECT_EQ(session.JudgeSizeofData(1000), kCallFailed);
    EXPECT_EQ(session.SendHeader(mail), kCallFailed);
    EXPECT_EQ(session.SendBody(mail), kCallFailed);
    EXPECT_EQ(session.SendPartHeader(mail), kCallFailed);
    EXPECT_EQ(session.SendPartBody(mail), kCallFailed);
    EXPECT_EQ(session.Close(mail), kCallFailed);
    EXPECT_EQ(platform.calls().size(), calls_before);
}

struct Control {
    const char* name;
    const char* call_name;
    SmtpMethod method;
    std::string rest;
    std::function<std::uint32_t(CntsSMTPBoundary&)> call;
};

std::vector<Control> controls()
{
    return {
        {"Connect", "call_connect", velorin_test::kConnect, "",
         [](CntsSMTPBoundary& session) { return session.Connect(); }},
        {"Test", "call_test", velorin_test::kTest, "",
         [](CntsSMTPBoundary& session) { return session.Test(); }},
        {"Abort", "call_abort", velorin_test::kAbort, "",
         [](CntsSMTPBoundary& session) { return session.Abort(); }},
        {"JudgeSizeofData", "call_judge_size_of_data", velorin_test::kJudgeSizeOfData, octets_of("10 E8 07"),
         [](CntsSMTPBoundary& session) { return session.JudgeSizeofData(1000); }},
    };
}

// A session with a good creation behind it; the destroy answer is scripted by the test.
class Session {
public:
    explicit Session(PlatformDouble& platform)
    {
        platform.answer(answer_of(kCreateInstance, 0));
        session_ = std::make_unique<CntsSMTPBoundary>(settings());
        number_ = session_in_create(platform.request(platform.exchanges().size() - 1));
    }
    CntsSMTPBoundary& operator*() { return *session_; }
    CntsSMTPBoundary* operator->() { return session_.get(); }
    std::uint32_t number() const { return number_; }
    void end() { session_.reset(); }

private:
    std::unique_ptr<CntsSMTPBoundary> session_;
    std::uint32_t number_ = 0;
};

}  // namespace

TEST(SmtpSession, CreationSendsTheSettings)
{
    PlatformDouble platform;
    Session session(platform);
    ASSERT_EQ(platform.exchanges().size(), 1u);
    EXPECT_EQ(hex_of(platform.request(0)),
              hex_of(request_of(kCreateInstance, session.number(), delimited("12", empty_settings()))));
    platform.answer(answer_of(kDestroyInstance, 0));
}

TEST(SmtpSession, TheEndSendsOneDestroyThoughItNeverConnected)
{
    PlatformDouble platform;
    const long before = live_nothrow_news();
    Session session(platform);
    EXPECT_EQ(live_nothrow_news(), before + 1) << "the communicator";
    platform.answer(answer_of(kDestroyInstance, 0));
    session.end();
    ASSERT_EQ(platform.exchanges().size(), 2u);
    EXPECT_EQ(hex_of(platform.request(1)), hex_of(request_of(kDestroyInstance, session.number())));
    EXPECT_EQ(live_nothrow_news(), before);
}

TEST(SmtpSession, ItEndsThroughItsBaseToo)
{
    PlatformDouble platform;
    platform.answer("");
    CutlCPLBObject* const session = new CntsSMTPBoundary(settings());
    const std::uint32_t number = session_in_create(platform.request(0));
    platform.answer("");
    delete session;
    EXPECT_EQ(hex_of(platform.request(1)), hex_of(request_of(kDestroyInstance, number)));
}

TEST(SmtpSession, HasTwoStatesAndNoCopies)
{
    EXPECT_TRUE(std::has_virtual_destructor<CntsSMTPBoundary>::value);
    EXPECT_FALSE(std::is_copy_constructible<CntsSMTPBoundary>::value);
    EXPECT_FALSE(std::is_copy_assignable<CntsSMTPBoundary>::value);
}

TEST(SmtpSession, ARefusedCreationLeavesASessionThatDoesNothing)
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
        platform.answer(answer_of(kCreateInstance, one.code));
        platform.expect_trace(
            session_line("CntsSMTPBoundary", std::string("::call_create_instance() returns ") + one.hex));
        {
            CntsSMTPBoundary session(settings());
            EXPECT_EQ(live_nothrow_news(), before) << "the communicator is deleted at once";
            EXPECT_TRUE(platform.verify());
            expect_dead(session, platform);
        }
        EXPECT_EQ(platform.exchanges().size(), 1u) << "no destroy request";
    }
}

TEST(SmtpSession, AFailedCreationIsTracedFromTheChannelUp)
{
    PlatformDouble platform;
    const long before = live_nothrow_news();
    platform.fail_call(Call::call, 1, 0x55);
    platform.expect_trace(communicator_line("call_esu_method", "emwGENPacketClntCall returns 0x55"));
    platform.expect_trace(communicator_line("call_create_instance", "call_esu_method() returns 0x21077103"));
    platform.expect_trace(session_line("CntsSMTPBoundary", "::call_create_instance() returns 0x21077103"));
    {
        CntsSMTPBoundary session(settings());
        expect_dead(session, platform);
        EXPECT_EQ(live_nothrow_news(), before);
    }
    EXPECT_EQ(platform.exchanges().size(), 1u);
}

TEST(SmtpSession, ACreationThatOnlyFailsToCloseTheChannelIsFailed)
{
    PlatformDouble platform;
    platform.answer(answer_of(kCreateInstance, 0));
    platform.fail_call(Call::term, 1, 0x56);
    platform.expect_trace(communicator_line("end_method", "emwGENPacketClntTerm() returns 0x56"));
    platform.expect_trace(communicator_line("call_esu_method", "end_method() returns 0x21077103"));
    platform.expect_trace(communicator_line("call_create_instance", "call_esu_method() returns 0x21077103"));
    platform.expect_trace(session_line("CntsSMTPBoundary", "::call_create_instance() returns 0x21077103"));
    {
        CntsSMTPBoundary session(settings());
        expect_dead(session, platform);
    }
    EXPECT_EQ(platform.exchanges().size(), 1u);
}

TEST(SmtpSession, WithoutMemoryForTheCommunicatorNothingIsSent)
{
    PlatformDouble platform;
    const long before = live_nothrow_news();
    const CntsSMTPSettings own_settings = settings();
    platform.expect_trace(session_line("CntsSMTPBoundary", " constructor() returns NULL"));
    {
        velorin_test::fail_nothrow_new(1);
        CntsSMTPBoundary session(own_settings);
        velorin_test::fail_nothrow_new(0);
        EXPECT_EQ(live_nothrow_news(), before);
        EXPECT_TRUE(platform.verify());
        expect_dead(session, platform);
    }
    EXPECT_THAT(platform.calls(), IsEmpty());
}

// Messages are made with new; what it throws is the caller's to catch, and leaves nothing behind.
TEST(SmtpSession, WithoutMemoryForTheRequestTheConstructorThrows)
{
    PlatformDouble platform;
    const CntsSMTPSettings own_settings = settings();
    const long before = live_nothrow_news();
    int thrown = 0;
    for (int nth = 1; platform.calls().empty(); ++nth) {  // until the request is made
        platform.on_exchange([](const velorin_test::Exchange&) { return velorin_test::Answer{}; });
        alignas(CntsSMTPBoundary) unsigned char
            place[sizeof(CntsSMTPBoundary)];  // on the stack: no new of its own
        velorin_test::fail_new(nth);
        try {
            CntsSMTPBoundary* const made = ::new (place) CntsSMTPBoundary(own_settings);
            velorin_test::fail_new(0);
            made->~CntsSMTPBoundary();
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

TEST(SmtpSession, WithoutMemoryForTheDestroyRequestNothingLeavesTheDestructor)
{
    PlatformDouble platform;
    const long before = live_nothrow_news();
    Session session(platform);
    platform.expect_trace(session_line("~CntsSMTPBoundary", "::call_destroy_instance() returns 0x21077103"));
    velorin_test::fail_new(1);
    session.end();
    velorin_test::fail_new(0);
    EXPECT_EQ(live_nothrow_news(), before);
    EXPECT_EQ(platform.exchanges().size(), 1u) << "no destroy request";
}

TEST(SmtpSessionControl, WithoutMemoryForTheRequestTheOperationThrowsAndNothingIsSent)
{
    for (const Control& control : controls()) {
        SCOPED_TRACE(control.name);
        PlatformDouble platform;
        Session session(platform);
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
        platform.answer(answer_of(control.method, 4));
        EXPECT_EQ(control.call(*session), 4u) << "the session is as it was";
        platform.answer(answer_of(kDestroyInstance, 0));
    }
}

TEST(SmtpSession, AnAnswerWithoutACodeCreatesTheSession)
{
    PlatformDouble platform;
    platform.answer("");
    {
        CntsSMTPBoundary session(settings());
        platform.answer(answer_of(velorin_test::kConnect, 0));
        EXPECT_EQ(session.Connect(), 0u);
        platform.answer("");
    }
    EXPECT_EQ(platform.exchanges().size(), 3u);
}

TEST(SmtpSession, ARefusedDestroyIsTracedAndTheCommunicatorDeletedAnyway)
{
    PlatformDouble platform;
    const long before = live_nothrow_news();
    Session session(platform);
    platform.answer(answer_of(kDestroyInstance, 0x21080001));
    platform.expect_trace(session_line("~CntsSMTPBoundary", "::call_destroy_instance() returns 0x21080001"));
    session.end();
    EXPECT_EQ(live_nothrow_news(), before);
}

TEST(SmtpSession, AFailedDestroyIsTracedAndTheCommunicatorDeletedAnyway)
{
    PlatformDouble platform;
    const long before = live_nothrow_news();
    Session session(platform);
    platform.fail_call(Call::init, 1, 0x57);
    platform.expect_kept_pool_blocks(1);
    platform.expect_trace(communicator_line("start_method", "emwGENPacketClntInit() returns 0x57"));
    platform.expect_trace(communicator_line("call_esu_method", "start_method()  0x21077103"));
    platform.expect_trace(communicator_line("call_destroy_instance", "call_esu_method() returns 0x21077103"));
    platform.expect_trace(session_line("~CntsSMTPBoundary", "::call_destroy_instance() returns 0x21077103"));
    session.end();
    EXPECT_EQ(live_nothrow_news(), before);
    EXPECT_EQ(platform.exchanges().size(), 1u);
}

TEST(SmtpSessionControl, EachSendsTheSessionsNumberAndNoMore)
{
    for (const Control& control : controls()) {
        SCOPED_TRACE(control.name);
        PlatformDouble platform;
        Session session(platform);
        platform.answer(answer_of(control.method, 0));
        EXPECT_EQ(control.call(*session), 0u);
        ASSERT_EQ(platform.exchanges().size(), 2u);
        EXPECT_EQ(hex_of(platform.request(1)),
                  hex_of(request_of(control.method, session.number(), control.rest)));
        platform.answer(answer_of(kDestroyInstance, 0));
    }
}

TEST(SmtpSessionControl, EachPassesTheServicesCodeThrough)
{
    for (const Control& control : controls()) {
        PlatformDouble platform;
        Session session(platform);
        for (const std::uint32_t code : velorin_test::kRetcodes) {
            SCOPED_TRACE(std::string(control.name) + " " + std::to_string(code));
            platform.answer(answer_of(control.method, code));
            EXPECT_EQ(control.call(*session), code);
        }
        platform.answer(answer_of(kDestroyInstance, 0));
    }
}

TEST(SmtpSessionControl, AnAnswerWithoutTheResponseIsZero)
{
    for (const Control& control : controls()) {
        SCOPED_TRACE(control.name);
        PlatformDouble platform;
        Session session(platform);
        platform.answer("");
        EXPECT_EQ(control.call(*session), 0u);
        platform.answer(answer_of(velorin_test::kClose, 5));
        EXPECT_EQ(control.call(*session), 0u);
        platform.answer(answer_of(kDestroyInstance, 0));
    }
}

TEST(SmtpSessionControl, AFailedExchangeLeavesTheSessionUsable)
{
    for (const Control& control : controls()) {
        SCOPED_TRACE(control.name);
        PlatformDouble platform;
        Session session(platform);
        platform.fail_call(Call::call, 1, 0x1234);
        platform.expect_trace(communicator_line("call_esu_method", "emwGENPacketClntCall returns 0x1234"));
        platform.expect_trace(communicator_line(control.call_name, "call_esu_method() returns 0x21077103"));
        EXPECT_EQ(control.call(*session), kCallFailed);
        EXPECT_TRUE(platform.verify());
        platform.answer(answer_of(control.method, 3));
        EXPECT_EQ(control.call(*session), 3u);
        platform.answer(answer_of(kDestroyInstance, 0));
    }
}

TEST(SmtpSessionControl, ASizeOfZeroIsPresent)
{
    PlatformDouble platform;
    Session session(platform);
    platform.answer("");
    EXPECT_EQ(session->JudgeSizeofData(0), 0u);
    EXPECT_EQ(hex_of(platform.request(1)),
              hex_of(request_of(velorin_test::kJudgeSizeOfData, session.number(), octets_of("10 00"))));
    platform.answer(answer_of(kDestroyInstance, 0));
}

TEST(SmtpSessionControl, TheOrderOfOperationsIsNotTheLibrarysToCheck)
{
    PlatformDouble platform;
    Session session(platform);
    CntsSMTPSendMail mail;
    for (int turn = 0; turn < 2; ++turn) {
        platform.answer("");
        EXPECT_EQ(session->Close(mail), 0u);
        platform.answer("");
        EXPECT_EQ(session->Abort(), 0u);
        platform.answer("");
        EXPECT_EQ(session->SendPartBody(mail), 0u);
        platform.answer("");
        EXPECT_EQ(session->Connect(), 0u);
    }
    EXPECT_EQ(platform.exchanges().size(), 9u);
    platform.answer(answer_of(kDestroyInstance, 0));
}

TEST(SmtpSession, SessionsThatLiveTogetherHaveDifferentNumbers)
{
    PlatformDouble platform;
    std::vector<std::unique_ptr<Session>> sessions;
    std::vector<std::uint32_t> numbers;
    for (int count = 0; count < 20; ++count) {
        sessions.push_back(std::make_unique<Session>(platform));
        EXPECT_THAT(numbers, testing::Not(testing::Contains(sessions.back()->number())));
        numbers.push_back(sessions.back()->number());
    }
    for (std::size_t index = 0; index < sessions.size(); ++index) {
        platform.answer(answer_of(kDestroyInstance, 0));
        sessions[index]->end();
        EXPECT_EQ(platform.request(20 + index), request_of(kDestroyInstance, numbers[index]));
    }
}

TEST(SmtpSession, TheSettingsMayGoBeforeTheSession)
{
    PlatformDouble platform;
    platform.answer("");
    std::unique_ptr<CntsSMTPSettings> own_settings = std::make_unique<CntsSMTPSettings>(settings());
    CntsSMTPBoundary session(*own_settings);
    own_settings.reset();
    platform.answer(answer_of(velorin_test::kConnect, 0));
    EXPECT_EQ(session.Connect(), 0u);
    platform.answer(answer_of(kDestroyInstance, 0));
}
