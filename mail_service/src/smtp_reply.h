#pragma once

#include <cstddef>
#include <string>

namespace velorin::service {

// One reply of an SMTP server, of one line or several (RFC 5321, 4.2).
struct SmtpReply {
    int code = 0;           // 200 to 599
    std::string last_line;  // as received, without its line end

    bool positive() const { return code >= 200 && code < 300; }
    bool transient() const { return code >= 400 && code < 500; }
    // The enhanced status code of the last line (RFC 3463) begins with this, such as "5.2.".
    bool enhanced_status_begins(const char* start) const;
};

// Reads replies from octets that come in any cut. A server that talks without end is cut short: lines of at
// most 2,048 octets (RFC 5321 asks for 512), replies of at most 128 lines. LF alone ends a line too.
class SmtpReplyParser {
public:
    enum class Result { incomplete, complete, malformed };

    // Takes octets up to the end of one reply.
    //   out     taken: octets used; those behind a complete reply belong to the next one
    Result feed(const char* octets, std::size_t count, std::size_t& taken);
    const SmtpReply& reply() const { return reply_; }
    void reset();  // for the next reply

private:
    Result take_line();

    SmtpReply reply_;
    std::string line_;
    std::size_t lines_ = 0;
};

// A reply line for a person: everything that is no printable US-ASCII becomes "?", at most 512 octets.
std::string printable_line(const std::string& line);

}  // namespace velorin::service
