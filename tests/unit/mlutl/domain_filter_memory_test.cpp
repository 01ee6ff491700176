// The domain filter when memory runs out: what cannot be checked does not pass.
#include <string>

#include <gtest/gtest.h>

#include "CntsMLUTLDomainFilter.h"
#include "mlutl_support.h"
#include "operator_new.h"
#include "platform_double.h"

namespace velorin_test {
namespace {

using velorin::CntsMLUTLDomainFilter;
using velorin::CntsMLUTLMailAddress;

const char kField[] = "\"A long display name\" <a@dom1>, b@dom1, c@dom1";
const char* kItems[] = {"dom2", "dom3"};

// Makes the 1st, 2nd, ... block fail until none is left to fail.
//   result  how many there were
template <typename Check>
int fail_each(Check check)
{
    int nth = 0;
    for (int result = 0; result == 0;) {
        ++nth;
        fail_new(nth);
        result = check();
        fail_new(0);
        if (nth > 1000) break;
    }
    return nth - 1;
}

TEST(DomainFilterMemory, RefusesEvenWhatNothingForbids)
{
    const PlatformDouble platform;
    const CntsMLUTLMailAddress address(kField);
    const CutlCPLBMString entry("a@dom1");
    CutlCPLBMString items[] = {"dom2", "dom3"};
    CutlCPLBMVector list;
    for (CutlCPLBMString& item : items)
        list.Add(list.GetCount(), &item);
    EXPECT_LT(0, fail_each([&] { return CntsMLUTLDomainFilter::CheckDomain(entry, 2, list); }));
    EXPECT_LT(0, fail_each([&] { return CntsMLUTLDomainFilter::CheckFilter(address, 2, list); }));
    EXPECT_LT(0, fail_each([&] { return ntsMLUTLCheckFilter(kField, 2, kItems, 2); }));
}

TEST(DomainFilterMemory, KeepsNoEntryWhenOneIsLost)
{
    const PlatformDouble platform;
    CutlCPLBMString passed;
    int failures = -1;
    for (int result = 0; result == 0 && failures < 1000; ++failures) {
        passed.CopyString("before", -1);
        fail_new(failures + 2);
        result = CntsMLUTLDomainFilter::CheckFilter(kField, passed, 2, kItems, 2);
        fail_new(0);
        EXPECT_EQ(result != 0 ? kField : "", text_of(passed)) << "block " << failures + 2;
    }
    EXPECT_LT(0, failures);
}

TEST(DomainFilterMemory, RefusesWhenTheListCannotBeHeld)
{
    for (const int nth : {1, 2}) {
        PlatformDouble platform;
        CutlCPLBMString passed("before");
        platform.fail_call(Call::vector_add, nth);
        EXPECT_EQ(0, CntsMLUTLDomainFilter::CheckFilter(kField, passed, 2, kItems, 2));
        EXPECT_EQ("", text_of(passed));
        platform.fail_call(Call::vector_add, nth);
        EXPECT_EQ(0, ntsMLUTLCheckFilter(kField, 2, kItems, 2));
    }
}

// The strings made of the items are gone afterwards.
TEST(DomainFilterMemory, FreesTheItems)
{
    const PlatformDouble platform;
    watch_news(sizeof(CutlCPLBMString));
    CutlCPLBMString passed;
    CntsMLUTLDomainFilter::CheckFilter(kField, passed, 2, kItems, 2);
    ntsMLUTLCheckFilter(kField, 2, kItems, 2);
    EXPECT_EQ(0, live_news());
    fail_each([&] { return ntsMLUTLCheckFilter(kField, 2, kItems, 2); });
    EXPECT_EQ(0, live_news());
}

}  // namespace
}  // namespace velorin_test
