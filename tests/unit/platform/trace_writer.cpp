// Writes trace lines for trace_test: <threads> <lines> <octets>, or one of the named cases.
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "emwGEN.h"

namespace {

int write_case(const std::string& name)
{
    if (name == "controls") {
        emwGENTrcPrintf(0x2107, 0x102, 0, "one\r\ntwo\x1B[31m\x7F\tthree %s\n", "\xE3\x81\x82\nfour");
    } else if (name == "ends") {
        emwGENTrcPrintf(0x2107, 0x102, 0, "without");
        emwGENTrcPrintf(0x2107, 0x102, 0, "with\n");
        emwGENTrcPrintf(0x2107, 0x102, 0, "with several\r\n\n");
        emwGENTrcPrintf(0x2107, 0x102, 0, "%s", "");
    } else if (name == "numbers") {
        emwGENTrcPrintf(0x2107, 0x102, 0x1F, "%lx %d %s%%\n", 0x21077103ul, -5, "text");
    } else if (name == "errno") {
        errno = 4711;
        emwGENTrcPrintf(0x2107, 0x102, 0, "line\n");
        return errno == 4711 ? 0 : 1;
    } else if (name == "closed pipe") {
        // The reader of standard error has gone.
        int ends[2];
        if (pipe(ends) != 0 || dup2(ends[1], STDERR_FILENO) < 0) return 1;
        close(ends[0]);
        emwGENTrcPrintf(0x2107, 0x102, 0, "nobody reads this\n");
        sigset_t pending;
        sigpending(&pending);
        return sigismember(&pending, SIGPIPE) == 0 ? 0 : 2;
    } else {
        return 3;
    }
    return 0;
}

}  // namespace

int main(int count, char** arguments)
{
    if (count == 2) return write_case(arguments[1]);
    if (count != 4) return 3;
    const int threads = std::atoi(arguments[1]);
    const int lines = std::atoi(arguments[2]);
    const std::string filling(static_cast<std::size_t>(std::atoi(arguments[3])), 'x');
    std::vector<std::thread> running;
    for (int thread = 0; thread < threads; ++thread) {
        running.emplace_back([thread, lines, &filling] {
            for (int line = 0; line < lines; ++line) {
                emwGENTrcPrintf(0x2107, 0x102, 0, "thread %d line %d %s end\n", thread, line,
                                filling.c_str());
            }
        });
    }
    for (std::thread& thread : running)
        thread.join();
    return 0;
}
