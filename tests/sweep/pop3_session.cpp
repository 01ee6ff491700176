// The session that receives: opening, account operations, mail list, end; the communicator by itself.
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "CntsPOP3Boundary.h"
#include "CntsPOP3Settings.h"

#include "exchange.h"
#include "mail_fields.h"
#include "ntc_email_esu_pop3_main_communicator.h"
#include "operator_new.h"
#include "pop3_support.h"
#include "scenario.h"
#include "smtp_support.h"

namespace velorin_test::sweep {

namespace {

using velorin::CntsPOP3Boundary;
using Communicator = velorin::ntc_email_esu_pop3_main_communicator;
using Envelope = velorin::ntc_email_esu_pop3_method;

constexpr std::int32_t kRetcode = 0x7654321;  // what the service says

const char* const kNoCommunicator = "CntsPOP3Boundary::CntsPOP3Boundary():[Return]:ntc_email_esu_pop3_main_"
                                    "communicator::get_instance() returns NULL\n";

template <typename Response>
Scenario control(const char* name, const char* method, const char* operation,
                 std::uint32_t (CntsPOP3Boundary::*run)(), const Response& (Envelope::*read)() const,
                 Response* (Envelope::*write)())
{
    const std::string of_session = std::string("CntsPOP3Boundary::") + operation + "()";
    const std::string of_communicator = std::string("ntc_email_esu_pop3_main_communicator::") + method + "()";
    return {name, {of_session, of_communicator}, [=](PlatformDouble& platform) {
                const std::shared_ptr<CntsPOP3Boundary> session = open_pop3_session(platform);
                Trial trial;
                trial.run = [=](Outcome& given) { given.add("result", ((*session).*run)()); };
                trial.model = [=](Replay& replay, Outcome& expected) {
                    const auto answer = replay_exchange<Envelope>(replay, kPop3Channel, method);
                    expected.add("result", answer ? static_cast<std::uint32_t>(((*answer).*read)().retcode())
                                                  : kCallFailed);
                };
                trial.service = [=](const Exchange&) {
                    Envelope answer;
                    (answer.*write)()->set_retcode(kRetcode);
                    return answer_with(answer);
                };
                return trial;
            }};
}

Scenario opening()
{
    return {
        "pop3 session, first of the process",
        {"CntsPOP3Boundary::CntsPOP3Boundary(CntsPOP3Settings const&)",
         "ntc_email_esu_pop3_main_communicator::call_create_instance(CntsPOP3Settings const&)",
         "ntc_email_esu_pop3_main_communicator::ntc_email_esu_pop3_main_communicator()"},
        [](PlatformDouble&) {
            const auto settings = std::make_shared<velorin::CntsPOP3Settings>(pop3_record());
            const auto session = std::make_shared<std::unique_ptr<CntsPOP3Boundary>>();
            Trial trial;
            trial.run = [=](Outcome& given) {
                Communicator::_semid = 0;
                *session = std::make_unique<CntsPOP3Boundary>(*settings);
                given.add("connected", (*session)->Connect());
            };
            trial.model = [](Replay& replay, Outcome& expected) {
                replay.semaphore_exists = false;
                const auto created = replay_exchange<Envelope>(replay, kPop3Channel, "call_create_instance");
                const std::uint32_t code =
                    created ? static_cast<std::uint32_t>(created->create_instance_res().retcode())
                            : kCallFailed;
                if (code != 0) {
                    replay.line(
                        session_line(kPop3Channel, "CntsPOP3Boundary", "call_create_instance()", code));
                    expected.add("connected", kCallFailed);
                    return;
                }
                const auto answer = replay_exchange<Envelope>(replay, kPop3Channel, "call_connect");
                expected.add("connected", answer ? static_cast<std::uint32_t>(answer->connect_res().retcode())
                                                 : kCallFailed);
            };
            Outcome nobody;
            nobody.add("connected", kCallFailed);
            trial.without_memory = {{nobody, {kNoCommunicator}}};
            return trial;
        },
        Again::never};
}

// The communicator of a session whose end failed stays, on purpose.
Scenario ending()
{
    return {
        "pop3 session, end",
        {"CntsPOP3Boundary::~CntsPOP3Boundary()",
         "ntc_email_esu_pop3_main_communicator::call_destroy_instance()",
         "ntc_email_esu_pop3_main_communicator::~ntc_email_esu_pop3_main_communicator()"},
        [](PlatformDouble& platform) {
            const auto session =
                std::make_shared<std::shared_ptr<CntsPOP3Boundary>>(open_pop3_session(platform));
            Trial trial;
            trial.run = [=](Outcome&) { session->reset(); };
            trial.model = [](Replay& replay, Outcome&) {
                const auto answer = replay_exchange<Envelope>(replay, kPop3Channel, "call_destroy_instance");
                // The answer of another method is read, on purpose.
                const std::uint32_t code =
                    answer ? static_cast<std::uint32_t>(answer->receive_header_only_res().retcode())
                           : kCallFailed;
                if (code == 0) return;
                replay.line(session_line(kPop3Channel, "~CntsPOP3Boundary", "call_destroy_instance()", code));
                replay.keep_objects(1);
            };
            trial.service = [](const Exchange&) {
                Envelope answer;
                answer.mutable_destroy_instance_res()->set_retcode(kRetcode);
                return answer_with(answer);
            };
            trial.without_memory = {
                {Outcome(),
                 {session_line(kPop3Channel, "~CntsPOP3Boundary", "call_destroy_instance()", kCallFailed)},
                 1}};
            trial.may_throw = false;
            return trial;
        },
        Again::never};
}

Scenario refused()
{
    return {"pop3 session, refused", {}, [](PlatformDouble& platform) {
                platform.on_exchange([](const Exchange&) {
                    Envelope answer;
                    answer.mutable_create_instance_res()->set_retcode(5);
                    return answer_with(answer);
                });
                const auto session =
                    std::make_shared<CntsPOP3Boundary>(velorin::CntsPOP3Settings(pop3_record()));
                platform.take_traces();
                const std::shared_ptr<velorin::CntsPOP3ReceiveMail> mail = receive_mail();
                const std::shared_ptr<velorin::CntsPOP3MailInfoList> list = info_list();
                Trial trial;
                trial.run = [=](Outcome& given) {
                    int count = 77;
                    for (const std::uint32_t result :
                         {session->Test(), session->Connect(), session->Close(), session->Noop(),
                          session->Stat(count), session->List(*list, 0),
                          session->ListNext(*list, mail->m_cMailInfo), session->DeleteByUID(*list, *mail),
                          session->ReceiveHeader(*mail, 1), session->ReceiveHeaderOnly(*mail, 1),
                          session->ReceiveBody(*mail), session->ReceivePartHeader(*mail, 1),
                          session->ReceivePartBody(*mail), session->SkipMail(*mail), session->SkipPart(*mail),
                          session->Delete(*mail)})
                        given.add("result", result);
                    given.add("count", count);
                    given.add("address", session->RefMailAddress().m_cAddress);
                };
                trial.model = [](Replay&, Outcome& expected) {
                    for (int i = 0; i < 16; ++i)
                        expected.add("result", kCallFailed);
                    expected.add("count", 77);
                    expected.add("address", "(null)");
                };
                trial.may_throw = false;
                return trial;
            }};
}

Scenario stat()
{
    return {"pop3 stat",
            {"CntsPOP3Boundary::Stat(int&)", "ntc_email_esu_pop3_main_communicator::call_stat(int&)"},
            [](PlatformDouble& platform) {
                const std::shared_ptr<CntsPOP3Boundary> session = open_pop3_session(platform);
                Trial trial;
                trial.run = [=](Outcome& given) {
                    int count = -1;
                    given.add("result", session->Stat(count));
                    given.add("count", count);
                };
                trial.model = [](Replay& replay, Outcome& expected) {
                    const auto answer = replay_exchange<Envelope>(replay, kPop3Channel, "call_stat");
                    expected.add("result", answer ? static_cast<std::uint32_t>(answer->stat_res().retcode())
                                                  : kCallFailed);
                    expected.add("count", answer ? answer->stat_res().total_num() : -1);
                };
                trial.service = [](const Exchange&) {
                    Envelope answer;
                    answer.mutable_stat_res()->set_total_num(12345);
                    answer.mutable_stat_res()->set_retcode(kRetcode);  // the count counts all the same
                    return answer_with(answer);
                };
                return trial;
            }};
}

Scenario ref_mail_address()
{
    return {
        "pop3 own address",
        {"CntsPOP3Boundary::RefMailAddress()",
         "ntc_email_esu_pop3_main_communicator::call_ref_mail_address(CntsMLUTLMailAddress&)"},
        [](PlatformDouble& platform) {
            const std::shared_ptr<CntsPOP3Boundary> session = open_pop3_session(platform);
            const auto before = std::make_shared<std::string>();
            Trial trial;
            trial.run = [=](Outcome& given) { given.add("address", session->RefMailAddress().m_cAddress); };
            trial.model = [](Replay& replay, Outcome& expected) {
                const auto answer = replay_exchange<Envelope>(replay, kPop3Channel, "call_ref_mail_address");
                if (!answer) {
                    replay.line("<Error> CntsPOP3Boundary::RefMailAddress(): call_ref_mail_address() "
                                "returns [0x21077103]\n");
                }
                const bool is_there = answer && answer->ref_mail_address_res().mail_address().has_c_address();
                expected.add("address",
                             is_there
                                 ? printable(std::string(
                                       answer->ref_mail_address_res().mail_address().c_address().c_str()))
                                 : "(null)");
            };
            trial.service = [](const Exchange&) {
                Envelope answer;
                answer.mutable_ref_mail_address_res()->mutable_mail_address()->set_c_address(
                    "the owner of the mailbox <owner@example.org>");
                return answer_with(answer);
            };
            return trial;
        }};
}

using List = velorin::CntsPOP3MailInfoList;

struct ListState {
    std::shared_ptr<CntsPOP3Boundary> session;
    std::shared_ptr<List> list;
    velorin::CntsPOP3MailInfo info{9, "the unique id that was asked for", 9000, 1};
    std::shared_ptr<velorin::CntsPOP3ReceiveMail> mail;
    ListModel list_before;
    ListModel::Entry info_before;
    std::string request;
};

std::shared_ptr<ListState> list_state(PlatformDouble& platform)
{
    const auto state = std::make_shared<ListState>();
    state->session = open_pop3_session(platform);
    state->list = info_list();
    state->mail = receive_mail();
    return state;
}

// What the request said of the list that is sent, and the list that came back.
template <typename Request>
void add_list(Outcome& given, const ListState& state, const Request& (Envelope::*request)() const)
{
    const SparedNews spared;
    given.add("list", state.list->m_cList.GetCount() >= 0 ? text_of_list(*state.list) : "");
    if (state.request.empty()) return;
    Envelope sent;
    sent.ParseFromString(state.request);
    ListModel in_request;
    Replay nothing_fails({}, {});
    for (const auto& wire : ((sent).*request)().c_info_list().c_list()) {
        in_request.entries.emplace_back();
        apply(wire, in_request.entries.back());
    }
    in_request.most = ((sent).*request)().c_info_list().n_max_list_size();
    given.add("request", in_request.text());
}

void expect_list(Outcome& expected, const ListState& state, const ListModel& list)
{
    expected.add("list", list.text());
    if (!state.request.empty()) expected.add("request", state.list_before.text());
}

// The answer's list replaces the caller's.
template <typename Response>
std::uint32_t take_list(Replay& replay, const char* method, const Response& response, ListModel& list)
{
    if (apply(response.c_info_list(), list, replay)) return static_cast<std::uint32_t>(response.retcode());
    replay.line(code_line(kPop3Channel, method, "convert_pop3_mail_info_list()", kCallFailed));
    return kCallFailed;
}

template <typename Request, typename Response>
Scenario list_scenario(const char* name, const char* method, const char* arguments, const char* operation,
                       std::function<std::uint32_t(ListState&)> run,
                       const Request& (Envelope::*request)() const, const Response& (Envelope::*read)() const,
                       Response* (Envelope::*write)())
{
    const std::string of_session = std::string("CntsPOP3Boundary::") + operation + arguments;
    const std::string of_communicator =
        std::string("ntc_email_esu_pop3_main_communicator::") + method + arguments;
    return {name,
            {of_session, of_communicator},
            [=](PlatformDouble& platform) {
                const std::shared_ptr<ListState> state = list_state(platform);
                Trial trial;
                trial.run = [=](Outcome& given) {
                    {
                        const SparedNews spared;
                        state->request.clear();
                        state->list_before = model_of(*state->list);
                    }
                    given.add("result", run(*state));
                    add_list(given, *state, request);
                };
                trial.model = [=](Replay& replay, Outcome& expected) {
                    ListModel list = state->list_before;
                    const auto answer = replay_exchange<Envelope>(replay, kPop3Channel, method);
                    expected.add("result",
                                 answer ? take_list(replay, method, ((*answer).*read)(), list) : kCallFailed);
                    expect_list(expected, *state, list);
                };
                trial.service = [=](const Exchange& exchange) {
                    state->request = exchange.request;
                    Envelope answer;
                    fill(*(answer.*write)()->mutable_c_info_list());
                    (answer.*write)()->set_retcode(kRetcode);
                    return answer_with(answer);
                };
                return trial;
            },
            Again::as_modelled};
}

Scenario list_next()
{
    return {
        "pop3 list next",
        {"CntsPOP3Boundary::ListNext(CntsPOP3MailInfoList&, CntsPOP3MailInfo&)",
         "ntc_email_esu_pop3_main_communicator::call_list_next(CntsPOP3MailInfoList&, CntsPOP3MailInfo&)"},
        [](PlatformDouble& platform) {
            const std::shared_ptr<ListState> state = list_state(platform);
            Trial trial;
            trial.run = [=](Outcome& given) {
                {
                    const SparedNews spared;
                    state->request.clear();
                    state->list_before = model_of(*state->list);
                    state->info_before = model_of(state->info);
                }
                given.add("result", state->session->ListNext(*state->list, state->info));
                const SparedNews spared;
                given.add("info", text_of_info(state->info));
                add_list(given, *state, &Envelope::list_next_req);
            };
            trial.model = [=](Replay& replay, Outcome& expected) {
                ListModel list = state->list_before;
                ListModel::Entry info = state->info_before;
                const auto answer = replay_exchange<Envelope>(replay, kPop3Channel, "call_list_next");
                std::uint32_t result = kCallFailed;
                if (answer) {
                    result = take_list(replay, "call_list_next", answer->list_next_res(), list);
                    const bool is_taken =
                        replay.expected_lines.empty() ||
                        replay.expected_lines.back().find("call_list_next") == std::string::npos;
                    if (is_taken) apply(answer->list_next_res().c_info(), info);
                }
                expected.add("result", result);
                expected.add("info", text_of(info));
                expect_list(expected, *state, list);
            };
            trial.service = [=](const Exchange& exchange) {
                state->request = exchange.request;
                Envelope answer;
                fill(*answer.mutable_list_next_res()->mutable_c_info_list());
                *answer.mutable_list_next_res()->mutable_c_info() =
                    answer.list_next_res().c_info_list().c_list(1);
                answer.mutable_list_next_res()->set_retcode(kRetcode);
                return answer_with(answer);
            };
            return trial;
        },
        Again::as_modelled};
}

Scenario exchange()
{
    return {"pop3 communicator, one exchange",
            {"ServiceChannel<Pop3Protocol>::call_esu_method(ntc_email_esu_pop3_method&, "
             "ntc_email_esu_pop3_method&)",
             "ServiceChannel<Pop3Protocol>::ServiceChannel()"},
            [](PlatformDouble&) {
                const std::shared_ptr<Communicator> communicator(new Communicator);
                Trial trial;
                trial.run = [=](Outcome& given) {
                    Envelope request;
                    request.set_method_type(velorin::NTC_EMAIL_ESU_POP3_METHOD_TEST);
                    Envelope answer;
                    given.add("result", communicator->call_esu_method(request, answer));
                };
                trial.model = [](Replay& replay, Outcome& expected) {
                    const auto answer = replay_esu_method<Envelope>(replay, kPop3Channel);
                    expected.add("result", answer ? 0 : kCallFailed);
                };
                return trial;
            }};
}

Scenario start_and_end()
{
    return {"pop3 communicator, start and end",
            {"ServiceChannel<Pop3Protocol>::start_method()", "ServiceChannel<Pop3Protocol>::end_method()",
             "ServiceChannel<Pop3Protocol>::~ServiceChannel()"},
            [](PlatformDouble&) {
                const std::shared_ptr<Communicator> communicator(new Communicator);
                Trial trial;
                trial.run = [=](Outcome& given) {
                    given.add("start", communicator->start_method());
                    given.add("start again", communicator->start_method());
                    given.add("end", communicator->end_method());
                };
                trial.model = [](Replay& replay, Outcome& expected) {
                    const bool is_started = replay_start(replay, kPop3Channel);
                    expected.add("start", is_started ? 0 : kCallFailed);
                    const bool is_started_again = is_started || replay_start(replay, kPop3Channel);
                    expected.add("start again", is_started_again ? 0 : kCallFailed);
                    const bool is_ended = !is_started_again || replay_end(replay, kPop3Channel);
                    expected.add("end", is_ended ? 0 : kCallFailed);
                };
                trial.may_throw = false;
                return trial;
            }};
}

}  // namespace

Scenarios pop3_session_scenarios()
{
    using Session = CntsPOP3Boundary;
    return {
        opening(),
        ending(),
        refused(),
        control("pop3 test", "call_test", "Test", &Session::Test, &Envelope::test_res,
                &Envelope::mutable_test_res),
        control("pop3 connect", "call_connect", "Connect", &Session::Connect, &Envelope::connect_res,
                &Envelope::mutable_connect_res),
        control("pop3 close", "call_close", "Close", &Session::Close, &Envelope::close_res,
                &Envelope::mutable_close_res),
        control("pop3 noop", "call_noop", "Noop", &Session::Noop, &Envelope::noop_res,
                &Envelope::mutable_noop_res),
        stat(),
        ref_mail_address(),
        list_scenario(
            "pop3 list", "call_list", "(CntsPOP3MailInfoList&, int)", "List",
            [](ListState& state) { return state.session->List(*state.list, 1); }, &Envelope::list_req,
            &Envelope::list_res, &Envelope::mutable_list_res),
        list_scenario(
            "pop3 delete by unique id", "call_delete_by_uid", "(CntsPOP3MailInfoList&, CntsPOP3ReceiveMail&)",
            "DeleteByUID",
            [](ListState& state) { return state.session->DeleteByUID(*state.list, *state.mail); },
            &Envelope::delete_by_uid_req, &Envelope::delete_by_uid_res, &Envelope::mutable_delete_by_uid_res),
        list_next(),
        exchange(),
        start_and_end(),
    };
}

}  // namespace velorin_test::sweep
