// Who may call a server.
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <string>
#include <vector>

#include "channel_codes.h"
#include "platform_support.h"

namespace {

using namespace platform_support;
using velorin_channel::Caller;
using velorin_channel::ServerOptions;

constexpr uid_t kStranger = 54321;
constexpr gid_t kStrangersGroup = 54321;

struct Identity {
    uid_t uid;
    gid_t gid;
    std::vector<gid_t> further;
};

// The code of an exchange by somebody else, offset so that it fits an exit status. Only root can become
// somebody else.
int call_as(const Identity& identity)
{
    return run_in_child([&identity] {
        if (setgroups(identity.further.size(), identity.further.data()) != 0 || setgid(identity.gid) != 0 ||
            setuid(identity.uid) != 0) {
            return 99;
        }
        const std::uint32_t code = call_once("echo", "x").code;
        return code == 0 ? 0 : static_cast<int>(code & 0xFFu);
    });
}

// Opens what the modes would keep shut, so that the server's own check is what decides.
void open_to_everybody(const TempDirectory& directory)
{
    ASSERT_EQ(chmod(directory.path().c_str(), 0755), 0);
    ASSERT_EQ(chmod((directory / "echo").c_str(), 0666), 0);
}

TEST(ChannelAccess, OwnUserMayCall)
{
    const ChannelDirectory directory;
    std::atomic<std::uint32_t> uid{0xFFFFFFFFu};
    const EchoServer server(directory, {},
                            [&uid](const Caller& caller, const char*, std::uint32_t, char*, std::uint32_t,
                                   std::uint32_t& length) {
                                uid = caller.uid;
                                length = 0;
                                return true;
                            });
    EXPECT_EQ(call_once("echo", "x").code, 0u);
    EXPECT_EQ(uid, geteuid());
}

TEST(ChannelAccess, StrangerIsLetGoBeforeTheHandler)
{
    const ChannelDirectory directory;
    std::atomic<int> served{0};
    const EchoServer server(
        directory, {},
        [&served](const Caller&, const char*, std::uint32_t, char*, std::uint32_t, std::uint32_t& length) {
            ++served;
            length = 0;
            return true;
        });
    // Without root nobody else is at hand; the own user's call is what is left to see then.
    if (geteuid() == 0) {
        EXPECT_EQ(call_as({kStranger, kStrangersGroup, {}}),
                  static_cast<int>(velorin_channel::kNoPermission & 0xFFu));
        open_to_everybody(directory);
        EXPECT_EQ(call_as({kStranger, kStrangersGroup, {}}),
                  static_cast<int>(velorin_channel::kPeerGone & 0xFFu));
        EXPECT_EQ(served, 0);
    }
    EXPECT_EQ(call_once("echo", "x").code, 0u);
    EXPECT_EQ(served, 1);
}

TEST(ChannelAccess, MembersOfTheGroupMayCall)
{
    const ChannelDirectory directory;
    ServerOptions options;
    const struct group* const group = getgrgid(geteuid() == 0 ? 65534 : getegid());
    ASSERT_NE(group, nullptr);
    const gid_t gid = group->gr_gid;
    options.group = group->gr_name;
    const EchoServer server(directory, options);
    if (geteuid() == 0) {
        open_to_everybody(directory);
        EXPECT_EQ(call_as({kStranger, gid, {}}), 0);
        EXPECT_EQ(call_as({kStranger, kStrangersGroup, {gid}}), 0);
        std::vector<gid_t> many;
        for (gid_t further = 100; further < 300; ++further)
            many.push_back(further);
        EXPECT_EQ(call_as({kStranger, kStrangersGroup, many}),
                  static_cast<int>(velorin_channel::kPeerGone & 0xFFu));
        many.push_back(gid);
        EXPECT_EQ(call_as({kStranger, kStrangersGroup, many}), 0);
        EXPECT_EQ(call_as({kStranger, kStrangersGroup, {}}),
                  static_cast<int>(velorin_channel::kPeerGone & 0xFFu));
    }
    EXPECT_EQ(call_once("echo", "x").code, 0u);
}

}  // namespace
