// Passwords are overwritten where they stood.
#include <cstring>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "secret.h"
#include "wiping_allocator.h"

namespace velorin::service {
namespace {

TEST(Secret, KeepsItsOctetsUntilItGoes)
{
    Secret secret(std::string("pass\0word", 9));
    EXPECT_EQ(9u, secret.length());
    EXPECT_EQ(0, std::memcmp("pass\0word", secret.c_str(), 10));
    Secret moved(std::move(secret));
    EXPECT_EQ(9u, moved.length());
    EXPECT_EQ(0u, secret.length());
    EXPECT_STREQ("", secret.c_str());
    moved = Secret(std::string("other"));
    EXPECT_STREQ("other", moved.c_str());
    EXPECT_STREQ("", Secret().c_str());
}

TEST(WipingAllocator, MovesAndCopiesAsTheHeapDoes)
{
    char* text = wiping_strdup("password");
    ASSERT_NE(nullptr, text);
    EXPECT_STREQ("password", text);
    text = static_cast<char*>(wiping_realloc(text, 100000));
    ASSERT_NE(nullptr, text);
    EXPECT_STREQ("password", text);
    text = static_cast<char*>(wiping_realloc(text, 4));
    ASSERT_NE(nullptr, text);
    EXPECT_EQ(0, std::memcmp("pass", text, 4));
    wiping_free(text);
    wiping_free(nullptr);
    char* const zeros = static_cast<char*>(wiping_calloc(3, 7));
    ASSERT_NE(nullptr, zeros);
    EXPECT_EQ(std::string(21, '\0'), std::string(zeros, 21));
    wiping_free(zeros);
    void* const fresh = wiping_realloc(nullptr, 10);
    EXPECT_NE(nullptr, fresh);
    wiping_free(fresh);
}

}  // namespace
}  // namespace velorin::service
