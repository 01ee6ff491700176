// The heap of test programs: every block is known, and has guard octets behind it where no sanitizer watches.
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>

#include <gtest/gtest.h>

#include "platform_double_state.h"

namespace velorin_test {

namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr std::size_t kGuard = 0;  // a block of exactly the size lets the sanitizer see the octet behind it
#else
constexpr std::size_t kGuard = 16;  // octets
#endif
constexpr std::size_t kLargest = std::size_t{1} << 30;  // octets; more than that no test has
constexpr int kGuardOctet = 0x5C;
constexpr int kFreshOctet = 0xA5;  // what was never written is no NUL
constexpr int kFreedOctet = 0xDD;

struct Block {
    std::size_t size;
    unsigned long number;
};

struct Heap {
    std::mutex lock;
    std::map<const void*, Block> blocks;
    unsigned long next_number = 1;
};

// Never destroyed: static objects of the program may free blocks after main.
Heap& heap()
{
    static Heap* const only = new Heap;
    return *only;
}

std::size_t real_size(std::size_t size)
{
    return size + kGuard > 0 ? size + kGuard : 1;
}

bool guard_is_whole(const void* block, std::size_t size)
{
    const unsigned char* const guard = static_cast<const unsigned char*>(block) + size;
    for (std::size_t index = 0; index < kGuard; ++index) {
        if (guard[index] != kGuardOctet) return false;
    }
    return true;
}

}  // namespace

void* heap_allocate(std::size_t size)
{
    if (size > kLargest) return nullptr;
    void* const block = std::malloc(real_size(size));
    if (block == nullptr) return nullptr;
    std::memset(block, kFreshOctet, size);
    std::memset(static_cast<char*>(block) + size, kGuardOctet, kGuard);
    const std::lock_guard<std::mutex> guard(heap().lock);
    heap().blocks[block] = Block{size, heap().next_number++};
    return block;
}

// Always moves, so that a pointer into the old block is found out.
void* heap_reallocate(void* block, std::size_t size)
{
    if (block == nullptr) return heap_allocate(size);
    std::size_t old_size = 0;
    {
        const std::lock_guard<std::mutex> guard(heap().lock);
        const auto found = heap().blocks.find(block);
        if (found == heap().blocks.end()) {
            ADD_FAILURE() << "MemReallocate of a block that is not live";
            return nullptr;
        }
        old_size = found->second.size;
    }
    void* const grown = heap_allocate(size);
    if (grown == nullptr) return nullptr;
    std::memcpy(grown, block, old_size < size ? old_size : size);
    heap_free(block);
    return grown;
}

void heap_free(void* block)
{
    if (block == nullptr) return;
    {
        const std::lock_guard<std::mutex> guard(heap().lock);
        const auto found = heap().blocks.find(block);
        if (found == heap().blocks.end()) {
            ADD_FAILURE() << "MemFree of a block that is not live";
            return;
        }
        const std::size_t size = found->second.size;
        if (!guard_is_whole(block, size)) {
            ADD_FAILURE() << "something wrote behind a block of " << size << " octets";
        }
        std::memset(block, kFreedOctet, size);
        heap().blocks.erase(found);
    }
    std::free(block);
}

unsigned long heap_mark()
{
    const std::lock_guard<std::mutex> guard(heap().lock);
    return heap().next_number;
}

std::vector<std::size_t> heap_sizes_since(unsigned long mark)
{
    std::map<unsigned long, std::size_t> by_number;
    const std::lock_guard<std::mutex> guard(heap().lock);
    for (const auto& entry : heap().blocks) {
        if (entry.second.number >= mark) by_number[entry.second.number] = entry.second.size;
    }
    std::vector<std::size_t> sizes;
    for (const auto& entry : by_number)
        sizes.push_back(entry.second);
    return sizes;
}

long PlatformDouble::block_size(const void* block)
{
    const std::lock_guard<std::mutex> guard(heap().lock);
    const auto found = heap().blocks.find(block);
    return found == heap().blocks.end() ? -1 : static_cast<long>(found->second.size);
}

}  // namespace velorin_test
