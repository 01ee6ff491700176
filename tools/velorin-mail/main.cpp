#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>
#include <string>
#include <vector>

#include <fcntl.h>
#include <malloc.h>
#include <sys/resource.h>
#include <unistd.h>

#include "standard_descriptors.h"

#include "commands.h"
#include "interrupt.h"
#include "report.h"

namespace {

using namespace velorin::cli;

// The library traces every failure; whoever reads a sentence about it need not read that too.
void choose_trace(bool verbose)
{
    if (!verbose) ::setenv("VELORIN_TRACE", "none", 0);
}

// The platform traces a recording that it cannot write; a person who asked for one reads it here.
void check_recording()
{
    const char* const path = std::getenv("VELORIN_CAPTURE");
    if (path == nullptr || *path == '\0') return;
    const int file = ::open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOCTTY, 0600);
    if (file >= 0) {
        ::close(file);
        return;
    }
    std::fprintf(stderr, "velorin-mail: note: nothing is recorded, %s: %s\n", path, std::strerror(errno));
}

// A password may be in memory: no core file shall hold it.
void forbid_core_files()
{
    const struct rlimit none = {0, 0};
    ::setrlimit(RLIMIT_CORE, &none);
}

// Every piece of a mail passes through some blocks of a few hundred KiB, always of the same sizes. Kept by
// the heap, they cost nothing; given back to the system and taken again each time, they cost more than
// encoding and sending.
void keep_blocks()
{
    ::mallopt(M_MMAP_THRESHOLD, 32 * 1024 * 1024);
    ::mallopt(M_TRIM_THRESHOLD, 32 * 1024 * 1024);
}

int run(const std::vector<std::string>& arguments)
{
    Options options;
    Failure failure;
    if (!parse_options(arguments, options, failure)) return report(Outcome(), &failure, false);
    choose_trace(options.verbose);
    if (options.command != Command::kTrace && options.command != Command::kHelp) check_recording();
    switch (options.command) {
    case Command::kSend:
        return run_send(options);
    case Command::kCheck:
        return run_check(options);
    case Command::kList:
        return run_list(options);
    case Command::kFetch:
        return run_fetch(options);
    case Command::kDelete:
        return run_delete(options);
    case Command::kTrace:
        return run_trace(options);
    case Command::kEncode:
        return run_encode(options);
    case Command::kDecode:
        return run_decode(options);
    case Command::kFilter:
        return run_filter(options);
    case Command::kHelp:
        if (std::fputs(options.help.c_str(), stdout) >= 0 && std::fflush(stdout) == 0) return kExitOk;
        fail(failure, kExitIo, "", "standard output cannot be written");
        return report(Outcome(), &failure, false);
    }
    return kExitSoftware;
}

}  // namespace

int main(int argc, char** argv)
{
    velorin_channel::occupy_standard_descriptors();
    install_signal_handlers();
    forbid_core_files();
    keep_blocks();
    try {
        return run(std::vector<std::string>(argv + (argc > 0 ? 1 : 0), argv + argc));
    } catch (const std::bad_alloc&) {
        std::fputs("velorin-mail: memory ran out\n", stderr);
        return kExitSystem;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "velorin-mail: unexpected failure: %s\n", failure.what());
        return kExitSoftware;
    }
}
