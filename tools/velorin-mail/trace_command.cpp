#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "commands.h"
#include "report.h"
#include "trace_text.h"

namespace velorin::cli {

namespace {

constexpr const char* kStep = "trace";

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

bool trace(const Options& options, Failure& failure)
{
    const std::unique_ptr<std::FILE, FileCloser> file(std::fopen(options.trace_file.c_str(), "rbe"));
    if (file == nullptr) {
        fail(failure, kExitNoInput, kStep, std::string("the file cannot be read: ") + std::strerror(errno));
        failure.where = options.trace_file;
        return false;
    }
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
