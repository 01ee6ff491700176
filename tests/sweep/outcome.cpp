#include "outcome.h"

#include <algorithm>
#include <cstdio>

#include "operator_new.h"

namespace velorin_test::sweep {

void Outcome::add(const std::string& what, const std::string& value)
{
    either(what, {value});
}

void Outcome::add(const std::string& what, const char* value)
{
    const SparedNews spared;
    add(what, std::string(value));
}

void Outcome::add_number(const std::string& what, long long value)
{
    const SparedNews spared;
    add(what, std::to_string(value));
}

void Outcome::add(const std::string& what, const CutlCPLBMString& value)
{
    const SparedNews spared;
    add(what, printable(value));
}

void Outcome::add_block(const std::string& what, const void* block, long length)
{
    const SparedNews spared;
    add(what, printable(block, length));
    add(what + " length", length);
}

void Outcome::either(const std::string& what, const std::vector<std::string>& values)
{
    const SparedNews spared;
    entries_.push_back(Entry{what, values});
}

void Outcome::append(const Outcome& more)
{
    const SparedNews spared;
    entries_.insert(entries_.end(), more.entries_.begin(), more.entries_.end());
}

std::string Outcome::text() const
{
    std::string text;
    for (const Entry& entry : entries_) {
        text += entry.what;
        const char* sign = " = ";
        for (const std::string& value : entry.values) {
            text += sign + value;
            sign = " or ";
        }
        text += '\n';
    }
    return text;
}

bool Outcome::admits(const Outcome& given) const
{
    return entries_.size() == given.entries_.size() &&
           std::equal(entries_.begin(), entries_.end(), given.entries_.begin(),
                      [](const Entry& expected, const Entry& actual) {
                          return expected.what == actual.what &&
                                 std::find(expected.values.begin(), expected.values.end(),
                                           actual.values.front()) != expected.values.end();
                      });
}

std::string text_of_fields(const Fields& fields, const std::vector<std::string>& without)
{
    std::string text;
    for (const auto& field : fields) {
        if (std::find(without.begin(), without.end(), field.first) != without.end()) continue;
        text += field.first + "=" + field.second + " ";
    }
    return text;
}

std::string printable(const void* octets, long length)
{
    if (octets == nullptr) return "(null)";
    const auto* const first = static_cast<const unsigned char*>(octets);
    std::string text;
    for (long i = 0; i < length; ++i) {
        if (first[i] >= 0x20 && first[i] < 0x7F && first[i] != '\\') {
            text += static_cast<char>(first[i]);
        } else {
            char escaped[5];
            std::snprintf(escaped, sizeof escaped, "\\x%02X", static_cast<unsigned>(first[i]));
            text += escaped;
        }
    }
    return text;
}

std::string printable(const std::string& octets)
{
    return printable(octets.data(), static_cast<long>(octets.size()));
}

std::string printable(const CutlCPLBMString& text)
{
    return printable(text.GetString(), text.GetLength());
}

}  // namespace velorin_test::sweep
