// A model of how addresses are read, over whole texts instead of cursors into them: what the properties of the
// addresses and of the filter compare the library with.
#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "property_support.h"

namespace velorin_test {

using Lines = std::vector<std::string>;  // traced, each with its line end

// Trace lines are added to `traced`, which is never cleared.
namespace address_model {

// The length of the quoted name that `text` begins with; 0 when there is none, also when it never ends.
std::size_t quoted_name(const std::string& text, Lines& traced);

// The bare address of one entry.
std::string real_address(const std::string& entry, Lines& traced);

// Account and domain.
std::pair<std::string, std::string> halves(const std::string& address, Lines& traced);

struct Step {
    bool is_entry;
    std::string entry;
    std::size_t position;  // of the next
};
Step step(const std::string& text, std::size_t position, const std::string& separators, Lines& traced);

// The entries up to the first step without one.
std::vector<std::string> walk(const std::string& text, const std::string& separators, Lines& traced);

}  // namespace address_model

// One entry of an address field, made of its parts.
struct MadeEntry {
    std::string text;
    std::string account;
    std::string domain;
    std::string address() const { return account + "@" + domain; }
};

// Bare, in angle brackets, or behind a display name, which holds any character when it is quoted. No blanks at
// its ends.
rc::Gen<MadeEntry> any_entry();

// The entries with separators and blanks between and around them.
std::string any_list_of(const std::vector<MadeEntry>& entries);

// The characters that stand for something in an address, and others.
rc::Gen<std::string> any_address_text();

}  // namespace velorin_test
