#include "channel_budget.h"

#include <sys/resource.h>

#include <algorithm>

namespace velorin_channel {
namespace {

constexpr rlim_t kMostWaiting = 1024;
constexpr rlim_t kMostIncoming = 128;
constexpr rlim_t kMostArriving = 64;

}  // namespace

CallerBudget caller_budget()
{
    rlimit descriptors{};
    if (getrlimit(RLIMIT_NOFILE, &descriptors) != 0) descriptors.rlim_cur = 0;
    const auto share = [&](rlim_t part, rlim_t most) {
        return std::clamp<rlim_t>(descriptors.rlim_cur / part, 1, most);
    };
    CallerBudget budget;
    budget.waiting = static_cast<std::size_t>(share(4, kMostWaiting));
    budget.incoming = static_cast<std::size_t>(share(16, kMostIncoming));
    budget.arriving = static_cast<unsigned>(share(16, kMostArriving));
    return budget;
}

}  // namespace velorin_channel
