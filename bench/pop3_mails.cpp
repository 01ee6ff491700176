// Serves the mails of a folder over POP3, to any user, on 127.0.0.1: pop3_mails FOLDER PORT_FILE
//
// The mails are the files 1, 2, 3 and so on, as they go over the wire: lines that end in CR LF, none beginning
// with a dot. They stay mapped, so that a server costs what sending them costs. It stops with the program that
// started it, and after an hour.
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "loopback_connection.h"
#include "loopback_dialogue.h"
#include "loopback_listener.h"

namespace {

using velorin_test::Io;
using velorin_test::LoopbackConnection;

constexpr int kLifetimeMs = 3600 * 1000;

[[noreturn]] void fail(const std::string& what)
{
    throw std::runtime_error(what + ": " + std::strerror(errno));
}

bool is_wire_form(std::string_view mail)
{
    return mail.size() > 2 && mail.substr(mail.size() - 2) == "\r\n" && mail.front() != '.' &&
           mail.find("\n.") == std::string_view::npos;
}

// Never unmapped: the program ends with its last use.
std::string_view map_mail(const std::string& path, int file)
{
    struct stat facts {};
    if (fstat(file, &facts) != 0) fail(path);
    const auto size = static_cast<std::size_t>(facts.st_size);
    void* const octets = mmap(nullptr, size, PROT_READ, MAP_PRIVATE | MAP_POPULATE, file, 0);
    if (octets == MAP_FAILED) fail(path);
    return {static_cast<const char*>(octets), size};
}

std::vector<std::string_view> map_folder(const std::string& folder)
{
    std::vector<std::string_view> mails;
    for (;;) {
        const std::string path = folder + "/" + std::to_string(mails.size() + 1);
        const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        if (file < 0 && errno == ENOENT && !mails.empty()) return mails;
        if (file < 0) fail(path);
        mails.push_back(map_mail(path, file));
        close(file);
        if (!is_wire_form(mails.back())) throw std::runtime_error(path + " is not in the form of the wire");
    }
}

class Session {
public:
    Session(const std::vector<std::string_view>& mails, LoopbackConnection& connection)
        : mails_(mails), connection_(connection)
    {
    }

    void run()
    {
        bool going = say("+OK ready");
        std::string line;
        bool with_cr = false;
        while (going && connection_.read_line(line, with_cr) == Io::kOk)
            going = obey(line);
    }

private:
    bool say(const std::string& text) { return connection_.write(text + "\r\n") == Io::kOk; }

    bool obey(const std::string& line)
    {
        std::string_view argument;
        const std::string command = velorin_test::split_command(line, argument);
        if (command == "CAPA") return say("+OK\r\nUSER\r\nUIDL\r\n.");
        if (command == "USER" || command == "PASS" || command == "NOOP") return say("+OK");
        if (command == "STAT") return say("+OK " + std::to_string(mails_.size()) + " 0");
        if (command == "RETR") return retrieve(argument);
        if (command == "LIST" && argument.empty()) return list(false);
        if (command == "UIDL" && argument.empty()) return list(true);
        if (command == "QUIT") return say("+OK bye") && false;
        return say("-ERR no such command");
    }

    bool list(bool uids)
    {
        std::string reply = "+OK\r\n";
        for (std::size_t index = 0; index < mails_.size(); ++index) {
            const std::string number = std::to_string(index + 1);
            reply += number + " " + (uids ? "uid-" + number : std::to_string(mails_[index].size())) + "\r\n";
        }
        return say(reply + ".");
    }

    bool retrieve(std::string_view argument)
    {
        std::size_t number = 0;
        std::from_chars(argument.data(), argument.data() + argument.size(), number);
        if (number == 0 || number > mails_.size()) return say("-ERR no such mail");
        const std::string_view mail = mails_[number - 1];
        if (mail.size() > kTogether) return say("+OK") && connection_.write(mail) == Io::kOk && say(".");
        return say("+OK\r\n" + std::string(mail) + ".");
    }

    static constexpr std::size_t kTogether = 64 * 1024;  // octets: a mail up to here goes out at one stroke

    const std::vector<std::string_view>& mails_;
    LoopbackConnection& connection_;
};

}  // namespace

int main(int count, char** arguments)
{
    if (count != 3) return std::fputs("usage: pop3_mails FOLDER PORT_FILE\n", stderr), 64;
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGALRM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    alarm(kLifetimeMs / 1000);
    try {
        const std::vector<std::string_view> mails = map_folder(arguments[1]);
        velorin_test::LoopbackListener listener(
            0, kLifetimeMs, [&mails](LoopbackConnection& connection) { Session(mails, connection).run(); });
        std::ofstream(arguments[2]) << listener.port() << "\n";
        int signal = 0;
        sigwait(&signals, &signal);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "pop3_mails: %s\n", failure.what());
        return 1;
    }
    return 0;
}
