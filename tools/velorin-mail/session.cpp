#include "session.h"

#include "password.h"

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

}  // namespace

bool resolve_account(const Options& options, Account& account, Failure& failure)
{
    Settings file;
    if (!load_config(options.config_file, file, failure)) return false;
    if (make_account(merge(options.account, file), account, failure)) return true;
    // What the command line alone does not get wrong stands in the file.
    Account unused;
    Failure of_command_line;
    if (!file.empty() && failure.exit_code == kExitUsage &&
        (make_account(options.account, unused, of_command_line) ||
         of_command_line.sentence != failure.sentence)) {
        failure.exit_code = kExitConfig;
        failure.sentence += " (set in the configuration file)";
    }
    return false;
}

std::string server_text(const Account& account)
{
    return account.port == 0 ? account.server : account.server + " port " + std::to_string(account.port);
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

}  // namespace velorin::cli
