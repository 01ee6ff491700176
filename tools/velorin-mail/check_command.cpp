#include <cstdio>

#include <unistd.h>

#include "commands.h"
#include "interrupt.h"
#include "progress.h"
#include "report.h"
#include "session.h"

namespace velorin::cli {

namespace {

bool check(const Options& options, Account& account, Failure& failure)
{
    if (!resolve_account(options, account, failure)) return false;
    OpenSession open;
    if (!open_session(account, open, failure)) return false;
    const std::uint32_t code = open.session->Test();
    if (interrupting_signal() != 0)
        return fail(failure, kExitSignal + interrupting_signal(), "test",
                    interrupted_sentence(Stage::kNothingSent));
    if (code == 0) return true;
    fail_with_code(failure, "test", code);
    failure.where = server_text(account);
    return false;
}

bool print_verdict(const Account& account)
{
    return std::printf("%s: %s\n", printable(server_text(account)).c_str(),
                       needs_password(account) ? "connection and login work" : "the connection works") >= 0 &&
           std::fflush(stdout) == 0;
}

}  // namespace

int run_check(const Options& options)
{
    Outcome outcome;
    outcome.command = "check";
    Progress clock(false);
    Account account;
    Failure failure;
    bool works = check(options, account, failure);
    outcome.seconds = clock.seconds();
    if (works && !options.json && !options.quiet && !print_verdict(account))
        works = fail(failure, kExitIo, "check", "the result cannot be written to standard output");
    return report(outcome, works ? nullptr : &failure, options.json);
}

}  // namespace velorin::cli
