// The session that sends: opening, control operations, end; the communicator by itself.
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "CntsSMTPBoundary.h"
#include "CntsSMTPSettings.h"

#include "exchange.h"
#include "ntc_email_esu_smtp_main_communicator.h"
#include "scenario.h"
#include "smtp_support.h"

namespace velorin_test::sweep {

namespace {

using velorin::CntsSMTPBoundary;
using Communicator = velorin::ntc_email_esu_smtp_main_communicator;
using Envelope = velorin::ntc_email_esu_smtp_method;

constexpr long long kRetcode = 0x1234567;  // what the service says

// An operation that sends nothing but the session, and gives back the answer's code.
struct Control {
    const char* name;
    const char* method;
    const char* operation;  // as it is exported
    const char* call;
    std::uint32_t (*run)(CntsSMTPBoundary&);
    std::function<std::int32_t(const Envelope&)> retcode;
    std::function<void(Envelope&)> answer;
};

template <typename Response>
Control control(const char* name, const char* method, const char* operation, const char* call,
                std::uint32_t (*run)(CntsSMTPBoundary&), const Response& (Envelope::*read)() const,
                Response* (Envelope::*write)())
{
    return Control{name,
                   method,
                   operation,
                   call,
                   run,
                   [read](const Envelope& answer) { return (answer.*read)().retcode(); },
                   [write](Envelope& answer) { (answer.*write)()->set_retcode(kRetcode); }};
}

Scenario control_scenario(const Control& control)
{
    return {control.name, {control.operation, control.call}, [control](PlatformDouble& platform) {
                const std::shared_ptr<CntsSMTPBoundary> session = open_smtp_session(platform);
                Trial trial;
                trial.run = [=](Outcome& given) { given.add("result", control.run(*session)); };
                trial.model = [=](Replay& replay, Outcome& expected) {
                    const auto answer = replay_exchange<Envelope>(replay, kSmtpChannel, control.method);
                    expected.add("result",
                                 answer ? static_cast<std::uint32_t>(control.retcode(*answer)) : kCallFailed);
                };
                trial.service = [=](const Exchange&) {
                    Envelope answer;
                    control.answer(answer);
                    return answer_with(answer);
                };
                return trial;
            }};
}

// Opens a session and asks it whether it is there: without one nothing is sent.
Scenario opening()
{
    return {
        "smtp session, first of the process",
        {"CntsSMTPBoundary::CntsSMTPBoundary(CntsSMTPSettings const&)",
         "ntc_email_esu_smtp_main_communicator::call_create_instance(CntsSMTPSettings const&)",
         "ntc_email_esu_smtp_main_communicator::ntc_email_esu_smtp_main_communicator()"},
        [](PlatformDouble&) {
            const auto settings = std::make_shared<velorin::CntsSMTPSettings>(smtp_record());
            const auto session = std::make_shared<std::unique_ptr<CntsSMTPBoundary>>();
            Trial trial;
            trial.run = [=](Outcome& given) {
                Communicator::_semid = 0;
                *session = std::make_unique<CntsSMTPBoundary>(*settings);
                given.add("connected", (*session)->Connect());
            };
            trial.model = [](Replay& replay, Outcome& expected) {
                replay.semaphore_exists = false;
                const auto created = replay_exchange<Envelope>(replay, kSmtpChannel, "call_create_instance");
                const std::uint32_t code =
                    created ? static_cast<std::uint32_t>(created->create_instance_res().retcode())
                            : kCallFailed;
                if (code != 0) {
                    replay.line(
                        session_line(kSmtpChannel, "CntsSMTPBoundary", "call_create_instance()", code));
                    expected.add("connected", kCallFailed);
                    return;
                }
                const auto answer = replay_exchange<Envelope>(replay, kSmtpChannel, "call_connect");
                expected.add("connected", answer ? static_cast<std::uint32_t>(answer->connect_res().retcode())
                                                 : kCallFailed);
            };
            Outcome nobody;
            nobody.add("connected", kCallFailed);
            trial.without_memory = {
                {nobody,
                 {"CntsSMTPBoundary::CntsSMTPBoundary():[Return]:ntc_email_esu_smtp_main_communicator "
                  "constructor() returns NULL\n"}}};
            return trial;
        },
        Again::never};
}

Scenario ending()
{
    return {
        "smtp session, end",
        {"CntsSMTPBoundary::~CntsSMTPBoundary()",
         "ntc_email_esu_smtp_main_communicator::call_destroy_instance()",
         "ntc_email_esu_smtp_main_communicator::~ntc_email_esu_smtp_main_communicator()"},
        [](PlatformDouble& platform) {
            const auto session =
                std::make_shared<std::shared_ptr<CntsSMTPBoundary>>(open_smtp_session(platform));
            Trial trial;
            trial.run = [=](Outcome&) { session->reset(); };
            trial.model = [](Replay& replay, Outcome&) {
                const auto answer = replay_exchange<Envelope>(replay, kSmtpChannel, "call_destroy_instance");
                const std::uint32_t code =
                    answer ? static_cast<std::uint32_t>(answer->destroy_instance_res().retcode())
                           : kCallFailed;
                if (code != 0) {
                    replay.line(
                        session_line(kSmtpChannel, "~CntsSMTPBoundary", "call_destroy_instance()", code));
                }
            };
            trial.without_memory = {
                {Outcome(),
                 {session_line(kSmtpChannel, "~CntsSMTPBoundary", "call_destroy_instance()", kCallFailed)}}};
            trial.may_throw = false;
            return trial;
        },
        Again::never};
}

// A session that the service refused is there and does nothing.
Scenario refused()
{
    return {
        "smtp session, refused", {}, [](PlatformDouble& platform) {
            platform.on_exchange([](const Exchange&) {
                Envelope answer;
                answer.mutable_create_instance_res()->set_retcode(5);
                return answer_with(answer);
            });
            const auto session = std::make_shared<CntsSMTPBoundary>(velorin::CntsSMTPSettings(smtp_record()));
            platform.take_traces();
            const std::shared_ptr<velorin::CntsSMTPSendMail> mail = send_mail();
            Trial trial;
            trial.run = [=](Outcome& given) {
                for (const std::uint32_t result :
                     {session->Connect(), session->Test(), session->Abort(), session->JudgeSizeofData(1),
                      session->SendHeader(*mail), session->SendBody(*mail), session->SendPartHeader(*mail),
                      session->SendPartBody(*mail), session->Close(*mail)})
                    given.add("result", result);
            };
            trial.model = [](Replay&, Outcome& expected) {
                for (int i = 0; i < 9; ++i)
                    expected.add("result", kCallFailed);
            };
            trial.may_throw = false;
            return trial;
        }};
}

// One exchange without a session around it.
Scenario exchange()
{
    return {"smtp communicator, one exchange",
            {"ServiceChannel<SmtpProtocol>::call_esu_method(ntc_email_esu_smtp_method&, "
             "ntc_email_esu_smtp_method&)",
             "ServiceChannel<SmtpProtocol>::ServiceChannel()"},
            [](PlatformDouble&) {
                const std::shared_ptr<Communicator> communicator(new Communicator);
                Trial trial;
                trial.run = [=](Outcome& given) {
                    Envelope request;
                    request.set_method_type(velorin::NTC_EMAIL_ESU_SMTP_METHOD_TEST);
                    Envelope answer;
                    given.add("result", communicator->call_esu_method(request, answer));
                };
                trial.model = [](Replay& replay, Outcome& expected) {
                    const auto answer = replay_esu_method<Envelope>(replay, kSmtpChannel);
                    expected.add("result", answer ? 0 : kCallFailed);
                };
                return trial;
            }};
}

Scenario start_and_end()
{
    return {"smtp communicator, start and end",
            {"ServiceChannel<SmtpProtocol>::start_method()", "ServiceChannel<SmtpProtocol>::end_method()",
             "ServiceChannel<SmtpProtocol>::~ServiceChannel()"},
            [](PlatformDouble&) {
                const std::shared_ptr<Communicator> communicator(new Communicator);
                Trial trial;
                trial.run = [=](Outcome& given) {
                    given.add("start", communicator->start_method());
                    given.add("end", communicator->end_method());
                    given.add("end again", communicator->end_method());
                };
                trial.model = [](Replay& replay, Outcome& expected) {
                    const bool is_started = replay_start(replay, kSmtpChannel);
                    expected.add("start", is_started ? 0 : kCallFailed);
                    const bool is_ended = !is_started || replay_end(replay, kSmtpChannel);
                    expected.add("end", is_ended ? 0 : kCallFailed);
                    expected.add("end again", 0);
                };
                trial.may_throw = false;
                return trial;
            }};
}

}  // namespace

Scenarios smtp_session_scenarios()
{
    Scenarios all = {opening(), ending(), refused(), exchange(), start_and_end()};
    const Control controls[] = {
        control(
            "smtp connect", "call_connect", "CntsSMTPBoundary::Connect()",
            "ntc_email_esu_smtp_main_communicator::call_connect()",
            [](CntsSMTPBoundary& session) { return session.Connect(); }, &Envelope::connect_res,
            &Envelope::mutable_connect_res),
        control(
            "smtp test", "call_test", "CntsSMTPBoundary::Test()",
            "ntc_email_esu_smtp_main_communicator::call_test()",
            [](CntsSMTPBoundary& session) { return session.Test(); }, &Envelope::test_res,
            &Envelope::mutable_test_res),
        control(
            "smtp abort", "call_abort", "CntsSMTPBoundary::Abort()",
            "ntc_email_esu_smtp_main_communicator::call_abort()",
            [](CntsSMTPBoundary& session) { return session.Abort(); }, &Envelope::abort_res,
            &Envelope::mutable_abort_res),
        control(
            "smtp judge size", "call_judge_size_of_data", "CntsSMTPBoundary::JudgeSizeofData(unsigned long)",
            "ntc_email_esu_smtp_main_communicator::call_judge_size_of_data(unsigned long)",
            [](CntsSMTPBoundary& session) { return session.JudgeSizeofData(70000); },
            &Envelope::judge_size_of_data_res, &Envelope::mutable_judge_size_of_data_res),
    };
    for (const Control& control : controls)
        all.push_back(control_scenario(control));
    return all;
}

}  // namespace velorin_test::sweep
