// The steps that send a mail, the cutting of bodies, and the mail's own operations.
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "CntsSMTPBoundary.h"
#include "CntsSMTPSendMail.h"
#include "CutlCPLBOSBoundary.h"

#include "exchange.h"
#include "mail_fields.h"
#include "operator_new.h"
#include "scenario.h"
#include "smtp_support.h"

namespace velorin_test::sweep {

namespace {

using velorin::CntsSMTPBoundary;
using velorin::CntsSMTPSendMail;
using Envelope = velorin::ntc_email_esu_smtp_method;
using Message = velorin::ntc_email_esu_smtp_send_mail;

constexpr std::int32_t kRetcode = -7;

// A step that carries the whole mail, and gives back the answer's code.
struct Step {
    const char* name;
    const char* method;
    std::uint32_t (CntsSMTPBoundary::*run)(CntsSMTPSendMail&);
    std::function<std::int32_t(const Envelope&)> retcode;
    std::function<void(Envelope&)> answer;
    std::function<const Message&(const Envelope&)> request;
};

template <typename Request, typename Response>
Step step(const char* name, const char* method, std::uint32_t (CntsSMTPBoundary::*run)(CntsSMTPSendMail&),
          const Request& (Envelope::*request)() const, const Response& (Envelope::*read)() const,
          Response* (Envelope::*write)())
{
    return Step{name,
                method,
                run,
                [read](const Envelope& answer) { return (answer.*read)().retcode(); },
                [write](Envelope& answer) { (answer.*write)()->set_retcode(kRetcode); },
                [request](const Envelope& sent) -> const Message& { return (sent.*request)().c_mail(); }};
}

Scenario step_scenario(const Step& step, const char* operation)
{
    const std::string of_session = std::string("CntsSMTPBoundary::") + operation + "(CntsSMTPSendMail&)";
    const std::string of_communicator =
        std::string("ntc_email_esu_smtp_main_communicator::") + step.method + "(CntsSMTPSendMail&)";
    return {step.name, {of_session, of_communicator}, [step](PlatformDouble& platform) {
                const std::shared_ptr<CntsSMTPBoundary> session = open_smtp_session(platform);
                const std::shared_ptr<CntsSMTPSendMail> mail = send_mail();
                const auto request = std::make_shared<std::string>();
                Trial trial;
                trial.run = [=](Outcome& given) {
                    request->clear();
                    given.add("result", ((*session).*step.run)(*mail));
                    const SparedNews spared;
                    if (request->empty()) return;
                    Envelope sent;
                    sent.ParseFromString(*request);
                    add_message(given, step.request(sent), fields_of(CntsSMTPSendMail()));
                };
                trial.model = [=](Replay& replay, Outcome& expected) {
                    Outcome message;
                    expect_message(replay, message, fields_of(*mail));
                    const auto answer = replay_exchange<Envelope>(replay, kSmtpChannel, step.method);
                    expected.add("result",
                                 answer ? static_cast<std::uint32_t>(step.retcode(*answer)) : kCallFailed);
                    if (!request->empty()) expected.append(message);
                };
                trial.service = [=](const Exchange& exchange) {
                    *request = exchange.request;
                    Envelope answer;
                    step.answer(answer);
                    return answer_with(answer);
                };
                return trial;
            }};
}

constexpr long kCarriedLength = 8;

// Cuts a chunk of eight octets behind `held` octets of the one before.
Scenario adjust(const char* name, long held)
{
    return {name,
            {"CntsSMTPBoundary::AdjustBuffLenM3(void*&, long&, long&, char*)"},
            [held](PlatformDouble& platform) {
                struct State {
                    std::shared_ptr<CntsSMTPBoundary> session;
                    void* buffer = nullptr;
                    long length = kCarriedLength;
                    long count = 0;
                    char carry[2] = {'x', 'y'};
                    ~State() { CutlCPLBOSBoundary::MemFree(buffer); }
                };
                const auto state = std::make_shared<State>();
                state->session = open_smtp_session(platform);
                state->count = held;
                state->buffer = CutlCPLBOSBoundary::MemAllocate(kCarriedLength);
                std::copy_n("abcdefgh", kCarriedLength, static_cast<char*>(state->buffer));
                Trial trial;
                trial.run = [=](Outcome& given) {
                    given.add("result", state->session->AdjustBuffLenM3(state->buffer, state->length,
                                                                        state->count, state->carry));
                    given.add_block("buffer", state->buffer, state->length);
                    given.add_block("carried", state->carry, state->count);
                };
                trial.model = [=](Replay& replay, Outcome& expected) {
                    std::string octets =
                        std::string("xy").substr(0, static_cast<std::size_t>(held)) + "abcdefgh";
                    if (held > 0 && replay.fails(Call::allocate)) {
                        replay.line("CntsSMTPBoundary::AdjustBuffLenM3():AllocError[Error]\n");
                        expected.add("result", 0x21077101);
                        expected.add_block("buffer", "abcdefgh", 8);
                        expected.add_block("carried", "xy", held);
                        return;
                    }
                    const long kept = static_cast<long>(octets.size()) % 3;
                    const long whole = static_cast<long>(octets.size()) - kept;
                    expected.add("result", 0);
                    expected.add_block("buffer", octets.data(), whole);
                    expected.add_block("carried", octets.data() + whole, kept);
                };
                trial.may_throw = false;
                return trial;
            },
            Again::after_failure};
}

// The setters and getters of texts.
Scenario texts()
{
    return {"outgoing mail, texts",
            {"CntsSMTPSendMail::CntsSMTPSendMail()", "CntsSMTPSendMail::~CntsSMTPSendMail()",
             "CntsSMTPSendMail::SetMdnAddress(CntsMLUTLMailAddress const&)",
             "CntsSMTPSendMail::SetMdnAddress(char const*)", "CntsSMTPSendMail::GetMdnAddress() const",
             "CntsSMTPSendMail::SetMessageID(CutlCPLBMString const&)",
             "CntsSMTPSendMail::SetMessageID(char const*)",
             "CntsSMTPSendMail::GetMessageID(CutlCPLBMString&) const",
             "CntsSMTPSendMail::SetInReplyTo(CutlCPLBMString const&)",
             "CntsSMTPSendMail::SetInReplyTo(char const*)",
             "CntsSMTPSendMail::GetInReplyTo(CutlCPLBMString&) const",
             "CntsSMTPSendMail::SetReferences(CutlCPLBMString const&)",
             "CntsSMTPSendMail::SetReferences(char const*)",
             "CntsSMTPSendMail::GetReferences(CutlCPLBMString&) const"},
            [](PlatformDouble&) {
                Trial trial;
                trial.run = [](Outcome& given) {
                    CntsSMTPSendMail mail;
                    mail.SetMdnAddress(
                        velorin::CntsMLUTLMailAddress("an address that is copied@example.org"));
                    given.add("notification", mail.GetMdnAddress().m_cAddress);
                    mail.SetMdnAddress("short@example.org");
                    given.add("notification", mail.GetMdnAddress().m_cAddress);
                    CutlCPLBMString text;
                    given.add("no id", mail.GetMessageID(text));
                    mail.SetMessageID("  an-identifier-without-brackets@example.org ");
                    mail.SetMessageID(CutlCPLBMString("<half-bracketed@example.org"));
                    given.add("has id", mail.GetMessageID(text));
                    given.add("id", text);
                    mail.SetInReplyTo(CutlCPLBMString(" <mail-answered@example.org> "));
                    mail.SetInReplyTo("<another-mail-answered@example.org>");
                    given.add("has in reply to", mail.GetInReplyTo(text));
                    given.add("in reply to", text);
                    mail.SetReferences("no identifier at all");
                    mail.SetReferences(CutlCPLBMString("stray <one@example.org> <two@example.org>"));
                    given.add("has references", mail.GetReferences(text));
                    given.add("references", text);
                };
                trial.model = [](Replay&, Outcome& expected) {
                    expected.add("notification", std::string("an address that is copied@example.org"));
                    expected.add("notification", std::string("short@example.org"));
                    expected.add("no id", 0);
                    expected.add("has id", 1);
                    expected.add("id", std::string("<half-bracketed@example.org>"));
                    expected.add("has in reply to", 1);
                    expected.add("in reply to", std::string("<another-mail-answered@example.org>"));
                    expected.add("has references", 1);
                    expected.add("references", std::string("<one@example.org> <two@example.org>"));
                };
                return trial;
            }};
}

Scenario parts()
{
    return {"outgoing mail, further part",
            {"CntsSMTPSendMail::SetPart(CntsSMTPSendMailPart*)", "CntsSMTPSendMail::DeletePart()",
             "CntsSMTPSendMailPart::CntsSMTPSendMailPart()", "CntsSMTPSendMailPart::~CntsSMTPSendMailPart()"},
            [](PlatformDouble&) {
                const auto mail = std::make_shared<CntsSMTPSendMail>();
                Trial trial;
                trial.run = [=](Outcome& given) {
                    mail->SetPart(new velorin::CntsSMTPSendMailPart);
                    mail->SetPart(new velorin::CntsSMTPSendMailPart);
                    mail->m_pPart->m_cFIleName.CopyString("a name that needs a block of its own", -1);
                    given.add("name", mail->m_pPart->m_cFIleName);
                    mail->DeletePart();
                    given.add("left", mail->m_pPart != nullptr ? 1 : 0);
                };
                trial.model = [](Replay&, Outcome& expected) {
                    expected.add("name", std::string("a name that needs a block of its own"));
                    expected.add("left", 0);
                };
                return trial;
            }};
}

// A whole mail: all of it has to hold together whichever call fails on the way.
Scenario whole_mail()
{
    return {
        "smtp, a whole mail", {}, [](PlatformDouble& platform) {
            platform.on_exchange([](const Exchange&) { return Answer{}; });
            const auto settings = std::make_shared<velorin::CntsSMTPSettings>(smtp_record());
            const std::shared_ptr<CntsSMTPSendMail> mail = send_mail();
            Trial trial;
            trial.run = [=](Outcome& given) {
                CntsSMTPBoundary session(*settings);
                given.add("connect", session.Connect());
                given.add("header", session.SendHeader(*mail));
                given.add("body", session.SendBody(*mail));
                given.add("close", session.Close(*mail));
            };
            trial.model = [=](Replay& replay, Outcome& expected) {
                const auto code = [&](const char* method, std::int32_t (*read)(const Envelope&)) {
                    const auto answer = replay_exchange<Envelope>(replay, kSmtpChannel, method);
                    return answer ? static_cast<std::uint32_t>(read(*answer)) : kCallFailed;
                };
                const std::uint32_t created = code("call_create_instance", [](const Envelope& e) {
                    return e.create_instance_res().retcode();
                });
                if (created != 0) {
                    replay.line(
                        session_line(kSmtpChannel, "CntsSMTPBoundary", "call_create_instance()", created));
                    for (const char* const step : {"connect", "header", "body", "close"})
                        expected.add(step, kCallFailed);
                    return;
                }
                expected.add("connect", code("call_connect",
                                             [](const Envelope& e) { return e.connect_res().retcode(); }));
                Outcome message;
                expect_message(replay, message, fields_of(*mail));
                expected.add("header", code("call_send_header",
                                            [](const Envelope& e) { return e.send_header_res().retcode(); }));
                expect_message(replay, message, fields_of(*mail));
                expected.add("body", code("call_send_body",
                                          [](const Envelope& e) { return e.send_body_res().retcode(); }));
                expect_message(replay, message, fields_of(*mail));
                expected.add("close",
                             code("call_close", [](const Envelope& e) { return e.close_res().retcode(); }));
                const std::uint32_t ended = code("call_destroy_instance", [](const Envelope& e) {
                    return e.destroy_instance_res().retcode();
                });
                if (ended != 0) {
                    replay.line(
                        session_line(kSmtpChannel, "~CntsSMTPBoundary", "call_destroy_instance()", ended));
                }
            };
            Outcome refused;
            for (const char* const step : {"connect", "header", "body", "close"})
                refused.add(step, kCallFailed);
            Outcome sent;
            for (const char* const step : {"connect", "header", "body", "close"})
                sent.add(step, 0);
            trial.without_memory = {
                {refused,
                 {"CntsSMTPBoundary::CntsSMTPBoundary():[Return]:ntc_email_esu_smtp_main_communicator "
                  "constructor() returns NULL\n"}},
                {sent,
                 {session_line(kSmtpChannel, "~CntsSMTPBoundary", "call_destroy_instance()", kCallFailed)}}};
            return trial;
        }};
}

}  // namespace

Scenarios smtp_mail_scenarios()
{
    using Session = CntsSMTPBoundary;
    return {
        step_scenario(step("smtp send header", "call_send_header", &Session::SendHeader,
                           &Envelope::send_header_req, &Envelope::send_header_res,
                           &Envelope::mutable_send_header_res),
                      "SendHeader"),
        step_scenario(step("smtp send body", "call_send_body", &Session::SendBody, &Envelope::send_body_req,
                           &Envelope::send_body_res, &Envelope::mutable_send_body_res),
                      "SendBody"),
        step_scenario(step("smtp send part header", "call_send_part_header", &Session::SendPartHeader,
                           &Envelope::send_part_header_req, &Envelope::send_part_header_res,
                           &Envelope::mutable_send_part_header_res),
                      "SendPartHeader"),
        step_scenario(step("smtp send part body", "call_send_part_body", &Session::SendPartBody,
                           &Envelope::send_part_body_req, &Envelope::send_part_body_res,
                           &Envelope::mutable_send_part_body_res),
                      "SendPartBody"),
        step_scenario(step("smtp close", "call_close", &Session::Close, &Envelope::close_req,
                           &Envelope::close_res, &Envelope::mutable_close_res),
                      "Close"),
        adjust("smtp adjust length, nothing carried", 0),
        adjust("smtp adjust length, one carried", 1),
        adjust("smtp adjust length, two carried", 2),
        texts(),
        parts(),
        whole_mail(),
    };
}

}  // namespace velorin_test::sweep
