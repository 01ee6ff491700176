// A mailbox on a loopback server, and velorin-mail at work on it.
#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "loopback_pop3.h"

#include "cli_process.h"
#include "temporary_folder.h"

// A server that knows one user, "me" with the password "right".
velorin_test::Pop3Options mailbox_options(const std::vector<std::string>& mails);

// Small mails that differ, "Subject: mail 1" and so on.
std::vector<std::string> small_mails(std::size_t count);

// Octets without a pattern that a wrong cut might repeat, and their base64 in lines.
std::string varied_octets(std::size_t size);
std::string base64_lines(const std::string& octets);

class MailboxFixture {
public:
    explicit MailboxFixture(velorin_test::Pop3Options options);

    // velorin-mail with this account, further arguments behind it.
    std::vector<std::string> arguments(const std::string& command, std::vector<std::string> more = {}) const;
    // The same with this fixture's state file, and for fetch its folder.
    std::vector<std::string> state_arguments(const std::string& command,
                                             std::vector<std::string> more = {}) const;
    CliResult list(std::vector<std::string> more = {}) const;
    CliResult fetch(std::vector<std::string> more = {}) const;
    CliResult remove(std::vector<std::string> more = {}) const;  // "delete"

    std::string out() const { return folder.path() + "/out"; }
    std::string state() const { return folder.path() + "/state"; }
    // The unique ids on the server, with a blank between them.
    std::string on_server() const;

    velorin_test::LoopbackPop3 server;
    TemporaryFolder folder;  // in memory where the system has such a place: a fetch waits for the disk

private:
    std::string password_;
};

// It ended well, without a word.
void expect_silent_success(const CliResult& result);
// One sentence that holds `part`, and this exit code.
void expect_one_sentence(const CliResult& result, int exit_code, const std::string& part);
