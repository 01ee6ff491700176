// What stands in the memory of another process.
#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

namespace velorin_test {

// The places at which one of the texts stands, in all memory that a process can write: heap, stacks, data. Each
// is told by its region and a few octets before and behind it, the text aside.
//   result  empty when there is none. A process that may not be looked into is a failure
std::vector<std::string> places_of(pid_t process, const std::vector<std::string>& texts);

// Whether this process may look into that one.
bool may_look_into(pid_t process);

// What shows that a password stands somewhere, or stood there: its end, also inside base64.
std::vector<std::string> forms_of(const std::string& password);

}  // namespace velorin_test
