// A program of ours run as a child, its output read, its end awaited, within bounds.
#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

namespace velorin_test {

class ChildProcess {
public:
    // Starts a program; what it writes to standard output and standard error can be read.
    ChildProcess(const std::vector<std::string>& command, const std::vector<std::string>& environment);
    ~ChildProcess();  // ended by force when it still runs
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t pid() const { return pid_; }
    // Reads on until the output holds a text; false: it ended, or the time was over.
    bool wait_for_output(const std::string& text, int timeout_ms);
    void signal(int number) const;
    //   result  exit status; 128 and the signal that ended it; -1 when it still runs after that time
    int wait_for_end(int timeout_ms);
    // The same without reading what it writes.
    int wait_for_end_unread(int timeout_ms);
    const std::string& output() const { return output_; }

private:
    bool read_some(int timeout_ms);

    pid_t pid_ = -1;
    int descriptor_ = -1;
    std::string output_;
};

// A folder of its own, gone with all that is in it.
class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

}  // namespace velorin_test
