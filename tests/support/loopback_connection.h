// One accepted connection of a loopback server, in clear or under TLS.
//
// Every wait also ends when the server stops, so that no thread of a test outlives it.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

struct ssl_st;
struct ssl_ctx_st;

namespace velorin_test {

enum class Io {
    kOk,
    kClosed,   // the peer ended the connection
    kReset,    // the peer reset it
    kStopped,  // the server stops
    kTimeout,
    kTooLong,  // a line longer than the buffer
    kFailed,   // a TLS handshake that came to nothing
};

class LoopbackConnection {
public:
    // Takes the socket over. `stop_event`: descriptor that is readable from the moment the server stops.
    LoopbackConnection(int socket, int stop_event);
    ~LoopbackConnection();
    LoopbackConnection(const LoopbackConnection&) = delete;
    LoopbackConnection& operator=(const LoopbackConnection&) = delete;

    // Octets that were read and not consumed. Valid until the next call that reads.
    std::string_view buffered() const;
    void consume(std::size_t octets);

    // Reads what is there, at least one octet. `timeout_ms`: -1 waits without limit.
    Io fill(int timeout_ms = -1);

    // Takes the next line, without its line end. `with_cr`: it ended in CR LF, not in LF alone.
    Io read_line(std::string& line, bool& with_cr);

    Io write(std::string_view octets);
    // One octet at a time, `interval_ms` milliseconds apart, each in a segment of its own.
    Io write_slowly(std::string_view octets, int interval_ms);

    // Waits; ends early when the peer goes.
    Io pause(int milliseconds);
    // Waits until the peer goes, dropping what it sends (`read_on`) or leaving it where it is.
    Io wait_for_peer(bool read_on);

    // Server side of a TLS handshake. What was read before it in clear is dropped.
    Io start_tls(ssl_ctx_st* context);
    bool is_tls() const { return tls_ != nullptr; }
    std::string tls_version() const;  // "TLSv1.3"; empty in clear

    // Ends the connection in good order, so that what was written is still read by the peer; takes what the
    // peer sends for one second at most.
    void finish();
    // Ends it at once, without TLS farewell; octets that were not read make it a reset.
    void close();
    void reset();

private:
    Io wait(short events, int timeout_ms);
    Io tls_result(int result, int timeout_ms);
    Io receive(char* room, std::size_t size, std::size_t& received, int timeout_ms);
    Io peer_state() const;

    int socket_;
    int stop_event_;
    ssl_st* tls_ = nullptr;
    std::unique_ptr<char[]> buffer_;
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
};

}  // namespace velorin_test
