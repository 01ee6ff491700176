#include <errno.h>
#include <pthread.h>
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
#include <new>

#include "emwGEN.h"
#include "trace_sink.h"

namespace {

using velorin_trace::kErrorLevel;
using velorin_trace::kPrefixRoom;
using velorin_trace::put_prefix;
using velorin_trace::Sink;
using velorin_trace::SinkKind;

constexpr std::size_t kStackRoom = 1024;  // octets; longer texts are composed on the heap

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

// Never destroyed: the last lines are written while the process ends. Null when memory ran out.
Sink* sink()
{
    static Sink* const instance = [] {
        Sink* const made = new (std::nothrow) Sink;
        if (made != nullptr) {
            pthread_atfork([] { sink()->before_fork(); }, [] { sink()->after_fork_in_parent(); },
                           [] { sink()->after_fork_in_child(); });
        }
        return made;
    }();
    return instance;
}

//   result  octets of the text, which is NUL-terminated
__attribute__((format(printf, 2, 0))) std::size_t format_text(Scratch& text, const char* format,
                                                              va_list arguments)
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

__attribute__((format(printf, 4, 0))) void trace(std::uint32_t module, std::uint32_t level,
                                                 std::uint32_t option, const char* format, va_list arguments)
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

std::size_t velorin_trace::put_prefix(char* out, std::uint32_t module, std::uint32_t level,
                                      std::uint32_t option)
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

void emwGENTrcPrintf(std::uint32_t module, std::uint32_t level, std::uint32_t option, const char* format, ...)
{
    const int errno_before = errno;
    va_list arguments;
    va_start(arguments, format);
    trace(module, level, option, format, arguments);
    va_end(arguments);
    errno = errno_before;
}
