#include "fuzz_property.h"

#include <cstdio>
#include <cstdlib>

namespace velorin_fuzz {

void violated(const char* property)
{
    std::fprintf(stderr, "does not hold: %s\n", property);
    std::abort();
}

}  // namespace velorin_fuzz
