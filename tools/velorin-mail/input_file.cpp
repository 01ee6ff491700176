#include "input_file.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>

namespace velorin::cli {

bool open_input(const std::string& path, const char* step, int flags, Descriptor& file, Failure& failure)
{
    file = Descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC | flags));
    struct stat facts = {};
    int why = 0;
    if (!file.valid() || ::fstat(file.get(), &facts) != 0)
        why = errno;
    else if (S_ISDIR(facts.st_mode))
        why = EISDIR;
    if (why == 0) return true;
    fail(failure, kExitNoInput, step, std::string("the file cannot be read: ") + std::strerror(why));
    failure.where = path;
    return false;
}

}  // namespace velorin::cli
