#pragma once

#include <cstddef>

#include "platform_api.h"

// The platform heap. What one library allocates here another may free. May be called by any number of threads
// at once.
class NTC_PLATFORM_API CutlCPLBOSBoundary {
public:
    // Allocates a block.
    //   in      size: octets; 0 gives a block of its own all the same
    //   result  uninitialised, aligned for every type, the caller's (MemFree); null when memory runs out
    static void* MemAllocate(std::size_t size);

    // Changes the size of a block, which may move.
    //   in      block: of MemAllocate or MemReallocate; null allocates
    //           size: octets; 0 does not free, the block stays the caller's
    //   result  the block, its octets kept up to the smaller size; null when memory runs out: `block` still
    //           valid
    static void* MemReallocate(void* block, std::size_t size);

    // Frees a block of MemAllocate or MemReallocate; null does nothing.
    static void MemFree(void* block);
};
