#include "cli_process.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <stdexcept>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kPatience = 30000;  // milliseconds; nothing here comes near it unless something hangs

int left_until(Clock::time_point end)
{
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
    return left > 0 ? static_cast<int>(left) : 0;
}

// A file without a name that holds the input: no writer is needed beside the process.
int input_file(const std::string& input)
{
    const int file = ::memfd_create("input", MFD_CLOEXEC);
    if (file < 0 || ::write(file, input.data(), input.size()) != static_cast<ssize_t>(input.size()) ||
        ::lseek(file, 0, SEEK_SET) != 0)
        throw std::runtime_error("no input file");
    return file;
}

std::vector<std::string> environment_strings(const Environment& changes)
{
    Environment wanted = {{"XDG_CONFIG_HOME", "/nonexistent"},
                          {"VELORIN_CHANNEL_DIR", "/nonexistent"},
                          {"VELORIN_TRACE", ""},
                          {"VELORIN_CAPTURE", ""}};
    for (const auto& [name, value] : changes)
        wanted[name] = value;
    std::vector<std::string> strings;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        if (wanted.count(text.substr(0, text.find('='))) == 0) strings.push_back(text);
    }
    for (const auto& [name, value] : wanted)
        if (!value.empty()) strings.push_back(name + "=" + value);
    return strings;
}

std::vector<char*> pointers_to(std::vector<std::string>& strings)
{
    std::vector<char*> pointers;
    for (std::string& text : strings)
        pointers.push_back(&text[0]);
    pointers.push_back(nullptr);
    return pointers;
}

// Reads what is there.
//   result  false at the end
bool read_into(int descriptor, std::string& text)
{
    char piece[4096];
    const ssize_t count = ::read(descriptor, piece, sizeof piece);
    if (count < 0 && errno == EINTR) return true;
    if (count <= 0) return false;
    text.append(piece, static_cast<std::size_t>(count));
    return true;
}

}  // namespace

std::string CliResult::sentence() const
{
    const std::string start = "velorin-mail: ";
    if (err.size() <= start.size() || err.compare(0, start.size(), start) != 0) return "";
    if (err.find('\n') != err.size() - 1) return "";
    return err.substr(start.size(), err.size() - start.size() - 1);
}

CliProcess::CliProcess(const std::string& program, const std::vector<std::string>& arguments,
                       const std::string& input, const Environment& environment)
{
    int out[2];
    int err[2];
    if (::pipe2(out, O_CLOEXEC) != 0 || ::pipe2(err, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    const int in = input_file(input);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, in, STDIN_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, err[1], STDERR_FILENO);
    // A session of its own: no terminal to ask for a password at, whoever runs the tests.
    posix_spawnattr_t attributes;
    ::posix_spawnattr_init(&attributes);
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);
    std::vector<std::string> words = {program};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<std::string> variables = environment_strings(environment);
    const int failed = ::posix_spawn(&pid_, program.c_str(), &actions, &attributes, pointers_to(words).data(),
                                     pointers_to(variables).data());
    ::posix_spawnattr_destroy(&attributes);
    ::posix_spawn_file_actions_destroy(&actions);
    for (const int used : {in, out[1], err[1]})
        ::close(used);
    out_ = out[0];
    err_ = err[0];
    if (failed != 0) throw std::runtime_error(program + ": " + std::strerror(failed));
}

CliProcess::~CliProcess()
{
    if (pid_ > 0) {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
    for (const int open : {out_, err_})
        if (open >= 0) ::close(open);
}

void CliProcess::send_signal(int signal)
{
    if (pid_ > 0) ::kill(pid_, signal);
}

// Not from wait4: what that reports begins with the memory of the test, which the process shared until it was
// another program.
long CliProcess::peak_kib() const
{
    std::ifstream status("/proc/" + std::to_string(pid_) + "/status");
    for (std::string line; std::getline(status, line);)
        if (line.compare(0, 6, "VmHWM:") == 0) return std::strtol(line.c_str() + 6, nullptr, 10);
    return 0;
}

// Reads what comes on either stream.
//   result  false when both have ended or nothing came in time
bool CliProcess::read_some(int timeout_ms)
{
    struct pollfd streams[2] = {{out_, POLLIN, 0}, {err_, POLLIN, 0}};
    if (out_ < 0 && err_ < 0) return false;
    if (::poll(streams, 2, timeout_ms) <= 0) return false;
    if (streams[0].revents != 0 && !read_into(out_, result_.out)) {
        ::close(out_);
        out_ = -1;
    }
    if (streams[1].revents != 0 && !read_into(err_, result_.err)) {
        ::close(err_);
        err_ = -1;
    }
    return true;
}

bool CliProcess::wait_for_error_text(const std::string& text, int timeout_ms)
{
    const Clock::time_point end = Clock::now() + std::chrono::milliseconds(timeout_ms);
    while (result_.err.find(text) == std::string::npos)
        if (!read_some(left_until(end))) return false;
    return true;
}

CliResult CliProcess::wait(int timeout_ms)
{
    const Clock::time_point end = Clock::now() + std::chrono::milliseconds(timeout_ms);
    while (read_some(left_until(end))) {
    }
    result_.in_time = out_ < 0 && err_ < 0;
    if (!result_.in_time) ::kill(pid_, SIGKILL);
    int status = 0;
    ::waitpid(pid_, &status, 0);
    pid_ = -1;
    result_.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result_;
}

CliResult run_cli(const std::vector<std::string>& arguments, const std::string& input,
                  const Environment& environment)
{
    return CliProcess(VELORIN_MAIL_PROGRAM, arguments, input, environment).wait(kPatience);
}

std::vector<std::string> send_arguments(unsigned port, const std::vector<std::string>& more)
{
    std::vector<std::string> arguments = {"send",      "--from",          "me@example.com",
                                          "--to",      "you@example.com", "--server",
                                          "127.0.0.1", "--port",          std::to_string(port)};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
}
