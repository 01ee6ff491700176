#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace velorin::cli {

// The file name that a mail asks for, made one that is safe in any folder and on any terminal: the last
// component of a path of either kind; no control characters and none that turn the reading direction; neither
// a dot, a hyphen nor a blank at its front, no blank at its end; valid UTF-8.
//   in      limit: octets; what is too long is cut between characters, the extension is kept
//   result  empty when nothing is left of it
std::string safe_name(const std::string& wanted, std::size_t limit);

// "report.pdf", 2: "report-2.pdf"
std::string numbered_name(const std::string& name, unsigned number);

// The unique id of a mail as a part of a file name: letters, digits, "-", "_" and "." stay, others become "_".
// Different unique ids may have the same.
std::string name_of_uid(const std::string& uid);

// Whether a character changes what a person sees beyond its own place: control characters, and those that turn
// the reading direction or break lines.
bool is_deceptive(std::uint32_t character);

}  // namespace velorin::cli
