// The cut rule of Japanese text. A text that the converter reads is cut wherever a caller may want it: its pieces, each
// begun in the mode that the cut before it tells, read as the whole.
//   input   the character set, the octets wanted at a time, the text
#include <algorithm>
#include <cstring>
#include <optional>
#include <string>

#include "CntsMLUTLMailPart.h"
#include "fuzz_input.h"
#include "fuzz_platform.h"
#include "fuzz_property.h"
#include "utl_lib_convert.h"

namespace {

using velorin::CntsMLUTLMailPart;
using velorin::CntsMLUTLMailType;
using namespace velorin_fuzz;

constexpr UTL_LIB_CHGC_ENCODE_TYPE kTypeJis = 4;
constexpr UTL_LIB_CHGC_ENCODE_TYPE kTypeShiftJis = 5;
constexpr UTL_LIB_CHGC_ENCODE_TYPE kTypeUtf8 = 7;

// What begins each mode, by its number; those that the converter does not read are left out.
constexpr const char* kModes[] = {"", "\x1B(J", "\x1B(I", "\x1B$@", "\x1B$B"};

struct Cut {
    long at;
    int mode;
};

CntsMLUTLMailPart part_of(unsigned set, bool is_text, bool is_last)
{
    CntsMLUTLMailPart part;
    part.m_eCharSet = static_cast<CntsMLUTLMailType::eCharSet>(set);
    part.m_eContentType =
        is_text ? CntsMLUTLMailType::eContentTypeTextPlain : CntsMLUTLMailType::eContentTypeApplicationPdf;
    part.m_bIsTerminate = is_last ? 1 : 0;
    return part;
}

// Whether octets are an escape, whole or the end of the text.
bool is_escape(const std::string& octets)
{
    return octets[0] == '\x1B' && (octets.size() <= 3 || octets == "\x1B$(D" || octets == "\x1B&@\x1B$B");
}

// Whether what lies between the octets wanted and the cut behind them is the rest of an escape, a return to ASCII, or
// both.
bool is_escape_behind(const std::string& text, std::size_t wanted, std::size_t at)
{
    if (at > text.size()) return false;
    if (at >= wanted + 3 && text.compare(at - 3, 3, "\x1B(B") == 0) at -= 3;
    if (at == wanted) return true;
    for (std::size_t begin = at - std::min<std::size_t>(at, 6); begin < wanted; ++begin) {
        if (is_escape(text.substr(begin, at - begin))) return true;
    }
    return false;
}

Cut cut(CntsMLUTLMailPart& part, const std::string& text, long wanted, bool is_body)
{
    const ExactText exact(text);
    long at = wanted;
    const int mode = part.AdjustMultiByteCode(exact.data(), at, is_body ? 1 : 0);
    require(mode >= 0 && mode <= 6, "a mode is one of the table");
    require(at >= 0, "a cut is not negative");
    const long most = std::max(wanted, 0L);
    require(at <= most ||
                is_escape_behind(text, static_cast<std::size_t>(most), static_cast<std::size_t>(at)),
            "a cut lies at most an escape and a return to ASCII behind what was wanted");
    return {at, mode};
}

std::optional<std::string> to_utf8(const std::string& text, UTL_LIB_CHGC_ENCODE_TYPE type)
{
    std::string out(3 * text.size() + 8, '\0');
    UTL_LIB_CHGC_REQUEST request = {text.c_str(), &out[0], static_cast<std::uint32_t>(out.size()), 0};
    if (utl_lib_convert_encode(type, kTypeUtf8, &request) != 0) return std::nullopt;
    return out.substr(0, request.output_length);
}

// Whether the cut rule knows all that the converter takes from a text for a change of mode or a character, and it ends in
// ASCII. A control octet between pairs is a character of the converter's, and half a pair of the rule's.
bool is_known_jis(const std::string& text)
{
    std::string mode = "\x1B(B";
    for (std::size_t at = 0; at < text.size(); ++at) {
        const unsigned char octet = static_cast<unsigned char>(text[at]);
        if (octet >= 0x80 || octet == 0x0E || octet == 0x0F) return false;
        const bool is_single = mode == "\x1B(B" || mode == kModes[1];
        if (octet != 0x1B && !is_single && (octet < 0x21 || octet > 0x7E)) return false;
        if (octet != 0x1B) continue;
        mode = text.substr(at, 3);
        const bool is_ascii = mode == "\x1B(B";
        if (!is_ascii && std::find(std::begin(kModes) + 1, std::end(kModes), mode) == std::end(kModes))
            return false;
        at += 2;
    }
    return mode == "\x1B(B";
}

// Takes pieces of a text until nothing is left, the way an application sends one, and reads each by itself.
std::optional<std::string> read_in_pieces(std::string text, unsigned set, long wanted,
                                          UTL_LIB_CHGC_ENCODE_TYPE type)
{
    CntsMLUTLMailPart part = part_of(set, true, true);
    std::string read;
    long more = 0;  // when nothing could be taken
    while (!text.empty()) {
        const long length = static_cast<long>(text.size());
        const Cut piece = cut(part, text, std::min(wanted + more, length), true);
        require(piece.at <= length, "a cut lies in the text");
        require(wanted + more <= length || piece.at > 0, "all of a text can be taken");
        const std::string mode = type == kTypeJis ? kModes[piece.mode] : "";
        const std::string left = mode + text.substr(static_cast<std::size_t>(piece.at));
        if (left.size() >= text.size()) {  // not even a character behind its switch
            require(wanted + more <= length, "all of a text can be taken");
            ++more;
            continue;
        }
        more = 0;
        const std::optional<std::string> octets =
            to_utf8(text.substr(0, static_cast<std::size_t>(piece.at)), type);
        require(octets.has_value(), "every piece reads by itself");
        read += *octets;
        text = piece.at == length ? "" : left;
    }
    return read;
}

void check_pieces(const std::string& text, unsigned set, long wanted)
{
    const bool is_jis = set == 5 || set == 6;
    if (is_jis && !is_known_jis(text)) return;
    const UTL_LIB_CHGC_ENCODE_TYPE type = is_jis ? kTypeJis : kTypeShiftJis;
    const std::optional<std::string> whole = to_utf8(text, type);
    if (whole) require(read_in_pieces(text, set, wanted, type) == whole, "pieces read as the whole");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t size)
{
    Input input(octets, size);
    const unsigned set = input.below(14);
    const int wanted = input.number(-1, 400);
    const std::string rest = input.rest();
    const std::string text = rest.substr(0, rest.find('\0'));
    const long length = static_cast<long>(text.size());

    const Platform platform;
    for (const bool is_last : {false, true}) {
        CntsMLUTLMailPart part = part_of(set, true, is_last);
        const Cut body = cut(part, text, wanted, true);
        const Cut any = cut(part, text, wanted, false);
        require(wanted > length || body.at <= length, "a cut lies in the text");
        require(wanted > length || any.at <= length, "a cut lies in the text");
        CntsMLUTLMailPart other = part_of(set, false, is_last);
        require(cut(other, text, wanted, true).at == std::max(wanted, 0), "only text is cut with care");
    }
    if (set >= 5 && set <= 9) check_pieces(text, set, std::max(wanted, 1));
    return 0;
}
