// The converters of the receiving side.
#include <memory>
#include <string>

#include "CntsPOP3MailInfoList.h"
#include "CntsPOP3ReceiveMail.h"

#include "envelope_arena.h"
#include "exchange.h"
#include "mail_fields.h"
#include "ntc_email_esu_pop3_helper.h"
#include "operator_new.h"
#include "pop3_support.h"
#include "scenario.h"

namespace velorin_test::sweep {

namespace {

using velorin::CntsPOP3MailInfo;
using velorin::CntsPOP3ReceiveMail;
using velorin::CntsPOP3ReceiveMailPart;
using Helper = velorin::ntc_email_esu_pop3_helper;

Scenario infos()
{
    return {"converter, entry both ways",
            {"ntc_email_esu_pop3_helper::convert_pop3_mail_info(CntsPOP3MailInfo const&, "
             "ntc_email_esu_pop3_mail_info&)",
             "ntc_email_esu_pop3_helper::convert_pop3_mail_info(ntc_email_esu_pop3_mail_info const&, "
             "CntsPOP3MailInfo&)"},
            [](PlatformDouble&) {
                Trial trial;
                trial.run = [](Outcome& given) {
                    const CntsPOP3MailInfo from(300, "a unique id that needs a block", 70000, 1);
                    velorin::EnvelopeArena arena;
                    auto& message = arena.make<velorin::ntc_email_esu_pop3_mail_info>();
                    given.add("out", Helper::convert_pop3_mail_info(from, message));
                    CntsPOP3MailInfo to;
                    given.add("back", Helper::convert_pop3_mail_info(message, to));
                    message.clear_n_status();
                    CntsPOP3MailInfo untouched(1, "kept", 2, 3);
                    given.add("partly", Helper::convert_pop3_mail_info(message, untouched));
                    const SparedNews spared;
                    given.add("id", message.n_id());
                    given.add("size", message.n_size());
                    given.add("entry", text_of_info(to));
                    given.add("untouched", text_of_info(untouched));
                };
                trial.model = [](Replay&, Outcome& expected) {
                    expected.add("out", 0);
                    expected.add("back", 0);
                    expected.add("partly", 0);
                    expected.add("id", 300);
                    expected.add("size", 70000);
                    expected.add("entry", "300 a unique id that needs a block 70000 1");
                    expected.add("untouched", "1 kept 2 3");
                };
                return trial;
            }};
}

Scenario list_to_message()
{
    return {"converter, list to message",
            {"ntc_email_esu_pop3_helper::convert_pop3_mail_info_list(CntsPOP3MailInfoList const&, "
             "ntc_email_esu_pop3_mail_info_list&)"},
            [](PlatformDouble&) {
                const std::shared_ptr<velorin::CntsPOP3MailInfoList> list = info_list();
                Trial trial;
                trial.run = [=](Outcome& given) {
                    velorin::EnvelopeArena arena;
                    auto& message = arena.make<velorin::ntc_email_esu_pop3_mail_info_list>();
                    given.add("result", Helper::convert_pop3_mail_info_list(*list, message));
                    const SparedNews spared;
                    ListModel in_message;
                    for (const auto& wire : message.c_list()) {
                        in_message.entries.emplace_back();
                        apply(wire, in_message.entries.back());
                    }
                    in_message.most = message.n_max_list_size();
                    given.add("message", in_message.text());
                };
                trial.model = [=](Replay&, Outcome& expected) {
                    expected.add("result", 0);
                    expected.add("message", text_of_list(*list));
                };
                return trial;
            }};
}

Scenario message_to_list()
{
    return {
        "converter, message to list",
        {"ntc_email_esu_pop3_helper::convert_pop3_mail_info_list(ntc_email_esu_pop3_mail_info_list const&, "
         "CntsPOP3MailInfoList&)"},
        [](PlatformDouble&) {
            const auto message = std::make_shared<velorin::ntc_email_esu_pop3_mail_info_list>();
            fill(*message);
            const std::shared_ptr<velorin::CntsPOP3MailInfoList> list = info_list();
            const auto before = std::make_shared<ListModel>();
            Trial trial;
            trial.run = [=](Outcome& given) {
                {
                    const SparedNews spared;
                    *before = model_of(*list);
                }
                given.add("result", Helper::convert_pop3_mail_info_list(*message, *list));
                const SparedNews spared;
                given.add("list", text_of_list(*list));
            };
            trial.model = [=](Replay& replay, Outcome& expected) {
                ListModel after = *before;
                expected.add("result", apply(*message, after, replay) ? 0 : kCallFailed);
                expected.add("list", after.text());
            };
            return trial;
        },
        Again::as_modelled};
}

Scenario mail_to_message()
{
    return {"converter, received mail to message",
            {"ntc_email_esu_pop3_helper::convert_pop3_receive_mail(CntsPOP3ReceiveMail const&, "
             "ntc_email_esu_pop3_receive_mail&)"},
            [](PlatformDouble&) {
                const std::shared_ptr<CntsPOP3ReceiveMail> mail = receive_mail();
                Trial trial;
                trial.run = [=](Outcome& given) {
                    velorin::EnvelopeArena arena;
                    auto& message = arena.make<velorin::ntc_email_esu_pop3_receive_mail>();
                    given.add("result", Helper::convert_pop3_receive_mail(*mail, message));
                    const SparedNews spared;
                    const CntsPOP3ReceiveMail empty{CntsPOP3MailInfo()};
                    add_message(given, message, fields_of(empty));
                };
                trial.model = [=](Replay& replay, Outcome& expected) {
                    expected.add("result", 0);
                    expect_message(replay, expected, fields_of(*mail));
                };
                return trial;
            }};
}

Scenario message_to_mail()
{
    return {"converter, message to received mail",
            {"ntc_email_esu_pop3_helper::convert_pop3_receive_mail(ntc_email_esu_pop3_receive_mail const&, "
             "CntsPOP3ReceiveMail&)"},
            [](PlatformDouble&) {
                const auto message = std::make_shared<velorin::ntc_email_esu_pop3_receive_mail>();
                fill(*message);
                message->mutable_my_part()->set_p_buffer("more octets of the mail itself");
                message->mutable_my_part()->set_n_length(30);
                const std::shared_ptr<CntsPOP3ReceiveMail> mail = receive_mail();
                const auto before = std::make_shared<Fields>();
                Trial trial;
                trial.run = [=](Outcome& given) {
                    {
                        const SparedNews spared;
                        *before = fields_of(*mail);
                    }
                    given.add("result", Helper::convert_pop3_receive_mail(*message, *mail));
                    const SparedNews spared;
                    given.add("mail", text_of_fields(fields_of(*mail)));
                };
                trial.model = [=](Replay& replay, Outcome& expected) {
                    Fields after = *before;
                    expected.add("result", apply(*message, after, replay) ? 0 : kCallFailed);
                    expected.add("mail", text_of_fields(after));
                };
                return trial;
            },
            Again::as_modelled};
}

Scenario part_to_message()
{
    return {"converter, received part to message",
            {"ntc_email_esu_pop3_helper::convert_pop3_receive_mail_part(CntsPOP3ReceiveMailPart const&, "
             "ntc_email_esu_pop3_receive_mail_part&)"},
            [](PlatformDouble&) {
                const std::shared_ptr<CntsPOP3ReceiveMail> mail = receive_mail();
                Trial trial;
                trial.run = [=](Outcome& given) {
                    velorin::EnvelopeArena arena;
                    auto& message = arena.make<velorin::ntc_email_esu_pop3_receive_mail>();
                    given.add("result", Helper::convert_pop3_receive_mail_part(*mail->m_pPart,
                                                                               *message.mutable_p_part()));
                    const SparedNews spared;
                    add_message(given, message, empty_part("part "));
                };
                trial.model = [=](Replay& replay, Outcome& expected) {
                    expected.add("result", 0);
                    Fields part;
                    put_part(part, "part ", *mail->m_pPart);
                    expect_message(replay, expected, part);
                };
                return trial;
            }};
}

Scenario message_to_part()
{
    return {"converter, message to received part",
            {"ntc_email_esu_pop3_helper::convert_pop3_receive_mail_part(ntc_email_esu_pop3_receive_mail_part "
             "const&, CntsPOP3ReceiveMailPart&)"},
            [](PlatformDouble&) {
                const auto message = std::make_shared<velorin::ntc_email_esu_pop3_receive_mail>();
                fill(*message);
                Trial trial;
                trial.run = [=](Outcome& given) {
                    CntsPOP3ReceiveMailPart part;
                    given.add("result", Helper::convert_pop3_receive_mail_part(message->p_part(), part));
                    const SparedNews spared;
                    Fields fields;
                    put_part(fields, "part ", part);
                    given.add("part", text_of_fields(fields));
                };
                trial.model = [=](Replay& replay, Outcome& expected) {
                    Fields fields;
                    put_part(fields, "part ", CntsPOP3ReceiveMailPart());
                    apply(message->p_part().p_part(), "part ", fields, replay);
                    expected.add("result", 0);
                    expected.add("part", text_of_fields(fields));
                };
                return trial;
            }};
}

}  // namespace

Scenarios pop3_converter_scenarios()
{
    return {infos(),           list_to_message(), message_to_list(), mail_to_message(),
            message_to_mail(), part_to_message(), message_to_part()};
}

}  // namespace velorin_test::sweep
