// What an exchange over the channel costs, beside a bare Unix socket that does the same with nothing around
// it. Both servers are processes of their own; the figures of one run are comparable with each other only.
#include <benchmark/benchmark.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "channel_server.h"
#include "emwGEN.h"
#include "medians.h"

namespace {

using velorin_channel::Caller;

constexpr std::size_t kSmallRequest = 64;
constexpr std::size_t kLargeRequest = 1u << 20;
constexpr std::size_t kAnswer = 16;

std::string directory;  // of the sockets

[[noreturn]] void give_up(const char* what)
{
    std::perror(what);
    std::exit(1);
}

sockaddr_un address_of(const std::string& name)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s/%s", directory.c_str(), name.c_str());
    return address;
}

// A process that serves until the benchmark ends, however it ends.
class ServerProcess {
public:
    template <typename Serve>
    explicit ServerProcess(Serve serve)
    {
        int ready[2];
        if (pipe(ready) != 0) give_up("pipe");
        const pid_t parent = getpid();
        pid_ = fork();
        if (pid_ < 0) give_up("fork");
        if (pid_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            if (getppid() != parent) _exit(1);
            close(ready[0]);
            serve([&ready] {
                if (write(ready[1], "r", 1) != 1) _exit(1);
            });
            _exit(1);
        }
        close(ready[1]);
        char octet = 0;
        if (read(ready[0], &octet, 1) != 1) give_up("server");
        close(ready[0]);
    }
    ~ServerProcess()
    {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

private:
    pid_t pid_ = -1;
};

bool receive_all(int descriptor, char* buffer, std::size_t length)
{
    for (std::size_t received = 0; received < length;) {
        const ssize_t taken = recv(descriptor, buffer + received, length - received, 0);
        if (taken <= 0) return false;
        received += static_cast<std::size_t>(taken);
    }
    return true;
}

bool send_all(int descriptor, const char* octets, std::size_t length)
{
    for (std::size_t sent = 0; sent < length;) {
        const ssize_t taken = send(descriptor, octets + sent, length - sent, MSG_NOSIGNAL);
        if (taken <= 0) return false;
        sent += static_cast<std::size_t>(taken);
    }
    return true;
}

// The bare peer: one thread, accept, receive a request of known length, send the answer, close.
template <typename Ready>
void serve_bare(const std::string& name, std::size_t request_length, Ready ready)
{
    const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
    const sockaddr_un address = address_of(name);
    if (bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) give_up("bind");
    if (listen(listener, 128) != 0) give_up("listen");
    std::vector<char> request(request_length);
    const char answer[kAnswer] = {};
    ready();
    for (;;) {
        const int descriptor = accept(listener, nullptr, nullptr);
        if (descriptor < 0) continue;
        if (receive_all(descriptor, request.data(), request.size()))
            send_all(descriptor, answer, sizeof answer);
        close(descriptor);
    }
}

bool answer_sixteen(const Caller&, const char*, std::uint32_t, char* answer, std::uint32_t capacity,
                    std::uint32_t& length)
{
    if (capacity < kAnswer) return false;
    std::memset(answer, 0, kAnswer);
    length = kAnswer;
    return true;
}

template <typename Ready>
void serve_channel(Ready ready)
{
    velorin_channel::ServerOptions options;
    options.directory = directory;
    velorin_channel::ChannelServer server(options);
    std::string error;
    if (!server.add("bench", answer_sixteen, error) || !server.start(error)) {
        std::fprintf(stderr, "%s\n", error.c_str());
        std::exit(1);
    }
    ready();
    for (;;)
        pause();
}

void exchange_bare(benchmark::State& state, const std::string& name, std::size_t request_length)
{
    const sockaddr_un address = address_of(name);
    const std::vector<char> request(request_length, 'x');
    char answer[4096];
    for (auto _ : state) {
        const int descriptor = socket(AF_UNIX, SOCK_STREAM, 0);
        if (connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
            !send_all(descriptor, request.data(), request.size()) ||
            !receive_all(descriptor, answer, kAnswer)) {
            state.SkipWithError("exchange failed");
            close(descriptor);
            break;
        }
        close(descriptor);
    }
}

void exchange_channel(benchmark::State& state, const std::string& endpoint, std::size_t request_length)
{
    const std::vector<char> request(request_length, 'x');
    char answer[4096];
    for (auto _ : state) {
        std::uint32_t handle = 0;
        std::uint32_t length = 0;
        if (emwGENPacketClntInit(endpoint.c_str(), &handle) != 0 ||
            emwGENPacketClntCall(handle, request.data(), static_cast<std::uint32_t>(request.size()), answer,
                                 sizeof answer, &length, -1) != 0 ||
            length != kAnswer || emwGENPacketClntTerm(handle) != 0) {
            state.SkipWithError("exchange failed");
            break;
        }
    }
}

void print_ratio(const velorin_bench::MedianReporter& reporter, const char* name, const char* bare)
{
    const auto* const ours = reporter.median(name);
    const auto* const theirs = reporter.median(bare);
    if (ours == nullptr || theirs == nullptr) return;
    std::printf("%-16s %9.2f us   %-12s %9.2f us   ratio %.2f\n", name, *ours, bare, *theirs,
                *ours / *theirs);
}

}  // namespace

int main(int count, char** arguments)
{
    char name[] = "/tmp/velorin-bench-XXXXXX";
    if (mkdtemp(name) == nullptr) give_up("mkdtemp");
    directory = name;
    setenv("VELORIN_CHANNEL_DIR", name, 1);

    velorin_bench::initialize(count, arguments, "0.1");

    velorin_bench::MedianReporter reporter;
    {
        const ServerProcess small([](auto ready) { serve_bare("small", kSmallRequest, ready); });
        const ServerProcess large([](auto ready) { serve_bare("large", kLargeRequest, ready); });
        const ServerProcess channel([](auto ready) { serve_channel(ready); });
        const velorin_channel::LocalEndpoint embedded("embedded", answer_sixteen);
        const auto add = [](const char* title, auto run) {
            benchmark::RegisterBenchmark(title, run)->Unit(benchmark::kMicrosecond)->UseRealTime();
        };
        add("bare_64", [](benchmark::State& state) { exchange_bare(state, "small", kSmallRequest); });
        add("channel_64",
            [](benchmark::State& state) { exchange_channel(state, "pcie:bench", kSmallRequest); });
        add("bare_1MiB", [](benchmark::State& state) { exchange_bare(state, "large", kLargeRequest); });
        add("channel_1MiB",
            [](benchmark::State& state) { exchange_channel(state, "pcie:bench", kLargeRequest); });
        add("embedded_64",
            [](benchmark::State& state) { exchange_channel(state, "pcie:embedded", kSmallRequest); });
        benchmark::RunSpecifiedBenchmarks(&reporter);
    }
    std::printf("\nmedians\n");
    print_ratio(reporter, "channel_64", "bare_64");
    print_ratio(reporter, "channel_1MiB", "bare_1MiB");
    print_ratio(reporter, "embedded_64", "bare_64");

    for (const char* left : {"small", "large", "bench", ".lock"}) {
        std::remove((directory + "/" + left).c_str());
    }
    rmdir(directory.c_str());
    return reporter.has_failed() ? 1 : 0;
}
