#include "channel_connection.h"

#include <errno.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "channel_frame.h"
#include "channel_local.h"
#include "channel_trace.h"

namespace velorin_channel {
namespace {

constexpr std::size_t kFirstBlock = 65536;  // octets for a request that outgrows the thread's buffer
constexpr std::size_t kIdleBlock = 1024;    // octets for a request that has hardly begun

static_assert(sizeof(ThreadBuffers::answer) == kAnswerHeaderSize + ThreadBuffers::kAnswerSize,
              "room for the answer's header");

}  // namespace

std::uint32_t uptime_seconds()
{
    const auto since = Clock::now().time_since_epoch();
    return static_cast<std::uint32_t>(std::chrono::duration_cast<std::chrono::seconds>(since).count());
}

Block::~Block()
{
    std::free(data_);
}

Block::Block(Block&& other) noexcept
    : data_(std::exchange(other.data_, nullptr)), size_(std::exchange(other.size_, 0))
{
}

Block& Block::operator=(Block&& other) noexcept
{
    std::swap(data_, other.data_);
    std::swap(size_, other.size_);
    return *this;
}

bool Block::resize(std::size_t size)
{
    void* const resized = std::realloc(data_, size);
    if (resized == nullptr) return false;
    data_ = static_cast<char*>(resized);
    size_ = size;
    return true;
}

Block SpareBlocks::take()
{
    const std::lock_guard<std::mutex> guard(lock_);
    if (blocks_.empty()) return Block();
    const auto largest = std::max_element(blocks_.begin(), blocks_.end(),
                                          [](const Block& a, const Block& b) { return a.size() < b.size(); });
    std::swap(*largest, blocks_.back());
    Block taken = std::move(blocks_.back());
    blocks_.pop_back();
    total_ -= taken.size();
    return taken;
}

void SpareBlocks::give(Block block)
{
    const std::lock_guard<std::mutex> guard(lock_);
    if (block.size() == 0 || total_ + block.size() > kLimit) return;
    total_ += block.size();
    blocks_.push_back(std::move(block));
}

void SpareBlocks::drop_all()
{
    const std::lock_guard<std::mutex> guard(lock_);
    blocks_.clear();
    total_ = 0;
}

Connection::Connection(int descriptor, ServedEndpoint& endpoint, const Caller& caller,
                       std::uint32_t max_request, Clock::time_point deadline, ThreadBuffers* buffers,
                       SpareBlocks& spares)
    : descriptor_(descriptor), endpoint_(endpoint), caller_(caller), max_request_(max_request),
      deadline_(deadline), buffers_(buffers), spares_(spares)
{
}

Connection::~Connection()
{
    if (descriptor_ >= 0) close(descriptor_);
    if (!answered_) wipe_request();
    if (block_.size() >= kFirstBlock) spares_.give(std::move(block_));
}

std::size_t Connection::request_room() const
{
    return block_.data() != nullptr ? block_.size() : sizeof buffers_->request;
}

Connection::Progress Connection::receive(int flags, Clock::duration patience)
{
    Clock::time_point patient_until{};
    for (bool first = true;; first = false) {
        // Room for one octet more than the frame has: what should not be there is noticed.
        const std::size_t frame =
            header_known_ ? kRequestHeaderSize + std::size_t{length_} : kRequestHeaderSize;
        if (received_ == request_room() && !grow(frame + 1)) return Progress::kGone;
        iovec room = {request_data() + received_, request_room() - received_};
        msghdr message{};
        message.msg_iov = &room;
        message.msg_iovlen = 1;
        const ssize_t taken =
            first && flags == 0 ? receive_soon(descriptor_, message) : recvmsg(descriptor_, &message, flags);
        if (taken == 0) {
            if (received_ > 0) trace_let_go("left in mid-request");
            return Progress::kGone;
        }
        if (taken < 0) {
            if (errno == EINTR) continue;
            if (errno == EAGAIN || errno == EWOULDBLOCK) return Progress::kWait;
            return Progress::kGone;
        }
        received_ += static_cast<std::size_t>(taken);
        if (!header_known_ && received_ >= kRequestHeaderSize) {
            RequestHeader header{};
            if (!get_request_header(request_data(), header)) {
                trace_let_go("sent something that is no request");
                return Progress::kGone;
            }
            if (header.length > max_request_) {
                trace_let_go("announced a request above the limit");
                return Progress::kGone;
            }
            length_ = header.length;
            capacity_ = header.capacity;
            header_known_ = true;
        }
        if (header_known_) {
            const std::size_t total = kRequestHeaderSize + std::size_t{length_};
            if (received_ == total) return Progress::kWhole;
            if (received_ > total) {
                trace_let_go("sent more than its request");
                return Progress::kGone;
            }
        }
        if (first) {
            patient_until = Clock::now() + patience;
        } else if (Clock::now() >= patient_until) {
            return Progress::kWait;
        }
    }
}

bool Connection::grow(std::size_t wanted)
{
    if (block_.data() == nullptr) {
        Block spare = spares_.take();
        if (spare.size() < kFirstBlock &&
            !spare.resize(std::min(std::max(wanted, received_ + 1), kFirstBlock))) {
            trace_let_go("needs more memory than there is");
            return false;
        }
        std::memcpy(spare.data(), buffers_->request, received_);
        wipe_request();
        block_ = std::move(spare);
        return true;
    }
    // Twice what has arrived, never what was merely announced.
    if (block_.resize(std::min(std::max(block_.size() * 2, kIdleBlock), std::max(wanted, received_ + 1)))) {
        return true;
    }
    trace_let_go("needs more memory than there is");
    return false;
}

void Connection::wipe_request()
{
    constexpr std::size_t kMostWithPassword =
        64u << 10;  // octets; a longer request carries a body, not an account
    if (block_.data() == nullptr && buffers_ == nullptr) return;
    explicit_bzero(request_data(), std::min(received_, kMostWithPassword));
}

bool Connection::answer()
{
    const std::uint32_t capacity = std::min(capacity_, kMaxAnswer);
    char* frame = buffers_->answer;
    if (capacity > ThreadBuffers::kAnswerSize) {
        if (!answer_block_.resize(kAnswerHeaderSize + std::size_t{capacity})) {
            trace_let_go("needs more memory than there is");
            return false;
        }
        frame = answer_block_.data();
    }
    std::uint32_t length = 0;
    const bool is_answered =
        run_handler(endpoint_.name, endpoint_.handler, caller_, request_data() + kRequestHeaderSize, length_,
                    frame + kAnswerHeaderSize, capacity, length);
    if (!is_answered) return false;
    wipe_request();
    put_answer_header(frame, length);
    answer_size_ = kAnswerHeaderSize + std::size_t{length};
    answered_ = true;
    if (block_.size() >= kFirstBlock) spares_.give(std::move(block_));
    block_ = Block();
    return true;
}

Connection::Progress Connection::send()
{
    const char* const frame = answer_block_.data() != nullptr ? answer_block_.data() : buffers_->answer;
    while (sent_ < answer_size_) {
        const ssize_t taken =
            ::send(descriptor_, frame + sent_, answer_size_ - sent_, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (taken >= 0) {
            sent_ += static_cast<std::size_t>(taken);
        } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
            return Progress::kWait;
        } else if (errno != EINTR) {
            return Progress::kGone;
        }
    }
    return Progress::kWhole;
}

bool Connection::detach()
{
    if (answered_) {
        if (answer_block_.data() == nullptr) {
            if (!answer_block_.resize(answer_size_)) return false;
            std::memcpy(answer_block_.data(), buffers_->answer, answer_size_);
        } else {
            answer_block_.resize(answer_size_);
        }
    } else {
        const std::size_t kept = std::max(received_, kIdleBlock);
        if (block_.data() == nullptr) {
            if (!block_.resize(kept)) return false;
            std::memcpy(block_.data(), buffers_->request, received_);
            explicit_bzero(buffers_->request, received_);
        } else if (block_.size() > kept) {
            block_.resize(kept);
        }
    }
    buffers_ = nullptr;
    return true;
}

void trace_let_go(const ServedEndpoint& endpoint, const Caller& caller, const char* why)
{
    CHANNEL_TRACE("channel: endpoint %s: process %ld of user %lu %s\n", endpoint.name.c_str(),
                  static_cast<long>(caller.pid), static_cast<unsigned long>(caller.uid), why);
}

}  // namespace velorin_channel
