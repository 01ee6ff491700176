// Runs a program of this project as a user would, and keeps what it says.
#pragma once

#include <map>
#include <string>
#include <vector>

#include <sys/types.h>

struct CliResult {
    bool in_time = false;  // it ended by itself before the deadline
    int exit_code = -1;    // -1: ended by a signal
    std::string out;
    std::string err;

    // What was said on standard error, when it is one sentence on one line; empty when not.
    std::string sentence() const;
};

using Environment = std::map<std::string, std::string>;  // added to the test's own; an empty value removes

class CliProcess {
public:
    // Starts a program; its configuration folder and channel directory are ones that nobody else uses.
    //   in      input: what stands on its standard input
    CliProcess(const std::string& program, const std::vector<std::string>& arguments,
               const std::string& input = "", const Environment& environment = {});
    ~CliProcess();  // kills it when it still runs
    CliProcess(const CliProcess&) = delete;
    CliProcess& operator=(const CliProcess&) = delete;

    void send_signal(int signal);
    // Its resident memory at its highest so far, in KiB; 0 when the system does not say.
    long peak_kib() const;
    // Reads on until standard error holds `text`.
    //   result  false when the process closed it, or the time was over, before
    bool wait_for_error_text(const std::string& text, int timeout_ms);
    // Waits for the end; a process that does not end in time is killed.
    CliResult wait(int timeout_ms);

private:
    bool read_some(int timeout_ms);

    pid_t pid_ = -1;
    int out_ = -1;
    int err_ = -1;
    CliResult result_;
};

// velorin-mail with these arguments, given half a minute.
CliResult run_cli(const std::vector<std::string>& arguments, const std::string& input = "",
                  const Environment& environment = {});

// "send", a plain mail to 127.0.0.1, and further arguments.
std::vector<std::string> send_arguments(unsigned port, const std::vector<std::string>& more = {});
