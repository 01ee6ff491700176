#include "spool.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

#include "interrupt.h"

namespace velorin::cli {

namespace {

Descriptor nameless_file()
{
    const char* const set = std::getenv("TMPDIR");
    const std::string folder = set != nullptr && *set != '\0' ? set : "/tmp";
    Descriptor file(::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
    if (file.valid()) return file;
    std::string name = folder + "/velorin-mail-XXXXXX";  // not every file system knows O_TMPFILE
    file = Descriptor(::mkostemp(&name[0], O_CLOEXEC));
    if (file.valid()) ::unlink(name.c_str());
    return file;
}

}  // namespace

OctetSource::~OctetSource() = default;

Spool::Spool() = default;

Spool::~Spool() = default;

bool Spool::write(const char* octets, std::size_t length)
{
    memory_.append(octets, length);
    size_ += length;
    if (memory_.size() <= kInMemory) return true;
    if (!file_.valid()) file_ = nameless_file();
    return file_.valid() && flush();
}

bool Spool::flush()
{
    for (std::size_t done = 0; done < memory_.size();) {
        const ssize_t count = ::write(file_.get(), memory_.data() + done, memory_.size() - done);
        if (count < 0 && errno == EINTR && interrupting_signal() == 0) continue;
        if (count < 0) return false;
        done += static_cast<std::size_t>(count);
    }
    memory_.clear();
    return true;
}

bool Spool::rewind()
{
    position_ = 0;
    if (!file_.valid()) return true;
    return flush() && ::lseek(file_.get(), 0, SEEK_SET) == 0;
}

bool Spool::read(char* buffer, std::size_t capacity, std::size_t& count)
{
    if (file_.valid()) return read_fully(file_.get(), buffer, capacity, count);
    count = std::min(capacity, memory_.size() - position_);
    std::memcpy(buffer, memory_.data() + position_, count);
    position_ += count;
    return true;
}

bool read_all(OctetSource& source, std::size_t limit, std::string& octets)
{
    constexpr std::size_t kPiece = 64u << 10;
    octets.clear();
    for (std::size_t count = kPiece; count == kPiece;) {
        const std::size_t kept = octets.size();
        octets.resize(kept + kPiece);
        if (!source.read(&octets[kept], kPiece, count)) return false;
        octets.resize(kept + count);
        if (octets.size() > limit) {
            errno = EFBIG;
            return false;
        }
    }
    return true;
}

bool read_fully(int descriptor, char* buffer, std::size_t capacity, std::size_t& count)
{
    count = 0;
    while (count < capacity) {
        const ssize_t got = ::read(descriptor, buffer + count, capacity - count);
        if (got == 0) return true;
        if (got < 0 && errno == EINTR && interrupting_signal() == 0) continue;
        if (got < 0) return false;
        count += static_cast<std::size_t>(got);
    }
    return true;
}

}  // namespace velorin::cli
