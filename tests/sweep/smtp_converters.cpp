// The converters of the sending side and of what both sides share.
#include <cstdint>
#include <memory>
#include <string>

#include "CntsSMTPSettings.h"

#include "envelope_arena.h"
#include "exchange.h"
#include "mail_fields.h"
#include "ntc_email_esu_mlutl_helper.h"
#include "ntc_email_esu_smtp_helper.h"
#include "operator_new.h"
#include "scenario.h"
#include "settings_fields.h"
#include "smtp_support.h"

namespace velorin_test::sweep {

namespace {

using velorin::CntsMLUTLMailAddress;
using velorin::CntsMLUTLMailPart;
using velorin::CntsSMTPSendMail;
using velorin::CntsSMTPSendMailPart;
using Helper = velorin::ntc_email_esu_smtp_helper;
using Utility = velorin::ntc_email_esu_mlutl_helper;

Scenario mail_to_message()
{
    return {"converter, outgoing mail to message",
            {"ntc_email_esu_smtp_helper::convert_smtp_send_mail(CntsSMTPSendMail const&, "
             "ntc_email_esu_smtp_send_mail&)"},
            [](PlatformDouble&) {
                const std::shared_ptr<CntsSMTPSendMail> mail = send_mail();
                Trial trial;
                trial.run = [=](Outcome& given) {
                    velorin::EnvelopeArena arena;
                    auto& message = arena.make<velorin::ntc_email_esu_smtp_send_mail>();
                    given.add("result", Helper::convert_smtp_send_mail(*mail, message));
                    const SparedNews spared;
                    add_message(given, message, fields_of(CntsSMTPSendMail()));
                };
                trial.model = [=](Replay& replay, Outcome& expected) {
                    expected.add("result", 0);
                    expect_message(replay, expected, fields_of(*mail));
                };
                return trial;
            }};
}

void fill(velorin::ntc_email_esu_smtp_send_mail& message)
{
    Helper::convert_smtp_send_mail(*send_mail(), message);
    message.set_c_message_id("identifier without brackets@example.org");
    message.set_c_references("stray <one@example.org> <two@example.org> ");
    message.set_c_subject("another subject, longer than a short string");
}

Scenario message_to_mail()
{
    return {"converter, message to outgoing mail",
            {"ntc_email_esu_smtp_helper::convert_smtp_send_mail(ntc_email_esu_smtp_send_mail const&, "
             "CntsSMTPSendMail&)"},
            [](PlatformDouble&) {
                const auto message = std::make_shared<velorin::ntc_email_esu_smtp_send_mail>();
                fill(*message);
                const auto mail = std::make_shared<CntsSMTPSendMail>();
                const auto before = std::make_shared<Fields>();
                Trial trial;
                trial.run = [=](Outcome& given) {
                    {
                        const SparedNews spared;
                        *before = fields_of(*mail);
                    }
                    given.add("result", Helper::convert_smtp_send_mail(*message, *mail));
                    const SparedNews spared;
                    given.add("mail", text_of_fields(fields_of(*mail)));
                };
                trial.model = [=](Replay& replay, Outcome& expected) {
                    Fields mail_after = *before;
                    apply(*message, mail_after, replay);
                    expected.add("result", 0);
                    expected.add("mail", text_of_fields(mail_after));
                };
                return trial;
            },
            Again::as_modelled};
}

Scenario part_to_message()
{
    return {"converter, outgoing part to message",
            {"ntc_email_esu_smtp_helper::convert_smtp_send_mail_part(CntsSMTPSendMailPart const&, "
             "ntc_email_esu_smtp_send_mail_part&)"},
            [](PlatformDouble&) {
                const std::shared_ptr<CntsSMTPSendMail> mail = send_mail();
                Trial trial;
                trial.run = [=](Outcome& given) {
                    velorin::EnvelopeArena arena;
                    auto& message = arena.make<velorin::ntc_email_esu_smtp_send_mail>();
                    given.add("result",
                              Helper::convert_smtp_send_mail_part(*mail->m_pPart, *message.mutable_p_part()));
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
    return {
        "converter, message to outgoing part",
        {"ntc_email_esu_smtp_helper::convert_smtp_send_mail_part(ntc_email_esu_smtp_send_mail_part const&, "
         "CntsSMTPSendMailPart&)"},
        [](PlatformDouble&) {
            const auto message = std::make_shared<velorin::ntc_email_esu_smtp_send_mail>();
            fill(*message);
            Trial trial;
            trial.run = [=](Outcome& given) {
                CntsSMTPSendMailPart part;
                given.add("result", Helper::convert_smtp_send_mail_part(message->p_part(), part));
                const SparedNews spared;
                Fields fields;
                put_part(fields, "part ", part);
                given.add("part", text_of_fields(fields));
            };
            trial.model = [=](Replay& replay, Outcome& expected) {
                Fields fields;
                put_part(fields, "part ", CntsSMTPSendMailPart());
                apply(message->p_part().p_part(), "part ", fields, replay);
                expected.add("result", 0);
                expected.add("part", text_of_fields(fields));
            };
            return trial;
        }};
}

Scenario utility_part_to_message()
{
    return {"converter, part to message",
            {"ntc_email_esu_mlutl_helper::convert_mlutl_mail_part(CntsMLUTLMailPart const&, "
             "ntc_email_esu_mlutl_mail_part&)"},
            [](PlatformDouble&) {
                const std::shared_ptr<CntsSMTPSendMail> mail = send_mail();
                mail->SetContentCIAJWNETFAX(1);
                Trial trial;
                trial.run = [=](Outcome& given) {
                    velorin::EnvelopeArena arena;
                    auto& message = arena.make<velorin::ntc_email_esu_smtp_send_mail>();
                    given.add("result", Utility::convert_mlutl_mail_part(*mail, *message.mutable_my_part()));
                    given.add("marker travels", message.my_part().has_ignore_content_xciajwnetfax() ? 1 : 0);
                    const SparedNews spared;
                    add_message(given, message, empty_part("own "));
                };
                trial.model = [=](Replay& replay, Outcome& expected) {
                    expected.add("result", 0);
                    expected.add("marker travels", 0);
                    Fields part;
                    put_part(part, "own ", *mail);
                    expect_message(replay, expected, part);
                };
                return trial;
            }};
}

// The part queues octets already, so that its block has to grow.
Scenario message_to_utility_part()
{
    return {"converter, message to part",
            {"ntc_email_esu_mlutl_helper::convert_mlutl_mail_part(ntc_email_esu_mlutl_mail_part const&, "
             "CntsMLUTLMailPart&)"},
            [](PlatformDouble&) {
                const auto message = std::make_shared<velorin::ntc_email_esu_smtp_send_mail>();
                fill(*message);
                message->mutable_my_part()->set_ignore_content_xciajwnetfax("ignore");
                const auto part = std::make_shared<CntsMLUTLMailPart>();
                queue(*part, "queued before; ");
                const auto before = std::make_shared<Fields>();
                Trial trial;
                trial.run = [=](Outcome& given) {
                    {
                        const SparedNews spared;
                        before->clear();
                        put_part(*before, "own ", *part);
                    }
                    given.add("result", Utility::convert_mlutl_mail_part(message->my_part(), *part));
                    given.add("marker", part->IsIgnoreContentCIAJWNETFAX());
                    const SparedNews spared;
                    Fields fields;
                    put_part(fields, "own ", *part);
                    given.add("part", text_of_fields(fields));
                };
                trial.model = [=](Replay& replay, Outcome& expected) {
                    Fields fields = *before;
                    apply(message->my_part(), "own ", fields, replay);
                    expected.add("result", 0);
                    expected.add("marker", 1);
                    expected.add("part", text_of_fields(fields));
                };
                return trial;
            },
            Again::as_modelled};
}

Scenario addresses()
{
    return {
        "converter, address both ways",
        {"ntc_email_esu_mlutl_helper::convert_mlutl_mail_address(CntsMLUTLMailAddress const&, "
         "ntc_email_esu_mlutl_mail_address&)",
         "ntc_email_esu_mlutl_helper::convert_mlutl_mail_address(ntc_email_esu_mlutl_mail_address const&, "
         "CntsMLUTLMailAddress&)"},
        [](PlatformDouble&) {
            Trial trial;
            trial.run = [](Outcome& given) {
                const CntsMLUTLMailAddress from("an address with a name <address@example.org>");
                velorin::EnvelopeArena arena;
                auto& message = arena.make<velorin::ntc_email_esu_mlutl_mail_address>();
                given.add("null", Utility::convert_mlutl_mail_address(CntsMLUTLMailAddress(), message));
                given.add("is there", message.has_c_address() ? 1 : 0);
                given.add("out", Utility::convert_mlutl_mail_address(from, message));
                given.add("wire", message.c_address().c_str());
                CntsMLUTLMailAddress to;
                given.add("back", Utility::convert_mlutl_mail_address(message, to));
                given.add("address", to.m_cAddress);
            };
            trial.model = [](Replay&, Outcome& expected) {
                expected.add("null", 0);
                expected.add("is there", 0);
                expected.add("out", 0);
                expected.add("wire", "an address with a name <address@example.org>");
                expected.add("back", 0);
                expected.add("address", "an address with a name <address@example.org>");
            };
            return trial;
        }};
}

Scenario settings_to_message()
{
    return {"converter, smtp settings to message",
            {"ntc_email_esu_smtp_helper::convert_smtp_settings(CntsSMTPSettings const&, "
             "ntc_email_esu_smtp_settings&)"},
            [](PlatformDouble&) {
                const auto settings = std::make_shared<velorin::CntsSMTPSettings>(smtp_record());
                Trial trial;
                trial.run = [=](Outcome& given) {
                    velorin::EnvelopeArena arena;
                    auto& message = arena.make<velorin::ntc_email_esu_smtp_settings>();
                    given.add("result", Helper::convert_smtp_settings(*settings, message));
                    const SparedNews spared;
                    given.add("message", text_of_fields(fields_of(message)));
                };
                trial.model = [=](Replay&, Outcome& expected) {
                    expected.add("result", 0);
                    expected.add("message", text_of_fields(fields_of(*settings)));
                };
                return trial;
            }};
}

Scenario message_to_settings()
{
    return {"converter, message to smtp settings",
            {"ntc_email_esu_smtp_helper::convert_smtp_settings(ntc_email_esu_smtp_settings const&, "
             "CntsSMTPSettings&)"},
            [](PlatformDouble&) {
                const auto message = std::make_shared<velorin::ntc_email_esu_smtp_settings>();
                Helper::convert_smtp_settings(velorin::CntsSMTPSettings(smtp_record()), *message);
                Trial trial;
                trial.run = [=](Outcome& given) {
                    velorin::CntsSMTPSettings settings{velorin::nts_smtp_settings()};
                    given.add("result", Helper::convert_smtp_settings(*message, settings));
                    const SparedNews spared;
                    given.add("settings", text_of_fields(fields_of(settings)));
                };
                trial.model = [=](Replay&, Outcome& expected) {
                    expected.add("result", 0);
                    expected.add("settings",
                                 text_of_fields(fields_of(velorin::CntsSMTPSettings(smtp_record()))));
                };
                return trial;
            }};
}

}  // namespace

Scenarios smtp_converter_scenarios()
{
    return {mail_to_message(), message_to_mail(),         part_to_message(),
            message_to_part(), utility_part_to_message(), message_to_utility_part(),
            addresses(),       settings_to_message(),     message_to_settings()};
}

}  // namespace velorin_test::sweep
