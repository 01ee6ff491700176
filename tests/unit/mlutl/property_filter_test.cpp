// What holds of the domain filter whatever the addresses and the list: its results, the entries that it hands
// back and its trace lines are those of a model that knows each entry's bare address.
#include <algorithm>
#include <cctype>
#include <memory>

#include "CntsMLUTLDomainFilter.h"
#include "address_model.h"
#include "mlutl_support.h"
#include "platform_double.h"

namespace velorin_test {
namespace {

using velorin::CntsMLUTLDomainFilter;
using velorin::CntsMLUTLMailAddress;

constexpr char kSeparators[] = ",;";

std::string upper(std::string text)
{
    for (char& c : text)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    return text;
}

// The same letters, each large or small as it comes.
std::string any_case_of(std::string text)
{
    for (char& c : text)
        if (static_cast<unsigned char>(c) < 0x80 && *rc::gen::arbitrary<bool>())
            c = static_cast<char>(std::islower(c) ? std::toupper(c) : std::tolower(c));
    return text;
}

// The list of a device. Some items are not there.
class Items {
public:
    explicit Items(std::vector<std::optional<std::string>> items) : items_(std::move(items))
    {
        for (const std::optional<std::string>& item : items_) {
            texts_.push_back(item ? item->c_str() : nullptr);
            if (item) strings_.push_back(std::make_unique<CutlCPLBMString>(item->c_str()));
        }
        for (const std::unique_ptr<CutlCPLBMString>& item : strings_)
            RC_ASSERT(vector_.Add(vector_.GetCount(), item.get()) != 0);
    }
    const CutlCPLBMVector& vector() const { return vector_; }
    const char** texts() { return texts_.data(); }
    int count() const { return static_cast<int>(texts_.size()); }
    bool is_empty() const { return strings_.empty(); }
    bool match(const std::string& text) const
    {
        return std::any_of(items_.begin(), items_.end(),
                           [&](const auto& item) { return item && upper(*item) == upper(text); });
    }

private:
    std::vector<std::optional<std::string>> items_;
    std::vector<const char*> texts_;
    std::vector<std::unique_ptr<CutlCPLBMString>> strings_;
    CutlCPLBMVector vector_;
};

unsigned char any_mode()
{
    return static_cast<unsigned char>(*rc::gen::oneOf(number(0, 2), number(0, 255)));
}

bool model_passes(const std::string& entry, unsigned char mode, const Items& items, Lines& traced)
{
    if (mode == 0) return true;
    const std::string address = address_model::real_address(entry, traced);
    const std::string domain = address_model::halves(address, traced).second;
    return (items.match(domain) || items.match(address)) == (mode == 1);
}

// Whether every entry passes; the walk ends at the first that does not.
bool model_passes_all(const std::string& list, unsigned char mode, const Items& items, Lines& traced)
{
    std::size_t count = 0;
    for (address_model::Step at = address_model::step(list, 0, kSeparators, traced); at.is_entry;
         at = address_model::step(list, at.position, kSeparators, traced), ++count)
        if (!model_passes(at.entry, mode, items, traced)) return false;
    return count > 0;
}

std::string model_passing(const std::string& list, unsigned char mode, const Items& items, bool& any,
                          Lines& traced)
{
    std::string passing;
    any = false;
    for (address_model::Step at = address_model::step(list, 0, kSeparators, traced); at.is_entry;
         at = address_model::step(list, at.position, kSeparators, traced)) {
        if (!model_passes(at.entry, mode, items, traced)) continue;
        passing += (any ? ", " : "") + at.entry;
        any = true;
    }
    return passing;
}

// Domains and addresses of the entries, in any letters, and what is close to them.
Items any_items(const std::vector<MadeEntry>& entries)
{
    std::vector<std::optional<std::string>> items;
    for (int count = *number(0, 4); count > 0; --count) {
        const MadeEntry entry =
            entries.empty() || *number(0, 4) == 0 ? *any_entry() : entries[any_cut(entries.size() - 1)];
        static const std::vector<int> kinds = {0, 0, 0, 0, 1, 1, 1, 2, 3, 4, 5, 6, 7};
        switch (*rc::gen::elementOf(kinds)) {
        case 0:
            items.push_back(any_case_of(entry.domain));
            break;
        case 1:
            items.push_back(any_case_of(entry.address()));
            break;
        case 2:
            items.push_back("sub." + entry.domain);
            break;
        case 3:
            items.push_back(entry.domain.substr(1));
            break;
        case 4:
            items.push_back(entry.domain + " ");
            break;
        case 5:
            items.push_back(entry.text);
            break;
        case 6:
            items.push_back("");
            break;
        default:
            items.push_back(std::nullopt);
        }
    }
    return Items(std::move(items));
}

// Entries as people write them, or octets as they come.
std::string any_field(const std::vector<MadeEntry>& entries)
{
    if (*number(0, 3) != 0) return any_list_of(entries);
    return *rc::gen::resize(40, any_address_text());
}

std::vector<MadeEntry> any_entries()
{
    return *rc::gen::resize(6, rc::gen::container<std::vector<MadeEntry>>(any_entry()));
}

RC_GTEST_PROP(FilterProperty, AnEntryPassesAsInTheModel, ())
{
    PlatformDouble platform;
    const std::vector<MadeEntry> entries = any_entries();
    const std::string entry = entries.empty() ? *any_address_text() : entries.front().text;
    const Items items = any_items(entries);
    const unsigned char mode = any_mode();
    Lines traced;
    const bool passes = model_passes(entry, mode, items, traced);
    RC_CLASSIFY(passes);
    RC_ASSERT(CntsMLUTLDomainFilter::CheckDomain(entry.c_str(), mode, items.vector()) == (passes ? 1 : 0));
    RC_ASSERT(platform.take_traces() == traced);
}

RC_GTEST_PROP(FilterProperty, AFieldPassesWhenEveryEntryDoes, ())
{
    PlatformDouble platform;
    const std::vector<MadeEntry> entries = any_entries();
    const std::string field = any_field(entries);
    Items items = any_items(entries);
    const unsigned char mode = any_mode();
    Lines traced;
    const bool is_refused_unseen = mode == 1 && items.is_empty();
    const bool passes = !is_refused_unseen && model_passes_all(field, mode, items, traced);
    RC_CLASSIFY(passes);
    const CntsMLUTLMailAddress address(field.c_str());
    RC_ASSERT(CntsMLUTLDomainFilter::CheckFilter(address, mode, items.vector()) == (passes ? 1 : 0));
    RC_ASSERT(platform.take_traces() == traced);
    RC_ASSERT(ntsMLUTLCheckFilter(field.c_str(), mode, items.texts(), items.count()) == (passes ? 1 : 0));
    RC_ASSERT(platform.take_traces() == traced);
}

RC_GTEST_PROP(FilterProperty, TheEntriesThatPassAreHandedBackInTheirOrder, ())
{
    PlatformDouble platform;
    const std::vector<MadeEntry> entries = any_entries();
    const std::string field = any_field(entries);
    Items items = any_items(entries);
    const unsigned char mode = any_mode();
    Lines traced;
    std::string expected;
    bool any = false;
    if (mode != 1 || items.count() > 0) expected = model_passing(field, mode, items, any, traced);
    RC_CLASSIFY(any);
    CutlCPLBMString passed("before");
    RC_ASSERT(CntsMLUTLDomainFilter::CheckFilter(field.c_str(), passed, mode, items.texts(), items.count()) ==
              (any ? 1 : 0));
    RC_ASSERT(text_of(passed) == expected);
    RC_ASSERT(platform.take_traces() == traced);
}

// What no model is needed for: a permit list and a refuse list of the same items share the entries out.
RC_GTEST_PROP(FilterProperty, EveryEntryPassesEitherThePermitListOrTheRefuseList, ())
{
    PlatformDouble platform;
    const std::vector<MadeEntry> entries = any_entries();
    const Items items = any_items(entries);
    for (const MadeEntry& entry : entries) {
        const int permitted = CntsMLUTLDomainFilter::CheckDomain(entry.text.c_str(), 1, items.vector());
        const int kept = CntsMLUTLDomainFilter::CheckDomain(entry.text.c_str(), 2, items.vector());
        RC_ASSERT(permitted + kept == 1);
        RC_ASSERT(CntsMLUTLDomainFilter::CheckDomain(entry.text.c_str(), 0, items.vector()) == 1);
    }
    RC_ASSERT(platform.take_traces() == Lines());
}

}  // namespace
}  // namespace velorin_test
