// velorin-maild as a process with a channel folder of its own, which this process's channel uses too.
#pragma once

#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "child_process.h"

namespace velorin_test {

constexpr int kUntilReady = 30000;  // milliseconds in which the daemon has come up

class DaemonFixture : public testing::Test {
protected:
    DaemonFixture() { ::setenv("VELORIN_CHANNEL_DIR", folder.path().c_str(), 1); }

    std::vector<std::string> environment() const
    {
        return {"VELORIN_CHANNEL_DIR=" + folder.path(), "VELORIN_TRACE=stderr"};
    }

    std::string write_config(const std::string& text) const
    {
        const std::string path = folder.path() + "/maild.conf";
        std::ofstream(path) << text;
        return path;
    }

    // Starts the daemon; it is ready then.
    //   in      variables: NAME=VALUE, which it has besides this process's own
    std::unique_ptr<ChildProcess> start(const std::string& config = "command_timeout = 5\n",
                                        const std::vector<std::string>& variables = {}) const
    {
        std::vector<std::string> all = environment();
        all.insert(all.end(), variables.begin(), variables.end());
        auto daemon = std::make_unique<ChildProcess>(
            std::vector<std::string>{VELORIN_MAILD, "--config", write_config(config)}, all);
        EXPECT_TRUE(daemon->wait_for_output("ready", kUntilReady)) << daemon->output();
        return daemon;
    }

    TemporaryFolder folder;
};

}  // namespace velorin_test
