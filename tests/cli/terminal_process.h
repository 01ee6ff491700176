// velorin-mail on a terminal of its own.
#pragma once

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

constexpr int kTerminalPatience = 10000;  // milliseconds

// The program on a terminal of its own; everything it writes is what a person would see.
class TerminalProcess {
public:
    //   in      columns: width of the terminal
    explicit TerminalProcess(std::vector<std::string> arguments, unsigned short columns = 80)
    {
        arguments.insert(arguments.begin(), VELORIN_MAIL_PROGRAM);
        std::vector<char*> words;
        for (std::string& word : arguments)
            words.push_back(&word[0]);
        words.push_back(nullptr);
        ::setenv("XDG_CONFIG_HOME", "/nonexistent", 1);
        ::unsetenv("VELORIN_TRACE");
        struct winsize size = {};
        size.ws_row = 24;
        size.ws_col = columns;
        pid_ = ::forkpty(&terminal_, nullptr, nullptr, &size);
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
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(kTerminalPatience);
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
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(kTerminalPatience);
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
        if (::poll(&ready, 1, kTerminalPatience) <= 0) return false;
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
