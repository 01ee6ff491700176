#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <utility>

#include <unistd.h>

#include "commands.h"
#include "interrupt.h"
#include "mail_date.h"
#include "mail_receiver.h"
#include "mail_store.h"
#include "mailbox_walk.h"
#include "progress.h"
#include "report.h"
#include "safe_name.h"
#include "seen_state.h"
#include "session.h"

namespace velorin::cli {

namespace {

// Bringing mails to the disk costs about the same for one as for many (256 small ones, measured: 20 ms together,
// 2 s file by file), so they go there together; a person does not wait long to see the first ones.
constexpr std::size_t kBatchMails = 1000;
constexpr std::uint64_t kBatchOctets = 64u << 20;
constexpr std::chrono::seconds kBatchTime(2);

// A mail that was received by this run.
struct FetchedMail {
    MailEntry entry;
    std::string name;       // that it is to have
    std::string temporary;  // in the hidden folder
    std::string path;       // empty: it does not have its name yet
    bool deleted = false;
};

class Fetching {
public:
    Fetching(const Options& options, Progress& progress, Failure& failure)
        : options_(options), progress_(progress), failure_(failure)
    {
    }

    bool run()
    {
        set_stage(Stage::kNothingReceived);
        const bool raw = options_.mailbox.raw;
        std::vector<MailEntry> listed;
        std::vector<MailEntry> chosen;
        if (!resolve_mailbox_account(options_, account_, failure_) ||
            !state_.open(options_.mailbox.state_file, account_, failure_) ||
            !complete_pending(state_, failure_) ||
            !store_.open(options_.mailbox.folder, state_.identity(), failure_) ||
            !open_mailbox(account_, open_, failure_) || !walk_mailbox(*open_.session, listed, failure_) ||
            !need_unique_ids(listed, failure_) || !choose(listed, chosen))
            return false;
        say("connected to " + mailbox_text(account_) + ", " + std::to_string(listed.size()) + " mails, " +
            std::to_string(chosen.size()) + " to fetch");
        state_.listed(listed);
        set_stage(Stage::kReceiving);
        const bool received = receive_all(chosen, raw);
        // What came whole is kept, whatever happened to the mail behind it.
        const bool kept = received ? put_batch_in_place(failure_) : keep_what_came();
        if (!received || !kept || !state_.save(failure_)) return false;
        return finish(listed) && !some_refused();
    }

    const std::vector<FetchedMail>& mails() const { return fetched_; }

private:
    bool choose(const std::vector<MailEntry>& listed, std::vector<MailEntry>& chosen)
    {
        const MailboxOptions& mailbox = options_.mailbox;
        if (!mailbox.uids.empty()) return find_mails(listed, mailbox.uids, chosen, failure_);
        for (const MailEntry& mail : listed)
            if (mailbox.all || !state_.is_fetched(mail.key)) chosen.push_back(mail);
        return true;
    }

    bool receive_all(const std::vector<MailEntry>& chosen, bool raw)
    {
        std::uint64_t total = 0;
        for (const MailEntry& entry : chosen)
            total += static_cast<std::uint64_t>(std::max(entry.size, 0L));
        progress_.begin(total, static_cast<unsigned>(chosen.size()));
        MailReceiver receiver(*open_.session, progress_, failure_);
        unsigned number = 0;
        for (const MailEntry& entry : chosen) {
            progress_.part(++number, printable(entry.uid));
            say("fetching " + entry.uid);
            FetchedMail mail;
            mail.entry = entry;
            mail.temporary = std::to_string(number);
            const auto result = raw ? receive_raw(receiver, mail) : receive(receiver, mail);
            if (result != MailReceiver::Result::kWhole) store_.discard(mail.temporary);
            if (result == MailReceiver::Result::kBroken) return false;
            if (result == MailReceiver::Result::kRefused) {
                if (refused_.exit_code == kExitOk) refused_ = failure_;
                continue;
            }
            fetched_.push_back(mail);
            if (batch_is_full() && !put_batch_in_place(failure_)) return false;
        }
        return true;
    }

    MailReceiver::Result receive(MailReceiver& receiver, FetchedMail& mail)
    {
        Descriptor folder;
        if (!store_.make_folder(mail.temporary, folder, failure_)) return MailReceiver::Result::kBroken;
        std::string date;
        const auto result = receiver.receive(mail.entry, account_.pop_user + "@" + account_.pop_server,
                                             std::move(folder), date);
        std::time_t moment = 0;
        mail.name = read_mail_date(date, moment) ? date_stamp(moment) : "undated";
        mail.name += "-" + name_of_uid(mail.entry.uid);
        return result;
    }

    MailReceiver::Result receive_raw(MailReceiver& receiver, FetchedMail& mail)
    {
        mail.name = "mail-" + name_of_uid(mail.entry.uid) + kRawExtension;
        return receiver.receive_raw(mail.entry, store_.incoming(), mail.temporary);
    }

    bool batch_is_full() const
    {
        return fetched_.size() - placed_ >= kBatchMails ||
               progress_.octets() - placed_octets_ >= kBatchOctets ||
               std::chrono::steady_clock::now() - placed_at_ >= kBatchTime;
    }

