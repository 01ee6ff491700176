#pragma once

#include <string>

#include "descriptor.h"
#include "failure.h"

namespace velorin::cli {

// Opens a file that is to be read. A folder, which opens too, is refused like any other that cannot be read.
//   in      step: of the failure; flags: of open(2), beside those for reading
//   result  false: `failure` tells why
bool open_input(const std::string& path, const char* step, int flags, Descriptor& file, Failure& failure);

}  // namespace velorin::cli
