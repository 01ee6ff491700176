#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "CntsMLUTLDomainFilter.h"
#include "mlutl_support.h"
#include "platform_double.h"

namespace velorin_test {
namespace {

using velorin::CntsMLUTLDomainFilter;
using velorin::CntsMLUTLMailAddress;

const char kNullAddress[] = "<Error>:GetRealAddress:[Result]pAddress is null\n";
const char kNullHalf[] = "<Error>:SplitAddress:[Result]pAddress is null\n";
const char kEmptyReal[] = "<Error>:GetRealAddress:[Result]cRealAddress is empty(\"\")\n";
const char kEmptyHalf[] = "<Error>:SplitAddress:[Result]cAccount or cDomain is empty(\"\")\n";

// A list as an application holds it.
class List {
public:
    explicit List(const std::vector<const char*>& items)
    {
        items_.reserve(items.size());
        for (const char* const item : items)
            items_.emplace_back(item);
        for (CutlCPLBMString& item : items_)
            vector_.Add(vector_.GetCount(), &item);
    }
    CutlCPLBMVector& vector() { return vector_; }
    std::string text(std::size_t index) const { return text_of(items_[index]); }

private:
    std::vector<CutlCPLBMString> items_;
    CutlCPLBMVector vector_;
};

struct DomainCase {
    const char* label;
    const char* entry;
    std::vector<const char*> items;
    bool matches;
};

const std::vector<DomainCase>& domain_cases()
{
    static const std::vector<DomainCase> cases = {
        {"the domain", "ab@dom1", {"dom1"}, true},
        {"in other letters", "ab@Dom1", {"dOM1"}, true},
        {"a sub-domain", "ab@sub.dom1", {"DOM1"}, false},
        {"the domain above", "ab@dom1", {"sub.dom1"}, false},
        {"a beginning", "ab@dom12", {"dom1"}, false},
        {"an end", "ab@xdom1", {"dom1"}, false},
        {"no wildcards", "ab@dom1", {"*", "*.dom1", "dom?", "@dom1"}, false},
        {"the whole address", "ab@dom1", {"AB@DOM1"}, true},
        {"another account", "cd@dom1", {"ab@dom1"}, false},
        {"the account alone", "ab@dom1", {"ab"}, false},
        {"the last item", "ab@dom1", {"x", "y", "dom1"}, true},
        {"an empty list", "ab@dom1", {}, false},
        {"a display name", "\"Name, dom2\" <ab@dom1>", {"dom1"}, true},
        {"its text does not count", "\"dom2\" <ab@dom1>", {"dom2", "\"dom2\" <ab@dom1>"}, false},
        {"blanks around the entry", "  ab@dom1 ", {"dom1"}, true},
        {"blanks of an item count", "ab@dom1", {" dom1", "dom1 "}, false},
        {"an empty item", "ab@dom1", {""}, false},
        {"from the first at sign on", "ab@cd@dom1", {"cd@dom1"}, true},
        {"not from the last", "ab@cd@dom1", {"dom1"}, false},
        {"letters outside A to Z keep their case", "ab@\xe9", {"\xc9"}, false},
    };
    return cases;
}

TEST(CheckDomain, PermitsAndRefusesByTheList)
{
    for (const DomainCase& c : domain_cases()) {
        SCOPED_TRACE(c.label);
        const PlatformDouble platform;
        const CutlCPLBMString entry(c.entry);
        List list(c.items);
        EXPECT_EQ(1, CntsMLUTLDomainFilter::CheckDomain(entry, 0, list.vector()));
        EXPECT_EQ(c.matches ? 1 : 0, CntsMLUTLDomainFilter::CheckDomain(entry, 1, list.vector()));
        for (const int mode : {2, 3, 127, 128, 255}) {
            EXPECT_EQ(c.matches ? 0 : 1, CntsMLUTLDomainFilter::CheckDomain(
                                             entry, static_cast<unsigned char>(mode), list.vector()))
                << mode;
        }
        EXPECT_EQ(c.entry, text_of(entry));
    }
}

TEST(CheckDomain, AnEntryWithoutADomainHasAnEmptyOne)
{
    PlatformDouble platform;
    for (int i = 0; i < 4; ++i)
        platform.expect_trace(kEmptyHalf);
    EXPECT_EQ(1, CntsMLUTLDomainFilter::CheckDomain("local", 1, List({""}).vector()));
    EXPECT_EQ(1, CntsMLUTLDomainFilter::CheckDomain("local", 1, List({"LOCAL"}).vector()));
    EXPECT_EQ(0, CntsMLUTLDomainFilter::CheckDomain("local", 1, List({"x"}).vector()));
    EXPECT_EQ(1, CntsMLUTLDomainFilter::CheckDomain("@dom1", 1, List({"dom1"}).vector()));
}

TEST(CheckDomain, TestsAnEmptyEntryLikeAnyOther)
{
    PlatformDouble platform;
    for (int i = 0; i < 3; ++i) {
        platform.expect_trace(kEmptyReal);
        platform.expect_trace(kEmptyHalf);
    }
    EXPECT_EQ(0, CntsMLUTLDomainFilter::CheckDomain("", 1, List({"x"}).vector()));
    EXPECT_EQ(1, CntsMLUTLDomainFilter::CheckDomain("", 2, List({"x"}).vector()));
    EXPECT_EQ(0, CntsMLUTLDomainFilter::CheckDomain("", 2, List({"x", ""}).vector()));
}

TEST(CheckDomain, NullMatchesNothing)
{
    PlatformDouble platform;
    List list({nullptr, "x"});  // a string without text
    list.vector().Add(0, nullptr);
    for (int i = 0; i < 2; ++i) {
        platform.expect_trace(kNullAddress);
        platform.expect_trace(kNullHalf);
    }
    EXPECT_EQ(0, CntsMLUTLDomainFilter::CheckDomain(CutlCPLBMString(), 1, list.vector()));
    EXPECT_EQ(1, CntsMLUTLDomainFilter::CheckDomain(CutlCPLBMString(), 2, list.vector()));
    EXPECT_EQ(1, CntsMLUTLDomainFilter::CheckDomain("a@x", 1, list.vector())) << "the item behind them";
}

TEST(CheckDomain, ParsesNothingWithoutFiltering)
{
    const PlatformDouble platform;  // no trace of an empty address
    EXPECT_EQ(1, CntsMLUTLDomainFilter::CheckDomain("", 0, List({"x"}).vector()));
    EXPECT_EQ(1, CntsMLUTLDomainFilter::CheckDomain(CutlCPLBMString(), 0, List({}).vector()));
}

// Deliberate: the owner of a list finds it in upper case, as far as it was looked at; what it matches stays.
TEST(CheckDomain, AListServesAnyNumberOfTimes)
{
    const PlatformDouble platform;
    List list({"Dom1", "ab@Dom2", "never"});
    EXPECT_EQ(1, CntsMLUTLDomainFilter::CheckDomain("x@dom1", 0, list.vector()));
    EXPECT_EQ("Dom1", list.text(0)) << "nothing is looked at without filtering";
    EXPECT_EQ(1, CntsMLUTLDomainFilter::CheckDomain("x@dom1", 1, list.vector()));
    EXPECT_EQ("ab@Dom2", list.text(1)) << "the first match ends the search";
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(1, CntsMLUTLDomainFilter::CheckDomain("x@dom1", 1, list.vector()));
        EXPECT_EQ(1, CntsMLUTLDomainFilter::CheckDomain("Ab@dOM2", 1, list.vector()));
        EXPECT_EQ(0, CntsMLUTLDomainFilter::CheckDomain("cd@dom2", 1, list.vector()));
        EXPECT_EQ(0, CntsMLUTLDomainFilter::CheckDomain("x@DOM1", 2, list.vector()));
        EXPECT_EQ(3, list.vector().GetCount());
    }
    EXPECT_EQ("DOM1", list.text(0));
    EXPECT_EQ("AB@DOM2", list.text(1));
    EXPECT_EQ("NEVER", list.text(2));
}

struct FieldCase {
    const char* label;
    const char* field;
    std::vector<const char*> items;
    int mode;
    int all;             // every entry passes
    const char* passed;  // those that do
};

const std::vector<FieldCase>& field_cases()
{
    static const std::vector<FieldCase> cases = {
        {"one that passes", "a@dom1", {"dom1"}, 1, 1, "a@dom1"},
        {"one of two", "a@dom1, b@dom2", {"dom1"}, 1, 0, "a@dom1"},
        {"the other of two", "a@dom2, b@dom1", {"dom1"}, 1, 0, "b@dom1"},
        {"both", "a@dom1,b@dom2", {"dom1", "dom2"}, 1, 1, "a@dom1, b@dom2"},
        {"semicolons", "a@dom1;b@dom1 ; c@dom1", {"dom1"}, 1, 1, "a@dom1, b@dom1, c@dom1"},
        {"none", "a@dom1, b@dom2", {"dom3"}, 1, 0, ""},
        {"refused", "a@dom1, b@dom2", {"dom1"}, 2, 0, "b@dom2"},
        {"not refused", "a@dom1, b@dom2", {"dom3"}, 2, 1, "a@dom1, b@dom2"},
        {"one address refused", "ab@dom1, cd@dom1", {"AB@Dom1"}, 2, 0, "cd@dom1"},
        {"an empty refuse list", "a@dom1", {}, 2, 1, "a@dom1"},
        {"no filtering", "a@dom1, b", {"x"}, 0, 1, "a@dom1, b"},
        {"no filtering, no list", "a@dom1", {}, 0, 1, "a@dom1"},
        {"an empty permit list", "a@dom1", {}, 1, 0, ""},
        {"display names are kept",
         "\"A, B\" <a@dom1>; C <c@dom2> , d@dom1",
         {"dom1"},
         1,
         0,
         "\"A, B\" <a@dom1>, d@dom1"},
        {"letters are kept", "Ab@DoM1", {"dom1"}, 1, 1, "Ab@DoM1"},
        {"no entry", "", {"dom1"}, 2, 0, ""},
        {"no entry, no filtering", " ", {}, 0, 0, ""},
        {"separators only", " ,; ,", {"dom1"}, 2, 0, ""},
        {"an item with a blank", "a@dom1", {"dom1 "}, 1, 0, ""},
        {"an empty item", "a@dom1", {""}, 1, 0, ""},
        {"null items are skipped", "a@dom1", {nullptr, "dom1", nullptr}, 1, 1, "a@dom1"},
        {"null items only: a list that is not empty", "a@dom1", {nullptr}, 2, 1, "a@dom1"},
    };
    return cases;
}

TEST(CheckFilter, TestsAllEntriesOfAnAddress)
{
    for (const FieldCase& c : field_cases()) {
        SCOPED_TRACE(c.label);
        const PlatformDouble platform;
        List list(c.items);
        const CntsMLUTLMailAddress address(c.field);
        EXPECT_EQ(c.all, CntsMLUTLDomainFilter::CheckFilter(address, static_cast<unsigned char>(c.mode),
                                                            list.vector()));
        EXPECT_EQ(c.field, text_of(address.m_cAddress));
    }
}

TEST(CheckFilter, KeepsTheEntriesThatPass)
{
    for (const FieldCase& c : field_cases()) {
        SCOPED_TRACE(c.label);
        const PlatformDouble platform;
        std::vector<const char*> items = c.items;
        CutlCPLBMString passed("before");
        EXPECT_EQ(c.passed[0] != '\0' ? 1 : 0,
                  CntsMLUTLDomainFilter::CheckFilter(c.field, passed, static_cast<unsigned char>(c.mode),
                                                     items.data(), static_cast<int>(items.size())));
        EXPECT_EQ(c.passed, text_of(passed));
    }
}

TEST(CheckFilterFunction, TestsAllEntriesOfAText)
{
    for (const FieldCase& c : field_cases()) {
        SCOPED_TRACE(c.label);
        const PlatformDouble platform;
        std::vector<const char*> items = c.items;
        EXPECT_EQ(c.all, ntsMLUTLCheckFilter(c.field, static_cast<unsigned char>(c.mode), items.data(),
                                             static_cast<int>(items.size())));
    }
}

TEST(CheckFilter, RefusesANullAddressAndAnEmptyPermitList)
{
    const PlatformDouble platform;  // no line: nothing is parsed
    List list({"dom1"});
    List empty({});
    for (int mode = 0; mode <= 2; ++mode) {
        EXPECT_EQ(0, CntsMLUTLDomainFilter::CheckFilter(CntsMLUTLMailAddress(),
                                                        static_cast<unsigned char>(mode), list.vector()));
    }
    EXPECT_EQ(0, CntsMLUTLDomainFilter::CheckFilter(CntsMLUTLMailAddress("\"unclosed"), 1, empty.vector()));
}

TEST(CheckFilter, RefusesFaultyArguments)
{
    const PlatformDouble platform;
    const char* items[] = {"dom1"};
    const struct {
        const char* label;
        const char* address;
        unsigned char mode;
        const char** list;
        int count;
    } cases[] = {
        {"no address", nullptr, 2, items, 1},
        {"no address, no filtering", nullptr, 0, items, 1},
        {"no list", "a@dom1", 2, nullptr, 1},
        {"no list, no filtering", "a@dom1", 0, nullptr, 1},
        {"a negative count", "a@dom1", 2, items, -1},
        {"a negative count, no filtering", "a@dom1", 0, items, -1},
        {"a negative count, no list", "a@dom1", 0, nullptr, -1},
        {"an empty permit list", "a@dom1", 1, items, 0},
        {"it does not look at the address", "\"unclosed", 1, items, 0},
        {"no permit list", "a@dom1", 1, nullptr, 0},
    };
    for (const auto& c : cases) {
        CutlCPLBMString passed("before");
        EXPECT_EQ(0, CntsMLUTLDomainFilter::CheckFilter(c.address, passed, c.mode, c.list, c.count))
            << c.label;
        EXPECT_EQ("", text_of(passed)) << c.label;
        EXPECT_EQ(0, ntsMLUTLCheckFilter(c.address, c.mode, c.list, c.count)) << c.label;
    }
    CutlCPLBMString passed("before");
    EXPECT_EQ(1, CntsMLUTLDomainFilter::CheckFilter("a@dom1", passed, 2, nullptr, 0)) << "none is no fault";
    EXPECT_EQ("a@dom1", text_of(passed));
    EXPECT_EQ(1, ntsMLUTLCheckFilter("a@dom1", 0, nullptr, 0));
}

// The walk over all stops at the first that is refused, the walk that keeps does not.
TEST(CheckFilter, StopsAtTheFirstThatIsRefused)
{
    PlatformDouble platform;
    const char* items[] = {"dom1"};
    EXPECT_EQ(0, ntsMLUTLCheckFilter("a@dom2, none, b@dom1", 1, items, 1));
    platform.expect_trace(kEmptyHalf);  // of "none", which has no domain
    CutlCPLBMString passed;
    EXPECT_EQ(1, CntsMLUTLDomainFilter::CheckFilter("a@dom2, none, b@dom1", passed, 1, items, 1));
    EXPECT_EQ("b@dom1", text_of(passed));
}

TEST(CheckFilter, TakesItsOwnResultAsAddress)
{
    const PlatformDouble platform;
    const char* items[] = {"dom1"};
    CutlCPLBMString field("a@dom1, b@dom2");
    EXPECT_EQ(1, CntsMLUTLDomainFilter::CheckFilter(field.GetString(), field, 1, items, 1));
    EXPECT_EQ("a@dom1", text_of(field));
}

TEST(CheckFilter, LeavesTheCallersTextsAlone)
{
    const PlatformDouble platform;
    char item[] = "Dom1";
    const char* items[] = {item};
    CutlCPLBMString passed;
    EXPECT_EQ(1, CntsMLUTLDomainFilter::CheckFilter("a@dom1", passed, 1, items, 1));
    EXPECT_EQ(1, ntsMLUTLCheckFilter("a@dom1", 1, items, 1));
    EXPECT_STREQ("Dom1", item);
    EXPECT_EQ(item, items[0]);
}

}  // namespace
}  // namespace velorin_test
