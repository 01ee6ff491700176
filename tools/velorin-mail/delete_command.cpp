#include <cstdio>

#include <unistd.h>

#include "commands.h"
#include "interrupt.h"
#include "mail_store.h"
#include "mailbox_walk.h"
#include "progress.h"
#include "report.h"
#include "seen_state.h"
#include "session.h"

namespace velorin::cli {

namespace {

// Nobody can have meant one of two mails that have the same unique id.
bool each_is_the_only_one(const std::vector<MailEntry>& chosen, Failure& failure)
{
    for (const MailEntry& mail : chosen) {
        if (mail.key == mail.uid) continue;
        fail(failure, kExitProtocol, "delete",
             "more than one mail on the server has this unique id; fetch --delete takes them all");
        failure.where = mail.uid;
        return false;
    }
    return true;
}

// What is to be deleted: the mails of the unique ids that were given, all of them or none; or those on the
// server that were fetched.
bool choose(const MailboxOptions& options, const std::vector<MailEntry>& listed, const SeenState& state,
            std::vector<MailEntry>& chosen, Failure& failure)
{
    if (!options.fetched)
        return find_mails(listed, options.uids, chosen, failure) && each_is_the_only_one(chosen, failure);
    for (const MailEntry& mail : listed)
        if (state.is_fetched(mail.key)) chosen.push_back(mail);
    return true;
}

bool delete_chosen(const Options& options, std::vector<MailEntry>& deleted, Failure& failure)
{
    Account account;
    SeenState state;
    OpenMailbox open;
    std::vector<MailEntry> listed;
    std::vector<MailEntry> chosen;
    set_stage(Stage::kNothingReceived);
    if (!resolve_mailbox_account(options, account, failure) ||
        !state.open(options.mailbox.state_file, account, failure) || !complete_pending(state, failure) ||
        !open_mailbox(account, open, failure) || !walk_mailbox(*open.session, listed, failure) ||
        !need_unique_ids(listed, failure) || !choose(options.mailbox, listed, state, chosen, failure))
        return false;
    if (chosen.empty()) {
        leave_mailbox(*open.session);
        return true;
    }
    if (!delete_mails(*open.session, chosen, failure)) return false;
    deleted = chosen;
    bool known = false;
    for (const MailEntry& mail : deleted) {
        const auto seen = state.mails().find(mail.key);
        if (seen == state.mails().end()) continue;
        seen->second.fate = SeenMail::Fate::kDeleted;
        known = true;
    }
    return !known || state.save(failure);
}

std::string json_of_mails(const std::vector<MailEntry>& mails)
{
    std::string array = "[";
    for (const MailEntry& mail : mails) {
        if (array.size() > 1) array += ",";
        array +=
            "{\"number\":" + std::to_string(mail.number) + ",\"unique_id\":" + json_string(mail.uid) + "}";
    }
    return array + "]";
}

}  // namespace

int run_delete(const Options& options)
{
    Outcome outcome;
    outcome.command = "delete";
    Failure failure;
    const Progress clock(false);
    std::vector<MailEntry> deleted;
    const bool done = delete_chosen(options, deleted, failure);
    outcome.seconds = clock.seconds();
    outcome.mails = json_of_mails(deleted);
    if (done && !options.json && !options.quiet && ::isatty(STDERR_FILENO) == 1)
        std::fprintf(stderr, "velorin-mail: %zu mail%s deleted\n", deleted.size(),
                     deleted.size() == 1 ? "" : "s");
    return report(outcome, done ? nullptr : &failure, options.json);
}

}  // namespace velorin::cli
