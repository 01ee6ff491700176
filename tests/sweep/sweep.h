// One scenario under every fault.
#pragma once

#include <cstddef>

#include "scenario.h"

namespace velorin_test::sweep {

struct Counts {
    std::size_t platform = 0;  // one call failed
    std::size_t from = 0;      // it and all later ones
    std::size_t answers = 0;   // malformed
    std::size_t memory = 0;    // operator new
    std::size_t thrown = 0;    // by the platform's heap

    std::size_t all() const { return platform + from + answers + memory + thrown; }
};

// Fails the test where something does not hold.
//   result  the faults that were injected
Counts sweep(const Scenario& scenario);

}  // namespace velorin_test::sweep
