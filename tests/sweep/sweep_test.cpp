// Every call of the platform fails once, in every operation of the library.
#include <algorithm>
#include <cctype>
#include <cstddef>
#include <iostream>
#include <ostream>
#include <string>

#include <gtest/gtest.h>

#include "scenario.h"
#include "sweep.h"

namespace velorin_test::sweep {
namespace {

constexpr std::size_t kLeastFaults = 5000;
constexpr std::size_t kLeastScenarios = 60;

Counts total;
std::size_t scenarios_run = 0;

// Says at the end how much was done, and fails when that was too little. A selection of the tests is not held to it.
class Summary : public testing::Environment {
public:
    void TearDown() override
    {
        std::cout << "sweep: " << total.all() << " faults in " << scenarios_run << " scenarios ("
                  << total.platform << " single calls, " << total.from << " from a call on, " << total.answers
                  << " answers, " << total.memory << " of operator new, " << total.thrown << " thrown)\n";
        const testing::UnitTest& program = *testing::UnitTest::GetInstance();
        if (program.test_to_run_count() != program.total_test_count()) return;
        EXPECT_GE(total.all(), kLeastFaults);
        EXPECT_GE(scenarios_run, kLeastScenarios);
    }
};

const testing::Environment* const kSummary = testing::AddGlobalTestEnvironment(new Summary);

class Sweep : public testing::TestWithParam<Scenario> {};

TEST_P(Sweep, HoldsUnderEveryFault)
{
    ASSERT_NE(kSummary, nullptr);
    const Counts counts = sweep(GetParam());
    total.platform += counts.platform;
    total.from += counts.from;
    total.answers += counts.answers;
    total.memory += counts.memory;
    total.thrown += counts.thrown;
    ++scenarios_run;
    RecordProperty("faults", static_cast<int>(counts.all()));
}

std::string name_of_scenario(const testing::TestParamInfo<Scenario>& info)
{
    std::string name = info.param.name;
    std::replace_if(
        name.begin(), name.end(), [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(All, Sweep, testing::ValuesIn(all_scenarios()), name_of_scenario);

}  // namespace

void PrintTo(const Scenario& scenario, std::ostream* out)
{
    *out << scenario.name;
}

}  // namespace velorin_test::sweep
