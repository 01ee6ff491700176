#include <cstdio>
#include <memory>

#include "commands.h"
#include "input_file.h"
#include "report.h"
#include "trace_text.h"

namespace velorin::cli {

namespace {

constexpr const char* kStep = "trace";

struct FileCloser {
    // Files that are only read from: nothing is lost when that fails.
    void operator()(std::FILE* file) const { static_cast<void>(std::fclose(file)); }
};

bool trace(const Options& options, Failure& failure)
{
    Descriptor input;
    if (!open_input(options.trace_file, kStep, 0, input, failure)) return false;
    const std::unique_ptr<std::FILE, FileCloser> file(::fdopen(input.get(), "rb"));
    if (file == nullptr) return fail(failure, kExitSystem, kStep, "memory ran out");
    input.release();
    std::string error;
    print_capture(file.get(), options.json, stdout, error);
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
        return fail(failure, kExitIo, kStep, "standard output cannot be written");
    if (error.empty()) return true;
    fail(failure, kExitData, kStep, error);
    failure.where = options.trace_file;
    return false;
}

}  // namespace

int run_trace(const Options& options)
{
    Failure failure;
    const bool good = trace(options, failure);
    return report(Outcome(), good ? nullptr : &failure, false);
}

}  // namespace velorin::cli
