// Blocks of the platform heap in the scenarios of the mail utilities.
#pragma once

#include <cstring>
#include <string>

#include "CutlCPLBOSBoundary.h"

namespace velorin_test::sweep {

// A block that the library handed over or is to grow, with its length.
template <typename Octet = char>
struct OwnedBlock {
    OwnedBlock() = default;
    OwnedBlock(const OwnedBlock&) = delete;
    OwnedBlock& operator=(const OwnedBlock&) = delete;
    ~OwnedBlock() { CutlCPLBOSBoundary::MemFree(data); }

    // Octets of its own; made while nothing fails.
    void fill(const char* text)
    {
        length = static_cast<long>(std::strlen(text));
        data = static_cast<Octet*>(CutlCPLBOSBoundary::MemAllocate(std::strlen(text)));
        std::memcpy(data, text, std::strlen(text));
    }

    Octet* data = nullptr;
    long length = -1;
};

}  // namespace velorin_test::sweep
