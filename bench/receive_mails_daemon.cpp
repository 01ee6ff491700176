// Fetches a mailbox through the daemon: receive_mails_daemon PORT FOLDER [--walk]
//
// Like any program that leaves the mail service to the daemon, it loads neither the service nor what that
// needs.
#include "receiving.h"

int main(int count, char** arguments)
{
    return receive_mails(count, arguments);
}
