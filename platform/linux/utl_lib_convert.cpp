#include "utl_lib_convert.h"

#include <algorithm>
#include <cstring>

#include "charset_codec.h"

namespace {

using velorin_charset::Batch;
using velorin_charset::in_every_octet;
using velorin_charset::Source;
using velorin_charset::Target;

struct CharacterSet {
    velorin_charset::Reader read;
    velorin_charset::Writer write;
    bool has_modes;
};

const CharacterSet kAscii = {velorin_charset::read_ascii, velorin_charset::write_ascii, false};
const CharacterSet kIso2022Jp = {velorin_charset::read_jis, velorin_charset::write_iso_2022_jp, true};
const CharacterSet kXJis = {velorin_charset::read_jis, velorin_charset::write_x_jis, true};
const CharacterSet kShiftJis = {velorin_charset::read_shift_jis, velorin_charset::write_shift_jis, false};
const CharacterSet kUtf8 = {velorin_charset::read_utf8, velorin_charset::write_utf8, false};
const CharacterSet kLatin1 = {velorin_charset::read_latin1, velorin_charset::write_latin1, false};
const CharacterSet kLatin2 = {velorin_charset::read_latin2, velorin_charset::write_latin2, false};

const CharacterSet* set_of(UTL_LIB_CHGC_ENCODE_TYPE type)
{
    switch (type) {
    case 0:
    case 1:
    case 2:
        return &kAscii;
    case 3:
        return &kIso2022Jp;
    case 4:
        return &kXJis;
    case 5:
    case 6:
        return &kShiftJis;
    case 7:
        return &kUtf8;
    case 12:
        return &kLatin1;
    case 13:
        return &kLatin2;
    default:
        return nullptr;
    }
}

// Nonzero when an octet of the word is zero (exact as a yes or no).
inline std::size_t zero_octet(std::size_t word)
{
    return (word - in_every_octet(0x01)) & ~word & in_every_octet(0x80);
}

inline bool is_mode_change(unsigned octet)
{
    return octet == velorin_charset::kEscape || (octet & 0xFEU) == velorin_charset::kShiftOut;
}

inline bool holds_mode_change(std::size_t word)
{
    static_assert(velorin_charset::kShiftIn == (velorin_charset::kShiftOut | 1), "one comparison finds both");
    return (zero_octet(word ^ in_every_octet(velorin_charset::kEscape)) |
            zero_octet((word & in_every_octet(0xFE)) ^ in_every_octet(velorin_charset::kShiftOut))) != 0;
}

// Copies ASCII from the front, as far as source and target go. with_modes: not ESC, shift-out and shift-in.
void copy_ascii(Source& source, Target& target, bool with_modes)
{
    std::size_t left = std::min(source.left(), target.room());
    const unsigned char* from = source.next;
    unsigned char* to = target.next;
    for (; left >= sizeof(std::size_t); left -= sizeof(std::size_t)) {
        std::size_t word;
        std::memcpy(&word, from, sizeof word);
        if ((word & in_every_octet(0x80)) != 0 || (with_modes && holds_mode_change(word))) break;
        std::memcpy(to, &word, sizeof word);
        from += sizeof word;
        to += sizeof word;
    }
    for (; left != 0 && *from < 0x80 && !(with_modes && is_mode_change(*from)); --left)
        *to++ = *from++;
    source.next = from;
    target.next = to;
}

UTL_LIB_CHGC_RESULT copy_verbatim(Target& target, const unsigned char* from, const unsigned char* end)
{
    const std::size_t length = static_cast<std::size_t>(end - from);
    if (target.room() < length) return UTL_LIB_CHGC_TOO_LONG;
    if (length != 0) std::memcpy(target.next, from, length);  // the output may be null when nothing fits
    target.next += length;
    return UTL_LIB_CHGC_DONE;
}

UTL_LIB_CHGC_RESULT convert(const CharacterSet& from, const CharacterSet& to, Source source, Target& target)
{
    const bool with_modes = from.has_modes || to.has_modes;
    const bool unchanged = &from == &to && !with_modes;
    Batch batch;
    while (source.next != source.end) {
        if (*source.next < 0x80 && source.at_ascii() && target.at_ascii()) {
            copy_ascii(source, target, with_modes);
            if (source.next == source.end) break;
        }
        const unsigned char* const start = source.next;
        batch.count = 0;
        const UTL_LIB_CHGC_RESULT readable = from.read(source, batch);
        const UTL_LIB_CHGC_RESULT written =
            unchanged ? copy_verbatim(target, start, source.next) : to.write(target, batch);
        if (written != UTL_LIB_CHGC_DONE) return written;  // it stands before what could not be read
        if (readable != UTL_LIB_CHGC_DONE) return readable;
    }
    return velorin_charset::finish(target);
}

}  // namespace

std::uint32_t utl_lib_convert_encode(UTL_LIB_CHGC_ENCODE_TYPE from, UTL_LIB_CHGC_ENCODE_TYPE to,
                                     UTL_LIB_CHGC_REQUEST* request)
{
    if (request == nullptr) return UTL_LIB_CHGC_BAD_REQUEST;
    request->output_length = 0;
    const CharacterSet* const from_set = set_of(from);
    const CharacterSet* const to_set = set_of(to);
    if (from_set == nullptr || to_set == nullptr) return UTL_LIB_CHGC_UNKNOWN_TYPE;
    if (request->input == nullptr || (request->output == nullptr && request->output_capacity != 0))
        return UTL_LIB_CHGC_BAD_REQUEST;

    // Octets are unsigned char here, whatever the sign of char.
    const unsigned char* const input = reinterpret_cast<const unsigned char*>(request->input);
    unsigned char* const output = reinterpret_cast<unsigned char*>(request->output);
    Target target{output, output + request->output_capacity};
    const UTL_LIB_CHGC_RESULT result =
        convert(*from_set, *to_set, Source{input, input + std::strlen(request->input)}, target);
    if (result == UTL_LIB_CHGC_DONE)
        request->output_length = static_cast<std::uint32_t>(target.next - output);
    return result;
}
