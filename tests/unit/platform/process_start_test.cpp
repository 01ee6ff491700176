// When a process started, as the system tells it.
#include <cstdint>
#include <string>

#include <unistd.h>

#include <gtest/gtest.h>

#include "platform_support.h"
#include "process_start.h"

namespace {

using platform_support::run_in_child;
using velorin_channel::read_start_time;
using velorin_channel::start_time_in;

// A stat line whose first fields are the process id and the given ones, the start time at its place.
std::string stat_line(const std::string& name, const std::string& start_time)
{
    std::string line = "4711 (" + name + ") S";
    for (int number = 4; number < 22; ++number)
        line += " " + std::to_string(number == 8 ? -1 : number);
    return line + " " + start_time + " 23 24 18446744073709551615 26\n";
}

TEST(ProcessStart, IsReadWhole)
{
    const struct {
        const char* label;
        const char* text;
        std::uint64_t ticks;
    } cases[] = {
        {"at boot", "7", 7},
        {"the last of 31 bits", "2147483647", 0x7FFFFFFF},
        {"the first of 32 bits", "2147483648", 0x80000000},
        {"the last of 32 bits", "4294967295", 0xFFFFFFFF},
        {"the first beyond them", "4294967296", 0x100000000},
        {"like the first case but for 32 bits", "4294967303", 0x100000007},
        {"the last of all", "18446744073709551615", 0xFFFFFFFFFFFFFFFF},
    };
    for (const auto& one : cases)
        EXPECT_EQ(one.ticks, start_time_in(stat_line("maild", one.text).c_str())) << one.label;
}

TEST(ProcessStart, IsFoundBehindAnyName)
{
    for (const char* const name : {"", "two words", "a) S 1 2 3", "((", ") ) )", "\n"})
        EXPECT_EQ(0x100000007u, start_time_in(stat_line(name, "4294967303").c_str())) << name;
}

TEST(ProcessStart, ThatIsNotThereIsNone)
{
    const std::string line = stat_line("maild", "4294967303");
    const std::size_t field = line.find("4294967303");
    for (std::size_t length = 0; length <= field; ++length)
        EXPECT_EQ(0u, start_time_in(line.substr(0, length).c_str())) << length;
    EXPECT_EQ(0u, start_time_in("no line of that kind"));
}

TEST(ProcessStart, IsThatOfTheProcess)
{
    const std::uint64_t own = read_start_time(getpid());
    EXPECT_NE(0u, own);
    EXPECT_EQ(own, read_start_time(getpid()));
    EXPECT_EQ(0, run_in_child([own] { return read_start_time(getpid()) >= own ? 0 : 1; }));
    EXPECT_EQ(0u, read_start_time(-1));
}

}  // namespace
