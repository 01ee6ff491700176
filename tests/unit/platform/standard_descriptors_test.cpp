#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "standard_descriptors.h"

namespace {

// In a child with the given standard descriptors closed: 0 when all three are open afterwards, those that were closed
// on /dev/null, and the next descriptor is none of them.
int occupied(bool without_input, bool without_output, bool without_error)
{
    const pid_t child = fork();
    if (child == 0) {
        const bool closed[] = {without_input, without_output, without_error};
        for (int descriptor = 0; descriptor <= STDERR_FILENO; ++descriptor) {
            if (closed[descriptor]) close(descriptor);
        }
        velorin_channel::occupy_standard_descriptors();
        struct stat null_device = {};
        if (stat("/dev/null", &null_device) != 0) _exit(10);
        for (int descriptor = 0; descriptor <= STDERR_FILENO; ++descriptor) {
            struct stat here = {};
            if (fstat(descriptor, &here) != 0) _exit(1);
            if (closed[descriptor] && here.st_rdev != null_device.st_rdev) _exit(2);
        }
        char octet = 0;
        if (without_input && read(STDIN_FILENO, &octet, 1) != -1) _exit(4);
        if (without_output && write(STDOUT_FILENO, &octet, 1) != -1) _exit(5);
        if (without_error && write(STDERR_FILENO, &octet, 1) != 1) _exit(6);
        const int next = open("/dev/null", O_RDONLY);
        _exit(next > STDERR_FILENO ? 0 : 3);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(StandardDescriptors, ThatAreClosedAreOccupied)
{
    for (int closed = 0; closed < 8; ++closed) {
        EXPECT_EQ(0, occupied((closed & 1) != 0, (closed & 2) != 0, (closed & 4) != 0)) << closed;
    }
}

}  // namespace
