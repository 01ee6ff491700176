#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>

// Where trace lines go.
namespace velorin_trace {

constexpr std::size_t kPrefixRoom = 96;       // octets, above the longest prefix
constexpr std::uint32_t kErrorLevel = 0x102;  // the level of a failure

// "2024-05-01T12:34:56.789Z 4711/4712 2107:102:0 ": UTC, process and thread, module, level and option in
// hexadecimal.
//   in      out: kPrefixRoom octets
//   result  octets written
std::size_t put_prefix(char* out, std::uint32_t module, std::uint32_t level, std::uint32_t option);

enum class SinkKind { kNone, kDescriptor, kSyslog };

// Chosen when it is made from VELORIN_TRACE: "stderr" (also when unset or empty), "syslog", "none" or "off";
// anything else is the path of a file that is appended to. A sink that takes no more (a pipe or terminal that
// nobody reads) holds nobody up beyond the patience, and that once: until it takes octets again, lines are
// lost, and the first line that is not has their number in front.
class Sink {
public:
    Sink();
    Sink(const Sink&) = delete;
    Sink& operator=(const Sink&) = delete;

    SinkKind kind() const { return kind_; }

    // One write a line: a file that is appended to, and a pipe up to PIPE_BUF, keep the lines of several
    // processes apart. The lock does it for the threads of this one, whatever the sink, and when a line is
    // taken in pieces.
    void write_line(const char* line, std::size_t length);

    void before_fork() { lock_.lock(); }
    void after_fork_in_parent() { lock_.unlock(); }
    void after_fork_in_child();  // what the parent has not said yet is the parent's to say

private:
    class Output;

    void tell_replaced(const char* path, int error);
    bool put_all(Output& output, const char* octets, std::size_t length, std::size_t& taken);
    bool put_line(Output& output, const char* line, std::size_t length);
    bool put_rest(Output& output);
    bool put_report(Output& output);
    void keep_rest(const char* octets, std::size_t length);
    void forget_rest();

    SinkKind kind_ = SinkKind::kDescriptor;
    int descriptor_;
    std::mutex lock_;          // of what follows
    bool full_ = false;        // it took no more the last time
    unsigned long lost_ = 0;   // lines since the last report
    char* rest_ = nullptr;     // of a line that was taken in part; from malloc, or kLineEnd
    std::size_t rest_at_ = 0;  // octets of it that have been taken
    std::size_t rest_length_ = 0;
};

}  // namespace velorin_trace
