// The filter of destinations: what it lets pass of a list that somebody typed.
//   input   the mode, lines of the filter up to an empty one, the address list
#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "CntsMLUTLDomainFilter.h"
#include "CntsMLUTLMailAddress.h"
#include "fuzz_input.h"
#include "fuzz_platform.h"
#include "fuzz_property.h"

namespace {

using velorin::CntsMLUTLDomainFilter;
using velorin::CntsMLUTLMailAddress;
using namespace velorin_fuzz;
using Texts = std::vector<std::string>;

constexpr unsigned char kPermit = 1;
constexpr unsigned char kRefuse = 2;

std::string upper(std::string text)
{
    for (char& c : text)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    return text;
}

std::string text_of(const CutlCPLBMString& text)
{
    return text.GetString() != nullptr ? text.GetString() : "";
}

// A filter as the class takes it.
class List {
public:
    explicit List(const Texts& texts) : vector_(static_cast<long>(texts.size()))
    {
        for (const std::string& text : texts) {
            items_.push_back(std::make_unique<CutlCPLBMString>(text.c_str()));
            vector_.Add(vector_.GetCount(), items_.back().get());
        }
    }
    const CutlCPLBMVector& vector() const { return vector_; }

private:
    std::vector<std::unique_ptr<CutlCPLBMString>> items_;
    CutlCPLBMVector vector_;
};

bool expected_pass(const std::string& entry, unsigned char mode, const Texts& filter)
{
    if (mode == 0) return true;
    CutlCPLBMString address;
    CutlCPLBMString account;
    CutlCPLBMString domain;
    CntsMLUTLMailAddress::GetRealAddress(address, entry.c_str());
    CntsMLUTLMailAddress::SplitAddress(account, domain, address.GetString());
    const bool is_listed = std::any_of(filter.begin(), filter.end(), [&](const std::string& item) {
        return upper(item) == upper(text_of(domain)) || upper(item) == upper(text_of(address));
    });
    return is_listed == (mode == kPermit);
}

Texts entries_of(const ExactText& text)
{
    const CntsMLUTLMailAddress list(text.data());
    Texts entries;
    CutlCPLBMString entry;
    int position = 0;
    while (list.GetAddress(entry, position, ",;") != 0)
        entries.push_back(text_of(entry));
    return entries;
}

void check_entry(const std::string& entry, unsigned char mode, const Texts& filter)
{
    const CutlCPLBMString text(entry.c_str());
    const List list(filter);
    require((CntsMLUTLDomainFilter::CheckDomain(text, mode, list.vector()) == 1) ==
                expected_pass(entry, mode, filter),
            "an entry passes as the list tells");
    require(CntsMLUTLDomainFilter::CheckDomain(text, kPermit, list.vector()) !=
                CntsMLUTLDomainFilter::CheckDomain(text, kRefuse, list.vector()),
            "what is not permitted by a list is what is not refused by it");
}

void check_list(const ExactText& text, unsigned char mode, const Texts& filter)
{
    const bool is_fault = mode == kPermit && filter.empty();
    const Texts entries = is_fault ? Texts() : entries_of(text);
    std::string expected;
    bool is_any = false;
    bool are_all = !entries.empty();
    for (const std::string& entry : entries) {
        const bool passes = expected_pass(entry, mode, filter);
        if (passes) expected += (is_any ? ", " : "") + entry;
        is_any = is_any || passes;
        are_all = are_all && passes;
        check_entry(entry, mode, filter);
    }

    std::vector<const char*> plain;
    for (const std::string& item : filter)
        plain.push_back(item.c_str());
    plain.push_back(nullptr);  // is skipped
    const int count = static_cast<int>(filter.empty() ? 0 : plain.size());
    require(ntsMLUTLCheckFilter(text.data(), mode, plain.data(), count) == (are_all ? 1 : 0),
            "a list passes when every entry does");
    const List list(filter);
    const CntsMLUTLMailAddress addresses(text.data());
    require(CntsMLUTLDomainFilter::CheckFilter(addresses, mode, list.vector()) == (are_all ? 1 : 0),
            "the class and the plain function agree");
    CutlCPLBMString passed("before");
    require(CntsMLUTLDomainFilter::CheckFilter(text.data(), passed, mode, plain.data(), count) ==
                (is_any ? 1 : 0),
            "a list has a rest when an entry passes");
    require(text_of(passed) == expected, "the rest are the entries that pass, as they were typed");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t size)
{
    Input input(octets, size);
    const unsigned char mode = static_cast<unsigned char>(input.below(256));
    Texts filter;
    for (std::string item = input.line(); !item.empty() && filter.size() < 32; item = input.line())
        filter.push_back(item.substr(0, item.find('\0')));
    const ExactText text(input.rest());

    const Platform platform;
    check_list(text, mode, filter);
    return 0;
}
