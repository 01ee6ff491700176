// What the tests of sending share.
#pragma once

#include <string>

#include "loopback_smtp.h"

#include "cli_process.h"

constexpr int kSoon = 10000;  // milliseconds for what happens at once

// The one mail that the server has got, or gets soon.
velorin_test::LoopbackMail only_mail(const velorin_test::LoopbackSmtp& server);

// A command that did its work and had nothing to complain of.
void expect_sent(const CliResult& result);

// A command that failed and said so in one sentence with this in it.
void expect_failure(const CliResult& result, int exit_code, const std::string& part);

void expect_no_connection(const velorin_test::LoopbackSmtp& server);
