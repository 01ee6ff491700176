#include "options.h"

#include <algorithm>
#include <deque>
#include <map>

#include <CLI/CLI.hpp>

namespace velorin::cli {

namespace {

constexpr const char* kStep = "command line";

// The settings of an account as options of a command; holds what the parser fills in until it is collected.
class AccountOptions {
public:
    void add_to(CLI::App& app, bool with_mail_settings)
    {
        for (const SettingRow* row = kSettingRows; row->name != nullptr; ++row) {
            const std::string name = row->name;
            const bool of_mail =
                name == "from" || name == "sender" || name == "reply-to" || name == "charset";
            if (of_mail && !with_mail_settings) continue;
            const char* const group = of_mail ? "Mail" : "Account";
            CLI::Option* option = nullptr;
            if (row->placeholder == nullptr) {
                switches_.push_back(false);
                option = app.add_flag("--" + name, switches_.back(), row->help);
                switch_of_[name] = &switches_.back();
            } else {
                texts_.emplace_back();
                option = app.add_option("--" + name, texts_.back(), row->help)->type_name(row->placeholder);
                text_of_[name] = &texts_.back();
            }
            option->group(group);
            options_[name] = option;
        }
    }

    Settings collect() const
    {
        Settings settings;
        for (const auto& [name, option] : options_) {
            if (option->count() == 0) continue;
            const auto text = text_of_.find(name);
            settings[name] = text != text_of_.end() ? *text->second : *switch_of_.at(name) ? "true" : "false";
        }
        return settings;
    }

private:
    std::deque<std::string> texts_;  // deque: the parser keeps references
    std::deque<bool> switches_;
    std::map<std::string, std::string*> text_of_;
    std::map<std::string, bool*> switch_of_;
    std::map<std::string, CLI::Option*> options_;
};

void add_common(CLI::App& app, Options& options)
{
    app.add_option("--config", options.config_file,
                   "account settings, lines of key = value; default ~/.config/velorin/mail.conf")
        ->type_name("FILE");
    app.add_flag("--json", options.json, "print the result as one JSON object");
    app.add_flag("--quiet,-q", options.quiet, "no progress, no notes");
    app.add_flag("--verbose,-v", options.verbose,
                 "say each step, and let the library trace to standard error");
}

struct AttachInputs {
    std::vector<std::string> files;
    std::vector<std::string> types;
    CLI::Option* file_option = nullptr;
    CLI::Option* type_option = nullptr;
};

void add_mail(CLI::App& app, MailOptions& mail, AttachInputs& attach)
{
    const char* const group = "Mail";
    app.add_option("--to", mail.to, "recipients; one, or a list with commas, any number of times")
        ->type_name("ADDR")
        ->group(group);
    app.add_option("--cc", mail.cc, "recipients of a copy")->type_name("ADDR")->group(group);
    app.add_option("--bcc", mail.bcc, "recipients that the mail does not name")
        ->type_name("ADDR")
        ->group(group);
    app.add_option("--subject,-s", mail.subject, "subject: US-ASCII, encoded words pass as they are")
        ->type_name("TEXT")
        ->group(group);
    CLI::Option* const file =
        app.add_option("--text", mail.text_file, "text in UTF-8; default standard input (-)")
            ->type_name("FILE")
            ->group(group);
    app.add_option("--text-string", mail.text_string, "text in UTF-8, given here")
        ->type_name("TEXT")
        ->group(group)
        ->excludes(file);
    attach.file_option = app.add_option("--attach,-a", attach.files, "files to attach, any number of times")
                             ->type_name("FILE")
                             ->group(group);
    attach.type_option =
        app.add_option("--attach-type", attach.types,
                       "MIME type of the file attached just before; default by its extension")
            ->type_name("TYPE")
            ->expected(1)
            ->group(group);
    attach.type_option->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    app.add_option("--mdn", mail.mdn, "ask for a notification to this address when the mail is displayed")
        ->type_name("ADDR")
        ->group(group);
    app.add_flag("--fax", mail.fax, "mark the text as not to be printed by an Internet fax")->group(group);
    app.add_option("--message-id", mail.message_id, "identifier; default a fresh one")
        ->type_name("ID")
        ->group(group);
    app.add_option("--in-reply-to", mail.in_reply_to, "identifiers of the mail answered")
        ->type_name("IDS")
        ->group(group);
    app.add_option("--references", mail.references, "identifiers of the thread, the last 20 are kept")
        ->type_name("IDS")
        ->group(group);
    app.add_option("--date", mail.date, "date in the form of RFC 5322; default now")
        ->type_name("TEXT")
        ->group(group);
}

// Pairs every type with the file that stands before it on the command line.
bool pair_attachments(const CLI::App& app, const AttachInputs& inputs, MailOptions& mail, Failure& failure)
{
    std::size_t file = 0;
    std::size_t type = 0;
    for (const CLI::Option* const option : app.parse_order()) {
        if (option == inputs.file_option && file < inputs.files.size()) {
            mail.attachments.push_back({inputs.files[file++], std::string()});
        } else if (option == inputs.type_option && type < inputs.types.size()) {
            if (mail.attachments.empty() || !mail.attachments.back().type.empty())
                return fail(failure, kExitUsage, kStep,
                            "every --attach-type must follow the --attach that it describes");
            mail.attachments.back().type = inputs.types[type++];
        }
    }
    return true;
}

// The names among the arguments that nobody knows, without a value that may hang on them.
std::string unknown_options(const std::vector<std::string>& arguments, const CLI::App& app)
{
    for (const std::string& argument : arguments) {
        if (argument.size() < 2 || argument[0] != '-') continue;
        const std::string name = argument.substr(0, argument.find('='));
        if (name.compare(0, 2, "--") != 0) continue;
        if (app.get_option_no_throw(name) == nullptr) return name;
    }
    return std::string();
}

bool offers_password(const std::vector<std::string>& arguments)
{
    return std::any_of(arguments.begin(), arguments.end(), [](const std::string& argument) {
        const std::string name = argument.substr(0, argument.find('='));
        return name == "--password" || name == "--pop-password";
    });
}

std::string one_line(std::string text)
{
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

}  // namespace

bool parse_options(const std::vector<std::string>& arguments, Options& options, Failure& failure)
{
    options = Options();
    if (offers_password(arguments))
        return fail(failure, kExitUsage, kStep,
                    "a password is not taken from the command line, where others can read it; give "
                    "--password-command "
                    "or --password-file, or type it when asked");

    CLI::App app("Sends mail through the mail service.", "velorin-mail");
    app.require_subcommand(0, 1);
    app.footer("Exit codes are those of sysexits.h.");
    app.set_version_flag("--version", "velorin-mail " VELORIN_VERSION);
    CLI::App* const send = app.add_subcommand("send", "Send one mail");
    CLI::App* const check = app.add_subcommand("check", "Connect, log in, and say whether the account works");
    CLI::App* const trace = app.add_subcommand("trace", "Print what VELORIN_CAPTURE recorded");

    AccountOptions send_account;
    AccountOptions check_account;
    AttachInputs attach;
    add_mail(*send, options.mail, attach);
    send_account.add_to(*send, true);
    add_common(*send, options);
    check_account.add_to(*check, false);
    add_common(*check, options);
    trace->add_option("FILE", options.trace_file, "the recording")->required()->type_name("");
    trace->add_flag("--json", options.json, "print one JSON object a line");

    std::vector<std::string> reversed(arguments.rbegin(), arguments.rend());
    try {
        app.parse(reversed);
    } catch (const CLI::CallForVersion& version) {
        options.command = Command::kHelp;
        options.help = std::string(version.what()) + "\n";
        return true;
    } catch (const CLI::CallForHelp&) {
        const CLI::App* const asked = send->parsed()    ? send
                                      : check->parsed() ? check
                                      : trace->parsed() ? trace
                                                        : &app;
        options.help = asked->help();
        return true;
    } catch (const CLI::ExtrasError&) {
        const CLI::App& asked = send->parsed()    ? *send
                                : check->parsed() ? *check
                                : trace->parsed() ? *trace
                                                  : app;
        const std::string name = unknown_options(arguments, asked);
        if (!name.empty()) return fail(failure, kExitUsage, kStep, "there is no option " + name);
        return fail(failure, kExitUsage, kStep, "there is an argument that no option takes");
    } catch (const CLI::ConversionError& error) {
        return fail(failure, kExitUsage, kStep, "an option has a value of the wrong kind");
    } catch (const CLI::ParseError& error) {
        return fail(failure, kExitUsage, kStep, one_line(error.what()));
    }

    if (send->parsed()) {
        options.command = Command::kSend;
        options.account = send_account.collect();
        options.mail.has_text_string = send->get_option("--text-string")->count() != 0;
        return pair_attachments(*send, attach, options.mail, failure);
    }
    if (check->parsed()) {
        options.command = Command::kCheck;
        options.account = check_account.collect();
        return true;
    }
    if (trace->parsed()) {
        options.command = Command::kTrace;
        return true;
    }
    return fail(failure, kExitUsage, kStep, "no command, give send, check or trace (--help tells more)");
}

}  // namespace velorin::cli
