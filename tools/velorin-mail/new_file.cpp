#include "new_file.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

namespace velorin::cli {

namespace {

constexpr std::size_t kBuffer = 128u << 10;  // octets; more is no faster

}  // namespace

bool NewFile::open(int folder, const std::string& name)
{
    buffer_.clear();
    size_ = 0;
    const int flags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    file_ = Descriptor(::openat(folder, name.c_str(), flags, 0600));
    return file_.valid();
}

bool NewFile::write(const char* octets, std::size_t length)
{
    size_ += length;
    if (buffer_.size() + length < kBuffer) {
        buffer_.append(octets, length);
        return true;
    }
    return flush() &&
           (length < kBuffer ? (buffer_.append(octets, length), true) : write_through(octets, length));
}

bool NewFile::flush()
{
    const bool written = write_through(buffer_.data(), buffer_.size());
    buffer_.clear();
    return written;
}

bool NewFile::write_through(const char* octets, std::size_t length)
{
    while (length > 0) {
        const ssize_t count = ::write(file_.get(), octets, length);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return false;
        octets += count;
        length -= static_cast<std::size_t>(count);
    }
    return true;
}

bool NewFile::sync()
{
    return flush() && ::fsync(file_.get()) == 0;
}

// Some file systems tell only now that an octet had no place.
bool NewFile::close()
{
    const bool written = flush();
    const int why = errno;
    const bool closed = ::close(file_.release()) == 0;
    if (!written) errno = why;
    return written && closed;
}

bool NewFile::restart()
{
    buffer_.clear();
    size_ = 0;
    return ::ftruncate(file_.get(), 0) == 0 && ::lseek(file_.get(), 0, SEEK_SET) == 0;
}

std::string writing_failed(int why)
{
    if (why == ENOSPC) return "the disk is full";
    if (why == EDQUOT) return "the disk quota is used up";
    if (why == EFBIG) return "the file would be larger than is allowed";
    return std::string("cannot be written: ") + std::strerror(why);
}

}  // namespace velorin::cli
