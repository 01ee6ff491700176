// Every operation that the library exports stands in a scenario: one that is new fails here until it has its own.
#include <algorithm>
#include <cstddef>
#include <fstream>
#include <set>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "scenario.h"

namespace velorin_test::sweep {
namespace {

constexpr std::size_t kLeastOperations = 200;  // fewer were read wrongly

void remove_all(std::string& text, const std::string& part)
{
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at))
        text.erase(at, part.size());
}

bool begins_with(const std::string& text, const std::string& beginning)
{
    return text.compare(0, beginning.size(), beginning) == 0;
}

// Classes of the library, not those of its generated messages. Its own operator new and delete are part of making
// and ending a communicator.
bool is_operation(const std::string& name)
{
    if (name.find("operator new") != std::string::npos || name.find("operator delete") != std::string::npos)
        return false;
    // A template of the standard library for a class of ours: nm names what it returns first.
    if (name.substr(0, name.find('(')).find(" std::") != std::string::npos) return false;
    for (const char* const beginning :
         {"Cnts", "SPOP3Setting::", "nts_smtp_settings::", "ntsMLUTL", "ServiceChannel<",
          "ntc_email_esu_mlutl_helper::", "ntc_email_esu_smtp_helper::", "ntc_email_esu_pop3_helper::",
          "ntc_email_esu_smtp_main_communicator::", "ntc_email_esu_pop3_main_communicator::"}) {
        if (begins_with(name, beginning)) return true;
    }
    return false;
}

// The functions in the list that nm made of the library: address, kind, name.
std::set<std::string> exported_operations()
{
    std::set<std::string> operations;
    std::ifstream list(VELORIN_EXPORTED_SYMBOLS);
    for (std::string line; std::getline(list, line);) {
        for (const char* const kind : {" T ", " W "}) {
            const std::size_t at = line.find(kind);
            if (at == std::string::npos) continue;
            std::string name = line.substr(at + 3);
            remove_all(name, "velorin::");
            if (is_operation(name)) operations.insert(name);
            break;
        }
    }
    return operations;
}

std::set<std::string> covered_operations()
{
    std::set<std::string> operations;
    for (const Scenario& scenario : all_scenarios())
        operations.insert(scenario.covers.begin(), scenario.covers.end());
    return operations;
}

TEST(SweepListing, NamesEveryOperationOfTheLibrary)
{
    const std::set<std::string> exported = exported_operations();
    ASSERT_GE(exported.size(), kLeastOperations) << VELORIN_EXPORTED_SYMBOLS;
    EXPECT_THAT(covered_operations(), testing::ContainerEq(exported));
}

TEST(SweepListing, NamesEachScenarioOnce)
{
    std::set<std::string> names;
    for (const Scenario& scenario : all_scenarios())
        EXPECT_TRUE(names.insert(scenario.name).second) << scenario.name;
}

}  // namespace
}  // namespace velorin_test::sweep
