// The mail utilities beside libraries that do the same, all in one run. Processor time counts: what other programs
// of the machine take does not.
//   usage: utility_bench [--rows=FILE] [option of the benchmark library]...
// Appends the rows of bench/run.sh's table to the file.
#include <gmime/gmime.h>
#include <malloc.h>

#include <cmath>
#include <cstdlib>
#include <cstring>

#include "medians.h"
#include "rows.h"
#include "utility_contests.h"
#include "utility_lengths.h"

namespace {

using namespace velorin_bench;

// What one contest is held to.
struct Goal {
    Contest* contest;
    const char* beside;  // null: the best of the others
    double ratio;        // of times at most, of MB a second at least
};

struct Figure {
    std::string who;
    double time = 0;  // nanoseconds a run
};

std::vector<Goal> goals_of(UtilityContests& contests)
{
    constexpr double kThird = 1.0 / 3;
    return {{&contests.decode_utf8, nullptr, kThird}, {&contests.decode_jis, nullptr, kThird},
            {&contests.encode, nullptr, kThird},      {&contests.walk, nullptr, kThird},
            {&contests.compose, nullptr, kThird},     {&contests.to_b64, "OpenSSL", 2.3},
            {&contests.from_b64, "glib", 2.2},        {&contests.to_qb_ascii, "GMime", 1},
            {&contests.to_qb_japanese, "GMime", 1},   {&contests.from_qp_ascii, "GMime", 3},
            {&contests.from_qp_japanese, "GMime", 3}};
}

// In the contest's unit: nanoseconds, or MB a second.
double shown(const Contest& contest, double time)
{
    return contest.octets() == 0 ? time : static_cast<double>(contest.octets()) / time * 1e3;
}

void print_contest(std::FILE* out, const Goal& goal, const MedianReporter& reporter)
{
    const Contest& contest = *goal.contest;
    Figure ours;
    Figure beside;
    std::vector<Figure> others;
    for (const std::string& who : contest.entered()) {
        const double* const median = reporter.median(contest.name(), who);
        if (median == nullptr) return;  // left out by an option
        const Figure figure = {who, *median};
        if (who == kOurs) {
            ours = figure;
            continue;
        }
        const bool is_wanted = goal.beside != nullptr ? who == goal.beside : true;
        if (is_wanted && (beside.who.empty() || figure.time < beside.time)) beside = figure;
        others.push_back(figure);
    }
    const bool is_rate = contest.octets() != 0;
    std::string note;
    for (const Figure& other : others) {
        if (other.who == beside.who) continue;
        note += other.who + " " + std::to_string(std::lround(shown(contest, other.time))) + "  ";
    }
    print_row(out,
              {contest.name() + " | " + beside.who, shown(contest, ours.time), shown(contest, beside.time),
               is_rate ? "MB/s" : "ns", goal_text(is_rate ? ">" : "", goal.ratio), note});
}

}  // namespace

int main(int count, char** arguments)
{
    std::string rows;
    constexpr char kRows[] = "--rows=";
    if (count > 1 && std::strncmp(arguments[1], kRows, sizeof kRows - 1) == 0) {
        rows = arguments[1] + sizeof kRows - 1;
        arguments[1] = arguments[0];
        ++arguments;
        --count;
    }
    // As the command-line client does, so that what is measured is not the giving back of freed blocks.
    mallopt(M_MMAP_THRESHOLD, 32 * 1024 * 1024);
    mallopt(M_TRIM_THRESHOLD, 32 * 1024 * 1024);
    setenv("VELORIN_TRACE", "none", 0);
    g_mime_init();

    const UtilityTexts texts;
    UtilityContests contests(texts);
    enter_ours(contests, texts);
    enter_gmime(contests, texts);
    enter_mimetic(contests, texts);
    enter_mailutils(contests, texts);
    enter_poco(contests);
    enter_openssl(contests, texts);
    enter_glib(contests, texts);

    for (const Contest* const contest : contests.all()) {
        contest->start();
    }
    register_lengths();

    initialize(count, arguments, "0.05");
    MedianReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    std::FILE* const out = rows.empty() ? stdout : std::fopen(rows.c_str(), "a");
    if (out == nullptr) {
        std::perror(rows.c_str());
        return 1;
    }
    for (const Goal& goal : goals_of(contests)) {
        print_contest(out, goal, reporter);
    }
    print_lengths(out, reporter);
    const bool is_written = out == stdout || std::fclose(out) == 0;
    return is_written && !reporter.has_failed() ? 0 : 1;
}
