#pragma once

#include <cstdint>

#include "velorin_return_codes.h"

namespace velorin::service {

using namespace return_code;

// The name of a code for the log: "ok" for 0, "?" for one that is not in the table.
const char* name_of_code(std::uint32_t code);

}  // namespace velorin::service
