#pragma once

#include <string>
#include <vector>

#include "failure.h"
#include "settings.h"

namespace velorin::cli {

enum class Command { kHelp, kSend, kCheck, kList, kFetch, kDelete, kTrace, kEncode, kDecode, kFilter };

struct AttachOption {
    std::string file;
    std::string type;  // as given; empty: by the file name's extension
};

// What `send` is told about the mail itself. Texts are octets as given, not yet checked.
struct MailOptions {
    std::vector<std::string> to;
    std::vector<std::string> cc;
    std::vector<std::string> bcc;
    std::string subject;
    std::string text_file = "-";  // "-": standard input
    bool has_text_string = false;
    std::string text_string;
    std::vector<AttachOption> attachments;
    std::string mdn;
    bool fax = false;
    std::string message_id;
    std::string in_reply_to;
    std::string references;
    std::string date;  // empty: now
};

// What `fetch` and `delete` are told about the mails of a mailbox.
struct MailboxOptions {
    std::vector<std::string> uids;
    bool all = false;             // fetch: also what was fetched before
    bool fetched = false;         // delete: what was fetched
    std::string folder = "mail";  // fetch: where mails go
    bool raw = false;             // fetch: as they are on the server
    bool delete_fetched = false;  // fetch: then delete them on the server
    std::string state_file;       // empty: the account's own
};

// What `encode` and `decode` are told.
struct CodecOptions {
    std::string kind;        // "base64", "quoted-printable", "words", "charset"
    std::string file = "-";  // "-": standard input
    std::string charset;     // empty: not given
};

struct Options {
    Command command = Command::kHelp;
    std::string help;  // of kHelp: what to print
    Settings account;  // settings of the command line
    std::string config_file;
    bool json = false;
    bool quiet = false;
    bool verbose = false;
    MailOptions mail;
    MailboxOptions mailbox;
    CodecOptions codec;
    std::vector<std::string> filter_addresses;  // empty: standard input
    std::string trace_file;
};

// Reads the command line.
//   in      arguments: without the program's name
//   result  false with one sentence, which never repeats an argument's value: it might be a password
bool parse_options(const std::vector<std::string>& arguments, Options& options, Failure& failure);

}  // namespace velorin::cli
