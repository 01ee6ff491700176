// What the properties of the utilities share: generators, and the operations as functions of octets. A failure
// of an operation is no result; the blocks handed over are freed here.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include <rapidcheck.h>

#include <rapidcheck/gtest.h>  // needs both

#include "CntsMLUTLMailType.h"

namespace velorin_test {

using CharSet = velorin::CntsMLUTLMailType::eCharSet;
using Characters = std::vector<std::string>;  // each in UTF-8

constexpr CharSet kUtf8 = velorin::CntsMLUTLMailType::eCharSetUtf8;

// Octets of every value, as many at most as the size of the case; without NUL where a text ends at one.
rc::Gen<std::string> any_octets();
rc::Gen<std::string> any_text();
rc::Gen<std::string> octets_of_length(std::size_t length);

// A number from `first` to `last`, none of them more likely, whatever the size of the case.
rc::Gen<int> number(int first, int last);

// A place to cut a text of this length at, its ends included.
std::size_t any_cut(std::size_t length);

// One of the eleven character sets, or one of those of Japanese mail but UTF-8.
rc::Gen<CharSet> any_set();
rc::Gen<CharSet> any_japanese_set();

// Characters that the set holds and gives back as they were. No line ends among them.
const Characters& alphabet_of(CharSet set);
rc::Gen<Characters> any_characters(const Characters& alphabet);

std::string joined(const Characters& characters, std::string_view separator = "");

// Without the CR LF between lines.
std::vector<std::string> lines_of(const std::string& text);

std::optional<std::string> converted(CharSet from, std::string_view text, CharSet to);
std::string to_utf8(CharSet from, std::string_view text);  // of a text that converts

std::optional<std::string> to_base64(std::string_view octets, int line);
std::optional<std::string> from_base64(std::string_view text);
std::string to_quoted_printable(std::string_view text, int line);
std::string from_quoted_printable(std::string_view text);
std::optional<std::string> to_words(CharSet set, std::string_view utf8, int line);
std::string encoded_header(std::string_view block, CharSet set);

struct Decoded {
    std::string octets;
    int set;
};
Decoded decoded_header(std::string_view text, int set_before = -1);

// How ToMimeEncode cuts: octets of UTF-8 a word, and whether there is a word of one line at all.
struct WordBudget {
    WordBudget(CharSet set, std::size_t length, int line);
    bool is_folded;
    std::size_t chunk;
};

}  // namespace velorin_test
