// The passwords of the program password-session. They stand in it disguised, so that what is found of them was
// left behind.
#pragma once

#include <string>

namespace velorin_test {

constexpr char kHidden = 0x15;  // exclusive or with each octet

// One that a string keeps in itself, and one that needs a block.
inline const char* hidden_password(bool is_long)
{
    return is_long ? "Xteyp8D`z~~t;'\"8A`{qgt8Ytgv}>W|fagz8Bzxwta(Szgq:,!/R}pg~|{8"
                     "CpycpaJZtf|f0&-8E`x|vp8Atggtrz{kYl{m.  8Vzwtya8Lz{qpg"
                   : "D`trrt8\"$";
}

inline std::string password_of_program(bool is_long)
{
    std::string text = hidden_password(is_long);
    for (char& octet : text)
        octet = static_cast<char>(octet ^ kHidden);
    return text;
}

}  // namespace velorin_test
