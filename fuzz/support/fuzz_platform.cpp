#include "fuzz_platform.h"

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unordered_map>

#include <dlfcn.h>

#include "CutlCPLBOSBoundary.h"
#include "emwGEN.h"
#include "emwOSW.h"
#include "fuzz_property.h"
#include "utl_lib_convert.h"

namespace {

using velorin_fuzz::require;

constexpr std::uint32_t kModule = 0x2107;
constexpr std::uint32_t kLevel = 0x102;
constexpr std::uint32_t kNoMemory = 0xBAD;
constexpr std::size_t kLargest = std::size_t{1} << 30;  // octets; more than that no input has
constexpr int kFreshOctet = 0xA5;                       // what was never written is no NUL

struct State {
    std::unordered_map<const void*, std::size_t> blocks;  // sizes of those of the heap
    std::size_t lines = 0;
    unsigned failing = 0;  // allocations until the one that fails; 0: none
    bool has_failed = false;
};

// Never destroyed: static objects of the program may free blocks after main.
State& state()
{
    static State* const only = new State;
    return *only;
}

bool allocation_fails()
{
    if (state().failing == 0 || --state().failing > 0) return false;
    state().has_failed = true;
    return true;
}

void* allocate(std::size_t size)
{
    void* const block = size <= kLargest ? std::malloc(size > 0 ? size : 1) : nullptr;
    if (block == nullptr) return nullptr;
    std::memset(block, kFreshOctet, size);
    state().blocks[block] = size;
    return block;
}

void forget(void* block)
{
    require(state().blocks.erase(block) == 1, "only a live block is freed");
    std::free(block);
}

// The function that this program's own hides.
template <typename Function>
Function* next(const char* name)
{
    void* const found = dlsym(RTLD_NEXT, name);
    require(found != nullptr, "the platform has every function");
    return reinterpret_cast<Function*>(found);
}

}  // namespace

namespace velorin_fuzz {

Platform::Platform(unsigned failing)
{
    require(state().blocks.empty(), "no block is left from before");
    state().lines = 0;
    state().failing = failing;
    state().has_failed = false;
}

Platform::~Platform()
{
    require(state().blocks.empty(), "every block is freed");
    state().failing = 0;
}

bool Platform::has_failed() const
{
    return state().has_failed;
}

std::size_t Platform::lines() const
{
    return state().lines;
}

std::size_t Platform::blocks() const
{
    return state().blocks.size();
}

long block_size(const void* block)
{
    const auto found = state().blocks.find(block);
    return found == state().blocks.end() ? -1 : static_cast<long>(found->second);
}

char* stale()
{
    static char nowhere;
    return &nowhere;
}

Block::Block(void* block, long length) : block_(block)
{
    if (block == nullptr) {
        require(length == 0, "without a block there is no length");
        return;
    }
    require(length >= 0 && length < block_size(block), "a length has room in its block, and a NUL behind it");
    require(data()[length] == '\0', "a NUL stands behind the octets");
}

Block::~Block()
{
    CutlCPLBOSBoundary::MemFree(block_);
}

}  // namespace velorin_fuzz

void* CutlCPLBOSBoundary::MemAllocate(std::size_t size)
{
    return allocation_fails() ? nullptr : allocate(size);
}

// Always moves, so that a pointer into the old block is found out.
void* CutlCPLBOSBoundary::MemReallocate(void* block, std::size_t size)
{
    if (allocation_fails()) return nullptr;
    void* const grown = allocate(size);
    if (grown == nullptr || block == nullptr) return grown;
    const long old_size = velorin_fuzz::block_size(block);
    require(old_size >= 0, "only a live block is resized");
    const std::size_t kept = static_cast<std::size_t>(old_size);
    std::memcpy(grown, block, kept < size ? kept : size);
    forget(block);
    return grown;
}

void CutlCPLBOSBoundary::MemFree(void* block)
{
    if (block != nullptr) forget(block);
}

extern "C" {

std::uint32_t emwOSWSubAllocMem(void** block, std::uint32_t size)
{
    static auto* const real = next<decltype(emwOSWSubAllocMem)>("emwOSWSubAllocMem");
    *block = nullptr;
    return allocation_fails() ? kNoMemory : real(block, size);
}

std::uint32_t utl_lib_convert_encode(UTL_LIB_CHGC_ENCODE_TYPE from, UTL_LIB_CHGC_ENCODE_TYPE to,
                                     UTL_LIB_CHGC_REQUEST* request)
{
    static auto* const real = next<decltype(utl_lib_convert_encode)>("utl_lib_convert_encode");
    return allocation_fails() ? kNoMemory : real(from, to, request);
}

// A line that cannot be formatted, or is no line, is a finding.
void emwGENTrcPrintf(std::uint32_t module, std::uint32_t level, std::uint32_t option, const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    std::va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    va_end(arguments);
    require(length > 0, "a trace line can be formatted");
    std::string line(static_cast<std::size_t>(length), '\0');
    std::vsnprintf(&line[0], line.size() + 1, format, again);
    va_end(again);
    require(module == kModule && level == kLevel && option == 0, "a trace line has its module and level");
    require(line.back() == '\n', "a trace line ends in a line end");
    ++state().lines;
}

}  // extern "C"
