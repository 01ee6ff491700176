// What attack-client has said, held against what the servers have.
#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "loopback_pop3.h"
#include "loopback_smtp.h"

namespace velorin_test {

// Mails with such a unique id are deleted by whoever has read them; all others stay.
constexpr char kDropPrefix[] = "drop-";

// The text of the mail with this message identifier or unique id, some kilobytes.
std::string body_of(const std::string& id);
// The whole mail that a POP3 server shows under it.
std::string mail_of(const std::string& uid);

class KeptPromises {
public:
    // Takes all that one process of attack-client has said. A line that its end has cut is not there.
    void take(const std::string& output);

    // Every mail is whole, confirmed ones are there once, others once at most.
    void check_sent(const std::vector<LoopbackMail>& mails) const;
    // Whatever is missing in the mailbox was asked for; what was confirmed is gone.
    //   in      all: unique ids of every mail that was ever there
    void check_deleted(const std::set<std::string>& all, const Maildrop& maildrop) const;

    std::size_t begun() const { return begun_.size(); }
    std::size_t sent() const { return sent_.size(); }
    std::size_t read() const { return read_; }
    std::size_t closed() const { return closed_; }

private:
    std::set<std::string> begun_;
    std::set<std::string> sent_;
    std::set<std::string> asked_;
    std::set<std::string> deleted_;  // asked for in a session whose end was confirmed
    std::size_t read_ = 0;
    std::size_t closed_ = 0;
};

}  // namespace velorin_test
