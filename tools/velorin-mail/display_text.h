#pragma once

#include <cstddef>
#include <string>

namespace velorin::cli {

// A text from a mail for a table at a terminal: one line, control characters and those that turn the reading
// direction as "?".
std::string display_text(const std::string& text);

// Columns that a text of display_text takes at a terminal.
std::size_t display_width(const std::string& text);

// The front of a text that takes at most `width` columns; what was cut is marked by an ellipsis.
std::string cut_to_width(const std::string& text, std::size_t width);

// The text with blanks behind it, or before it, up to that many columns.
std::string padded(const std::string& text, std::size_t width, bool to_the_right = false);

// Columns of the terminal that the descriptor is; 0: it is none.
std::size_t terminal_width(int descriptor);

}  // namespace velorin::cli
