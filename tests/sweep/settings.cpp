// Settings of both protocols: made from records, copied, assigned, and converted.
#include <memory>
#include <string>

#include "CntsPOP3Settings.h"
#include "CntsSMTPSettings.h"

#include "ntc_email_esu_pop3_helper.h"
#include "operator_new.h"
#include "scenario.h"
#include "settings_fields.h"
#include "smtp_support.h"

namespace velorin_test::sweep {

namespace {

using velorin::CntsPOP3Settings;
using velorin::CntsSMTPSettings;
using Helper = velorin::ntc_email_esu_pop3_helper;

template <typename Settings>
void add_settings(Outcome& given, const char* what, const Settings& settings)
{
    const SparedNews spared;
    given.add(what, text_of_fields(fields_of(settings)));
}

Scenario smtp_settings()
{
    return {"smtp settings, made and copied",
            {"CntsSMTPSettings::CntsSMTPSettings(nts_smtp_settings const&)",
             "CntsSMTPSettings::CntsSMTPSettings(CntsSMTPSettings const&)",
             "CntsSMTPSettings::~CntsSMTPSettings()", "nts_smtp_settings::~nts_smtp_settings()"},
            [](PlatformDouble&) {
                const auto record = std::make_shared<velorin::nts_smtp_settings>(smtp_record());
                Trial trial;
                trial.run = [=](Outcome& given) {
                    const velorin::nts_smtp_settings own(*record);
                    const CntsSMTPSettings made(own);
                    const CntsSMTPSettings copied(made);
                    add_settings(given, "made", made);
                    add_settings(given, "copied", copied);
                };
                trial.model = [=](Replay&, Outcome& expected) {
                    // The record says what the settings are to say.
                    const CntsSMTPSettings settings(*record);
                    Fields fields = fields_of(settings);
                    fields["server"] = "smtp.example.org";
                    fields["user"] = "sender";
                    fields["password"] = "another password";
                    fields["host"] = "device.example.org";
                    fields["pop3 server"] = "pop3.example.org";
                    expected.add("made", text_of_fields(fields));
                    expected.add("copied", text_of_fields(fields));
                };
                return trial;
            }};
}

// The POP3 settings held before stay allocated on purpose: whoever assigns again frees them first.
Scenario smtp_assignment()
{
    return {"smtp settings, assigned",
            {"CntsSMTPSettings::operator=(CntsSMTPSettings const&)"},
            [](PlatformDouble&) {
                struct State {
                    CntsSMTPSettings from{smtp_record()};
                    CntsSMTPSettings to{velorin::nts_smtp_settings()};
                };
                const auto state = std::make_shared<State>();
                Trial trial;
                trial.run = [=](Outcome& given) {
                    const std::unique_ptr<CntsPOP3Settings> held(state->to.p_pop3_settings);
                    state->to.p_pop3_settings = nullptr;
                    state->to = state->from;
                    state->to = state->to;
                    add_settings(given, "assigned", state->to);
                };
                trial.model = [=](Replay&, Outcome& expected) {
                    expected.add("assigned", text_of_fields(fields_of(CntsSMTPSettings(smtp_record()))));
                };
                return trial;
            }};
}

Scenario pop3_settings()
{
    return {"pop3 settings, made and assigned",
            {"CntsPOP3Settings::CntsPOP3Settings(SPOP3Setting const&)",
             "CntsPOP3Settings::operator=(CntsPOP3Settings const&)", "CntsPOP3Settings::~CntsPOP3Settings()",
             "SPOP3Setting::~SPOP3Setting()"},
            [](PlatformDouble&) {
                Trial trial;
                trial.run = [](Outcome& given) {
                    const velorin::SPOP3Setting record = pop3_record();
                    const CntsPOP3Settings made(record);
                    CntsPOP3Settings assigned{velorin::SPOP3Setting()};
                    add_settings(given, "empty", assigned);
                    assigned = made;
                    add_settings(given, "made", made);
                    add_settings(given, "assigned", assigned);
                };
                trial.model = [](Replay&, Outcome& expected) {
                    Fields empty = fields_of(CntsPOP3Settings{velorin::SPOP3Setting()});
                    for (const char* const text : {"address", "server", "user", "password"})
                        empty[text] = "";
                    expected.add("empty", text_of_fields(empty));
                    Fields fields = fields_of(CntsPOP3Settings(pop3_record()));
                    fields["server"] = "pop3.example.org";
                    fields["user"] = "owner";
                    fields["port"] = "995";
                    expected.add("made", text_of_fields(fields));
                    expected.add("assigned", text_of_fields(fields));
                };
                return trial;
            }};
}

Scenario settings_to_message()
{
    return {"converter, pop3 settings to message",
            {"ntc_email_esu_pop3_helper::convert_pop3_settings(CntsPOP3Settings const&, "
             "ntc_email_esu_pop3_settings&)"},
            [](PlatformDouble&) {
                const auto settings = std::make_shared<CntsPOP3Settings>(pop3_record());
                Trial trial;
                trial.run = [=](Outcome& given) {
                    velorin::ntc_email_esu_pop3_settings message;
                    given.add("result", Helper::convert_pop3_settings(*settings, message));
                    add_settings(given, "message", message);
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
    return {"converter, message to pop3 settings",
            {"ntc_email_esu_pop3_helper::convert_pop3_settings(ntc_email_esu_pop3_settings const&, "
             "CntsPOP3Settings&)"},
            [](PlatformDouble&) {
                const auto message = std::make_shared<velorin::ntc_email_esu_pop3_settings>();
                Helper::convert_pop3_settings(CntsPOP3Settings(pop3_record()), *message);
                Trial trial;
                trial.run = [=](Outcome& given) {
                    CntsPOP3Settings settings{velorin::SPOP3Setting()};
                    given.add("result", Helper::convert_pop3_settings(*message, settings));
                    add_settings(given, "settings", settings);
                };
                trial.model = [=](Replay&, Outcome& expected) {
                    expected.add("result", 0);
                    expected.add("settings", text_of_fields(fields_of(CntsPOP3Settings(pop3_record()))));
                };
                return trial;
            }};
}

}  // namespace

Scenarios settings_scenarios()
{
    return {smtp_settings(), smtp_assignment(), pop3_settings(), settings_to_message(),
            message_to_settings()};
}

}  // namespace velorin_test::sweep
