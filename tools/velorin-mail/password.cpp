#include "password.h"

#include <cerrno>
#include <csignal>
#include <cstring>

#include <fcntl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include "descriptor.h"
#include "interrupt.h"

namespace velorin::cli {

namespace {

constexpr const char* kStep = "password";

bool interrupted(Failure& failure)
{
    return fail(failure, kExitSignal + interrupting_signal(), kStep, interrupted_sentence(stage()));
}

// Takes the first line.
//   in      at_terminal: a signal ends the reading; elsewhere it is looked at later
bool read_line(int descriptor, const std::string& where, Secret& password, Failure& failure)
{
    char line[Secret::kCapacity + 1];
    std::size_t length = 0;
    bool complete = false;
    bool sound = true;
    while (!complete && sound) {
        const ssize_t count = ::read(descriptor, line + length, sizeof line - length);
        if (count < 0 && errno == EINTR && interrupting_signal() == 0) continue;
        if (count < 0) {
            sound = interrupting_signal() != 0
                        ? interrupted(failure)
                        : fail(failure, kExitConfig, kStep,
                               "cannot read the password from " + where + ": " + std::strerror(errno));
            break;
        }
        const void* const end = std::memchr(line + length, '\n', static_cast<std::size_t>(count));
        complete = count == 0 || end != nullptr;
        length = end != nullptr ? static_cast<std::size_t>(static_cast<const char*>(end) - line)
                                : length + static_cast<std::size_t>(count);
        if (!complete && length == sizeof line)
            sound = fail(failure, kExitConfig, kStep, "the password from " + where + " is too long");
    }
    if (sound && length > 0 && line[length - 1] == '\r') --length;
    if (sound && length == 0) sound = fail(failure, kExitConfig, kStep, "there is no password in " + where);
    if (sound && !password.assign(line, length))
        sound = fail(failure, kExitConfig, kStep, "the password from " + where + " is too long");
    wipe(line, sizeof line);
    if (sound && password.has_control())
        sound =
            fail(failure, kExitConfig, kStep, "the password from " + where + " holds a control character");
    return sound;
}

bool read_from_command(const std::string& command, Secret& password, Failure& failure)
{
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0)
        return fail(failure, kExitSystem, kStep,
                    std::string("cannot run the password command: ") + std::strerror(errno));
    Descriptor reading(ends[0]);
    Descriptor writing(ends[1]);
    const pid_t child = ::fork();
    if (child < 0)
        return fail(failure, kExitSystem, kStep,
                    std::string("cannot run the password command: ") + std::strerror(errno));
    if (child == 0) {
        static_cast<void>(::signal(SIGPIPE, SIG_DFL));  // an ignored signal would stay ignored behind exec
        const int nothing = ::open("/dev/null", O_RDONLY);
        if (nothing < 0 || ::dup2(nothing, STDIN_FILENO) < 0 || ::dup2(writing.get(), STDOUT_FILENO) < 0)
            ::_exit(126);
        ::execl("/bin/sh", "sh", "-c", command.c_str(), static_cast<char*>(nullptr));
        ::_exit(127);
    }
    writing.close();
    const bool read = read_line(reading.get(), "the password command", password, failure);
    reading.close();
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (interrupting_signal() != 0) {
        password.clear();
        return interrupted(failure);
    }
    // A command that prints more than a line may die of the closed pipe; that is no failure of its own.
    const bool ended_well = (WIFEXITED(status) && WEXITSTATUS(status) == 0) ||
                            (read && WIFSIGNALED(status) && WTERMSIG(status) == SIGPIPE);
    if (!ended_well) {
        password.clear();
        return fail(failure, kExitConfig, kStep,
                    WIFEXITED(status)
                        ? "the password command failed with status " + std::to_string(WEXITSTATUS(status))
                        : "the password command was ended by signal " + std::to_string(WTERMSIG(status)));
    }
    return read;
}

// Switches the terminal's echo off for as long as it lives.
class SilentTerminal {
public:
    explicit SilentTerminal(int terminal) : terminal_(terminal)
    {
        changed_ = ::tcgetattr(terminal_, &before_) == 0;
        if (!changed_) return;
        struct termios silent = before_;
        silent.c_lflag &= static_cast<tcflag_t>(~static_cast<tcflag_t>(ECHO));
        changed_ = ::tcsetattr(terminal_, TCSAFLUSH, &silent) == 0;
    }
    ~SilentTerminal()
    {
        if (changed_) ::tcsetattr(terminal_, TCSAFLUSH, &before_);
    }
    SilentTerminal(const SilentTerminal&) = delete;
    SilentTerminal& operator=(const SilentTerminal&) = delete;
    bool silent() const { return changed_; }

private:
    int terminal_;
    struct termios before_ = {};
    bool changed_ = false;
};

void say(int terminal, const std::string& text)
{
    if (::write(terminal, text.data(), text.size()) < 0) return;  // a prompt that nobody sees is no failure
}

bool read_from_terminal(const std::string& whose, Secret& password, Failure& failure)
{
    const Descriptor terminal(::open("/dev/tty", O_RDWR | O_CLOEXEC));
    if (!terminal.valid())
        return fail(failure, kExitUsage, kStep,
                    "no password for " + whose +
                        " and no terminal to ask at, give password-command or password-file");
    bool read = false;
    {
        const SilentTerminal silence(terminal.get());
        if (!silence.silent()) return fail(failure, kExitIo, kStep, "cannot switch off the terminal's echo");
        say(terminal.get(), "Password for " + whose + ": ");
        read = read_line(terminal.get(), "the terminal", password, failure);
    }
    say(terminal.get(), "\n");
    return read;
}

}  // namespace

bool get_password(const PasswordSource& source, const std::string& whose, Secret& password, Failure& failure)
{
    if (!source.command.empty()) return read_from_command(source.command, password, failure);
    if (source.file.empty()) return read_from_terminal(whose, password, failure);
    const Descriptor file(::open(source.file.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file.valid())
        return fail(failure, kExitConfig, kStep,
                    "cannot open the password file " + source.file + ": " + std::strerror(errno));
    return read_line(file.get(), source.file, password, failure);
}

}  // namespace velorin::cli
