// The character-code converter, from every type to every other.
//   input   the type of the text, the type wanted, the capacity, the text
#include <algorithm>
#include <string>

#include "fuzz_input.h"
#include "fuzz_property.h"
#include "utl_lib_convert.h"

namespace {

using namespace velorin_fuzz;
using Type = UTL_LIB_CHGC_ENCODE_TYPE;

constexpr Type kTypes[] = {0, 1, 2, 3, 4, 5, 6, 7, 12, 13};
constexpr Type kIso2022Jp = 3;
constexpr Type kXJis = 4;
constexpr Type kUtf8 = 7;
constexpr Type kNone = 8;         // of no set
constexpr std::size_t kMost = 8;  // octets that become of one

struct Converted {
    std::uint32_t result;
    std::string octets;
};

Converted convert(const std::string& text, Type from, Type to, std::size_t capacity)
{
    const ExactText in(text);
    const Exact out(std::string(capacity, '\x55'));
    UTL_LIB_CHGC_REQUEST request = {in.data(), out.data(), static_cast<std::uint32_t>(capacity), 0xFFFFFFFF};
    const std::uint32_t result = utl_lib_convert_encode(from, to, &request);
    require(result == UTL_LIB_CHGC_DONE || request.output_length == 0, "a failure hands nothing over");
    require(request.output_length <= capacity, "the result is within its capacity");
    require(result != UTL_LIB_CHGC_BAD_REQUEST, "there is nothing wrong with the request");
    return {result, std::string(out.data(), request.output_length)};
}

Converted convert(const std::string& text, Type from, Type to)
{
    const Converted converted = convert(text, from, to, kMost * text.size() + kMost);
    require(converted.result != UTL_LIB_CHGC_TOO_LONG, "there is room enough");
    return converted;
}

bool is_jis(Type type)
{
    return type == kIso2022Jp || type == kXJis;
}

// Seven bits, no shift, and ASCII at the end and at the ends of lines.
void check_jis(const std::string& octets)
{
    bool is_ascii = true;
    for (std::size_t at = 0; at < octets.size(); ++at) {
        const unsigned char octet = static_cast<unsigned char>(octets[at]);
        require(octet < 0x80 && octet != 0x0E && octet != 0x0F, "JIS is of seven bits, without shifts");
        if (octet == 0x1B) {
            require(at + 2 < octets.size(), "an escape is whole");
            is_ascii = octets.compare(at, 3, "\x1B(B") == 0;
            at += 2;
        }
        require(is_ascii || (octet != '\r' && octet != '\n'), "lines end in ASCII");
    }
    require(is_ascii, "the text ends in ASCII");
}

// As long as it is, the result fits; one octet less, and it does not.
void check_capacity(const std::string& text, Type from, Type to, const Converted& whole, std::size_t capacity)
{
    const Converted given = convert(text, from, to, capacity);
    if (whole.result != UTL_LIB_CHGC_DONE) {
        require(given.result == whole.result || given.result == UTL_LIB_CHGC_TOO_LONG,
                "the first obstacle counts");
        return;
    }
    const bool fits = capacity >= whole.octets.size();
    require(given.result == (fits ? UTL_LIB_CHGC_DONE : UTL_LIB_CHGC_TOO_LONG), "what fits is converted");
    require(!fits || given.octets == whole.octets, "the capacity changes nothing");
    require(convert(text, from, to, whole.octets.size()).octets == whole.octets,
            "the result fits its own length");
    if (!whole.octets.empty()) {
        require(convert(text, from, to, whole.octets.size() - 1).result == UTL_LIB_CHGC_TOO_LONG,
                "one octet less is too little");
    }
}

// What a set reads it writes, and what it wrote it reads as the same.
void check_back(const std::string& text, Type from)
{
    const Converted utf8 = convert(text, from, kUtf8);
    if (!is_jis(from))
        require(utf8.result == convert(text, from, from).result, "what is copied is what is read");
    if (utf8.result != UTL_LIB_CHGC_DONE) return;
    const Converted again = convert(utf8.octets, kUtf8, kUtf8);
    require(again.result == UTL_LIB_CHGC_DONE && again.octets == utf8.octets, "UTF-8 is valid");
    const Converted back = convert(utf8.octets, kUtf8, from);
    require(back.result == UTL_LIB_CHGC_DONE, "every character that was read has its place");
    Converted once_more = convert(back.octets, from, kUtf8);
    if (from == kIso2022Jp) {  // half-width kana were replaced, once
        const Converted full = convert(once_more.octets, kUtf8, from);
        require(full.octets == back.octets, "full-width kana stay");
        return;
    }
    require(once_more.octets == utf8.octets, "the characters are the same");
}

// Text before and behind a cut between characters, one after the other.
void check_cut(const std::string& text, Type from, Type to, const Converted& whole)
{
    if (is_jis(from) || is_jis(to)) return;
    const std::string front = text.substr(0, text.size() / 2);
    const Converted first = convert(front, from, to);
    const Converted second = convert(text.substr(front.size()), from, to);
    if (first.result != UTL_LIB_CHGC_DONE || second.result != UTL_LIB_CHGC_DONE) return;
    require(whole.result == UTL_LIB_CHGC_DONE && whole.octets == first.octets + second.octets,
            "a cut between characters changes nothing");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t size)
{
    Input input(octets, size);
    const Type from = kTypes[input.below(std::size(kTypes))];
    const Type to = kTypes[input.below(std::size(kTypes))];
    const std::size_t capacity = input.octet();
    const std::string rest = input.rest();
    const std::string text = rest.substr(0, rest.find('\0'));

    require(convert(text, from, kNone, capacity).result == UTL_LIB_CHGC_UNKNOWN_TYPE,
            "a set has to be known");
    const Converted whole = convert(text, from, to);
    if (whole.result == UTL_LIB_CHGC_DONE && is_jis(to)) check_jis(whole.octets);
    if (whole.result == UTL_LIB_CHGC_DONE && from == to && !is_jis(from))
        require(whole.octets == text, "a valid text is copied");
    check_capacity(text, from, to, whole, capacity);
    check_back(text, from);
    check_cut(text, from, to, whole);
    return 0;
}
