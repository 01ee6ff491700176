// Sends half a mail through the running service, says so, and waits to be ended.
#include <cstdio>
#include <cstdlib>

#include <poll.h>

#include "service_client.h"

int main(int argc, char** argv)
{
    if (argc != 2) return 2;
    velorin_test::ServiceClient client(velorin_test::over_channel());
    const std::uint32_t opened = client.open(static_cast<std::uint16_t>(std::atoi(argv[1])));
    if (opened != 0) {
        std::printf("open: %s\n", velorin_test::name_of(opened).c_str());
        return 1;
    }
    if (client.header() != 0 || client.body("half a mail\r\n") != 0) return 1;
    std::printf("half sent\n");
    std::fflush(stdout);
    ::poll(nullptr, 0, velorin_test::kSoon * 3);
    return 3;
}
