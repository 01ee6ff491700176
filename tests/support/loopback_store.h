// A folder in which a loopback server leaves its mails.
#pragma once

#include <mutex>
#include <string>
#include <string_view>

#include "loopback_pop3.h"
#include "loopback_smtp.h"

namespace velorin_test {

// Writes the whole file under another name and moves it in place, so that whoever finds it finds all of it.
//   result  false: errno says why, nothing is left behind
bool write_file(const std::string& path, std::string_view octets);

// Adds the files NAME.eml of a folder, in the order of their names, each with the unique id NAME. Throws
// std::runtime_error when the folder or a file cannot be read.
void add_mails(const std::string& folder, Maildrop& maildrop);

// The text as a JSON string, quotes included. Octets that are no UTF-8 stand as U+00XX.
std::string json_string(std::string_view text);

// The mail's envelope as a JSON object:
//   from, parameters, recipients   as said in MAIL and RCPT, without < and >
//   hello, user, mechanism, tls    of its connection; "" where there was none
//   connection                     which one, from 0
//   octets                         on the wire, dots stuffed, without the final dot line
//   accepted                       the reply to the final dot was success
std::string envelope_json(const LoopbackMail& mail, const Conversation& conversation);

// Each mail gets the next number N from 1 that is free: N.eml holds its octets without dot stuffing, N.json
// its envelope. N.eml comes first: who sees N.json finds both. Any thread may call keep().
class MailFolder {
public:
    // The folder is made when it is not there. Throws std::runtime_error when that fails.
    explicit MailFolder(std::string folder);

    bool keep(const LoopbackMail& mail, const Conversation& conversation);

private:
    const std::string folder_;
    std::mutex mutex_;
    unsigned next_ = 1;
};

}  // namespace velorin_test
