// The operations that read a mail: all of it travels, and what the answer says is written into it.
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "CntsPOP3Boundary.h"
#include "CntsPOP3ReceiveMail.h"

#include "exchange.h"
#include "mail_fields.h"
#include "operator_new.h"
#include "pop3_support.h"
#include "scenario.h"

namespace velorin_test::sweep {

namespace {

using velorin::CntsPOP3Boundary;
using velorin::CntsPOP3ReceiveMail;
using Envelope = velorin::ntc_email_esu_pop3_method;

constexpr std::int32_t kRetcode = 12;

struct State {
    std::shared_ptr<CntsPOP3Boundary> session;
    std::shared_ptr<CntsPOP3ReceiveMail> mail;
    Fields before;
    std::string request;
};

template <typename Request, typename Response>
Scenario receiving(const char* name, const char* method, const char* operation, const char* arguments,
                   std::function<std::uint32_t(CntsPOP3Boundary&, CntsPOP3ReceiveMail&)> run,
                   const Request& (Envelope::*request)() const, const Response& (Envelope::*read)() const,
                   Response* (Envelope::*write)())
{
    const std::string of_session = std::string("CntsPOP3Boundary::") + operation + arguments;
    const std::string of_communicator =
        std::string("ntc_email_esu_pop3_main_communicator::") + method + arguments;
    return {name,
            {of_session, of_communicator},
            [=](PlatformDouble& platform) {
                const auto state = std::make_shared<State>();
                state->session = open_pop3_session(platform);
                state->mail = receive_mail();
                Trial trial;
                trial.run = [=](Outcome& given) {
                    {
                        const SparedNews spared;
                        state->before = fields_of(*state->mail);
                        state->request.clear();
                    }
                    given.add("result", run(*state->session, *state->mail));
                    const SparedNews spared;
                    given.add("mail", text_of_fields(fields_of(*state->mail)));
                    if (state->request.empty()) return;
                    Envelope sent;
                    sent.ParseFromString(state->request);
                    const CntsPOP3ReceiveMail empty{velorin::CntsPOP3MailInfo()};
                    add_message(given, ((sent).*request)().c_mail(), fields_of(empty));
                };
                trial.model = [=](Replay& replay, Outcome& expected) {
                    Outcome message;
                    expect_message(replay, message, state->before);
                    Fields mail = state->before;
                    const auto answer = replay_exchange<Envelope>(replay, kPop3Channel, method);
                    std::uint32_t result = kCallFailed;
                    if (answer && apply(((*answer).*read)().c_mail(), mail, replay)) {
                        result = static_cast<std::uint32_t>(((*answer).*read)().retcode());
                    } else if (answer) {
                        replay.line(
                            code_line(kPop3Channel, method, "convert_pop3_receive_mail()", kCallFailed));
                    }
                    expected.add("result", result);
                    expected.add("mail", text_of_fields(mail));
                    if (!state->request.empty()) expected.append(message);
                };
                trial.service = [=](const Exchange& exchange) {
                    state->request = exchange.request;
                    Envelope answer;
                    fill(*(answer.*write)()->mutable_c_mail());
                    (answer.*write)()->set_retcode(kRetcode);
                    return answer_with(answer);
                };
                return trial;
            },
            Again::as_modelled};
}

}  // namespace

Scenarios pop3_receiving_scenarios()
{
    using Session = CntsPOP3Boundary;
    using Mail = CntsPOP3ReceiveMail;
    constexpr const char* kMail = "(CntsPOP3ReceiveMail&)";
    constexpr const char* kMailAndCode = "(CntsPOP3ReceiveMail&, int)";
    return {
        receiving(
            "pop3 receive header", "call_receive_header", "ReceiveHeader", kMailAndCode,
            [](Session& session, Mail& mail) { return session.ReceiveHeader(mail, 1); },
            &Envelope::receive_header_req, &Envelope::receive_header_res,
            &Envelope::mutable_receive_header_res),
        receiving(
            "pop3 receive header only", "call_receive_header_only", "ReceiveHeaderOnly", kMailAndCode,
            [](Session& session, Mail& mail) { return session.ReceiveHeaderOnly(mail, 0); },
            &Envelope::receive_header_only_req, &Envelope::receive_header_only_res,
            &Envelope::mutable_receive_header_only_res),
        receiving(
            "pop3 receive body", "call_receive_body", "ReceiveBody", kMail,
            [](Session& session, Mail& mail) { return session.ReceiveBody(mail); },
            &Envelope::receive_body_req, &Envelope::receive_body_res, &Envelope::mutable_receive_body_res),
        receiving(
            "pop3 receive part header", "call_receive_part_header", "ReceivePartHeader", kMailAndCode,
            [](Session& session, Mail& mail) { return session.ReceivePartHeader(mail, 1); },
            &Envelope::receive_part_header_req, &Envelope::receive_part_header_res,
            &Envelope::mutable_receive_part_header_res),
        receiving(
            "pop3 receive part body", "call_receive_part_body", "ReceivePartBody", kMail,
            [](Session& session, Mail& mail) { return session.ReceivePartBody(mail); },
            &Envelope::receive_part_body_req, &Envelope::receive_part_body_res,
            &Envelope::mutable_receive_part_body_res),
        receiving(
            "pop3 skip mail", "call_skip_mail", "SkipMail", kMail,
            [](Session& session, Mail& mail) { return session.SkipMail(mail); }, &Envelope::skip_mail_req,
            &Envelope::skip_mail_res, &Envelope::mutable_skip_mail_res),
        receiving(
            "pop3 skip part", "call_skip_part", "SkipPart", kMail,
            [](Session& session, Mail& mail) { return session.SkipPart(mail); }, &Envelope::skip_part_req,
            &Envelope::skip_part_res, &Envelope::mutable_skip_part_res),
        receiving(
            "pop3 delete", "call_delete", "Delete", kMail,
            [](Session& session, Mail& mail) { return session.Delete(mail); }, &Envelope::delete_req,
            &Envelope::delete_res, &Envelope::mutable_delete_res),
    };
}

}  // namespace velorin_test::sweep
