#include "domain_list.h"

#include <algorithm>
#include <new>

#include "header_words.h"
#include "setting_values.h"

namespace velorin::cli {

namespace {

constexpr const char* kSeparators = ",;";
constexpr const char* kBlanks = " \t";

const char* name_of(DomainRule::Kind kind)
{
    return kind == DomainRule::Kind::kPermit ? "permit" : "refuse";
}

bool add_item(const std::string& name, const std::string& typed, DomainRule& rule, Failure& failure)
{
    const std::size_t first = typed.find_first_not_of(kBlanks);
    if (first == std::string::npos)
        return fail(failure, kExitUsage, kSettingsStep, name + " holds an empty item");
    const std::string item = typed.substr(first, typed.find_last_not_of(kBlanks) + 1 - first);
    const char* wrong = nullptr;
    if (item.find_first_of(kBlanks) != std::string::npos)
        wrong = "\" with a blank in it";
    else if (!is_plain(item))
        wrong = "\", which is not US-ASCII";
    if (wrong != nullptr)
        return fail(failure, kExitUsage, kSettingsStep, name + " holds the item \"" + item + wrong);
    rule.items.push_back(item);
    return true;
}

}  // namespace

bool read_domain_rule(const Settings& settings, DomainRule& rule, Failure& failure)
{
    rule = DomainRule();
    for (const DomainRule::Kind kind : {DomainRule::Kind::kPermit, DomainRule::Kind::kRefuse}) {
        const std::string name = name_of(kind);
        if (settings.count(name) == 0) continue;
        if (rule.kind != DomainRule::Kind::kNone)
            return fail(failure, kExitUsage, kSettingsStep, "permit and refuse cannot be given together");
        rule.kind = kind;
        const std::string text = text_of(settings, name.c_str());
        for (std::size_t begin = 0; begin <= text.size();) {
            const std::size_t end = std::min(text.find_first_of(kSeparators, begin), text.size());
            if (!add_item(name, text.substr(begin, end - begin), rule, failure)) return false;
            begin = end + 1;
        }
    }
    return true;
}

DomainChecker::DomainChecker(const DomainRule& rule) : kind_(rule.kind)
{
    for (const std::string& item : rule.items) {
        items_.emplace_back(item.c_str());
        if (list_.Add(list_.GetCount(), &items_.back()) == 0) throw std::bad_alloc();
    }
}

bool DomainChecker::passes(const std::string& entry) const
{
    return CntsMLUTLDomainFilter::CheckDomain(CutlCPLBMString(entry.c_str()),
                                              static_cast<unsigned char>(kind_), list_) == 1;
}

std::string DomainChecker::refusal(const std::string& entry) const
{
    CutlCPLBMString address;
    const bool known = CntsMLUTLMailAddress::GetRealAddress(address, entry.c_str()) == 1;
    return "the address \"" + (known ? std::string(address.GetString()) : entry) + "\" is " +
           (kind_ == DomainRule::Kind::kPermit ? "not " : "") + "on the list " + name_of(kind_);
}

std::vector<std::string> entries_of(const std::string& addresses)
{
    std::vector<std::string> entries;
    const CntsMLUTLMailAddress field(addresses.c_str());
    CutlCPLBMString entry;
    for (int position = 0; field.GetAddress(entry, position, kSeparators) == 1;)
        entries.emplace_back(entry.GetString());
    return entries;
}

}  // namespace velorin::cli
