#pragma once

#include <cstddef>

namespace velorin::service {

// A heap whose blocks are overwritten before they are given back, for libraries that copy passwords and never
// wipe them. The contracts are those of the C library; null is null.
void* wiping_malloc(std::size_t size);
void* wiping_calloc(std::size_t count, std::size_t size);
void* wiping_realloc(void* block, std::size_t size);
char* wiping_strdup(const char* text);
void wiping_free(void* block);

}  // namespace velorin::service
