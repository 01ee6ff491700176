#include "cancel_signal.h"

#include <cstdint>
#include <stdexcept>

#include <sys/eventfd.h>
#include <unistd.h>

namespace velorin::service {

CancelSignal::CancelSignal() : descriptor_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (descriptor_ < 0) throw std::runtime_error("no descriptor left");
}

CancelSignal::~CancelSignal()
{
    ::close(descriptor_);
}

void CancelSignal::raise() noexcept
{
    raised_.store(true, std::memory_order_release);
    const std::uint64_t one = 1;
    // A full counter is as readable as it needs to be, so the result does not matter.
    if (::write(descriptor_, &one, sizeof one) < 0) return;
}

void CancelSignal::clear() noexcept
{
    std::uint64_t count = 0;
    if (::read(descriptor_, &count, sizeof count) < 0) count = 0;  // nothing to take is fine
    raised_.store(false, std::memory_order_release);
}

}  // namespace velorin::service
