#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <stdarg.h>
#include <sys/syscall.h>
#include <syslog.h>
#include <time.h>
#include <unistd.h>

#include <cinttypes>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>

#include "emwGEN.h"

namespace {

constexpr std::size_t kStackRoom = 1024;      // octets; longer texts are composed on the heap
constexpr std::size_t kPrefixRoom = 96;       // octets, above the longest prefix
constexpr int kUnwritableLimitMs = 1000;      // a sink that takes nothing for that long loses the line
constexpr std::uint32_t kErrorLevel = 0x102;  // the level of a failure

// A block on the stack, or on the heap when that is too small. When memory runs out the stack has to do: the
// line is cut then, but still a line.
class Scratch {
public:
    Scratch() = default;
    ~Scratch() { std::free(heap_); }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;

    char* reserve(std::size_t octets)
    {
        if (octets > kStackRoom) heap_ = static_cast<char*>(std::malloc(octets));
        size_ = heap_ != nullptr ? octets : kStackRoom;
        return data();
    }
    char* data() { return heap_ != nullptr ? heap_ : stack_; }
    std::size_t size() const { return size_; }

private:
    char stack_[kStackRoom];
    char* heap_ = nullptr;
    std::size_t size_ = kStackRoom;
};

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

bool wait_writable(int descriptor)
{
    pollfd waited{descriptor, POLLOUT, 0};
    return poll(&waited, 1, kUnwritableLimitMs) > 0;
}

enum class SinkKind { kNone, kDescriptor, kSyslog };

// Where lines go, chosen at the first line from VELORIN_TRACE: "stderr" (also when unset or empty), "syslog",
// "none" or "off"; anything else is the path of a file that is appended to.
class Sink {
public:
    Sink()
    {
        const char* const choice = std::getenv("VELORIN_TRACE");
        if (choice == nullptr || *choice == '\0' || std::strcmp(choice, "stderr") == 0) return;
        if (std::strcmp(choice, "none") == 0 || std::strcmp(choice, "off") == 0) {
            kind_ = SinkKind::kNone;
        } else if (std::strcmp(choice, "syslog") == 0) {
            kind_ = SinkKind::kSyslog;
        } else {
            const int file = open(choice, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY, 0640);
            if (file >= 0) {
                descriptor_ = file;
            } else {
                dprintf(STDERR_FILENO, "velorin: trace file %s: %m; tracing to stderr\n", choice);
            }
        }
    }

    SinkKind kind() const { return kind_; }

    // One write a line: a file that is appended to, and a pipe up to PIPE_BUF, keep the lines of several
    // processes apart. The lock does it for the threads of this one, whatever the sink, and when a line is
    // taken in pieces.
    void write_line(const char* line, std::size_t length)
    {
        PipeSignalBlock pipe_signal;
        const std::lock_guard<std::mutex> guard(lock_);
        while (length > 0) {
            const ssize_t written = write(descriptor_, line, length);
            if (written < 0 && errno == EINTR) continue;
            if (written < 0 && errno == EAGAIN && wait_writable(descriptor_)) continue;
            if (written < 0 && errno == EPIPE) pipe_signal.raised();
            if (written <= 0) return;  // a trace has nobody to complain to
            line += written;
            length -= static_cast<std::size_t>(written);
        }
    }

