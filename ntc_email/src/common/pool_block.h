#pragma once

#include <cstdint>

#include "emwOSW.h"

namespace velorin {

// A block of the default memory pool, or of its sub-pool.
class PoolBlock {
public:
    PoolBlock() = default;
    PoolBlock(const PoolBlock&) = delete;
    PoolBlock& operator=(const PoolBlock&) = delete;
    ~PoolBlock()
    {
        if (block_ != nullptr) emwOSWOrgFreeMemPart(kDefaultPool, block_);
    }

    std::uint32_t allocate(std::uint32_t size) { return emwOSWOrgAllocMemPart(kDefaultPool, &block_, size); }
    std::uint32_t allocate_from_sub_pool(std::uint32_t size) { return emwOSWSubAllocMem(&block_, size); }
    void release() { block_ = nullptr; }  // the block stays allocated
    char* octets() const { return static_cast<char*>(block_); }

private:
    static constexpr std::uint32_t kDefaultPool = 0;
    void* block_ = nullptr;
};

}  // namespace velorin
