#include "child_process.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace velorin_test {
namespace {

using Clock = std::chrono::steady_clock;

int left(Clock::time_point deadline)
{
    const auto milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return milliseconds > 0 ? static_cast<int>(milliseconds) : 0;
}

std::vector<char*> pointers_to(std::vector<std::string>& texts)
{
    std::vector<char*> out;
    for (std::string& text : texts)
        out.push_back(text.data());
    out.push_back(nullptr);
    return out;
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& command,
                           const std::vector<std::string>& environment)
{
    std::vector<std::string> words = command;
    std::vector<std::string> variables = environment;
    for (char** entry = environ; *entry != nullptr; ++entry)
        variables.emplace_back(*entry);
    const std::vector<char*> argv = pointers_to(words);
    const std::vector<char*> envp = pointers_to(variables);
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    pid_ = ::fork();
    if (pid_ == 0) {
        ::dup2(ends[1], STDOUT_FILENO);
        ::dup2(ends[1], STDERR_FILENO);
        ::execve(argv[0], argv.data(), envp.data());
        ::_exit(127);
    }
    ::close(ends[1]);
    descriptor_ = ends[0];
    if (pid_ < 0) throw std::runtime_error("no process");
}

ChildProcess::~ChildProcess()
{
    if (pid_ > 0) {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
    ::close(descriptor_);
}

bool ChildProcess::read_some(int timeout_ms)
{
    pollfd watched = {descriptor_, POLLIN, 0};
    if (::poll(&watched, 1, timeout_ms) <= 0) return false;
    char octets[4096];
    const ssize_t count = ::read(descriptor_, octets, sizeof octets);
    if (count <= 0) return false;
    output_.append(octets, static_cast<std::size_t>(count));
    return true;
}

bool ChildProcess::wait_for_output(const std::string& text, int timeout_ms)
{
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(timeout_ms);
    while (output_.find(text) == std::string::npos) {
        if (!read_some(left(deadline))) return false;
    }
    return true;
}

void ChildProcess::signal(int number) const
{
    ::kill(pid_, number);
}

int ChildProcess::wait_for_end(int timeout_ms)
{
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(timeout_ms);
    while (read_some(left(deadline))) {
    }
    return wait_for_end_unread(left(deadline) + 1);
}

int ChildProcess::wait_for_end_unread(int timeout_ms)
{
    const int descriptor = static_cast<int>(::syscall(SYS_pidfd_open, pid_, 0u));
    pollfd watched = {descriptor, POLLIN, 0};
    const int ended = ::poll(&watched, 1, timeout_ms);
    ::close(descriptor);
    if (ended != 1) return -1;
    int status = 0;
    ::waitpid(pid_, &status, 0);
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

TemporaryFolder::TemporaryFolder()
{
    char name[] = "/tmp/velorin_XXXXXX";  // short: the path of a socket holds 107 characters
    if (::mkdtemp(name) == nullptr) throw std::runtime_error("no folder");
    path_ = name;
}

TemporaryFolder::~TemporaryFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

}  // namespace velorin_test
