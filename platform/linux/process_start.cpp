#include "process_start.h"

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace velorin_channel {

std::uint64_t read_start_time(pid_t pid)
{
    char path[64];
    std::snprintf(path, sizeof path, "/proc/%ld/stat", static_cast<long>(pid));
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    if (file < 0) return 0;
    char text[1024];
    std::size_t length = 0;
    while (length < sizeof text - 1) {
        const ssize_t taken = read(file, text + length, sizeof text - 1 - length);
        if (taken < 0 && errno == EINTR) continue;
        if (taken <= 0) break;
        length += static_cast<std::size_t>(taken);
    }
    close(file);
    text[length] = '\0';
    return start_time_in(text);
}

std::uint64_t start_time_in(const char* stat)
{
    // proc(5): the start time is field 22. Field 2 is a name in parentheses that may hold blanks and
    // parentheses, so counting begins behind the last one.
    const char* field = std::strrchr(stat, ')');
    if (field == nullptr) return 0;
    for (int number = 2; number < 22; ++number) {
        field = std::strchr(field + 1, ' ');
        if (field == nullptr) return 0;
    }
    return std::strtoull(field + 1, nullptr, 10);
}

}  // namespace velorin_channel