    void before_fork() { lock_.lock(); }
    void after_fork() { lock_.unlock(); }

private:
    SinkKind kind_ = SinkKind::kDescriptor;
    int descriptor_ = STDERR_FILENO;
    std::mutex lock_;
};

// Never destroyed: the last lines are written while the process ends. Null when memory ran out.
Sink* sink()
{
    static Sink* const instance = [] {
        Sink* const made = new (std::nothrow) Sink;
        if (made != nullptr) {
            pthread_atfork([] { sink()->before_fork(); }, [] { sink()->after_fork(); },
                           [] { sink()->after_fork(); });
        }
        return made;
    }();
    return instance;
}

//   result  octets of the text, which is NUL-terminated
std::size_t format_text(Scratch& text, const char* format, va_list arguments)
{
    va_list again;
    va_copy(again, arguments);
    const int wanted = vsnprintf(text.reserve(kStackRoom), kStackRoom, format, arguments);
    std::size_t length = 0;
    if (wanted < 0) {
        // Arguments that cannot be written (a wide text outside the locale): the format says where it was.
        const std::size_t octets = std::strlen(format);
        text.reserve(octets + 1);
        length = octets < text.size() ? octets : text.size() - 1;
        std::memcpy(text.data(), format, length);
        text.data()[length] = '\0';
    } else {
        length = static_cast<std::size_t>(wanted);
        if (length >= kStackRoom) {
            text.reserve(length + 1);
            vsnprintf(text.data(), text.size(), format, again);
            if (length >= text.size()) length = text.size() - 1;
        }
    }
    va_end(again);
    return length;
}

bool is_control(char octet)
{
    const unsigned char value = static_cast<unsigned char>(octet);
    return (value < 0x20 && value != '\t') || value == 0x7F;
}

//   result  octets as which a text is written, without the line end
std::size_t visible_length(const char* text, std::size_t length)
{
    std::size_t total = 0;
    for (std::size_t index = 0; index < length; ++index)
        total += is_control(text[index]) ? 4 : 1;
    return total;
}

// Writes controls as "\x0A", so that no text can end its line early or begin another.
std::size_t put_visible(char* out, std::size_t room, const char* text, std::size_t length)
{
    static const char kDigits[] = "0123456789ABCDEF";
    std::size_t used = 0;
    for (std::size_t index = 0; index < length; ++index) {
        if (!is_control(text[index])) {
            if (used + 1 > room) break;
            out[used++] = text[index];
        } else {
            if (used + 4 > room) break;
            const unsigned value = static_cast<unsigned char>(text[index]);
            out[used++] = '\\';
            out[used++] = 'x';
            out[used++] = kDigits[value >> 4];
            out[used++] = kDigits[value & 0xF];
        }
    }
    return used;
}

// "2024-05-01T12:34:56.789Z 4711/4712 2107:102:0 ": UTC, process and thread, module, level and option in
// hexadecimal.
std::size_t put_prefix(char* out, std::uint32_t module, std::uint32_t level, std::uint32_t option)
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    struct tm utc {};
    gmtime_r(&now.tv_sec, &utc);
    const int length = std::snprintf(
        out, kPrefixRoom, "%04d-%02d-%02dT%02d:%02d:%02d.%03ldZ %ld/%ld %" PRIx32 ":%" PRIx32 ":%" PRIx32 " ",
        utc.tm_year + 1900, utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec,
        now.tv_nsec / 1000000L, static_cast<long>(getpid()), static_cast<long>(syscall(SYS_gettid)), module,
        level, option);
    if (length < 0) return 0;
    const std::size_t octets = static_cast<std::size_t>(length);
    return octets < kPrefixRoom ? octets : kPrefixRoom - 1;
}

void trace(std::uint32_t module, std::uint32_t level, std::uint32_t option, const char* format,
           va_list arguments)
{
    Sink* const target = sink();
    if (target == nullptr || target->kind() == SinkKind::kNone) return;

    Scratch text;
    std::size_t length = format_text(text, format != nullptr ? format : "(no text)", arguments);
    while (length > 0 && (text.data()[length - 1] == '\n' || text.data()[length - 1] == '\r'))
        --length;

    Scratch line;
    line.reserve(kPrefixRoom + visible_length(text.data(), length) + 1);
    if (target->kind() == SinkKind::kSyslog) {
        const std::size_t octets = put_visible(line.data(), line.size() - 1, text.data(), length);
        line.data()[octets] = '\0';
        syslog(LOG_MAIL | (level == kErrorLevel ? LOG_ERR : LOG_NOTICE),
               "%" PRIx32 ":%" PRIx32 ":%" PRIx32 " %s", module, level, option, line.data());
        return;
    }
    std::size_t used = put_prefix(line.data(), module, level, option);
    used += put_visible(line.data() + used, line.size() - used - 1, text.data(), length);
    line.data()[used++] = '\n';
    target->write_line(line.data(), used);
}

}  // namespace

void emwGENTrcPrintf(std::uint32_t module, std::uint32_t level, std::uint32_t option, const char* format, ...)
{
    const int errno_before = errno;
    va_list arguments;
    va_start(arguments, format);
    trace(module, level, option, format, arguments);
    va_end(arguments);
    errno = errno_before;
}
