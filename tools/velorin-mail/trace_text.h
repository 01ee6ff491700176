#pragma once

#include <cstdio>
#include <string>

namespace velorin::cli {

// Prints what a capture file holds, record by record, up to its end or to what cannot be read: a line each as
// JSON, else a line and one for each field. Whatever the file holds, no control character is printed.
//   in      capture: open for reading, at its beginning
//   out     error: empty at the end of the file, else a sentence
void print_capture(std::FILE* capture, bool json, std::FILE* out, std::string& error);

}  // namespace velorin::cli
