// What velorin-mail does when a person sits in front of it.
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <stdexcept>

#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include "loopback_smtp.h"

#include "cli_process.h"
#include "temporary_folder.h"

using velorin_test::LoopbackSmtp;
using velorin_test::SmtpOptions;

namespace {

constexpr int kSoon = 10000;  // milliseconds

// The program on a terminal of its own; everything it writes is what a person would see.
class TerminalProcess {
public:
    explicit TerminalProcess(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), VELORIN_MAIL_PROGRAM);
        std::vector<char*> words;
        for (std::string& word : arguments)
            words.push_back(&word[0]);
        words.push_back(nullptr);
        ::setenv("XDG_CONFIG_HOME", "/nonexistent", 1);
        ::unsetenv("VELORIN_TRACE");
        pid_ = ::forkpty(&terminal_, nullptr, nullptr, nullptr);
        if (pid_ < 0) throw std::runtime_error("no terminal");
        if (pid_ == 0) {
            ::execv(words[0], words.data());
            ::_exit(127);
        }
    }
    ~TerminalProcess()
    {
        if (pid_ > 0) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, nullptr, 0);
        }
        ::close(terminal_);
    }
    TerminalProcess(const TerminalProcess&) = delete;
    TerminalProcess& operator=(const TerminalProcess&) = delete;

    bool wait_for_text(const std::string& text)
    {
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(kSoon);
        while (seen_.find(text) == std::string::npos)
            if (std::chrono::steady_clock::now() > end || !read_some()) return false;
        return true;
    }
    void type(const std::string& text)
    {
        EXPECT_EQ(static_cast<ssize_t>(text.size()), ::write(terminal_, text.data(), text.size()));
    }
    //   result  exit code; -1: ended by a signal, or not in time
    int wait()
    {
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(kSoon);
        while (std::chrono::steady_clock::now() < end && read_some()) {
        }
        if (std::chrono::steady_clock::now() >= end) return -1;
        int status = 0;
        ::waitpid(pid_, &status, 0);
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    const std::string& seen() const { return seen_; }

private:
    //   result  false when the other side has closed the terminal
    bool read_some()
    {
        struct pollfd ready = {terminal_, POLLIN, 0};
        if (::poll(&ready, 1, kSoon) <= 0) return false;
        char piece[4096];
        const ssize_t count = ::read(terminal_, piece, sizeof piece);
        if (count <= 0) return false;
        seen_.append(piece, static_cast<std::size_t>(count));
        return true;
    }

    int terminal_ = -1;
    pid_t pid_ = -1;
    std::string seen_;
};

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

TEST(CliTerminal, QuietShowsNothing)
{
    const LoopbackSmtp server;
    TerminalProcess process(
        send_arguments(server.port(), {"--quiet", "--subject", "s", "--text-string", "x"}));
    EXPECT_EQ(0, process.wait());
    EXPECT_EQ("", process.seen());
}
