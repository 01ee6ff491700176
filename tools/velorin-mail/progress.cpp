#include "progress.h"

#include <algorithm>
#include <cstdio>

#include <unistd.h>

#include "display_text.h"

namespace velorin::cli {

namespace {

constexpr std::chrono::milliseconds
    kInterval(200);                       // often enough to look alive, seldom enough to cost nothing
constexpr std::size_t kNameColumns = 28;  // what is behind the name has room in 80 columns

}  // namespace

Progress::Progress(bool wanted, const char* unit)
    : wanted_(wanted && ::isatty(STDERR_FILENO) == 1), unit_(unit)
{
}

Progress::~Progress()
{
    finish();
}

void Progress::begin(std::uint64_t total, unsigned parts)
{
    total_ = total;
    parts_ = parts;
    began_ = std::chrono::steady_clock::now();
    due_ = began_ + kInterval;
}

void Progress::part(unsigned part, const std::string& name)
{
    part_ = part;
    name_ = cut_to_width(name, kNameColumns);
}

void Progress::add(std::uint64_t octets)
{
    octets_ += octets;
    if (!wanted_) return;
    const auto now = std::chrono::steady_clock::now();
    if (now < due_) return;
    due_ = now + kInterval;
    draw(now);
}

void Progress::finish()
{
    if (drawn_) std::fputs("\r\033[K", stderr);
    drawn_ = false;
}

double Progress::seconds() const
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - began_).count();
}

void Progress::draw(std::chrono::steady_clock::time_point now)
{
    const double elapsed = std::chrono::duration<double>(now - began_).count();
    const double rate = elapsed > 0 ? static_cast<double>(octets_) / elapsed : 0;
    std::string line =
        std::string(unit_) + " " + std::to_string(part_) + " of " + std::to_string(parts_) + " " + name_;
    if (total_ > 0)
        line += ": " + readable_octets(static_cast<double>(octets_)) + " of " +
                readable_octets(static_cast<double>(total_)) + ", " + readable_octets(rate) + "/s";
    // A line that goes on in a second one cannot be written anew.
    const std::size_t columns = std::max<std::size_t>(terminal_width(STDERR_FILENO), 1);
    std::fprintf(stderr, "\r\033[K%s", cut_to_width(line, columns - 1).c_str());
    drawn_ = true;
}

std::string readable_octets(double octets)
{
    static const char* const units[] = {"octets", "KiB", "MiB", "GiB", "TiB"};
    std::size_t unit = 0;
    while (octets >= 1024 && unit + 1 < sizeof units / sizeof units[0]) {
        octets /= 1024;
        ++unit;
    }
    char text[48];
    std::snprintf(text, sizeof text, unit == 0 ? "%.0f %s" : "%.1f %s", octets, units[unit]);
    return text;
}

}  // namespace velorin::cli
