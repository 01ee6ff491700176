#pragma once

#include <cstddef>

namespace velorin_channel {

// How many connections of callers who are not being served a server holds open: together about half of the descriptors
// that its process may have, so that whatever they do, the calls that are served find descriptors for their own work.
struct CallerBudget {
    std::size_t waiting = 0;   // callers that are slow
    std::size_t incoming = 0;  // those whom the thread of slow callers has not seen yet
    unsigned arriving = 0;     // threads of one endpoint with a caller whose request is not there yet
};

// The budget under the limit that the process has now (RLIMIT_NOFILE).
CallerBudget caller_budget();

}  // namespace velorin_channel
