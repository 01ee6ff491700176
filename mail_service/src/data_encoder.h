#pragma once

#include <cstddef>
#include <cstdint>

namespace velorin::service {

// Takes octets on their way to a server.
class OctetSink {
public:
    virtual ~OctetSink() = default;
    //   result  0, or a return code of the service: nothing more is to be written then
    virtual std::uint32_t write(const char* octets, std::size_t count) = 0;
};

// Turns the octets of a mail into the data of an SMTP mail (RFC 5321, 4.5.2): every line end is CR LF, also
// where a CR or LF stood alone, and a dot at the start of a line is doubled. What is written does not depend
// on how the octets were cut into slices. Octets that need no change go to the sink as they stand in the
// slice, in runs as long as they are.
class DataEncoder {
public:
    explicit DataEncoder(OctetSink& sink) : sink_(sink) {}

    void begin();  // a new mail: at the start of a line
    std::uint32_t feed(const char* octets, std::size_t count);
    // Ends the last line, so that the final dot stands at the start of one.
    std::uint32_t finish();

private:
    OctetSink& sink_;
    bool at_line_start_ = true;
    bool pending_cr_ = false;  // the last octet was CR: its line end is written with the next octet
};

}  // namespace velorin::service
