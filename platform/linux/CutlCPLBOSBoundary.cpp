#include "CutlCPLBOSBoundary.h"

#include <cstdlib>

namespace {
// A size of 0 is 1 for the C library: there null would mean "freed" or "failed", depending on its maker.
std::size_t at_least_one(std::size_t size)
{
    return size == 0 ? 1 : size;
}
}  // namespace

void* CutlCPLBOSBoundary::MemAllocate(std::size_t size)
{
    return std::malloc(at_least_one(size));
}

void* CutlCPLBOSBoundary::MemReallocate(void* block, std::size_t size)
{
    return std::realloc(block, at_least_one(size));
}

void CutlCPLBOSBoundary::MemFree(void* block)
{
    std::free(block);
}
