#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "account.h"
#include "descriptor.h"
#include "failure.h"
#include "mailbox_walk.h"

namespace velorin::cli {

// What became of a mail that came whole.
struct SeenMail {
    // Pending: all of it is on the disk under `temporary`, and is to be renamed, or was, to `path`.
    enum class Place { kPending, kFetched };
    enum class Fate { kKeep, kDelete, kDeleted };  // on the server: to be deleted, deleted

    Place place = Place::kFetched;
    Fate fate = Fate::kKeep;
    std::int64_t seen = 0;  // seconds since 1970: when the server last had it
    std::string path;       // absolute
    std::string temporary;  // absolute; of a pending one
};

// The mails of one account that were fetched, by MailEntry::key, in a file that always is whole: every change is
// written aside, brought to the disk and renamed over it. One process at a time has it.
class SeenState {
public:
    // Takes the lock and reads the file, which need not be there yet.
    //   in      file: empty: the account's own
    //   result  false with the sentence: another process has it, it is damaged or belongs to another account
    bool open(const std::string& file, const Account& account, Failure& failure);

    std::map<std::string, SeenMail>& mails() { return mails_; }
    const std::map<std::string, SeenMail>& mails() const { return mails_; }
    bool is_fetched(const std::string& key) const;

    // Tells what the server has now: what it has not had for a month is forgotten with the next save. A mail
    // that it has deleted is so as soon as it is gone: its unique id may become that of another mail then.
    void listed(const std::vector<MailEntry>& mails);

    //   result  false with the sentence; the file is as it was
    bool save(Failure& failure);

    // Different from that of every other state that is open at the same time.
    std::string identity() const;

private:
    bool find_file(Failure& failure);
    bool lock(Failure& failure);
    bool load(Failure& failure);

    std::string file_;
    std::string account_;
    Descriptor lock_;
    std::map<std::string, SeenMail> mails_;
};

// The file's text, and back.
std::string write_seen(const std::string& account, const std::map<std::string, SeenMail>& mails);
//   out     account, mails: set on success
//   result  false: the text is not one that write_seen made
bool read_seen(const std::string& text, std::string& account, std::map<std::string, SeenMail>& mails);

}  // namespace velorin::cli
