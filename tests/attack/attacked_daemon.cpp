#include "attacked_daemon.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <utility>
#include <vector>

#include <poll.h>

#include <gtest/gtest.h>

namespace velorin_test {
namespace {

constexpr int kPause = 5;  // milliseconds between two looks at what tells nobody when it changes

// The value of a line "NAME:  value" of /proc/PID/status.
std::string status_of(pid_t process, const std::string& name)
{
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.compare(0, name.size() + 1, name + ":") != 0) continue;
        const std::size_t value = line.find_first_not_of(" \t", name.size() + 1);
        return value == std::string::npos ? "" : line.substr(value);
    }
    return "";
}

template <typename Condition>
bool wait_until(int timeout_ms, Condition condition)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= end) return false;
        ::poll(nullptr, 0, kPause);
    }
    return true;
}

}  // namespace

Holdings holdings_of(pid_t process)
{
    const std::filesystem::path folder = "/proc/" + std::to_string(process) + "/fd";
    std::error_code failure;
    const std::filesystem::directory_iterator entries(folder, failure);
    EXPECT_FALSE(failure) << folder;
    Holdings out;
    out.descriptors = static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
    out.threads = std::strtoul(status_of(process, "Threads").c_str(), nullptr, 10);
    out.memory = std::strtoul(status_of(process, "VmRSS").c_str(), nullptr, 10);
    return out;
}

AttackedDaemon::AttackedDaemon(std::vector<std::string> environment) : environment_(std::move(environment)) {}

void AttackedDaemon::start()
{
    const std::string config = folder_.path() + "/maild.conf";
    std::ofstream(config) << "max_sessions_per_user = 64\n";
    std::vector<std::string> environment = {"VELORIN_CHANNEL_DIR=" + folder_.path(), "VELORIN_TRACE=stderr"};
    environment.insert(environment.end(), environment_.begin(), environment_.end());
    process_ = std::make_unique<ChildProcess>(std::vector<std::string>{VELORIN_MAILD, "--config", config},
                                              environment);
    ASSERT_TRUE(process_->wait_for_output("ready", kPatience)) << process_->output();
}

void AttackedDaemon::stop() const
{
    process_->signal(SIGSTOP);
    EXPECT_TRUE(wait_until(kPatience, [this] { return status_of(pid(), "State").compare(0, 1, "T") == 0; }));
}

void AttackedDaemon::kill()
{
    process_->signal(SIGKILL);
    EXPECT_EQ(128 + SIGKILL, process_->wait_for_end_unread(kPatience));
}

bool AttackedDaemon::wait_for_no_more_than(const Holdings& limit, int timeout_ms) const
{
    return wait_until(timeout_ms, [&] {
        const Holdings now = holdings();
        return now.descriptors <= limit.descriptors && now.threads <= limit.threads &&
               now.memory <= limit.memory;
    });
}

}  // namespace velorin_test
