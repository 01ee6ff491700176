// What a target finds wrong ends the program, so that the input that showed it is kept.
#pragma once

namespace velorin_fuzz {

// Ends the program with the property that does not hold.
[[noreturn]] void violated(const char* property);

inline void require(bool holds, const char* property)
{
    if (!holds) violated(property);
}

}  // namespace velorin_fuzz
