#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "pop3_dialogue.h"

namespace velorin::service {

// The header of a mail or part, read line by line, of any length, in any number of slices. It keeps the
// fields that the library has a place for, 100 KiB of header at most. What cannot be a header line ends the
// header: it is the first line of the body, without a blank line before it.
class HeaderBlock {
public:
    static constexpr std::size_t kMaxOctets = 100u << 10;
    static constexpr std::size_t kEndless = 16u << 20;  // no header any more: taken for the body

    enum class Taken { yes, blank_line, not_header };  // blank_line: taken, too

    Taken feed(const LineSlice& slice);

    bool cut() const { return cut_; }  // there was more than is kept
    // The first field of that name: unfolded, without blanks at its ends; inside the block.
    std::optional<std::string_view> find(const char* name) const;
    // All fields of that name, joined by ", ".
    //   out     value: when the result is true
    bool join(const char* name, std::string& value) const;

private:
    Taken begin_line(const LineSlice& slice);
    void append(std::string_view text);

    std::vector<std::pair<const char*, std::string>> fields_;  // name out of the table of those that are kept
    std::size_t octets_ = 0;
    bool first_line_ = true;
    bool open_ = false;  // the last field goes on when the line is a continuation
    bool cut_ = false;
};

// Blanks and tabs at both ends.
std::string_view trimmed(std::string_view text);
bool equal_ignoring_case(std::string_view one, std::string_view other);
std::string lower_case(std::string_view text);

}  // namespace velorin::service
