#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "deadline.h"
#include "secret.h"
#include "server_connection.h"

namespace velorin::service {

class LastReply;

// A line of a multi-line answer, or a slice of a line that is longer than kMaxSlice. It stands in the
// dialogue's buffer until the next one is asked for.
struct LineSlice {
    std::string_view text;  // without the dot that the server put in front; with its line end where `ends`
    bool starts = false;    // begins a line: what stands before it ends in LF, or nothing does
    bool ends = false;      // ends in LF
    bool stuffed = false;   // the server put a dot in front
};

// The POP3 dialogue on a connection that is open and logged in. Every result is 0 or a return code. What the
// server refuses leaves the connection open; in every other case it has been dropped. A reply that nobody
// asked for ends the connection, so that no answer is ever taken for that of another command.
class Pop3Dialogue {
public:
    static constexpr std::size_t kMaxSlice = 4096;

    Pop3Dialogue(ServerConnection& connection, LastReply& last_reply, std::uint32_t command_timeout);

    // Sends a command and reads its status line.
    //   in      command: without its line end; holds no control characters
    //           refused: the code of a plain -ERR; one whose text tells more (RFC 2449, RFC 3206) has its own
    //           timeout: seconds; 0: the account's
    std::uint32_t command(const std::string& command, std::uint32_t refused, std::uint32_t timeout = 0);
    // USER and PASS.
    std::uint32_t log_in(const std::string& user, const Secret& password);
    // What the last positive status line said behind "+OK ".
    const std::string& text() const { return text_; }

    // After a command with a multi-line answer: its lines, up to and with the final dot.
    //   in      most: octets. An answer with more of them has no end: kLimitReached, and the connection is
    //           dropped
    void begin_lines(std::uint64_t most);
    // Another operation goes on reading: it has time of its own.
    void restart_clock();
    //   out     slice: when the result is 0 and over() is false
    std::uint32_t next(LineSlice& slice);
    // Whole lines out of what has been received already, which next() would give one by one: each ends in CR LF,
    // none begins with a dot or a hyphen. They stand in the buffer likewise.
    //   in      enough: octets; no further line is taken once there are more
    //   result  empty when the next line is none of these
    std::string_view take_plain_lines(std::size_t enough);
    bool over() const { return over_; }
    bool lf_lines() const { return lf_lines_; }  // the server ends its lines in LF alone
    // Reads on to the final dot.
    std::uint32_t drain();

    // QUIT, whose reply changes nothing; the connection is dropped.
    void leave(std::uint32_t timeout);

private:
    std::uint32_t exchange(const std::string& line, std::uint32_t refused);
    std::uint32_t check_silence();
    std::uint32_t read_status();
    std::uint32_t fill();
    std::uint32_t malformed();

    ServerConnection& connection_;
    LastReply& last_reply_;
    std::uint32_t command_timeout_;
    std::uint32_t timeout_;  // of the command under way
    Deadline deadline_;
    std::size_t since_deadline_ = 0;  // octets
    std::uint64_t octets_left_ = 0;   // that the answer may still have
    std::vector<char> in_;            // octets received; those before in_at_ are used up
    std::size_t in_at_ = 0;
    std::size_t in_count_ = 0;
    std::string line_;  // the last status line
    std::string text_;
    const Secret* hidden_ = nullptr;  // what no reply is told with
    bool refused_ = false;
    bool lf_lines_ = false;  // this server ends its lines in LF alone
    bool over_ = true;
    bool at_line_start_ = true;       // behind any LF
    bool at_wire_line_start_ = true;  // behind what ends a line for the server: there dots are doubled
};

// A decimal number of digits only, taken from the front.
//   result  false when there is none, or it is above max: `text` is unchanged
bool take_number(std::string_view& text, std::uint64_t max, std::uint64_t& number);

}  // namespace velorin::service
