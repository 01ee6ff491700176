#pragma once

#include <sys/types.h>
#include <sys/un.h>

#include <array>
#include <chrono>

// Connections of the client that have carried an exchange and may carry the next one. Setting one up costs
// several times what a small exchange does.
namespace velorin_channel {

// One connection for each socket path at most, kept only where exchanges follow each other closely: somebody
// who calls now and then leaves no descriptor behind. Not for several threads at once.
class KeptConnections {
public:
    // Hands out the connection to an address; it is the caller's.
    //   result  -1 when none is kept, or the one that was has aged, is another user's, or its server has closed
    //           it
    int take(const sockaddr_un& address);
    // After an exchange that was whole: keeps the connection, or closes it.
    void give(const sockaddr_un& address, int descriptor);
    void close_all();

private:
    using Clock = std::chrono::steady_clock;

    struct Place {
        sockaddr_un address{};
        int descriptor = -1;
        Clock::time_point last{};  // exchange
        uid_t user = 0;            // whose the server takes the connection for
    };

    Place* find(const sockaddr_un& address);
    Place& make(const sockaddr_un& address);

    std::array<Place, 8> places_;  // one that was never used is the oldest
};

}  // namespace velorin_channel
