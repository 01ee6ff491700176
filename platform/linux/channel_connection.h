#pragma once

#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "channel_server.h"

// One accepted connection and the memory it needs.
namespace velorin_channel {

using Clock = std::chrono::steady_clock;

// Whole seconds of the steady clock, for what may be an atomic on 32 bits too.
std::uint32_t uptime_seconds();

// A socket that a server listens on, and who answers there.
struct ServedEndpoint {
    std::string name;
    Handler handler;
    std::string path;
    int listener = -1;
    dev_t device = 0;  // of the socket file, to remove no other
    ino_t inode = 0;

    // The pool of threads that accept here (ChannelServer::Impl).
    std::atomic<unsigned> accepting{0};  // in accept or on the way to it
    std::atomic<unsigned> arriving{0};   // threads with a caller whose first request is not there yet
    std::atomic<unsigned> threads{0};
    std::atomic<unsigned> peak{0};             // most threads busy at once in this window
    std::atomic<unsigned> peak_before{0};      // the same in the window before
    std::atomic<std::uint32_t> window_end{0};  // of uptime_seconds()
};

// The line about a caller whose connection is closed for a reason.
void trace_let_go(const ServedEndpoint& endpoint, const Caller& caller, const char* why);

// A block from malloc with its size in octets.
class Block {
public:
    Block() = default;
    ~Block();
    Block(Block&& other) noexcept;
    Block& operator=(Block&& other) noexcept;
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;

    bool resize(std::size_t size);  // content kept; false: as it was
    char* data() const { return data_; }
    std::size_t size() const { return size_; }

private:
    char* data_ = nullptr;
    std::size_t size_ = 0;
};

// Blocks that were large once, for the next large request: fresh pages cost as much as the transfer itself.
class SpareBlocks {
public:
    Block take();            // the largest one, or an empty one
    void give(Block block);  // kept while there is room
    void drop_all();

private:
    static constexpr std::size_t kLimit = 4u << 20;  // octets kept in all

    std::mutex lock_;
    std::vector<Block> blocks_;
    std::size_t total_ = 0;
};

// What each serving thread keeps for small exchanges, so that they allocate nothing.
struct ThreadBuffers {
    static constexpr std::size_t kRequestSize = 16384;
    static constexpr std::size_t kAnswerSize = 8192;

    char request[kRequestSize];
    char answer[8 + kAnswerSize];
};

// Takes one request frame, then sends one answer frame. Small exchanges live in the serving thread's buffers
// until detach().
class Connection {
public:
    enum class Progress {
        kWhole,  // the request is complete; the answer is sent
        kWait,   // the peer has to act first
        kGone    // the peer has gone or is to be let go
    };

    Connection(int descriptor, ServedEndpoint& endpoint, const Caller& caller, std::uint32_t max_request,
               Clock::time_point deadline, ThreadBuffers* buffers, SpareBlocks& spares);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    // Receives what there is.
    //   in      flags: MSG_DONTWAIT, or 0 to wait as long as the socket's own time-out for the next octets
    //           patience: after which an unfinished request is kWait all the same
    Progress receive(int flags, Clock::duration patience);

    // Runs the handler on the whole request; the request's memory goes back.
    //   result  false: no answer
    bool answer();

    // Sends what the peer takes at once.
    Progress send();

    // Moves what is in the thread's buffers into memory of its own, and gives up what it does not need yet.
    //   result  false when memory ran out
    bool detach();

    // Readies a detached connection for answer() in another thread.
    void attach(ThreadBuffers& buffers) { buffers_ = &buffers; }

    int descriptor() const { return descriptor_; }
    // The descriptor is the caller's; nothing else can be done with this any more.
    int release() { return std::exchange(descriptor_, -1); }
    bool is_empty() const { return received_ == 0; }  // no octet of a request has come
    const Caller& caller() const { return caller_; }
    bool is_answered() const { return answered_; }
    Clock::time_point deadline() const { return deadline_; }
    void set_deadline(Clock::time_point deadline) { deadline_ = deadline; }
    std::size_t held() const { return block_.size() + answer_block_.size(); }  // octets of memory of its own
    void trace_let_go(const char* why) const { velorin_channel::trace_let_go(endpoint_, caller_, why); }

private:
    void wipe_request();  // an account's request holds its passwords
    bool grow(std::size_t wanted);
    char* request_data() const { return block_.data() != nullptr ? block_.data() : buffers_->request; }
    std::size_t request_room() const;

    int descriptor_;
    ServedEndpoint& endpoint_;
    const Caller caller_;
    const std::uint32_t max_request_;
    Clock::time_point deadline_;
    ThreadBuffers* buffers_;  // null: detached
    SpareBlocks& spares_;

    Block block_;  // the request, once it is not in the thread's buffer
    std::size_t received_ = 0;
    bool header_known_ = false;
    std::uint32_t length_ = 0;
    std::uint32_t capacity_ = 0;

    Block answer_block_;  // the answer frame, likewise
    bool answered_ = false;
    std::size_t answer_size_ = 0;
    std::size_t sent_ = 0;
};

}  // namespace velorin_channel
