// The cut rule for multibyte text: no piece ends inside a character or in a mode switch that nothing follows.
#include "CntsMLUTLMailPart.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace velorin {

namespace {

constexpr char kEscape = '\x1B';
constexpr long kReturnToAscii = 3;  // octets of ESC ( B

// ISO-2022-JP modes, as AdjustMultiByteCode reports them.
constexpr int kModeAscii = 0;
constexpr int kModeKeepsWidth = 5;

struct EscapeSequence {
    const char* octets;
    long length;
    int mode;
    bool is_double_byte;  // not looked at for kModeKeepsWidth
};

// In the order in which they are tried.
constexpr EscapeSequence kEscapeSequences[] = {
    {"\x1B(B", 3, kModeAscii, false},
    {"\x1B(J", 3, 1, false},
    {"\x1B(I", 3, 2, false},
    {"\x1B$@", 3, 3, true},
    {"\x1B$B", 3, 4, true},
    {"\x1B&@\x1B$B", 6, kModeKeepsWidth, false},  // before its own beginning
    {"\x1B&@", 3, kModeKeepsWidth, false},
    {"\x1B$(D", 4, 6, true},
};
constexpr EscapeSequence kOtherSequence = {"", 3, kModeAscii, false};

// True when `octets` stand at `position` of the first `end` octets of the text.
bool stands_at(const char* text, long end, long position, const char* octets, long length)
{
    return position >= 0 && length <= end - position &&
           std::memcmp(text + position, octets, static_cast<std::size_t>(length)) == 0;
}

const EscapeSequence& sequence_at(const char* text, long length, long position)
{
    for (const EscapeSequence& sequence : kEscapeSequences) {
        if (stands_at(text, length, position, sequence.octets, sequence.length)) return sequence;
    }
    return kOtherSequence;
}

// What is in force at a position of ISO-2022-JP text.
struct JisState {
    int mode = kModeAscii;
    int mode_before = kModeAscii;  // before the last escape sequence
    long escape_begin = -1;        // of the last escape sequence
    long escape_end = -1;
    bool is_double_byte = false;
};

struct JisCut {
    long position;
    JisState state;
};

// The first place at or behind `wanted` where the text may be cut, or the place before the pair that `wanted`
// splits.
JisCut find_jis_cut(const char* text, long length, long wanted)
{
    JisState state;
    JisState before_pair;
    long pair_begin = -1;
    bool is_in_pair = false;
    long position = 0;
    while (position < wanted && position < length) {
        if (text[position] != kEscape) {
            if (state.is_double_byte && !is_in_pair) {
                is_in_pair = true;
                pair_begin = position;
                before_pair = state;
            } else {
                is_in_pair = false;
            }
            ++position;
        } else {
            if (position + 2 >= length) return {length, state};
            const EscapeSequence& sequence = sequence_at(text, length, position);
            state.mode_before = state.mode;
            state.mode = sequence.mode;
            state.escape_begin = position;
            position += sequence.length;
            state.escape_end = position;
            if (sequence.mode != kModeKeepsWidth) {
                state.is_double_byte = sequence.is_double_byte;
                is_in_pair = false;
            }
        }
        if (position >= wanted && is_in_pair) return {pair_begin, before_pair};
    }
    return {position, state};
}

// Octets to leave to the next piece because the piece ends in the switch to its mode.
long trailing_switch(const char* text, const JisCut& cut)
{
    if (cut.state.escape_end != cut.position) return 0;
    if (cut.state.mode != kModeKeepsWidth) return cut.state.escape_end - cut.state.escape_begin;
    long left = cut.position;
    if (stands_at(text, left, left - 6, "\x1B&@\x1B$B", 6)) left -= 6;
    if (stands_at(text, left, left - 3, "\x1B&@", 3)) left -= 3;
    return cut.position - left;
}

int adjust_jis(const char* text, long& cut_at, bool may_take_all)
{
    const long length = static_cast<long>(std::strlen(text));
    const bool ends_in_ascii = stands_at(text, length, length - kReturnToAscii, "\x1B(B", kReturnToAscii);
    if (!may_take_all) {
        if (length < kReturnToAscii) {
            cut_at = 0;
            return kModeAscii;
        }
        if (cut_at >= length - 2) {
            cut_at =
                length - kReturnToAscii;  // room for a closing ESC ( B, which may come with the next piece
            if (ends_in_ascii) {
                cut_at = length;
                return kModeAscii;
            }
        }
    }
    JisCut cut = find_jis_cut(text, length, cut_at);
    if (cut.position == length && ends_in_ascii) {  // taken whole, or the caller would be offered it for ever
        cut_at = length;
        return kModeAscii;
    }
    if (stands_at(text, length, cut.position, "\x1B(B", kReturnToAscii)) {
        cut_at = cut.position + kReturnToAscii;
        return kModeAscii;
    }
    const long left_over = trailing_switch(text, cut);
    cut_at = std::max(cut.position - left_over, 0L);
    return left_over > 0 ? cut.state.mode_before : cut.state.mode;
}

bool is_sjis_lead(unsigned char octet)
{
    return (octet >= 0x81 && octet <= 0x9F) || (octet >= 0xE0 && octet <= 0xFC);
}

void adjust_sjis(const char* text, long& cut_at, bool may_take_all)
{
    bool is_lead = false;
    long position = 0;
    for (; position < cut_at && text[position] != '\0'; ++position) {
        const unsigned char octet = static_cast<unsigned char>(text[position]);
        is_lead = !is_lead && is_sjis_lead(octet);  // behind a lead octet anything ends the character
    }
    const bool is_whole = position < cut_at;
    if (is_lead && (!is_whole || !may_take_all)) --cut_at;
}

}  // namespace

int CntsMLUTLMailPart::AdjustMultiByteCode(const char* text, long& nCut, int bBodyMode)
{
    using Type = CntsMLUTLMailType;
    nCut = std::max(nCut, 0L);
    const bool is_text =
        m_eContentType == Type::eContentTypeTextPlain || m_eContentType == Type::eContentTypeTextHtml;
    if (bBodyMode != 0 && !is_text) return kModeAscii;
    if (text == nullptr) text = "";
    const bool may_take_all = bBodyMode == 0 || m_bIsTerminate != 0;
    switch (m_eCharSet) {
    case Type::eCharSetIso2022Jp:
    case Type::eCharSetXJis:
        return adjust_jis(text, nCut, may_take_all);
    case Type::eCharSetShiftJis:
    case Type::eCharSetXSjis:
    case Type::eCharSetMsKanji:
        if (nCut >= 1) adjust_sjis(text, nCut, may_take_all);
        return kModeAscii;
    default:
        return kModeAscii;
    }
}

}  // namespace velorin
