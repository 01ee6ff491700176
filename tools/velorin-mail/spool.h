#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "descriptor.h"

namespace velorin::cli {

// Where octets are read from in pieces.
class OctetSource {
public:
    virtual ~OctetSource();

    // Reads on.
    //   out     buffer: up to `capacity` octets; count: how many, less than capacity only at the end
    //   result  false when reading failed; errno says why
    virtual bool read(char* buffer, std::size_t capacity, std::size_t& count) = 0;
};

// Octets that are written once and then read once, of any number: a small text stays in memory, a large one
// goes to a file without a name in $TMPDIR, so that memory stays flat. Never visible to anybody else.
class Spool : public OctetSource {
public:
    static constexpr std::size_t kInMemory = 1u << 20;  // octets

    Spool();
    ~Spool() override;

    //   result  false when the file cannot be made or written; errno says why
    bool write(const char* octets, std::size_t length);
    std::uint64_t size() const { return size_; }
    bool in_file() const { return file_.valid(); }

    // Reading begins at the front; nothing may be written any more.
    bool rewind();
    bool read(char* buffer, std::size_t capacity, std::size_t& count) override;

private:
    bool flush();

    std::string memory_;  // all of it, or what has not been written to the file yet
    std::size_t position_ = 0;
    std::uint64_t size_ = 0;
    Descriptor file_;
};

// Reads from a descriptor until the buffer is full or the end is reached. EINTR is looked through unless a
// signal has come that ends the program.
bool read_fully(int descriptor, char* buffer, std::size_t capacity, std::size_t& count);

// A descriptor of somebody else, read from where it stands.
class DescriptorSource : public OctetSource {
public:
    explicit DescriptorSource(int descriptor) : descriptor_(descriptor) {}
    bool read(char* buffer, std::size_t capacity, std::size_t& count) override
    {
        return read_fully(descriptor_, buffer, capacity, count);
    }

private:
    int descriptor_;
};

// Reads all that a source has.
//   result  false with errno; EFBIG: more than `limit` octets
bool read_all(OctetSource& source, std::size_t limit, std::string& octets);

}  // namespace velorin::cli
