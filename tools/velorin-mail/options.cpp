#include "options.h"

#include <algorithm>
#include <deque>
#include <map>
#include <utility>

#include <CLI/CLI.hpp>

#include "report.h"

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
            const bool of_mail = name == "from" || name == "sender" || name == "reply-to" ||
                                 name == "charset" || is_of_filter(name);
            if (of_mail && !with_mail_settings) continue;
            add(app, name, "--" + name, row->placeholder, row->help)->group(of_mail ? "Mail" : "Account");
        }
    }

    // The lists of domains alone.
    void add_lists_to(CLI::App& app)
    {
        for (const SettingRow* row = kSettingRows; row->name != nullptr; ++row)
            if (is_of_filter(row->name))
                add(app, row->name, std::string("--") + row->name, row->placeholder, row->help);
    }

    // Those of a mailbox. Where nothing else can be meant, a setting goes by its short name, too.
    void add_mailbox_to(CLI::App& app)
    {
        static constexpr struct {
            const char* setting;
            const char* names;
            const char* help;  // null: the setting's own
        } rows[] = {
            {"pop-server", "--server,--pop-server", "POP3 server"},
            {"pop-port", "--port,--pop-port", nullptr},
            {"pop-tls", "--tls,--pop-tls", "none, starttls or tls; default tls on port 995, else starttls"},
            {"pop-user", "--user,--pop-user", "account to log in with"},
            {"pop-password-command", "--password-command,--pop-password-command",
             "shell command whose first line of output is the password"},
            {"pop-password-file", "--password-file,--pop-password-file",
             "file whose first line is the password"},
            {"pop-apop", "--apop,--pop-apop", nullptr},
            {"ca-file", "--ca-file", nullptr},
            {"no-verify", "--no-verify", nullptr},
            {"tls13-only", "--tls13-only", nullptr},
            {"ipv6", "--ipv6", nullptr},
            {"timeout", "--timeout", nullptr},
            {"data-timeout", "--data-timeout", "seconds that the verdict on deletions may take; default 600"},
            {"daemon", "--daemon", nullptr},
        };
        for (const auto& row : rows) {
            const SettingRow* const setting = find_setting(row.setting);
            add(app, row.setting, row.names, setting->placeholder,
                row.help != nullptr ? row.help : setting->help)
                ->group("Account");
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
    static bool is_of_filter(const std::string& name) { return name == "permit" || name == "refuse"; }

    //   in      placeholder: null: a switch
    CLI::Option* add(CLI::App& app, const std::string& setting, const std::string& names,
                     const char* placeholder, const char* help)
    {
        CLI::Option* option = nullptr;
        if (placeholder == nullptr) {
            switches_.push_back(false);
            option = app.add_flag(names, switches_.back(), help);
            switch_of_[setting] = &switches_.back();
        } else {
            texts_.emplace_back();
            option = app.add_option(names, texts_.back(), help)->type_name(placeholder);
            text_of_[setting] = &texts_.back();
        }
        options_[setting] = option;
        return option;
    }

    std::deque<std::string> texts_;  // deque: the parser keeps references
    std::deque<bool> switches_;
    std::map<std::string, std::string*> text_of_;
    std::map<std::string, bool*> switch_of_;
    std::map<std::string, CLI::Option*> options_;
};

void add_config(CLI::App& app, Options& options)
{
    app.add_option("--config", options.config_file,
                   "account settings, lines of key = value; default ~/.config/velorin/mail.conf")
        ->type_name("FILE");
}

void add_common(CLI::App& app, Options& options)
{
    add_config(app, options);
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
    app.add_option("--subject,-s", mail.subject, "subject in UTF-8; encoded words pass as they are")
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

void add_state_file(CLI::App& app, MailboxOptions& mailbox)
{
    app.add_option("--state", mailbox.state_file,
                   "the list of what was fetched; default one of the account's own in ~/.local/state/velorin")
        ->type_name("FILE")
        ->group("Mails");
}

void add_fetch(CLI::App& app, MailboxOptions& mailbox)
{
    const char* const group = "Mails";
    CLI::Option* const uids =
        app.add_option("UID,--uid", mailbox.uids,
                       "unique ids of the mails to fetch, fetched before or not; default all that are new")
            ->type_name("UID")
            ->group(group);
    app.add_flag("--all", mailbox.all, "fetch every mail, fetched before or not")
        ->group(group)
        ->excludes(uids);
    app.add_option("--folder", mailbox.folder,
                   "where the mails go, each in a folder of its own; default mail")
        ->type_name("DIR")
        ->group(group);
    app.add_flag("--raw", mailbox.raw, "one .eml file a mail, octet for octet as it is on the server")
        ->group(group);
    CLI::Option* const remove =
        app.add_flag("--delete", mailbox.delete_fetched, "delete what was fetched on the server afterwards")
            ->group(group);
    app.add_flag("--keep", "leave the mails on the server (default)")->group(group)->excludes(remove);
    add_state_file(app, mailbox);
}

void add_delete(CLI::App& app, MailboxOptions& mailbox)
{
    const char* const group = "Mails";
    CLI::Option* const uids = app.add_option("UID,--uid", mailbox.uids, "unique ids of the mails to delete")
                                  ->type_name("UID")
                                  ->group(group);
    app.add_flag("--fetched", mailbox.fetched, "delete every mail that was fetched")
        ->group(group)
        ->excludes(uids);
    add_state_file(app, mailbox);
}

void add_codec(CLI::App& app, CodecOptions& codec)
{
    app.add_option("KIND", codec.kind, "base64, quoted-printable, words (of headers) or charset")
        ->required()
        ->type_name("")
        ->check(CLI::IsMember({"base64", "quoted-printable", "words", "charset"}));
    app.add_option("FILE", codec.file, "what to read; default standard input (-)")->type_name("");
    app.add_option("--charset", codec.charset,
                   "us-ascii, iso-8859-1, iso-8859-2, iso-2022-jp, shift_jis or utf-8")
        ->type_name("SET");
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
        std::string name = argument.substr(0, argument.find('='));
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

// The command on the command line; the program itself where there is none.
const CLI::App& asked_for(const CLI::App& app)
{
    const std::vector<const CLI::App*> commands =
        app.get_subcommands([](const CLI::App* command) { return command->parsed(); });
    return commands.empty() ? app : *commands.front();
}

std::string one_line(std::string text)
{
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

// Options are never repeated, since a password may stand among them by mistake.
bool fail_without_command(Failure& failure, const std::vector<std::string>& arguments)
{
    const bool named = !arguments.empty() && !arguments[0].empty() && arguments[0][0] != '-';
    return fail(failure, kExitUsage, kStep,
                (named ? "there is no command " + printable(arguments[0]) : std::string("no command")) +
                    ", give send, check, list, fetch, delete, filter, encode, decode or trace "
                    "(--help tells more)");
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

    CLI::App app("Sends and receives mail through the mail service.", "velorin-mail");
    app.require_subcommand(0, 1);
    app.footer("Exit codes are those of sysexits.h.");
    app.set_version_flag("--version", "velorin-mail " VELORIN_VERSION);
    CLI::App* const send = app.add_subcommand("send", "Send one mail");
    CLI::App* const check = app.add_subcommand("check", "Connect, log in, and say whether the account works");
    CLI::App* const list = app.add_subcommand("list", "List the mails of a mailbox");
    CLI::App* const fetch = app.add_subcommand("fetch", "Fetch mails into a folder");
    CLI::App* const remove = app.add_subcommand("delete", "Delete mails on the server");
    CLI::App* const trace = app.add_subcommand("trace", "Print what VELORIN_CAPTURE recorded");

    CLI::App* const encode = app.add_subcommand("encode", "Encode a file or standard input");
    CLI::App* const decode = app.add_subcommand("decode", "Decode a file or standard input");
    CLI::App* const filter = app.add_subcommand("filter", "Check addresses against a list of domains");

    AccountOptions send_account;
    AccountOptions filter_lists;
    AccountOptions check_account;
    std::map<const CLI::App*, AccountOptions> mailbox_accounts;
    AttachInputs attach;
    add_mail(*send, options.mail, attach);
    send_account.add_to(*send, true);
    add_common(*send, options);
    check_account.add_to(*check, false);
    add_common(*check, options);
    add_fetch(*fetch, options.mailbox);
    add_delete(*remove, options.mailbox);
    for (CLI::App* const command : {list, fetch, remove}) {
        mailbox_accounts[command].add_mailbox_to(*command);
        add_common(*command, options);
    }
    add_codec(*encode, options.codec);
    add_codec(*decode, options.codec);
    filter_lists.add_lists_to(*filter);
    add_config(*filter, options);
    filter
        ->add_option("ADDR", options.filter_addresses,
                     "addresses or lists of them; default lines of standard input")
        ->type_name("");
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
        options.help = asked_for(app).help();
        return true;
    } catch (const CLI::ExtrasError&) {
        const std::string name = unknown_options(arguments, asked_for(app));
        if (!name.empty()) return fail(failure, kExitUsage, kStep, "there is no option " + name);
        if (app.get_subcommands().empty()) return fail_without_command(failure, arguments);
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
    for (const auto& [command, kind] :
         {std::pair(list, Command::kList), {fetch, Command::kFetch}, {remove, Command::kDelete}}) {
        if (!command->parsed()) continue;
        options.command = kind;
        options.account = mailbox_accounts[command].collect();
        if (kind == Command::kDelete && options.mailbox.uids.empty() && !options.mailbox.fetched)
            return fail(failure, kExitUsage, kStep,
                        "nothing to delete, give the unique ids of mails, or --fetched");
        return true;
    }
    if (filter->parsed()) options.account = filter_lists.collect();
    for (const auto& [command, kind] : {std::pair(trace, Command::kTrace),
                                        {encode, Command::kEncode},
                                        {decode, Command::kDecode},
                                        {filter, Command::kFilter}}) {
        if (!command->parsed()) continue;
        options.command = kind;
        return true;
    }
    return fail_without_command(failure, arguments);
}

}  // namespace velorin::cli
