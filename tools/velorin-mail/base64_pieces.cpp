#include "base64_pieces.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <utility>

namespace velorin::cli {

namespace {

constexpr int kLineLength = 76;                  // characters (RFC 2045, section 6.8)
constexpr std::uint32_t kNoMemory = 0x21077101;  // as AdjustBuffLenM3 says it

Base64Piece failed(Base64Piece::Kind kind, int error, std::uint32_t code)
{
    Base64Piece piece;
    piece.kind = kind;
    piece.error = error;
    piece.code = code;
    return piece;
}

}  // namespace

Base64Cutter::Base64Cutter(CntsSMTPBoundary& session, OctetSource& source, std::uint64_t size)
    : session_(session), source_(source), left_(size)
{
}

Base64Piece Base64Cutter::next()
{
    using Kind = Base64Piece::Kind;
    while (left_ > 0) {
        if (block_ == nullptr || replaced_) block_.reset(CutlCPLBOSBoundary::MemAllocate(kBase64Piece));
        if (block_ == nullptr) return failed(Kind::kRefused, 0, kNoMemory);
        const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(kBase64Piece, left_));
        std::size_t count = 0;
        if (!source_.read(static_cast<char*>(block_.get()), wanted, count))
            return failed(Kind::kUnreadable, errno, 0);
        if (count < wanted) return failed(Kind::kTooShort, 0, 0);
        left_ -= count;

        replaced_ = carried_ != 0;  // the block becomes another one then, too short to be read into again
        void* octets = block_.release();
        auto length = static_cast<long>(count);
        const std::uint32_t code = session_.AdjustBuffLenM3(octets, length, carried_, carry_);
        block_.reset(octets);
        if (code != 0) return failed(Kind::kRefused, 0, code);
        if (length == 0) continue;  // one or two octets, all held back
        return encode(octets, length, left_ == 0 && carried_ == 0);
    }
    if (carried_ == 0 || carry_given_) return Base64Piece();
    carry_given_ = true;  // the octets held back make the last, padded group
    return encode(carry_, carried_, true);
}

Base64Piece Base64Cutter::encode(const void* octets, long length, bool is_last) const
{
    Base64Piece piece;
    char* text = nullptr;
    if (CntsMLUTLMimeUtility::ToB64(octets, length, text, piece.length, kLineLength) == 0)
        return failed(Base64Piece::Kind::kRefused, 0, kNoMemory);
    // Every piece but the last ends where a line ends, so the break between two lines is due exactly there.
    const bool line_is_full = (length + 2) / 3 * 4 % kLineLength == 0;
    const bool complete = is_last || !line_is_full ||
                          CntsMLUTLMimeUtility::ReallocationBuffer(text, piece.length, "\r\n", 2) == 1;
    piece.text.reset(text);
    if (!complete) return failed(Base64Piece::Kind::kRefused, 0, kNoMemory);
    piece.kind = Base64Piece::Kind::kText;
    piece.is_last = is_last;
    return piece;
}

Base64Ahead::Base64Ahead(Base64Cutter& cutter, bool ahead) : cutter_(cutter)
{
    if (!ahead) return;
    // Signals are the main thread's, which may be waiting in a system call that they shall end.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before);
    thread_ = std::thread(&Base64Ahead::run, this);
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

Base64Ahead::~Base64Ahead()
{
    if (!thread_.joinable()) return;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        is_stopping_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

Base64Piece Base64Ahead::next()
{
    if (!thread_.joinable()) return cutter_.next();
    Base64Piece piece;
    {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [this] { return is_ready_; });
        piece = std::move(piece_);
        is_ready_ = false;
    }
    changed_.notify_all();
    return piece;
}

void Base64Ahead::run()
{
    for (;;) {
        Base64Piece piece = cutter_.next();
        const bool is_end = piece.kind != Base64Piece::Kind::kText;
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [this] { return !is_ready_ || is_stopping_; });
        if (is_stopping_) return;
        piece_ = std::move(piece);
        is_ready_ = true;
        lock.unlock();
        changed_.notify_all();
        if (is_end) return;
    }
}

}  // namespace velorin::cli
