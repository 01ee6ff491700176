#pragma once

#include "options.h"

namespace velorin::cli {

// Each: does what the options say, tells about it, and returns the process's exit code.
int run_send(const Options& options);
int run_check(const Options& options);
int run_list(const Options& options);
int run_fetch(const Options& options);
int run_delete(const Options& options);
int run_trace(const Options& options);
int run_encode(const Options& options);
int run_decode(const Options& options);
int run_filter(const Options& options);

}  // namespace velorin::cli
