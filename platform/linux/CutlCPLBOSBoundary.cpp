#include "CutlCPLBOSBoundary.h"

#include <malloc.h>

#include <cstdlib>

namespace {
// A size of 0 is 1 for the C library: there null would mean "freed" or "failed", depending on its maker.
std::size_t at_least_one(std::size_t size)
{
    return size == 0 ? 1 : size;
}

#if defined(__SANITIZE_ADDRESS__)
// The sanitizer is to see every block at its exact size.
void* resize(void* block, std::size_t size)
{
    return std::realloc(block, size);
}
#else
constexpr std::size_t kSmallest = 256;    // octets that a block grows to at least
constexpr std::size_t kSmall = 1024;      // octets; up to there a block doubles
constexpr std::size_t kLarge = 1u << 30;  // octets; above it, and near the end of all sizes, none to spare
constexpr std::size_t kIdle = 512;        // octets that a block may always have to spare

// What a block that grows gets: the next pieces of a text that is put together find their room there.
std::size_t room_for(std::size_t size)
{
    if (size > kLarge) return size;
    if (size > kSmall) return size + size / 8;
    std::size_t room = kSmallest;
    while (room < size)
        room *= 2;
    return room;
}

// Apart, so that the usual way is short.
[[gnu::noinline]] void* move(void* block, std::size_t size, bool grows)
{
    void* const resized = grows ? std::realloc(block, room_for(size)) : nullptr;
    return resized != nullptr ? resized : std::realloc(block, size);
}

// Gives up no more than an eighth of a block, or kIdle, for not having to move it.
void* resize(void* block, std::size_t size)
{
    const std::size_t room = malloc_usable_size(block);
    const std::size_t spare = room - size;
    const bool fits = size <= room;
    if (fits && (spare <= kIdle || spare <= size / 8)) return block;
    return move(block, size, !fits);
}
#endif
}  // namespace

void* CutlCPLBOSBoundary::MemAllocate(std::size_t size)
{
    return std::malloc(at_least_one(size));
}

void* CutlCPLBOSBoundary::MemReallocate(void* block, std::size_t size)
{
    return resize(block, at_least_one(size));
}

void CutlCPLBOSBoundary::MemFree(void* block)
{
    std::free(block);
}
