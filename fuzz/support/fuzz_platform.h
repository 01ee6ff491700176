// The platform's heap, trace and converter for the time of one input. A program linked with the object library
// velorin_fuzz_platform defines those functions itself; everything else is the real platform's.
#pragma once

#include <cstddef>

namespace velorin_fuzz {

// One at a time, on one thread. Its end requires that every block made since it was made is free again.
class Platform {
public:
    // Lets one allocation fail, counted over the heap, the sub-pool and the converter: 1 is the next; 0: none.
    explicit Platform(unsigned failing = 0);
    ~Platform();
    Platform(const Platform&) = delete;
    Platform& operator=(const Platform&) = delete;

    bool has_failed() const;     // an allocation failed since then
    std::size_t lines() const;   // traced since then
    std::size_t blocks() const;  // of the heap, made since then and not yet freed
};

// The size of a heap block in octets; -1 for a pointer that is no block.
long block_size(const void* block);

// What a pointer that an operation has to set holds before: no block, so that one which is not set is found out.
char* stale();

// A heap block of the library's, freed here. Requires that its length fits it, with a NUL behind where there has to be
// one.
class Block {
public:
    Block(void* block, long length);
    ~Block();
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;
    const char* data() const { return static_cast<const char*>(block_); }

private:
    void* block_;
};

}  // namespace velorin_fuzz
