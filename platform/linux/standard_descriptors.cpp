#include "standard_descriptors.h"

#include <fcntl.h>
#include <unistd.h>

namespace velorin_channel {

void occupy_standard_descriptors()
{
    int descriptor = 0;
    do {
        descriptor = open("/dev/null", O_RDWR);  // takes the lowest number that is free
    } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    if (descriptor >= 0) close(descriptor);
}

}  // namespace velorin_channel
