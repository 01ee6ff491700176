// Preloaded into velorin-mail by a test: kills the process right before or right after its nth call that
// changes something in a file system. KILL_AT_CALL says which one: 1, 2, ... before the call, and with "+"
// behind the number after it.
#include <atomic>
#include <csignal>
#include <cstdarg>
#include <cstdlib>

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

namespace {

std::atomic<long> g_calls(0);

struct Plan {
    long call = 0;
    bool after = false;
};

Plan plan()
{
    Plan wanted;
    const char* const text = std::getenv("KILL_AT_CALL");
    char* end = nullptr;
    if (text == nullptr) return wanted;
    wanted.call = std::strtol(text, &end, 10);
    wanted.after = *end == '+';
    return wanted;
}

// Counts a call, and makes it unless the process ends here.
template <typename Call>
auto counted(Call call)
{
    static const Plan wanted = plan();
    const bool is_it = ++g_calls == wanted.call;
    if (is_it && !wanted.after) ::kill(::getpid(), SIGKILL);
    const auto result = call();
    if (is_it) ::kill(::getpid(), SIGKILL);
    return result;
}

template <typename Function>
Function* next(const char* name)
{
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

}  // namespace

#define PASS_ON(result, name, parameters, arguments)                                                         \
    extern "C" __attribute__((visibility("default"))) result name parameters                                 \
    {                                                                                                        \
        static auto* const real = next<result parameters>(#name);                                            \
        return counted([&] { return real arguments; });                                                      \
    }

PASS_ON(int, mkdir, (const char* path, mode_t mode), (path, mode))
PASS_ON(int, mkdirat, (int folder, const char* path, mode_t mode), (folder, path, mode))
PASS_ON(int, rename, (const char* from, const char* to), (from, to))
PASS_ON(int, renameat2, (int one, const char* from, int two, const char* to, unsigned int flags),
        (one, from, two, to, flags))
PASS_ON(int, unlink, (const char* path), (path))
PASS_ON(int, unlinkat, (int folder, const char* path, int flags), (folder, path, flags))
PASS_ON(int, fsync, (int file), (file))
PASS_ON(int, syncfs, (int file), (file))
PASS_ON(ssize_t, write, (int file, const void* octets, size_t length), (file, octets, length))

// Opening counts where it makes a file.
extern "C" __attribute__((visibility("default"))) int openat64(int folder, const char* path, int flags, ...)
{
    static auto* const real = next<int(int, const char*, int, ...)>("openat64");
    va_list arguments;
    va_start(arguments, flags);
    const auto mode = static_cast<mode_t>(va_arg(arguments, int));
    va_end(arguments);
    if ((flags & O_CREAT) == 0) return real(folder, path, flags, mode);
    return counted([&] { return real(folder, path, flags, mode); });
}
