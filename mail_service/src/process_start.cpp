#include "process_start.h"

#include <cstdlib>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <unistd.h>

namespace velorin::service {

// process.
std::uint64_t start_time_of(std::int32_t pid)
{
    const std::string path = "/proc/" + std::to_string(pid) + "/stat";
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) return 0;
    char line[1024];
    const ssize_t length = ::read(descriptor, line, sizeof line - 1);
    ::close(descriptor);
    if (length <= 0) return 0;
    line[length] = '\0';
    // The second field is the program's name in parentheses, which may hold anything.
    const char* at = std::strrchr(line, ')');
    for (int field = 2; at != nullptr && field < 22; ++field) {
        at = std::strchr(at, ' ');
        if (at != nullptr) ++at;
    }
    return at != nullptr ? std::strtoull(at, nullptr, 10) : 0;
}

}  // namespace velorin::service
