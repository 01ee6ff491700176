// Addresses, and the filter of domains.
#include <memory>
#include <string>

#include "CntsMLUTLDomainFilter.h"
#include "CntsMLUTLMailAddress.h"
#include "CutlCPLBMVector.h"

#include "operator_new.h"
#include "scenario.h"

namespace velorin_test::sweep {

namespace {

using velorin::CntsMLUTLMailAddress;
using Filter = velorin::CntsMLUTLDomainFilter;

Scenario entries()
{
    return {"address, entries of a list",
            {"CntsMLUTLMailAddress::GetAddress(CutlCPLBMString&, int&, char const*) const",
             "CntsMLUTLMailAddress::CntsMLUTLMailAddress(char const*)",
             "CntsMLUTLMailAddress::CntsMLUTLMailAddress(CntsMLUTLMailAddress const&)",
             "CntsMLUTLMailAddress::~CntsMLUTLMailAddress()"},
            [](PlatformDouble&) {
                Trial trial;
                trial.run = [](Outcome& given) {
                    const CntsMLUTLMailAddress list(
                        "\"Name, First\" <first@example.org>; second@example.org");
                    const CntsMLUTLMailAddress copy(list);
                    CutlCPLBMString entry;
                    int position = 0;
                    for (int i = 0; i < 3; ++i) {
                        given.add("result", copy.GetAddress(entry, position, ";,"));
                        given.add("entry", entry);
                    }
                };
                trial.model = [](Replay&, Outcome& expected) {
                    expected.add("result", 1);
                    expected.add("entry", "\"Name, First\" <first@example.org>");
                    expected.add("result", 1);
                    expected.add("entry", "second@example.org");
                    expected.add("result", 0);
                    expected.add("entry", "");
                };
                return trial;
            }};
}

Scenario cut()
{
    return {"address, cut into its parts",
            {"CntsMLUTLMailAddress::GetRealAddress(CutlCPLBMString&, char const*)",
             "CntsMLUTLMailAddress::SplitAddress(CutlCPLBMString&, CutlCPLBMString&, char const*)",
             "CntsMLUTLMailAddress::SkipUserName(char const*, int&)"},
            [](PlatformDouble&) {
                Trial trial;
                trial.run = [](Outcome& given) {
                    CutlCPLBMString bare;
                    given.add("real", CntsMLUTLMailAddress::GetRealAddress(
                                          bare, "\"A <name>\" <account.of.some.length@example.org>"));
                    given.add("address", bare);
                    CutlCPLBMString account;
                    CutlCPLBMString domain;
                    given.add("split", CntsMLUTLMailAddress::SplitAddress(account, domain, bare.GetString()));
                    given.add("account", account);
                    given.add("domain", domain);
                    int position = 0;
                    given.add("skipped", CntsMLUTLMailAddress::SkipUserName("\"a\\\"b\" c", position));
                    given.add("position", position);
                };
                trial.model = [](Replay&, Outcome& expected) {
                    expected.add("real", 1);
                    expected.add("address", "account.of.some.length@example.org");
                    expected.add("split", 1);
                    expected.add("account", "account.of.some.length");
                    expected.add("domain", "example.org");
                    expected.add("skipped", 1);
                    expected.add("position", 6);
                };
                return trial;
            }};
}

// What is no address leaves its line and nothing else.
Scenario faults()
{
    return {"address, faults",
            {"CntsMLUTLMailAddress::CntsMLUTLMailAddress()"},
            [](PlatformDouble&) {
                Trial trial;
                trial.run = [](Outcome& given) {
                    CutlCPLBMString text;
                    int position = 0;
                    given.add("null", CntsMLUTLMailAddress().GetAddress(text, position, ";,"));
                    given.add("no entry", CntsMLUTLMailAddress::GetRealAddress(text, nullptr));
                    given.add("empty", CntsMLUTLMailAddress::GetRealAddress(text, "<  >"));
                    given.add("no domain", CntsMLUTLMailAddress::SplitAddress(text, text, "abc"));
                    given.add("open", CntsMLUTLMailAddress::SkipUserName("\"abc", position));
                };
                trial.model = [](Replay& replay, Outcome& expected) {
                    replay.line("<Error>:GetAddress:[Result]m_cAddress is null\n");
                    replay.line("<Error>:GetRealAddress:[Result]pAddress is null\n");
                    replay.line("<Error>:GetRealAddress:[Result]cRealAddress is empty(\"\")\n");
                    replay.line("<Error>:SplitAddress:[Result]cAccount or cDomain is empty(\"\")\n");
                    replay.line("<Warning>:SkipUserName:[Result]only one double quotation mark exists\n");
                    for (const char* const what : {"null", "no entry", "empty", "no domain", "open"})
                        expected.add(what, 0);
                };
                return trial;
            },
            Again::never};
}

struct Domains {
    CutlCPLBMString domain{"a.domain.of.some.length.example.org"};
    CutlCPLBMString address{"account@another.example.org"};
    CutlCPLBMVector list;
};

std::shared_ptr<Domains> domains()
{
    const auto made = std::make_shared<Domains>();
    made->list.Add(0, &made->domain);
    made->list.Add(1, &made->address);
    return made;
}

Scenario checked()
{
    return {
        "filter, entries and fields checked",
        {"CntsMLUTLDomainFilter::CheckDomain(CutlCPLBMString const&, unsigned char, CutlCPLBMVector const&)",
         "CntsMLUTLDomainFilter::CheckFilter(CntsMLUTLMailAddress const&, unsigned char, CutlCPLBMVector "
         "const&)"},
        [](PlatformDouble&) {
            const std::shared_ptr<Domains> list = domains();
            const auto entry =
                std::make_shared<CutlCPLBMString>("Somebody <x@A.Domain.of.some.length.example.org>");
            const auto field = std::make_shared<CntsMLUTLMailAddress>(
                "x@a.domain.of.some.length.example.org, ACCOUNT@another.example.org");
            Trial trial;
            trial.run = [=](Outcome& given) {
                given.add("entry", Filter::CheckDomain(*entry, 1, list->list));
                given.add("field", Filter::CheckFilter(*field, 1, list->list));
            };
            trial.model = [](Replay&, Outcome& expected) {
                expected.add("entry", 1);
                expected.add("field", 1);
            };
            // What cannot be checked must not be used.
            Outcome no_entry;
            no_entry.add("entry", 0);
            no_entry.add("field", 1);
            Outcome no_field;
            no_field.add("entry", 1);
            no_field.add("field", 0);
            trial.without_memory = {{no_entry, {}}, {no_field, {}}};
            trial.may_throw = false;
            return trial;
        }};
}

const char* kItems[] = {"a.domain.of.some.length.example.org", nullptr, "account@another.example.org"};
constexpr const char* kField = "x@a.domain.of.some.length.example.org, y@refused.example.org";

Scenario kept()
{
    return {"filter, passing entries kept",
            {"CntsMLUTLDomainFilter::CheckFilter(char const*, CutlCPLBMString&, unsigned char, char const**, "
             "int)"},
            [](PlatformDouble&) {
                Trial trial;
                trial.run = [](Outcome& given) {
                    CutlCPLBMString passed("what was there before");
                    given.add("result", Filter::CheckFilter(kField, passed, 1, kItems, 3));
                    given.add("passed", passed);
                };
                trial.model = [](Replay& replay, Outcome& expected) {
                    const bool fails = replay.fails(Call::vector_add) || replay.fails(Call::vector_add);
                    expected.add("result", fails ? 0 : 1);
                    expected.add("passed", fails ? "" : "x@a.domain.of.some.length.example.org");
                };
                Outcome none;
                none.add("result", 0);
                none.either("passed", {"", "(null)"});
                trial.without_memory = {{none, {}}};
                return trial;
            }};
}

Scenario plain()
{
    return {"filter, plain function", {"ntsMLUTLCheckFilter"}, [](PlatformDouble&) {
                Trial trial;
                trial.run = [](Outcome& given) {
                    given.add("result", ntsMLUTLCheckFilter("account@another.example.org", 1, kItems, 3));
                };
                trial.model = [](Replay& replay, Outcome& expected) {
                    const bool fails = replay.fails(Call::vector_add) || replay.fails(Call::vector_add);
                    expected.add("result", fails ? 0 : 1);
                };
                Outcome none;
                none.add("result", 0);
                trial.without_memory = {{none, {}}};
                trial.may_throw = false;
                return trial;
            }};
}

}  // namespace

Scenarios address_scenarios()
{
    return {entries(), cut(), faults()};
}

Scenarios filter_scenarios()
{
    return {checked(), kept(), plain()};
}

}  // namespace velorin_test::sweep
