// A velorin-maild as a process, in a channel directory of its own.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include <sys/types.h>

#include "child_process.h"

namespace velorin_test {

constexpr int kPatience = 30000;  // milliseconds for what has to happen, on a machine that is busy

// What a process has of the things that could grow.
struct Holdings {
    std::size_t descriptors = 0;
    std::size_t threads = 0;
    std::size_t memory = 0;  // resident, KiB
};
Holdings holdings_of(pid_t process);

class AttackedDaemon {
public:
    //   in      environment: further settings, such as "NAME=value"
    explicit AttackedDaemon(std::vector<std::string> environment = {});
    AttackedDaemon(const AttackedDaemon&) = delete;
    AttackedDaemon& operator=(const AttackedDaemon&) = delete;

    const std::string& directory() const { return folder_.path(); }
    // Starts it, or another one where it has been killed. A test failure when it does not come up.
    void start();
    pid_t pid() const { return process_->pid(); }
    ChildProcess& process() { return *process_; }
    void stop() const;  // SIGSTOP, and waits until it stands still
    // SIGKILL, and waits until it has gone: its connections are closed then.
    void kill();
    Holdings holdings() const { return holdings_of(pid()); }
    // Waits until it has no more of anything.
    bool wait_for_no_more_than(const Holdings& limit, int timeout_ms) const;

private:
    const std::vector<std::string> environment_;
    TemporaryFolder folder_;
    std::unique_ptr<ChildProcess> process_;
};

}  // namespace velorin_test
