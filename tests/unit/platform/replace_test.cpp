// A program that defines a platform function itself is the one that is called, by the platform library too.
#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "CutlCPLBMString.h"
#include "channel_codes.h"
#include "channel_server.h"
#include "platform_support.h"

namespace {
std::vector<std::string> traced;
int strings_copied = 0;
char fixed_text[] = "replaced";
}  // namespace

void emwGENTrcPrintf(std::uint32_t module, std::uint32_t level, std::uint32_t option, const char* format, ...)
{
    char text[512];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    char line[600];
    std::snprintf(line, sizeof line, "%x:%x:%x %s", module, level, option, text);
    traced.push_back(line);
}

void CutlCPLBMString::CopyString(const char*, long)
{
    ++strings_copied;
}

const char* CutlCPLBMString::GetString() const
{
    return fixed_text;
}

long CutlCPLBMString::GetLength() const
{
    return static_cast<long>(std::strlen(fixed_text));
}

namespace {

using namespace platform_support;

TEST(Replace, TraceOfTheChannelGoesToTheProgram)
{
    traced.clear();
    const velorin_channel::LocalEndpoint endpoint("boasting", [](const velorin_channel::Caller&, const char*,
                                                                 std::uint32_t, char*, std::uint32_t capacity,
                                                                 std::uint32_t& length) {
        length = capacity + 1;
        return true;
    });
    EXPECT_EQ(call_once("boasting", "x", 16).code, velorin_channel::kPeerGone);
    EXPECT_EQ(traced,
              std::vector<std::string>{
                  "2106:102:0 channel: endpoint boasting: an answer of 17 octets for a buffer of 16\n"});
}

TEST(Replace, CallerThatIsLetGoIsOneLine)
{
    const ChannelDirectory directory;
    traced.clear();
    {
        const EchoServer server(directory);
        const Descriptor caller = connect_raw(directory / "echo");
        ASSERT_TRUE(send_raw(caller, "this is no request"));
        EXPECT_TRUE(is_let_go(caller));
        const Descriptor silent = connect_raw(directory / "echo");  // leaves without a word: no line
    }
    EXPECT_EQ(traced, std::vector<std::string>{
                          "2106:102:0 channel: endpoint echo: process " + std::to_string(getpid()) +
                          " of user " + std::to_string(geteuid()) + " sent something that is no request\n"});
}

TEST(Replace, OperationsOfTheStringCallEachOtherThroughTheirSymbols)
{
    strings_copied = 0;
    const CutlCPLBMString text("abc");  // the library's constructor, this program's CopyString
    EXPECT_EQ(strings_copied, 1);
    CutlCPLBMString copy(text);
    EXPECT_EQ(strings_copied, 2);
    copy = text;
    EXPECT_EQ(strings_copied, 3);
}

}  // namespace
