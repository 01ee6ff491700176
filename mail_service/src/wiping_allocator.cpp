#include "wiping_allocator.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include <malloc.h>
#include <string.h>

namespace velorin::service {

void* wiping_malloc(std::size_t size)
{
    return std::malloc(size);
}

void* wiping_calloc(std::size_t count, std::size_t size)
{
    return std::calloc(count, size);
}

// Never in place: what a growing block leaves behind would not be wiped.
void* wiping_realloc(void* block, std::size_t size)
{
    void* const grown = std::malloc(size);
    if (grown == nullptr || block == nullptr) return grown;
    std::memcpy(grown, block, std::min(size, ::malloc_usable_size(block)));
    wiping_free(block);
    return grown;
}

char* wiping_strdup(const char* text)
{
    const std::size_t size = std::strlen(text) + 1;
    char* const copy = static_cast<char*>(std::malloc(size));
    if (copy != nullptr) std::memcpy(copy, text, size);
    return copy;
}

void wiping_free(void* block)
{
    if (block == nullptr) return;
    ::explicit_bzero(block, ::malloc_usable_size(block));
    std::free(block);
}

}  // namespace velorin::service
