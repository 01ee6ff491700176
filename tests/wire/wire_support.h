// What the wire tests share: a message, its octets, and both ways between them.
#pragma once

#include <string>

#include <gtest/gtest.h>

#include "platform_double.h"
#include "wire_octets.h"

namespace velorin_test {

// The message is written as these octets; what is read from them is written as them again.
template <typename Message>
void expect_octets(const Message& message, const std::string& octets)
{
    EXPECT_EQ(hex_of(message.SerializeAsString()), hex_of(octets));
    Message read;
    ASSERT_TRUE(read.ParseFromString(octets)) << hex_of(octets);
    EXPECT_EQ(hex_of(read.SerializeAsString()), hex_of(octets));
    EXPECT_TRUE(read.IsInitialized());
    EXPECT_EQ(read.ByteSizeLong(), octets.size());
}

// Reads a message; the test fails when the octets are none.
template <typename Message>
Message read_octets(const std::string& octets)
{
    Message message;
    EXPECT_TRUE(message.ParseFromString(octets)) << hex_of(octets);
    return message;
}

}  // namespace velorin_test
