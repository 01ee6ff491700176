#include "session.h"

namespace velorin::service {

Session::Turn::Turn(Session& session) : session_(session), lock_(session.mutex_, std::try_to_lock)
{
    if (!taken()) return;
    session_.busy_.store(true, std::memory_order_release);
    settle();
}

Session::Turn::~Turn()
{
    if (!taken()) return;
    session_.set_awaits_verdict(false);
    settle();
    session_.last_used_.store(Clock::now().time_since_epoch().count(), std::memory_order_release);
    session_.busy_.store(false, std::memory_order_release);
}

void Session::Turn::settle()
{
    if (!session_.cancel_.raised()) return;
    session_.drop();
    if (!session_.ended()) session_.cancel_.clear();
}

void Session::abort()
{
    cancel_.raise();
    const Turn turn(*this);  // nobody at work: what there is goes now
}

void Session::end()
{
    ended_.store(true, std::memory_order_release);
    abort();
}

Clock::time_point Session::last_used() const
{
    return Clock::time_point(Clock::duration(last_used_.load(std::memory_order_acquire)));
}

}  // namespace velorin::service
