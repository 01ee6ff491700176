#include "trace_sink.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "trace_patience.h"

namespace velorin_trace {
namespace {

constexpr std::uint32_t kModule = 0x2106;  // the platform's own
char kLineEnd[] = "\n";                    // ends a line whose rest found no memory

std::atomic<int> patience_ms{velorin_channel::kTracePatienceMs};

// Keeps a reader that closed its end of a pipe from ending the process that traces into it.
class PipeSignalBlock {
public:
    PipeSignalBlock()
    {
        sigset_t pending;
        sigpending(&pending);
        was_pending_ = sigismember(&pending, SIGPIPE) == 1;
        sigset_t pipe_signal;
        sigemptyset(&pipe_signal);
        sigaddset(&pipe_signal, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &pipe_signal, &before_);
    }
    ~PipeSignalBlock()
    {
        if (raised_ && !was_pending_) {
            sigset_t pipe_signal;
            sigemptyset(&pipe_signal);
            sigaddset(&pipe_signal, SIGPIPE);
            const timespec at_once{};
            sigtimedwait(&pipe_signal, nullptr, &at_once);
        }
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }
    PipeSignalBlock(const PipeSignalBlock&) = delete;
    PipeSignalBlock& operator=(const PipeSignalBlock&) = delete;

    void raised() { raised_ = true; }

private:
    sigset_t before_;
    bool was_pending_ = false;
    bool raised_ = false;
};

bool is_writable(int descriptor, int milliseconds)
{
    pollfd waited{descriptor, POLLOUT, 0};
    return poll(&waited, 1, milliseconds) > 0;
}

}  // namespace

// A descriptor for the time of one line, written to without ever waiting. The flag that says so belongs to
// everybody who shares a pipe or terminal, the shell that started this process among them: it is set on an
// opening of our own, and only for as long as the line takes, so that whoever waits for the pipe's end is not
// kept waiting.
class Sink::Output {
public:
    explicit Output(int descriptor) : descriptor_(descriptor)
    {
        struct stat found {};
        if (fstat(descriptor, &found) != 0) return;
        if (S_ISSOCK(found.st_mode)) {
            way_ = Way::kSocket;
        } else if (S_ISFIFO(found.st_mode) || S_ISCHR(found.st_mode)) {
            way_ = Way::kPolled;
            char path[32];
            std::snprintf(path, sizeof path, "/proc/self/fd/%d", descriptor);
            own_ = open(path, O_WRONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
            if (own_ < 0) return;
            way_ = Way::kPlain;
            descriptor_ = own_;
        }
    }
    ~Output()
    {
        if (own_ >= 0) close(own_);
    }
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    //   result  as of write(); EAGAIN where that would wait
    ssize_t put(const char* octets, std::size_t length)
    {
        if (way_ == Way::kSocket) return send(descriptor_, octets, length, MSG_DONTWAIT | MSG_NOSIGNAL);
        if (way_ == Way::kPolled) {
            // A pipe that is ready takes PIPE_BUF octets.
            if (!is_writable(descriptor_, 0)) return errno = EAGAIN, -1;
            if (length > PIPE_BUF) length = PIPE_BUF;
        }
        const ssize_t written = write(descriptor_, octets, length);
        if (written < 0 && errno == EPIPE) pipe_signal_.raised();
        return written;
    }

    bool wait() const
    {
        const int patience = patience_ms;
        return patience > 0 && is_writable(descriptor_, patience);
    }

private:
    enum class Way { kPlain, kSocket, kPolled };

    PipeSignalBlock pipe_signal_;
    int descriptor_;
    int own_ = -1;
    Way way_ = Way::kPlain;
};

Sink::Sink() : descriptor_(STDERR_FILENO)
{
    const char* const choice = std::getenv("VELORIN_TRACE");
    if (choice == nullptr || *choice == '\0' || std::strcmp(choice, "stderr") == 0) return;
    if (std::strcmp(choice, "none") == 0 || std::strcmp(choice, "off") == 0) {
        kind_ = SinkKind::kNone;
    } else if (std::strcmp(choice, "syslog") == 0) {
        kind_ = SinkKind::kSyslog;
    } else {
        // Without waiting: a FIFO whose reader is not there yet is a file that cannot be opened.
        const int way = O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
        const int file = open(choice, way, 0640);
        if (file >= 0) {
            descriptor_ = file;
        } else {
            char text[PATH_MAX + 128];
            const int length =
                std::snprintf(text, sizeof text, "velorin: trace file %s: %s; tracing to stderr\n", choice,
                              strerrordesc_np(errno));
            if (length > 0) write_line(text, std::strlen(text));
        }
    }
}

void Sink::tell_replaced(const char* path, int error)
{
    const std::size_t room = std::strlen(path) + 200;
    char* const text = static_cast<char*>(std::malloc(room));
    if (text == nullptr) return;
    std::snprintf(text, room, "velorin: trace file %s: %s; tracing to stderr\n", path,
                  strerrordesc_np(error));
    write_line(text, std::strlen(text));
    std::free(text);
}

void Sink::write_line(const char* line, std::size_t length)
{
    const std::lock_guard<std::mutex> guard(lock_);
    Output output(descriptor_);
    if (!put_rest(output) || !put_report(output) || !put_line(output, line, length)) ++lost_;
}

// Writes as much as is taken.
//   result  false: no more is taken now. What nobody takes any more (a closed pipe, a full disk) counts as
//           taken: a trace has nobody to complain to
bool Sink::put_all(Output& output, const char* octets, std::size_t length, std::size_t& taken)
{
    taken = 0;
    while (taken < length) {
        const ssize_t written = output.put(octets + taken, length - taken);
        if (written < 0 && errno == EINTR) continue;
        if (written < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            if (!full_ && output.wait()) continue;
            full_ = true;
            return false;
        }
        full_ = false;
        if (written <= 0) break;
        taken += static_cast<std::size_t>(written);
    }
    taken = length;
    return true;
}

//   result  false: it is lost as a whole. The rest of one that was taken in part is kept
bool Sink::put_line(Output& output, const char* line, std::size_t length)
{
    std::size_t taken = 0;
    if (put_all(output, line, length, taken)) return true;
    if (taken == 0) return false;
    keep_rest(line + taken, length - taken);
    return true;
}

bool Sink::put_rest(Output& output)
{
    if (rest_ == nullptr) return true;
    std::size_t taken = 0;
    const bool whole = put_all(output, rest_ + rest_at_, rest_length_ - rest_at_, taken);
    rest_at_ += taken;
    if (whole) forget_rest();
    return whole;
}

bool Sink::put_report(Output& output)
{
    if (lost_ == 0) return true;
    char line[kPrefixRoom + 64];
    std::size_t length = put_prefix(line, kModule, kErrorLevel, 0);
    const int text = std::snprintf(line + length, sizeof line - length,
                                   "trace: %lu lines lost, nobody took them\n", lost_);
    if (text > 0) length += static_cast<std::size_t>(text);
    if (!put_line(output, line, length)) return false;
    lost_ = 0;
    return rest_ == nullptr;
}

void Sink::keep_rest(const char* octets, std::size_t length)
{
    rest_ = static_cast<char*>(std::malloc(length));
    rest_at_ = 0;
    rest_length_ = length;
    if (rest_ != nullptr) {
        std::memcpy(rest_, octets, length);
    } else {
        rest_ = kLineEnd;
        rest_length_ = 1;
    }
}

void Sink::forget_rest()
{
    if (rest_ != kLineEnd) std::free(rest_);
    rest_ = nullptr;
}

void Sink::after_fork_in_child()
{
    forget_rest();
    lost_ = 0;
    lock_.unlock();
}

}  // namespace velorin_trace

void velorin_channel::set_trace_patience(int milliseconds)
{
    velorin_trace::patience_ms = milliseconds;
}
