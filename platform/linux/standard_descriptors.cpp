#include "standard_descriptors.h"

#include <fcntl.h>
#include <unistd.h>

namespace velorin_channel {

namespace {

void reopen(int descriptor, int way)
{
    const int other = open("/dev/null", way);
    if (other < 0) return;
    dup2(other, descriptor);
    close(other);
}

}  // namespace

void occupy_standard_descriptors()
{
    int descriptor = 0;
    do {
        descriptor = open("/dev/null", O_RDWR);  // takes the lowest number that is free
        if (descriptor == STDIN_FILENO) reopen(descriptor, O_WRONLY);
        if (descriptor == STDOUT_FILENO) reopen(descriptor, O_RDONLY);
    } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    if (descriptor >= 0) close(descriptor);
}

}  // namespace velorin_channel
