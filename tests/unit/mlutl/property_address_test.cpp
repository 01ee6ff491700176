// What holds of addresses whatever the text: a list is walked entry by entry, an entry reduced to its bare
// address, that one cut into account and domain, and every failure traced, as the model has it.
#include <algorithm>

#include "CntsMLUTLMailAddress.h"
#include "address_model.h"
#include "mlutl_support.h"
#include "platform_double.h"

namespace velorin_test {
namespace {

using velorin::CntsMLUTLMailAddress;

constexpr char kSeparators[] = ";,";

std::string any_separators()
{
    static const Characters sets = {";,", ",;", ",", ";", "", " ", "<", "\"", "@\\"};
    return *rc::gen::oneOf(rc::gen::just(std::string(kSeparators)), rc::gen::elementOf(sets));
}

// The entries of the whole text, from a cursor that the library moves.
Characters walked(const std::string& text, const std::string& separators = kSeparators)
{
    const CntsMLUTLMailAddress address(text.c_str());
    const ExactText delims(separators);
    Characters entries;
    CutlCPLBMString entry("before");
    int position = 0;
    while (address.GetAddress(entry, position, delims.data()) == 1)
        entries.push_back(text_of(entry));
    RC_ASSERT(text_of(entry) == "");
    RC_ASSERT(text_of(address.m_cAddress) == text);
    return entries;
}

Characters texts_of(const std::vector<MadeEntry>& entries)
{
    Characters texts;
    for (const MadeEntry& entry : entries)
        texts.push_back(entry.text);
    return texts;
}

rc::Gen<std::vector<MadeEntry>> any_entries()
{
    return rc::gen::resize(12, rc::gen::container<std::vector<MadeEntry>>(any_entry()));
}

RC_GTEST_PROP(AddressProperty, AListGivesTheEntriesThatItWasMadeOf, ())
{
    PlatformDouble platform;
    const std::vector<MadeEntry> entries = *any_entries();
    RC_ASSERT(walked(any_list_of(entries)) == texts_of(entries));
    RC_ASSERT(platform.take_traces() == Lines());
}

RC_GTEST_PROP(AddressProperty, AnEntryGivesItsBareAddressWhateverItsNameHolds, ())
{
    PlatformDouble platform;
    const MadeEntry entry = *any_entry();
    CutlCPLBMString bare;
    RC_ASSERT(CntsMLUTLMailAddress::GetRealAddress(bare, ExactText(entry.text).data()) == 1);
    RC_ASSERT(text_of(bare) == entry.address());

    CutlCPLBMString account;
    CutlCPLBMString domain;
    RC_ASSERT(CntsMLUTLMailAddress::SplitAddress(account, domain, ExactText(text_of(bare)).data()) == 1);
    RC_ASSERT(text_of(account) == entry.account);
    RC_ASSERT(text_of(domain) == entry.domain);
    RC_ASSERT(platform.take_traces() == Lines());
}

RC_GTEST_PROP(AddressProperty, AListCutBetweenEntriesGivesWhatTheWholeGives, ())
{
    PlatformDouble platform;
    const std::vector<MadeEntry> entries = *any_entries();
    const auto middle = entries.begin() + static_cast<std::ptrdiff_t>(any_cut(entries.size()));
    const std::string first = any_list_of({entries.begin(), middle});
    const std::string second = any_list_of({middle, entries.end()});
    Characters cut = walked(first);
    for (const std::string& entry : walked(second))
        cut.push_back(entry);
    RC_ASSERT(walked(first + "," + second) == cut);
}

// Entry, result, cursor and trace lines of each step, from any place of any text.
RC_GTEST_PROP(AddressProperty, AStepThroughAnyTextIsThatOfTheModel, ())
{
    PlatformDouble platform;
    const std::string text = *any_address_text();
    const std::string separators = any_separators();
    const CntsMLUTLMailAddress address(text.c_str());
    std::size_t expected_position = any_cut(text.size());
    int position = static_cast<int>(expected_position);
    bool is_entry = true;
    while (is_entry) {
        Lines traced;
        const address_model::Step expected = address_model::step(text, expected_position, separators, traced);
        CutlCPLBMString entry("before");
        is_entry = address.GetAddress(entry, position, ExactText(separators).data()) == 1;
        RC_ASSERT(is_entry == expected.is_entry);
        RC_ASSERT(text_of(entry) == expected.entry);
        RC_ASSERT(position == static_cast<int>(expected.position));
        RC_ASSERT(platform.take_traces() == traced);
        expected_position = expected.position;
    }
}

RC_GTEST_PROP(AddressProperty, AQuotedNameIsSteppedOverAsInTheModel, ())
{
    PlatformDouble platform;
    const std::string text = *any_address_text();
    const std::size_t begin = any_cut(text.size());
    Lines traced;
    const std::size_t length = address_model::quoted_name(text.substr(begin), traced);
    int position = static_cast<int>(begin);
    RC_ASSERT(CntsMLUTLMailAddress::SkipUserName(ExactText(text).data(), position) == (length > 0 ? 1 : 0));
    const std::size_t expected = traced.empty() ? begin + length : text.size();
    RC_ASSERT(position == static_cast<int>(expected));
    RC_ASSERT(platform.take_traces() == traced);
}

RC_GTEST_PROP(AddressProperty, AnyTextIsReducedToTheBareAddressOfTheModel, ())
{
    PlatformDouble platform;
    const std::string text = *any_address_text();
    Lines traced;
    const std::string expected = address_model::real_address(text, traced);
    CutlCPLBMString bare("before");
    RC_ASSERT(CntsMLUTLMailAddress::GetRealAddress(bare, ExactText(text).data()) ==
              (expected.empty() ? 0 : 1));
    RC_ASSERT(text_of(bare) == expected);
    RC_ASSERT(platform.take_traces() == traced);
}

RC_GTEST_PROP(AddressProperty, AnyTextIsCutIntoTheHalvesOfTheModel, ())
{
    PlatformDouble platform;
    const std::string text = *any_address_text();
    Lines traced;
    const auto expected = address_model::halves(text, traced);
    CutlCPLBMString account("before");
    CutlCPLBMString domain("before");
    RC_ASSERT(CntsMLUTLMailAddress::SplitAddress(account, domain, ExactText(text).data()) ==
              (traced.empty() ? 1 : 0));
    RC_ASSERT(text_of(account) == expected.first);
    RC_ASSERT(text_of(domain) == expected.second);
    RC_ASSERT(platform.take_traces() == traced);
}

}  // namespace
}  // namespace velorin_test
