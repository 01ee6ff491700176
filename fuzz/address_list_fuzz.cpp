// Address lists as people type them: cut into entries, stripped to the address, split.
//   input   the separators, the list
#include <algorithm>
#include <string>
#include <vector>

#include "CntsMLUTLMailAddress.h"
#include "fuzz_input.h"
#include "fuzz_platform.h"
#include "fuzz_property.h"

namespace {

using velorin::CntsMLUTLMailAddress;
using namespace velorin_fuzz;

constexpr const char* kSeparators[] = {";,", ",;", ",", ";", "", "\"", "<>", " ;"};

std::string trimmed(const std::string& text)
{
    const char* const blanks = " \t\r\n";
    const std::size_t begin = text.find_first_not_of(blanks);
    return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(blanks) + 1 - begin);
}

std::string text_of(const CutlCPLBMString& text)
{
    return text.GetString() != nullptr ? text.GetString() : "(null)";
}

// Behind a quoted name that begins a text at `at`.
struct Name {
    std::size_t end;
    bool is_closed;
};

Name skip_name(const std::string& text, std::size_t at)
{
    if (at >= text.size() || text[at] != '"') return {at, false};
    for (++at; at < text.size(); ++at) {
        if (text[at] == '"') return {at + 1, true};
        if (text[at] == '\\') ++at;
    }
    return {text.size(), false};
}

std::vector<std::string> expected_entries(const std::string& text, const std::string& separators)
{
    std::vector<std::string> entries;
    const std::string skipped = separators + " \t";
    std::size_t at = text.find_first_not_of(skipped);
    while (at != std::string::npos) {
        const std::size_t begin = at;
        const std::size_t end =
            std::min(text.find_first_of(separators, skip_name(text, at).end), text.size());
        if (end == begin) break;
        entries.push_back(trimmed(text.substr(begin, end - begin)));
        at = text.find_first_not_of(skipped, end);
    }
    return entries;
}

std::vector<std::string> entries_of(const ExactText& text, const char* separators)
{
    const CntsMLUTLMailAddress list(text.data());
    std::vector<std::string> entries;
    CutlCPLBMString entry("before");
    int position = 0;
    for (int before = 0; list.GetAddress(entry, position, separators) != 0; before = position) {
        require(position > before && position <= text.length(), "the cursor goes on, and not past the text");
        entries.push_back(text_of(entry));
    }
    require(text_of(entry).empty(), "behind the last entry there is an empty one");
    return entries;
}

std::string expected_address(const std::string& entry)
{
    const Name name = skip_name(entry, 0);
    const std::string text = name.is_closed ? entry.substr(name.end) : entry;
    const std::size_t open = text.find('<');
    if (open == std::string::npos) return trimmed(text.substr(0, text.find('>')));
    const std::size_t close = text.find('>', open);
    if (close == open + 1) return trimmed(text.substr(0, open));
    return trimmed(close == std::string::npos ? text.substr(open + 1)
                                              : text.substr(open + 1, close - open - 1));
}

void check_split(const std::string& address)
{
    const ExactText text(address);
    CutlCPLBMString account("before");
    CutlCPLBMString domain("before");
    const int result = CntsMLUTLMailAddress::SplitAddress(account, domain, text.data());
    const std::size_t at = address.find('@');
    require(text_of(account) == trimmed(address.substr(0, at)),
            "the account is what stands before the first @");
    require(text_of(domain) == (at == std::string::npos ? "" : trimmed(address.substr(at + 1))),
            "the domain is what stands behind it");
    require((result == 1) == (!text_of(account).empty() && !text_of(domain).empty()), "both are wanted");
}

void check_entry(const std::string& entry)
{
    const ExactText text(entry);
    CutlCPLBMString address("before");
    const int result = CntsMLUTLMailAddress::GetRealAddress(address, text.data());
    require(text_of(address) == expected_address(entry), "an address is what the rules tell");
    require((result == 1) == !text_of(address).empty(), "an empty address is none");
    const std::string bare = text_of(address);
    check_split(bare);

    CutlCPLBMString itself(text.data());
    CntsMLUTLMailAddress::GetRealAddress(itself, itself.GetString());
    require(text_of(itself) == bare, "the output may be the input");
}

void check_name(const ExactText& text, int position)
{
    const Name expected = skip_name(std::string(text.view()), static_cast<std::size_t>(position));
    const int result = CntsMLUTLMailAddress::SkipUserName(text.data(), position);
    require(result == (expected.is_closed ? 1 : 0), "a name is one when it is closed");
    require(position == static_cast<int>(expected.end), "the cursor is behind the name");
}

// Two lists with a separator between them are their entries, unless a quote of the first is open.
void check_joined(const std::string& first, const std::string& second)
{
    std::vector<std::string> apart;
    {
        const Platform platform;
        apart = entries_of(ExactText(first), ";,");
        if (platform.lines() > 0) return;
    }
    for (const std::string& entry : entries_of(ExactText(second), ";,"))
        apart.push_back(entry);
    require(entries_of(ExactText(first + ";" + second), ";,") == apart, "lists may be joined");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t size)
{
    Input input(octets, size);
    const char* const separators = kSeparators[input.below(std::size(kSeparators))];
    const ExactText text(input.rest());
    const std::string list(text.view());

    const std::vector<std::string> entries = entries_of(text, separators);
    require(entries == expected_entries(list, separators), "entries are cut as the rules tell");
    for (const std::string& entry : entries)
        check_entry(entry);
    check_entry(list);
    check_name(text, static_cast<int>(list.size() / 2));
    check_joined(list.substr(0, list.size() / 2), list.substr(list.size() / 2));
    return 0;
}
