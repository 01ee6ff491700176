#include "session.h"

#include "interrupt.h"
#include "password.h"
#include "report.h"

namespace velorin::cli {

namespace {

bool get_passwords(const Account& account, Secret& password, Secret& pop_password, Failure& failure)
{
    if (!needs_password(account)) return true;
    if (account.auth != AuthKind::kPop)
        return get_password(account.password, account.user + " at " + account.server, password, failure);
    const PasswordSource& source = account.pop_password.given() ? account.pop_password : account.password;
    return get_password(source, account.pop_user + " at " + account.pop_server, pop_password, failure);
}

using MakeAccount = bool (*)(const Settings&, Account&, Failure&);

bool resolve(const Options& options, MakeAccount make, Account& account, Failure& failure)
{
    Settings file;
    if (!load_config(options.config_file, file, failure)) return false;
    if (make(merge(options.account, file), account, failure)) return true;
    // What the command line alone does not get wrong stands in the file.
    Account unused;
    Failure of_command_line;
    if (!file.empty() && failure.exit_code == kExitUsage &&
        (make(options.account, unused, of_command_line) || of_command_line.sentence != failure.sentence)) {
        failure.exit_code = kExitConfig;
        failure.sentence += " (set in the configuration file)";
    }
    return false;
}

}  // namespace

bool resolve_account(const Options& options, Account& account, Failure& failure)
{
    return resolve(options, make_account, account, failure);
}

bool resolve_mailbox_account(const Options& options, Account& account, Failure& failure)
{
    return resolve(options, make_mailbox_account, account, failure);
}

std::string server_text(const Account& account)
{
    return account.port == 0 ? account.server : account.server + " port " + std::to_string(account.port);
}

std::string mailbox_text(const Account& account)
{
    return account.pop_server + " port " + std::to_string(account.pop_port);
}

bool open_session(const Account& account, OpenSession& open, Failure& failure)
{
    if (!open.link.open(account, failure)) return false;
    std::unique_ptr<CntsSMTPSettings> settings;
    {
        Secret password;
        Secret pop_password;
        if (!get_passwords(account, password, pop_password, failure)) return false;
        settings = make_smtp_settings(account, password, pop_password);
    }
    open.session = std::make_unique<CntsSMTPBoundary>(*settings);
    wipe_passwords(*settings);
    return true;
}

bool open_mailbox(const Account& account, OpenMailbox& open, Failure& failure)
{
    if (!open.link.open(account, failure)) return false;
    std::unique_ptr<CntsPOP3Settings> settings;
    {
        Secret password;
        if (!get_password(account.pop_password, account.pop_user + " at " + account.pop_server, password,
                          failure))
            return false;
        settings = make_pop3_settings(account, password);
    }
    open.session = std::make_unique<CntsPOP3Boundary>(*settings);
    wipe(settings->c_passwd);
    const std::uint32_t code = open.session->Connect();
    if (interrupting_signal() != 0)
        return fail(failure, kExitSignal + interrupting_signal(), "connect",
                    interrupted_sentence(Stage::kNothingReceived));
    if (code == 0) return true;
    fail_with_code(failure, "connect", code);
    failure.where = mailbox_text(account);
    return false;
}

}  // namespace velorin::cli
