#pragma once

#include <deque>
#include <string>
#include <vector>

#include "ntc_email.h"

#include "failure.h"
#include "settings.h"

namespace velorin::cli {

// Which addresses may be written to: those on a list, or those that are not on one.
struct DomainRule {
    enum class Kind : unsigned char {
        kNone = 0,
        kPermit = 1,
        kRefuse = 2
    };  // modes of CntsMLUTLDomainFilter
    Kind kind = Kind::kNone;
    std::vector<std::string> items;  // domains and bare addresses
};

// Reads the settings "permit" and "refuse", of which one at most may be there: items with "," or ";" between
// them, blanks around them aside.
//   result  false with the sentence: both lists, an empty item, a blank or a character outside of US-ASCII in
//   an item, which no address would ever match
bool read_domain_rule(const Settings& settings, DomainRule& rule, Failure& failure);

// Checks addresses against a rule.
class DomainChecker {
public:
    explicit DomainChecker(const DomainRule& rule);
    DomainChecker(const DomainChecker&) = delete;
    DomainChecker& operator=(const DomainChecker&) = delete;

    //   in      entry: of an address list, with or without display name
    bool passes(const std::string& entry) const;

    // "the address "a@b" is not on the list permit"
    std::string refusal(const std::string& entry) const;

private:
    DomainRule::Kind kind_;
    std::deque<CutlCPLBMString> items_;  // deque: the list holds pointers
    CutlCPLBMVector list_;
};

// The entries of an address list, as they stand there.
std::vector<std::string> entries_of(const std::string& addresses);

}  // namespace velorin::cli
