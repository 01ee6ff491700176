// The octets of a mail behind DATA: where they end, and what they are without dot stuffing.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace velorin_test {

// Finds the CR LF "." CR LF that ends a mail, in pieces of any size. Nothing else ends it: no bare LF, no
// bare CR.
class BodyScanner {
public:
    static constexpr std::size_t kNotYet = static_cast<std::size_t>(-1);

    // The next octets from the wire.
    //   result  how many of them belong to the mail and its final dot line when that ends here; else kNotYet
    std::size_t feed(std::string_view piece);

private:
    // The last octets before this piece, at most four; a mail begins at the beginning of a line.
    std::string tail_ = "\r\n";
};

// Removes the dot that was put in front of every line beginning with one.
std::string remove_dot_stuffing(std::string_view wire);

// Puts it there. Lines begin after CR LF.
std::string add_dot_stuffing(std::string_view octets);

}  // namespace velorin_test
