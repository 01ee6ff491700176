// Takes over what an operation of the utilities hands to its caller.
#pragma once

#include <string>

#include <gtest/gtest.h>

#include "mlutl_support.h"
#include "platform_double.h"

namespace velorin_test {

struct HandedOver {
    int code;
    std::string text;
};

// The block is freed. The test fails unless there is none on failure, and on success one of the exact size, with a
// NUL behind its octets.
//   in      code: the operation's result; 0: failure
inline HandedOver handed_over(int code, void* block, long length)
{
    const Taken taken(block);
    if (code == 0) {
        EXPECT_EQ(nullptr, block);
        EXPECT_EQ(0, length);
        return {0, ""};
    }
    if (taken.is_null() || length < 0) {
        ADD_FAILURE() << "success without a result";
        return {code, "(nothing)"};
    }
    EXPECT_EQ(length + 1, PlatformDouble::block_size(block));
    EXPECT_EQ('\0', taken.text()[length]);
    return {code, taken.octets(length)};
}

}  // namespace velorin_test
