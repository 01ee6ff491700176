#pragma once

#include <cstdio>
#include <string>

namespace velorin_bench {

// One row of run.sh's table. The goal is the ratio at most, or with ">" in front at least.
struct Row {
    std::string name;  // measured | beside
    double measured = 0;
    double beside = 0;
    const char* unit = "";
    std::string goal;
    std::string note;
};

inline void print_row(std::FILE* out, const Row& row)
{
    std::fprintf(out, "%-38s %6.0f %-4s %6.0f %-4s %7.2f %6s   %s\n", row.name.c_str(), row.measured,
                 row.unit, row.beside, row.unit, row.measured / row.beside, row.goal.c_str(),
                 row.note.c_str());
}

inline std::string goal_text(const char* sign, double ratio)
{
    char text[16];
    std::snprintf(text, sizeof text, "%s%.2f", sign, ratio);
    return text;
}

}  // namespace velorin_bench
