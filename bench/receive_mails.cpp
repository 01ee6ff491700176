// Fetches a mailbox through a mail service of its own: receive_mails PORT FOLDER [--walk]
#include <cstdio>

#include "velorin_mail_service.h"

#include "receiving.h"

int main(int count, char** arguments)
{
    const velorin::EmbeddedMailService service;
    if (service.running()) return receive_mails(count, arguments);
    std::fprintf(stderr, "receive_mails: %s\n", service.error());
    return 1;
}
