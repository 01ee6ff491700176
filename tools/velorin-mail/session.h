#pragma once

#include <memory>
#include <string>

#include "ntc_email.h"

#include "account.h"
#include "failure.h"
#include "options.h"
#include "service_link.h"

namespace velorin::cli {

// Reads the configuration file, lays the command line over it, checks the account.
bool resolve_account(const Options& options, Account& account, Failure& failure);

// The same for the commands that read a mailbox.
bool resolve_mailbox_account(const Options& options, Account& account, Failure& failure);

// "mail.example.com" or "mail.example.com port 587": for the sentences.
std::string server_text(const Account& account);

// The same of the mailbox.
std::string mailbox_text(const Account& account);

// A session at the mail service, with everything that must outlive it. Passwords are asked for and forgotten
// here.
struct OpenSession {
    ServiceLink link;
    std::unique_ptr<CntsSMTPBoundary> session;
};

//   result  false with the sentence; no connection to the server has been made yet either way
bool open_session(const Account& account, OpenSession& open, Failure& failure);

// The same for a mailbox.
struct OpenMailbox {
    ServiceLink link;
    std::unique_ptr<CntsPOP3Boundary> session;
};

//   result  true: connected and logged in; false with the sentence
bool open_mailbox(const Account& account, OpenMailbox& open, Failure& failure);

}  // namespace velorin::cli
