#pragma once

#include <climits>
#include <cstddef>
#include <cstring>

#include "CutlCPLBOSBoundary.h"

namespace velorin {

// Owns a platform-heap block that grows to the exact size, until take() hands it on.
class HeapBlock {
public:
    HeapBlock() = default;
    HeapBlock(const HeapBlock&) = delete;
    HeapBlock& operator=(const HeapBlock&) = delete;
    ~HeapBlock()
    {
        if (data != nullptr) CutlCPLBOSBoundary::MemFree(data);
    }

    // The block and its octets become the caller's.
    template <typename Octet>
    void take(Octet*& block, long& block_length)
    {
        block = data;
        block_length = length;
        data = nullptr;
        length = 0;
    }

    char* data = nullptr;  // a NUL stands behind its octets
    long length = 0;       // octets
};

// Octets needed for `length` octets, `added` more and a NUL; 0 when that is no length at all.
inline std::size_t grown_size(long length, long added)
{
    const std::size_t size = static_cast<std::size_t>(length) + static_cast<std::size_t>(added) + 1;
    return (length | added) >= 0 && size <= static_cast<std::size_t>(LONG_MAX) ? size : 0;
}

// Makes an empty block one with room for `length` octets and a NUL; neither is written, none is counted.
//   result  false when memory runs out or the length is negative
inline bool allocate_room(HeapBlock& block, long length)
{
    const std::size_t size = grown_size(length, 0);
    if (size == 0) return false;
    block.data = static_cast<char*>(CutlCPLBOSBoundary::MemAllocate(size));
    return block.data != nullptr;
}

// Makes an empty block one of zeros, `length` of them and a NUL; they are not counted as its octets yet.
//   result  false when memory runs out or the length is negative
inline bool allocate_zeroed(HeapBlock& block, long length)
{
    if (!allocate_room(block, length)) return false;
    std::memset(block.data, 0, static_cast<std::size_t>(length) + 1);
    return true;
}

// Makes an empty block a copy of the octets, with a NUL behind them.
//   result  false when memory runs out or the length is negative
inline bool allocate_copy(HeapBlock& block, const void* octets, long length)
{
    if (!allocate_room(block, length)) return false;
    if (length > 0) std::memcpy(block.data, octets, static_cast<std::size_t>(length));
    block.data[length] = '\0';
    block.length = length;
    return true;
}

// Gives back what the result does not need, its NUL excepted.
inline bool shrink(HeapBlock& block)
{
    void* const shrunk =
        CutlCPLBOSBoundary::MemReallocate(block.data, static_cast<std::size_t>(block.length) + 1);
    if (shrunk == nullptr) return false;
    block.data = static_cast<char*>(shrunk);
    return true;
}

// Appends octets to a platform-heap block, to the exact size, and puts a NUL behind them.
//   result  false when memory runs out or a length is negative: block and length unchanged
inline bool append_exactly(char*& block, long& length, const void* added, long added_length)
{
    const std::size_t size = grown_size(length, added_length);
    if (size == 0) return false;
    void* const grown = CutlCPLBOSBoundary::MemReallocate(block, size);
    if (grown == nullptr) return false;
    block = static_cast<char*>(grown);
    if (added_length > 0) std::memcpy(block + length, added, static_cast<std::size_t>(added_length));
    length += added_length;
    block[length] = '\0';
    return true;
}

}  // namespace velorin
