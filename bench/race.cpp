// Runs two commands by turns and says how long they took: race [--pairs N] [--goal RATIO] NAME -- A... --
// B... Or runs one command and says how much memory it took at most, a service's included:
//   race --memory [--service PID] [--goal MIB] NAME -- A...
// One row for a table each; a command that fails ends it all.
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using Words = std::vector<char*>;  // null behind the last one

struct Settings {
    std::size_t pairs = 15;
    double goal = 0;  // 0: none
    bool memory = false;
    long service = 0;
    std::string name;
    std::vector<Words> commands;
};

struct Run {
    double seconds = 0;    // by the clock
    double processor = 0;  // seconds, user and system
    double peak = 0;       // MiB resident
};

[[noreturn]] void give_up(const std::string& what)
{
    std::fprintf(stderr, "race: %s\n", what.c_str());
    std::exit(1);
}

double seconds_of(const timeval& time)
{
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

// Standard output goes nowhere; what a command has to complain about is seen.
Run run(const Words& command)
{
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    const auto begin = std::chrono::steady_clock::now();
    pid_t pid = -1;
    const int error = posix_spawnp(&pid, command[0], &actions, nullptr, command.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) give_up(std::string(command[0]) + ": " + std::strerror(error));
    int status = 0;
    rusage usage{};
    while (wait4(pid, &status, 0, &usage) < 0) {
        if (errno != EINTR) give_up("wait4");
    }
    Run done;
    done.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) give_up(std::string(command[0]) + " failed");
    done.processor = seconds_of(usage.ru_utime) + seconds_of(usage.ru_stime);
    done.peak = static_cast<double>(usage.ru_maxrss) / 1024;
    return done;
}

double quantile(std::vector<double> values, double part)
{
    std::sort(values.begin(), values.end());
    const double place = part * static_cast<double>(values.size() - 1);
    const auto below = static_cast<std::size_t>(place);
    const std::size_t above = std::min(below + 1, values.size() - 1);
    return values[below] + (values[above] - values[below]) * (place - static_cast<double>(below));
}

double median(const std::vector<double>& values)
{
    return quantile(values, 0.5);
}

// Peak resident memory of a process until now, MiB.
double peak_of(long pid)
{
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.compare(0, 6, "VmHWM:") == 0) return std::atof(line.c_str() + 6) / 1024;
    }
    give_up("process " + std::to_string(pid) + " does not tell its memory");
}

std::string goal_text(double goal, const char* form)
{
    char text[32] = "";
    if (goal != 0) std::snprintf(text, sizeof text, form, goal);
    return text;
}

void compare(const Settings& settings)
{
    std::vector<double> ours, theirs, ratios, our_processor, their_processor;
    for (const Words& command : settings.commands)
        run(command);  // once for nothing: files and programs come from the disk
    for (std::size_t pair = 0; pair < settings.pairs; ++pair) {
        const Run first = run(settings.commands[0]);
        const Run second = run(settings.commands[1]);
        ours.push_back(first.seconds);
        theirs.push_back(second.seconds);
        ratios.push_back(first.seconds / second.seconds);
        our_processor.push_back(first.processor);
        their_processor.push_back(second.processor);
    }
    std::printf("%-38s %8.1f ms %8.1f ms %7.2f %6s   pairs %.2f to %.2f, processor %.0f and %.0f ms\n",
                settings.name.c_str(), median(ours) * 1e3, median(theirs) * 1e3,
                median(ours) / median(theirs), goal_text(settings.goal, "%.2f").c_str(),
                quantile(ratios, 0.25), quantile(ratios, 0.75), median(our_processor) * 1e3,
                median(their_processor) * 1e3);
}

void weigh(const Settings& settings)
{
    const Run done = run(settings.commands[0]);
    const double service = settings.service != 0 ? peak_of(settings.service) : 0;
    std::printf("%-38s %7.1f MiB %11s %7s %6s   client %.1f, service %.1f MiB\n", settings.name.c_str(),
                done.peak + service, "", "", goal_text(settings.goal, "%.0f").c_str(), done.peak, service);
}

Settings read(int count, char** arguments)
{
    Settings settings;
    int at = 1;
    for (; at < count && std::strcmp(arguments[at], "--") != 0; ++at) {
        const std::string option = arguments[at];
        const bool has_value = at + 1 < count;
        if (option == "--pairs" && has_value) {
            settings.pairs = static_cast<std::size_t>(std::max(1, std::atoi(arguments[++at])));
        } else if (option == "--goal" && has_value) {
            settings.goal = std::atof(arguments[++at]);
        } else if (option == "--service" && has_value) {
            settings.service = std::atol(arguments[++at]);
        } else if (option == "--memory") {
            settings.memory = true;
        } else {
            settings.name = option;
        }
    }
    for (; at < count; ++at) {
        if (std::strcmp(arguments[at], "--") == 0) {
            settings.commands.emplace_back();
        } else {
            settings.commands.back().push_back(arguments[at]);
        }
    }
    for (Words& command : settings.commands) {
        if (command.empty()) give_up("a command is empty");
        command.push_back(nullptr);
    }
    if (settings.commands.size() != (settings.memory ? 1u : 2u))
        give_up("two commands, or one with --memory");
    return settings;
}

}  // namespace

int main(int count, char** arguments)
{
    const Settings settings = read(count, arguments);
    if (settings.memory) {
        weigh(settings);
    } else {
        compare(settings);
    }
    return 0;
}
