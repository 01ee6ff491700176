// A question to ICU and its answer, as they stand in a line of the file of answers: three words, the octets in
// hexadecimal and behind an "x", so that none is empty; "-" is a refusal.
#pragma once

#include <optional>
#include <string>

#include "charset_support.h"

inline std::string octets_of_text(const std::u16string& text)
{
    std::string octets;
    for (const char16_t unit : text) {
        octets += static_cast<char>(static_cast<unsigned char>(unit >> 8));
        octets += static_cast<char>(static_cast<unsigned char>(unit & 0xFF));
    }
    return octets;
}

inline std::string word_of(const std::string& octets)
{
    static const char* const digits = "0123456789ABCDEF";
    std::string word = "x";
    for (const char c : octets) {
        const auto octet = static_cast<unsigned char>(c);
        word += digits[octet >> 4];
        word += digits[octet & 0xF];
    }
    return word;
}

constexpr char kRefusal[] = "-";
constexpr char kReadMark[] = "<";   // behind the name of a converter
constexpr char kWriteMark[] = ">";  // the same
constexpr char kNfkcName[] = "NFKC";
