// Marks a mail for deletion and reads half of another through the running service, says so, and waits to be ended.
#include <cstdio>
#include <cstdlib>

#include <poll.h>

#include "pop3_client.h"

// Takes the next mail of the mailbox.
static bool mean_next(velorin_test::Pop3Client& client)
{
    if (client.next() != 0) return false;
    client.mean(client.info.n_id(), client.info.c_uniq_id());
    return true;
}

int main(int argc, char** argv)
{
    if (argc != 2) return 2;
    velorin_test::Pop3Client client(velorin_test::pop3_over_channel());
    const std::uint32_t opened = client.open(static_cast<std::uint16_t>(std::atoi(argv[1])));
    if (opened != 0) {
        std::printf("open: %s\n", velorin_test::name_of(opened).c_str());
        return 1;
    }
    if (!mean_next(client) || client.remove() != 0 || !mean_next(client)) return 1;
    if (client.header() != 0 || client.body() != 0 || !client.mail.is_has_next()) return 1;
    std::printf("half read\n");
    std::fflush(stdout);
    ::poll(nullptr, 0, velorin_test::kSoon * 3);
    return 3;
}
