// What velorin-mail does when a person sits in front of it.
#include <csignal>

#include <gtest/gtest.h>
#include <unistd.h>

#include "loopback_smtp.h"

#include "cli_process.h"
#include "temporary_folder.h"
#include "terminal_process.h"

using velorin_test::LoopbackSmtp;
using velorin_test::SmtpOptions;

namespace {

SmtpOptions with_user()
{
    SmtpOptions options;
    options.auth = {"PLAIN"};
    options.users = {{"me", "right"}};
    options.auth_required = true;
    return options;
}

}  // namespace

TEST(CliTerminal, AsksForThePasswordAndDoesNotShowIt)
{
    const LoopbackSmtp server(with_user());
    TerminalProcess process(send_arguments(
        server.port(), {"--tls", "none", "--user", "me", "--subject", "s", "--text-string", "x"}));
    ASSERT_TRUE(process.wait_for_text("Password for me at 127.0.0.1: ")) << process.seen();
    process.type("right\n");
    EXPECT_EQ(0, process.wait()) << process.seen();
    EXPECT_EQ(std::string::npos, process.seen().find("right"));
    EXPECT_NE(std::string::npos, process.seen().find("velorin-mail: sent <")) << process.seen();
    EXPECT_EQ(1u, server.mails().size());
}

TEST(CliTerminal, CtrlCAtThePromptEndsIt)
{
    const LoopbackSmtp server(with_user());
    TerminalProcess process(send_arguments(
        server.port(), {"--tls", "none", "--user", "me", "--subject", "s", "--text-string", "x"}));
    ASSERT_TRUE(process.wait_for_text("Password for me")) << process.seen();
    process.type("ri\x03");
    EXPECT_EQ(128 + SIGINT, process.wait()) << process.seen();
    EXPECT_NE(std::string::npos, process.seen().find("interrupted, nothing was sent")) << process.seen();
    EXPECT_TRUE(server.conversations().empty());
}

TEST(CliTerminal, ShowsHowFarItIs)
{
    const TemporaryFolder folder;
    const std::string file = folder.write("a\x1B[31mb.bin", "");
    ASSERT_EQ(0, ::truncate(file.c_str(), off_t{1} << 33));  // sparse, and more than can be sent meanwhile
    SmtpOptions options;
    options.discard = true;
    const LoopbackSmtp server(options);
    TerminalProcess process(
        send_arguments(server.port(), {"--subject", "s", "--text-string", "x", "--attach", file}));
    ASSERT_TRUE(process.wait_for_text("part 2 of 2 a_[31mb.bin: ")) << process.seen();
    ASSERT_TRUE(process.wait_for_text(" of 10.9 GiB, ")) << process.seen();
    process.type("\x03");
    EXPECT_EQ(128 + SIGINT, process.wait());
    EXPECT_NE(std::string::npos, process.seen().find("the mail was broken off")) << process.seen();
}

TEST(CliTerminal, ProgressStaysOnALineOfANarrowTerminal)
{
    const TemporaryFolder folder;
    const std::string file = folder.write("name-of-a-file-that-is-long", "");
    ASSERT_EQ(0, ::truncate(file.c_str(), off_t{1} << 33));  // sparse, and more than can be sent meanwhile
    SmtpOptions options;
    options.discard = true;
    const LoopbackSmtp server(options);
    TerminalProcess process(
        send_arguments(server.port(), {"--subject", "s", "--text-string", "x", "--attach", file}), 20);
    ASSERT_TRUE(process.wait_for_text("part 2 of 2 ")) << process.seen();
    process.type("\x03");
    EXPECT_EQ(128 + SIGINT, process.wait());
    const std::size_t begin = process.seen().find("part 2 of 2 ");
    // The terminal shows the key, too.
    const std::string line = process.seen().substr(begin, process.seen().find_first_of("\r^", begin) - begin);
    EXPECT_EQ("part 2 of 2 name-o\xE2\x80\xA6", line);
}

TEST(CliTerminal, QuietShowsNothing)
{
    const LoopbackSmtp server;
    TerminalProcess process(
        send_arguments(server.port(), {"--quiet", "--subject", "s", "--text-string", "x"}));
    EXPECT_EQ(0, process.wait());
    EXPECT_EQ("", process.seen());
}
