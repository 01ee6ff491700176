#pragma once

#include <cstdio>

#include "medians.h"

namespace velorin_bench {

// Registers what a text of 1 KiB costs, and one of ten, a hundred and a thousand times that length.
void register_lengths();

// A row for each operation: the step to ten times the length that took the most.
void print_lengths(std::FILE* out, const MedianReporter& reporter);

}  // namespace velorin_bench
