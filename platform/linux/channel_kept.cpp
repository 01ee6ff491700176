#include "channel_kept.h"

#include <errno.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace velorin_channel {
namespace {

// Half of what a server waits for the next request, so that the two hardly ever miss each other.
constexpr std::chrono::milliseconds kClosely(10);

// A server that has gone, or says something that nobody asked for, shows before the connection is used.
bool is_silent(int descriptor)
{
    char octet = 0;
    return recv(descriptor, &octet, 1, MSG_PEEK | MSG_DONTWAIT) < 0 &&
           (errno == EAGAIN || errno == EWOULDBLOCK);
}

}  // namespace

KeptConnections::Place* KeptConnections::find(const sockaddr_un& address)
{
    const auto found = std::find_if(places_.begin(), places_.end(), [&address](const Place& place) {
        return std::strcmp(place.address.sun_path, address.sun_path) == 0;
    });
    return found != places_.end() ? &*found : nullptr;
}

int KeptConnections::take(const sockaddr_un& address)
{
    Place* const place = find(address);
    if (place == nullptr || place->descriptor < 0) return -1;
    const int descriptor = std::exchange(place->descriptor, -1);
    const bool usable = Clock::now() - place->last <= kClosely && place->user == geteuid();
    if (usable && is_silent(descriptor)) return descriptor;
    close(descriptor);
    return -1;
}

// A place for an address that has none: that of the longest silence.
KeptConnections::Place& KeptConnections::make(const sockaddr_un& address)
{
    Place& oldest =
        *std::min_element(places_.begin(), places_.end(),
                          [](const Place& one, const Place& other) { return one.last < other.last; });
    if (oldest.descriptor >= 0) close(oldest.descriptor);
    oldest = Place();
    oldest.address = address;
    return oldest;
}

void KeptConnections::give(const sockaddr_un& address, int descriptor)
{
    const Clock::time_point now = Clock::now();
    Place* const known = find(address);
    Place& place = known != nullptr ? *known : make(address);
    const bool keeps = now - place.last <= kClosely && place.descriptor < 0;
    place.last = now;
    place.user = geteuid();
    if (keeps) {
        place.descriptor = descriptor;
    } else {
        close(descriptor);
    }
}

void KeptConnections::close_all()
{
    for (Place& place : places_) {
        if (place.descriptor >= 0) close(place.descriptor);
        place.descriptor = -1;
    }
}

}  // namespace velorin_channel
