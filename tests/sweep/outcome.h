// What an operation gave, as text, and what it may give.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <type_traits>
#include <vector>

#include "CutlCPLBMString.h"

namespace velorin_test::sweep {

// Named values in the order in which they were added. Adding makes no request that the sweep counts as the
// library's.
class Outcome {
public:
    void add(const std::string& what, const std::string& value);
    void add(const std::string& what, const char* value);
    template <typename Number, typename = std::enable_if_t<std::is_integral_v<Number>>>
    void add(const std::string& what, Number value)
    {
        add_number(what, static_cast<long long>(value));
    }
    void add(const std::string& what, const CutlCPLBMString& value);  // "(null)" for one without text
    void add_block(const std::string& what, const void* block, long length);
    void either(const std::string& what, const std::vector<std::string>& values);  // expected only

    void append(const Outcome& more);

    std::string text() const;
    bool admits(const Outcome& given) const;

private:
    void add_number(const std::string& what, long long value);

    struct Entry {
        std::string what;
        std::vector<std::string> values;
    };
    std::vector<Entry> entries_;
};

// The text of an object, member by member.
using Fields = std::map<std::string, std::string>;

// One line for each; those named in `without` are left out.
std::string text_of_fields(const Fields& fields, const std::vector<std::string>& without = {});

// Octets as text, "(null)" for a null pointer; what is not printable is written in hexadecimal digits.
std::string printable(const void* octets, long length);
std::string printable(const std::string& octets);
std::string printable(const CutlCPLBMString& text);

}  // namespace velorin_test::sweep