    // Brings what has come to the disk, writes down that it is there, and gives it its names. A run that is
    // ended before it is written down has not fetched the mails; one that is ended behind that has, and the
    // next one completes the names.
    bool put_batch_in_place(Failure& failure)
    {
        if (placed_ == fetched_.size()) return true;
        if (!store_.sync(failure)) return false;
        for (std::size_t index = placed_; index < fetched_.size(); ++index) {
            FetchedMail& mail = fetched_[index];
            SeenMail& seen = state_.mails()[mail.entry.key];
            seen.place = SeenMail::Place::kPending;
            seen.fate = options_.mailbox.delete_fetched ? SeenMail::Fate::kDelete : SeenMail::Fate::kKeep;
            seen.seen = static_cast<std::int64_t>(std::time(nullptr));
            seen.path = store_.path_of(store_.take_name(mail.name));
            seen.temporary = store_.temporary_path_of(mail.temporary);
        }
        if (!state_.save(failure) || !complete_names(failure)) return false;
        placed_octets_ = progress_.octets();
        placed_at_ = std::chrono::steady_clock::now();
        return true;
    }

    bool complete_names(Failure& failure)
    {
        for (; placed_ < fetched_.size(); ++placed_) {
            FetchedMail& mail = fetched_[placed_];
            SeenMail& seen = state_.mails()[mail.entry.key];
            if (!give_name(seen, failure)) return false;
            mail.path = seen.path;
        }
        return store_.sync_names(failure);
    }

    bool keep_what_came()
    {
        Failure second;
        return put_batch_in_place(second) && state_.save(second);
    }

    // Deletes what is to be deleted, and leaves.
    bool finish(const std::vector<MailEntry>& listed)
    {
        std::vector<MailEntry> condemned;
        if (options_.mailbox.delete_fetched)
            for (const MailEntry& entry : listed)
                if (is_condemned(entry)) condemned.push_back(entry);
        if (condemned.empty()) {
            leave_mailbox(*open_.session);
            set_stage(Stage::kReceived);
            return true;
        }
        say("deleting " + std::to_string(condemned.size()) + " mails");
        if (!delete_mails(*open_.session, condemned, failure_)) return false;
        for (const MailEntry& entry : condemned)
            state_.mails()[entry.key].fate = SeenMail::Fate::kDeleted;
        for (FetchedMail& mail : fetched_)
            mail.deleted = state_.mails()[mail.entry.key].fate == SeenMail::Fate::kDeleted;
        return state_.save(failure_);
    }

    bool is_condemned(const MailEntry& entry) const
    {
        const auto seen = state_.mails().find(entry.key);
        return seen != state_.mails().end() && seen->second.fate == SeenMail::Fate::kDelete;
    }

    bool some_refused()
    {
        if (refused_.exit_code == kExitOk) return false;
        failure_ = refused_;
        return true;
    }

    void say(const std::string& text) const
    {
        if (options_.verbose) std::fprintf(stderr, "velorin-mail: %s\n", printable(text).c_str());
    }

    const Options& options_;
    Progress& progress_;
    Failure& failure_;
    Failure refused_;  // of the first mail that the server did not give
    Account account_;
    SeenState state_;
    MailStore store_;
    OpenMailbox open_;
    std::vector<FetchedMail> fetched_;
    std::size_t placed_ = 0;  // so many of them have their names
    std::uint64_t placed_octets_ = 0;
    std::chrono::steady_clock::time_point placed_at_ = std::chrono::steady_clock::now();
};

std::string json_of_mails(const std::vector<FetchedMail>& mails)
{
    std::string array = "[";
    for (const FetchedMail& mail : mails) {
        if (mail.path.empty()) continue;
        if (array.size() > 1) array += ",";
        array += "{\"number\":" + std::to_string(mail.entry.number) +
                 ",\"unique_id\":" + json_string(mail.entry.uid) +
                 ",\"size\":" + std::to_string(mail.entry.size) + ",\"path\":" + json_string(mail.path) +
                 ",\"deleted\":" + (mail.deleted ? "true" : "false") + "}";
    }
    return array + "]";
}

std::size_t count_of(const std::vector<FetchedMail>& mails)
{
    return static_cast<std::size_t>(std::count_if(
        mails.begin(), mails.end(), [](const FetchedMail& mail) { return !mail.path.empty(); }));
}

}  // namespace

int run_fetch(const Options& options)
{
    Outcome outcome;
    outcome.command = "fetch";
    Failure failure;
    Progress progress(!options.quiet && !options.json && !options.verbose, "mail");
    bool done = false;
    std::size_t count = 0;
    {
        Fetching fetching(options, progress, failure);
        done = fetching.run();
        count = count_of(fetching.mails());
        outcome.mails = json_of_mails(fetching.mails());
    }
    progress.finish();
    outcome.octets = progress.octets();
    outcome.seconds = progress.seconds();
    if (done && !options.json && !options.quiet && ::isatty(STDERR_FILENO) == 1)
        std::fprintf(stderr, "velorin-mail: %zu new mail%s in %s, %s in %.1f s\n", count,
                     count == 1 ? "" : "s", printable(options.mailbox.folder).c_str(),
                     readable_octets(static_cast<double>(outcome.octets)).c_str(), outcome.seconds);
    return report(outcome, done ? nullptr : &failure, options.json);
}

}  // namespace velorin::cli
