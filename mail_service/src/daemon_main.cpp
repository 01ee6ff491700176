// velorin-maild: the mail service for the processes of this host, in the foreground.
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>

#include <malloc.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "standard_descriptors.h"
#include "trace_patience.h"

#include "config.h"
#include "mail_service.h"
#include "service_log.h"

namespace {

using velorin::service::DaemonConfig;
using velorin::service::MailService;
using velorin_channel::Caller;

constexpr char kDefaultConfig[] = "/etc/velorin/maild.conf";
constexpr int kExitUsage = 64;
constexpr int kExitUnavailable = 69;
constexpr int kExitIo = 74;
constexpr int kExitConfig = 78;

constexpr char kUsage[] =
    "usage: velorin-maild [--config FILE] [--check] [--version]\n"
    "  --config FILE  settings; otherwise /etc/velorin/maild.conf, where there is one\n"
    "  --check        reads the settings and says whether they are fine\n"
    "Runs in the foreground until SIGTERM or SIGINT. The log is the trace: VELORIN_TRACE.\n";

sigset_t stop_signals()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGTERM, SIGINT, SIGHUP})
        sigaddset(&signals, number);
    return signals;
}

// Nobody may read what is said here: the signals end the process at once then.
int fail(const std::string& sentence, int status)
{
    const sigset_t signals = stop_signals();
    ::pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
    std::fprintf(stderr, "velorin-maild: %s\n", sentence.c_str());
    return status;
}

// What the command line asked for.
int print(const char* text)
{
    if (std::fputs(text, stdout) >= 0 && std::fflush(stdout) == 0) return 0;
    return fail("standard output cannot be written", kExitIo);
}

// Passwords of others are in this process: no core of it is ever written, and nobody but root may look into
// it.
void keep_secrets()
{
    const rlimit none = {0, 0};
    ::setrlimit(RLIMIT_CORE, &none);
    ::prctl(PR_SET_DUMPABLE, 0, 0, 0, 0);
}

// An exchange holds several blocks of a slice's size and frees them all when it is over. Given back to the
// system each time and taken again as fresh pages, they cost more than sending them does. It goes back when nobody calls: the
// heap of every thread keeps as much, and more where small blocks stand between large ones.
void keep_freed_memory()
{
    constexpr int kLargestBlock = 1 << 20;  // octets; a larger block goes back to the system once freed
    constexpr int kKept = 4 << 20;          // octets that every heap keeps
    ::mallopt(M_MMAP_THRESHOLD, kLargestBlock);
    ::mallopt(M_TRIM_THRESHOLD, kKept);
}

// Blocked before any thread starts, so that only the main thread takes them.
sigset_t block_signals()
{
    const sigset_t signals = stop_signals();
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    static_cast<void>(::signal(SIGPIPE, SIG_IGN));  // fails only for a number that is no signal
    return signals;
}

void wait_for_stop(const sigset_t& signals)
{
    for (;;) {
        int number = 0;
        if (::sigwait(&signals, &number) != 0) continue;
        if (number != SIGHUP) return;
        NTC_SERVICE_LOG("nothing can be reloaded: restart to read the settings again\n");
    }
}

int serve(const DaemonConfig& config, const sigset_t& signals)
{
    velorin::MailServiceOptions options = config.options;
    options.log_events = true;
    MailService service(options);

    velorin_channel::ServerOptions server_options;
    server_options.directory = config.channel_directory;
    server_options.group = config.group;
    server_options.max_request = service.options().max_request;
    server_options.on_idle = [] { ::malloc_trim(0); };
    velorin_channel::ChannelServer server(server_options);
    const auto smtp = [&service](const Caller& caller, const char* request, std::uint32_t request_length,
                                 char* answer, std::uint32_t capacity, std::uint32_t& answer_length) {
        return service.answer_smtp(caller, request, request_length, answer, capacity, answer_length);
    };
    const auto pop3 = [&service](const Caller& caller, const char* request, std::uint32_t request_length,
                                 char* answer, std::uint32_t capacity, std::uint32_t& answer_length) {
        return service.answer_pop3(caller, request, request_length, answer, capacity, answer_length);
    };
    const auto diagnosis = [&service](const Caller& caller, const char*, std::uint32_t, char* answer,
                                      std::uint32_t capacity, std::uint32_t& answer_length) {
        return service.answer_diagnosis(caller, answer, capacity, answer_length);
    };
    std::string error;
    if (!server.add(velorin::service::kSmtpEndpoint, smtp, error) ||
        !server.add(velorin::service::kPop3Endpoint, pop3, error) ||
        !server.add(velorin::service::kDiagnosisEndpoint, diagnosis, error) || !server.start(error)) {
        return fail(error, kExitUnavailable);
    }
    NTC_SERVICE_LOG("ready\n");
    wait_for_stop(signals);
    NTC_SERVICE_LOG("stopping\n");
    service.shut_down(config.stop_grace);
    server.stop();
    NTC_SERVICE_LOG("stopped\n");
    return 0;
}

}  // namespace

int main(int argc, char** argv)
{
    velorin_channel::occupy_standard_descriptors();
    std::string path;
    bool check = false;
    for (int index = 1; index < argc; ++index) {
        const char* const argument = argv[index];
        if (std::strcmp(argument, "--config") == 0 && index + 1 < argc) {
            path = argv[++index];
        } else if (std::strcmp(argument, "--check") == 0) {
            check = true;
        } else if (std::strcmp(argument, "--help") == 0) {
            return print(kUsage);
        } else if (std::strcmp(argument, "--version") == 0) {
            return print("velorin-maild " VELORIN_VERSION "\n");
        } else {
            std::fputs(kUsage, stderr);
            return kExitUsage;
        }
    }
    keep_freed_memory();
    DaemonConfig config;
    std::string error;
    const bool default_there = path.empty() && ::access(kDefaultConfig, F_OK) == 0;
    if (default_there) path = kDefaultConfig;
    if (!path.empty() && !velorin::service::read_config(path, config, error)) return fail(error, kExitConfig);
    if (check) return 0;

    keep_secrets();
    velorin_channel::set_trace_patience(0);  // every caller would wait for whoever does not read the log
    const sigset_t signals = block_signals();
    int status = kExitUnavailable;
    try {
        status = serve(config, signals);
    } catch (const std::exception& failure) {
        fail(std::string("cannot start: ") + failure.what() + ".", status);
    }
    // The sessions and their secrets are gone; whoever checks this process for leaks may look into it.
    ::prctl(PR_SET_DUMPABLE, 1, 0, 0, 0);
    return status;
}
