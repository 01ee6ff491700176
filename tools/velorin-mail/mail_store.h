#pragma once

#include <map>
#include <set>
#include <string>

#include "descriptor.h"
#include "failure.h"
#include "seen_state.h"

namespace velorin::cli {

constexpr const char* kRawExtension = ".eml";  // of a mail as it is on the server; decoded ones are folders

// The name of a mail with a number in it.
std::string numbered_mail(const std::string& name, unsigned number);

// The folder that mails are fetched into. A mail is written under a number in a hidden folder in it,
// ".incoming-...", and gets its name when it is whole and on the disk. Nothing is ever written over.
class MailStore {
public:
    ~MailStore();  // removes what was not put in place

    // Makes the folder when it is not there, and takes away what an earlier run with the same list left
    // unfinished in it.
    //   in      identity: of the list of fetched mails
    bool open(const std::string& folder, const std::string& identity, Failure& failure);

    int incoming() const { return incoming_.get(); }
    // A new folder in the hidden one.
    //   in      name: not used before
    bool make_folder(const std::string& name, Descriptor& folder, Failure& failure);
    // Everything written so far is on the disk.
    bool sync(Failure& failure);
    // The renamings too.
    bool sync_names(Failure& failure);

    // A name that nothing in the folder has and that was not given before: `wanted`, or one with a number in
    // it.
    std::string take_name(const std::string& wanted);
    std::string path_of(const std::string& name) const { return folder_path_ + "/" + name; }
    std::string temporary_path_of(const std::string& name) const;
    void discard(const std::string& name);

private:
    std::string folder_path_;  // absolute
    std::string incoming_name_;
    Descriptor folder_;
    Descriptor incoming_;
    std::map<std::string, unsigned> numbers_;  // the last one given to a name
    std::set<std::string> taken_;
};

// Gives a pending mail its name, or one with a number in it where somebody else has taken that.
//   out     mail: fetched, under the name it got
bool give_name(SeenMail& mail, Failure& failure);

// Completes what a run that was ended had begun: a mail that is on the disk gets its name.
//   result  false with the sentence: nothing may be fetched, or it could come twice
bool complete_pending(SeenState& state, Failure& failure);

}  // namespace velorin::cli
