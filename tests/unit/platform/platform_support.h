#pragma once

#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "channel_server.h"
#include "emwGEN.h"

// What the tests of the platform share: directories, child processes, raw peers of a channel.
namespace platform_support {

constexpr int kPatienceMs = 30000;  // for what has to happen; above it a test has failed

// A directory of its own, removed with everything in it.
class TempDirectory {
public:
    TempDirectory()
    {
        char name[] = "/tmp/velorin-test-XXXXXX";
        if (mkdtemp(name) == nullptr) throw std::runtime_error("mkdtemp");
        path_ = name;
    }
    ~TempDirectory()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TempDirectory(const TempDirectory&) = delete;
    TempDirectory& operator=(const TempDirectory&) = delete;

    const std::string& path() const { return path_; }
    std::string operator/(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

// One channel directory for the client and the servers of a test.
class ChannelDirectory : public TempDirectory {
public:
    ChannelDirectory() { setenv("VELORIN_CHANNEL_DIR", path().c_str(), 1); }
};

// A forked process. The function's result is its exit status; it must not start threads when its parent has
// some.
class Child {
public:
    explicit Child(const std::function<int()>& run)
    {
        std::fflush(nullptr);
        pid_ = fork();
        if (pid_ < 0) throw std::runtime_error("fork");
        if (pid_ == 0) {
            alarm(60);  // whatever happens to its parent
            int status = 99;
            try {
                status = run();
            } catch (const std::exception& thrown) {
                std::fprintf(stderr, "child: %s\n", thrown.what());
            }
            _exit(status);
        }
    }
    ~Child()
    {
        if (pid_ <= 0) return;
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    pid_t pid() const { return pid_; }

    void kill_now()
    {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }

    //   result  its exit status; -1 when a signal ended it
    int wait()
    {
        int status = 0;
        while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
        }
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    pid_t pid_ = -1;
};

inline int run_in_child(const std::function<int()>& run)
{
    return Child(run).wait();
}

// Lets one process wait for another.
class Signal {
public:
    Signal()
    {
        if (pipe(ends_) != 0) throw std::runtime_error("pipe");
    }
    ~Signal()
    {
        close(ends_[0]);
        close(ends_[1]);
    }
    Signal(const Signal&) = delete;
    Signal& operator=(const Signal&) = delete;

    void set() const
    {
        if (write(ends_[1], "s", 1) != 1) std::abort();
    }
    bool wait() const
    {
        pollfd waited{ends_[0], POLLIN, 0};
        int ready = 0;
        do {
            ready = poll(&waited, 1, kPatienceMs);
        } while (ready < 0 && errno == EINTR);
        char octet = 0;
        return ready == 1 && read(ends_[0], &octet, 1) == 1;
    }

private:
    int ends_[2];
};

// An owned descriptor.
class Descriptor {
public:
    explicit Descriptor(int descriptor = -1) : descriptor_(descriptor) {}
    ~Descriptor() { reset(); }
    Descriptor(Descriptor&& other) noexcept : descriptor_(other.descriptor_) { other.descriptor_ = -1; }
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }
    int get() const { return descriptor_; }
    void reset()
    {
        if (descriptor_ >= 0) close(descriptor_);
        descriptor_ = -1;
    }

private:
    int descriptor_;
};

inline sockaddr_un address_of(const std::string& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) throw std::runtime_error("path too long");
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return address;
}

// A connection to a server that speaks no more of the protocol than the test makes it. -1: not connected.
inline Descriptor connect_raw(const std::string& path)
{
    Descriptor peer(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const sockaddr_un address = address_of(path);
    if (connect(peer.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        return Descriptor();
    return peer;
}

// A socket that listens and answers nothing by itself.
inline Descriptor listen_raw(const std::string& path)
{
    Descriptor listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const sockaddr_un address = address_of(path);
    if (bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        listen(listener.get(), 64) != 0) {
        throw std::runtime_error("listen");
    }
    return listener;
}

inline bool send_raw(const Descriptor& peer, const std::string& octets)
{
    return send(peer.get(), octets.data(), octets.size(), MSG_NOSIGNAL) ==
           static_cast<ssize_t>(octets.size());
}

inline bool is_readable(const Descriptor& peer, int milliseconds)
{
    pollfd waited{peer.get(), POLLIN, 0};
    return poll(&waited, 1, milliseconds) == 1;
}

// Receives until that many octets, the end, or the patience is over.
inline std::string receive_raw(const Descriptor& peer, std::size_t length)
{
    std::string octets;
    while (octets.size() < length && is_readable(peer, kPatienceMs)) {
        char buffer[65536];
        const std::size_t left = length - octets.size();
        const ssize_t taken = recv(peer.get(), buffer, left < sizeof buffer ? left : sizeof buffer, 0);
        if (taken <= 0) break;
        octets.append(buffer, static_cast<std::size_t>(taken));
    }
    return octets;
}

// Whether the other end lets go of the connection, within the patience.
inline bool is_let_go(const Descriptor& peer)
{
    if (!is_readable(peer, kPatienceMs)) return false;
    char octet = 0;
    return recv(peer.get(), &octet, 1, 0) <= 0;
}

inline std::string big_endian(std::uint32_t value)
{
    const unsigned char octets[4] = {
        static_cast<unsigned char>(value >> 24), static_cast<unsigned char>(value >> 16),
        static_cast<unsigned char>(value >> 8), static_cast<unsigned char>(value)};
    return std::string(reinterpret_cast<const char*>(octets), 4);
}

// The frames, written out here a second time: a change of the format is seen.
inline std::string request_header(std::uint32_t length, std::uint32_t capacity)
{
    return std::string("NTQ\x01", 4) + big_endian(length) + big_endian(capacity);
}

inline std::string answer_frame(const std::string& answer)
{
    return std::string("NTA\x01", 4) + big_endian(static_cast<std::uint32_t>(answer.size())) + answer;
}

// One exchange with everything around it.
struct Outcome {
    std::uint32_t code;
    std::string answer;
};

inline Outcome call_once(const std::string& name, const std::string& request, std::uint32_t capacity = 4096,
                         std::int32_t timeout = kPatienceMs)
{
    std::uint32_t handle = 0;
    std::uint32_t code = emwGENPacketClntInit(("pcie:" + name).c_str(), &handle);
    if (code != 0) return {code, ""};
    std::vector<char> buffer(capacity);
    std::uint32_t length = 0;
    code = emwGENPacketClntCall(handle, request.data(), static_cast<std::uint32_t>(request.size()),
                                buffer.data(), capacity, &length, timeout);
    const std::uint32_t closed = emwGENPacketClntTerm(handle);
    if (code != 0 || closed != 0) return {code != 0 ? code : closed, ""};
    return {code, std::string(buffer.data(), length)};
}

// Answers with the request, cut to the capacity.
inline bool echo(const velorin_channel::Caller&, const char* request, std::uint32_t request_length,
                 char* answer, std::uint32_t capacity, std::uint32_t& answer_length)
{
    answer_length = request_length < capacity ? request_length : capacity;
    std::memcpy(answer, request, answer_length);
    return true;
}

// A server with one endpoint in the directory, running until destroyed.
class EchoServer {
public:
    explicit EchoServer(const TempDirectory& directory, velorin_channel::ServerOptions options = {},
                        velorin_channel::Handler handler = echo, const std::string& name = "echo")
        : server_(with_directory(std::move(options), directory))
    {
        std::string error;
        if (!server_.add(name, std::move(handler), error) || !server_.start(error))
            throw std::runtime_error(error);
    }
    velorin_channel::ChannelServer& server() { return server_; }

private:
    static velorin_channel::ServerOptions with_directory(velorin_channel::ServerOptions options,
                                                         const TempDirectory& directory)
    {
        options.directory = directory.path();
        return options;
    }
    velorin_channel::ChannelServer server_;
};

// Octets that show where they came from when they are mixed up.
inline std::string pattern(std::size_t length, unsigned seed = 1)
{
    std::string octets(length, '\0');
    std::uint32_t state = seed * 2654435761u + 1;
    for (char& octet : octets) {
        state = state * 1664525u + 1013904223u;
        octet = static_cast<char>(static_cast<unsigned char>(state >> 24));
    }
    return octets;
}

}  // namespace platform_support
