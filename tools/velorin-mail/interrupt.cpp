#include "interrupt.h"

#include <csignal>
#include <cstring>
#include <initializer_list>

#include <unistd.h>

#include "exit_codes.h"

namespace velorin::cli {

namespace {

constexpr unsigned kGraceSeconds =
    2;  // for the exchange under way and the abort; more would look like hanging

volatile std::sig_atomic_t g_signal = 0;
volatile std::sig_atomic_t g_stage = static_cast<int>(Stage::kNothingSent);

void write_all(const char* text)
{
    std::size_t left = std::strlen(text);
    while (left > 0) {
        const ssize_t written = ::write(STDERR_FILENO, text, left);
        if (written <= 0) return;
        text += written;
        left -= static_cast<std::size_t>(written);
    }
}

[[noreturn]] void end_now()
{
    write_all("velorin-mail: ");
    write_all(interrupted_sentence(stage()));
    write_all("\n");
    ::_exit(kExitSignal + g_signal);
}

extern "C" void on_signal(int signal)
{
    if (signal == SIGALRM || g_signal != 0) end_now();
    g_signal = signal;
    ::alarm(kGraceSeconds);
}

}  // namespace

void install_signal_handlers()
{
    struct sigaction action = {};
    sigemptyset(&action.sa_mask);
    action.sa_handler = SIG_IGN;
    ::sigaction(SIGPIPE, &action, nullptr);
    ::sigaction(SIGXFSZ, &action, nullptr);  // a file over the limit is an error of writing
    action.sa_handler = on_signal;  // without SA_RESTART: reading a password or a pipe ends with EINTR
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGALRM})
        ::sigaction(signal, &action, nullptr);
}

int interrupting_signal()
{
    return g_signal;
}

void set_stage(Stage stage)
{
    g_stage = static_cast<int>(stage);
}

Stage stage()
{
    return static_cast<Stage>(g_stage);
}

const char* interrupted_sentence(Stage stage)
{
    switch (stage) {
    case Stage::kNothingSent:
        return "interrupted, nothing was sent";
    case Stage::kSending:
        return "interrupted, the mail was broken off and will not be delivered";
    case Stage::kAwaitingVerdict:
        return "interrupted while the server's verdict was awaited, the mail may have been delivered";
    case Stage::kSent:
        return "interrupted after the mail was accepted";
    case Stage::kNothingReceived:
        return "interrupted, nothing was changed";
    case Stage::kReceiving:
        return "interrupted, nothing was deleted on the server, and the next run goes on from here";
    case Stage::kAwaitingDeletion:
        return "interrupted while the server's verdict was awaited, mails may have been deleted on the "
               "server";
    case Stage::kReceived:
        return "interrupted after the work was done";
    }
    return "interrupted";
}

}  // namespace velorin::cli
