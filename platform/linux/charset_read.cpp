#include "charset_codec.h"

#include "charset_tables.h"

namespace velorin_charset {

namespace {

// ASCII below 0x80 everywhere; above it the set's own rule. Three sets of single octets share this shape.
template <typename Upper>
inline UTL_LIB_CHGC_RESULT read_octets(Source& source, Batch& batch, Upper upper)
{
    for (; source.next != source.end && !batch.full(); ++source.next) {
        const unsigned octet = *source.next;
        if (octet >= 0x80) {
            if (!upper(octet)) return UTL_LIB_CHGC_MALFORMED;
        } else {
            if (batch.count != 0 && ascii_word_ahead(source)) break;
            batch.add(octet);
        }
    }
    return UTL_LIB_CHGC_DONE;
}

inline bool is_continuation(unsigned octet)
{
    return (octet & 0xC0U) == 0x80U;
}

// Octets of the multi-octet character at the front, 0 when it is malformed (RFC 3629, section 4).
inline unsigned read_utf8_character(const unsigned char* octet, std::size_t left, char32_t& character)
{
    const unsigned first = octet[0];
    if (first >= 0xE0 && first <= 0xEF) {
        if (left < 3 || !is_continuation(octet[1]) || !is_continuation(octet[2])) return 0;
        character = (first & 0x0FU) << 12 | (octet[1] & 0x3FU) << 6 | (octet[2] & 0x3FU);
        return character >= 0x800 && (character < 0xD800 || character > 0xDFFF) ? 3 : 0;
    }
    if (first >= 0xC2 && first <= 0xDF) {
        if (left < 2 || !is_continuation(octet[1])) return 0;
        character = (first & 0x1FU) << 6 | (octet[1] & 0x3FU);
        return 2;
    }
    if (first >= 0xF0 && first <= 0xF4) {
        if (left < 4 || !is_continuation(octet[1]) || !is_continuation(octet[2]) ||
            !is_continuation(octet[3]))
            return 0;
        character =
            (first & 0x07U) << 18 | (octet[1] & 0x3FU) << 12 | (octet[2] & 0x3FU) << 6 | (octet[3] & 0x3FU);
        return character >= 0x10000 && character <= 0x10FFFF ? 4 : 0;
    }
    return 0;
}

inline bool is_shift_jis_lead(unsigned octet)
{
    return (octet >= 0x81 && octet <= 0x9F) || (octet >= 0xE0 && octet <= 0xFC);
}

inline bool is_shift_jis_trail(unsigned octet)
{
    return octet >= 0x40 && octet <= 0xFC && octet != 0x7F;
}

// The character of a valid lead and trail, 0 when there is none.
inline char32_t shift_jis_character(unsigned lead, unsigned trail)
{
    unsigned row = (lead - (lead < 0xA0 ? 0x81U : 0xC1U)) * 2U + 1U;
    unsigned cell = trail - (trail < 0x80 ? 0x3FU : 0x40U);
    if (cell > kCellsPerRow) {
        cell -= kCellsPerRow;
        ++row;
    }
    if (row - kFirstUserRow < kUserCells / kCellsPerRow)
        return kFirstUserDefined + (row - kFirstUserRow) * kCellsPerRow + cell - 1U;
    return unicode_of_cell(row, cell);
}

// 0x21 to 0x7E: what JIS has graphic characters at.
inline bool is_graphic(unsigned octet)
{
    return octet - 0x21U <= 0x7EU - 0x21U;
}

// Consumes the escape sequence at the front. False: there is none that is known.
bool read_escape(Source& source)
{
    const unsigned char* const octet = source.next;
    const std::size_t left = source.left();
    if (left >= 4 && octet[1] == '$' && octet[2] == '(') {
        if (octet[3] == '@' || octet[3] == 'B')
            source.mode = Mode::kKanji;
        else if (octet[3] == 'D')
            source.mode = Mode::kSupplement;
        else
            return false;
        source.next += 4;
        return true;
    }
    if (left < 3) return false;
    const unsigned last = octet[2];
    if (octet[1] == '(' && (last == 'B' || last == 'J' || last == 'H'))  // H: what old software wrote for J
        source.mode = Mode::kAscii;
    else if (octet[1] == '(' && last == 'I')
        source.mode = Mode::kKana;
    else if (octet[1] == '$' && (last == '@' || last == 'B'))
        source.mode = Mode::kKanji;
    else if (octet[1] != '&' || last != '@')  // & @ announces a revision of the set that ESC $ B then selects
        return false;
    source.next += 3;
    return true;
}

// The pairs at the front, in two-octet mode, up to an octet that is none.
UTL_LIB_CHGC_RESULT read_pairs(Source& source, Batch& batch)
{
    while (source.next != source.end && is_graphic(*source.next) && !batch.full()) {
        if (source.left() < 2 || !is_graphic(source.next[1])) return UTL_LIB_CHGC_MALFORMED;
        if (source.mode == Mode::kSupplement) return UTL_LIB_CHGC_NO_PLACE;
        const char32_t character = unicode_of_cell(source.next[0] - 0x20U, source.next[1] - 0x20U);
        if (character == 0) return UTL_LIB_CHGC_MALFORMED;
        batch.add(character);
        source.next += 2;
    }
    return UTL_LIB_CHGC_DONE;
}

}  // namespace

UTL_LIB_CHGC_RESULT read_ascii(Source& source, Batch& batch)
{
    return read_octets(source, batch, [](unsigned) { return false; });
}

UTL_LIB_CHGC_RESULT read_latin1(Source& source, Batch& batch)
{
    return read_octets(source, batch, [&batch](unsigned octet) {
        batch.add(octet);
        return true;
    });
}

UTL_LIB_CHGC_RESULT read_latin2(Source& source, Batch& batch)
{
    return read_octets(source, batch, [&batch](unsigned octet) {
        batch.add(octet < 0xA0 ? octet : kLatin2Unicode[octet - 0xA0U]);
        return true;
    });
}

UTL_LIB_CHGC_RESULT read_utf8(Source& source, Batch& batch)
{
    while (source.next != source.end && !batch.full()) {
        if (*source.next < 0x80) {
            if (batch.count != 0 && ascii_word_ahead(source)) break;
            batch.add(*source.next++);
            continue;
        }
        char32_t character = 0;
        const unsigned length = read_utf8_character(source.next, source.left(), character);
        if (length == 0) return UTL_LIB_CHGC_MALFORMED;
        batch.add(character);
        source.next += length;
    }
    return UTL_LIB_CHGC_DONE;
}

UTL_LIB_CHGC_RESULT read_shift_jis(Source& source, Batch& batch)
{
    while (source.next != source.end && !batch.full()) {
        const unsigned octet = *source.next;
        if (octet < 0x80) {
            if (batch.count != 0 && ascii_word_ahead(source)) break;
            batch.add(octet);
            ++source.next;
        } else if (is_shift_jis_lead(octet)) {
            if (source.left() < 2 || !is_shift_jis_trail(source.next[1])) return UTL_LIB_CHGC_MALFORMED;
            const char32_t character = shift_jis_character(octet, source.next[1]);
            if (character == 0) return UTL_LIB_CHGC_MALFORMED;
            batch.add(character);
            source.next += 2;
        } else if (octet >= 0xA1 && octet <= 0xDF) {
            batch.add(kFirstHalfKana + (octet - 0xA1U));
            ++source.next;
        } else {
            return UTL_LIB_CHGC_MALFORMED;
        }
    }
    return UTL_LIB_CHGC_DONE;
}

UTL_LIB_CHGC_RESULT read_jis(Source& source, Batch& batch)
{
    while (source.next != source.end && !batch.full()) {
        const unsigned octet = *source.next;
        const bool in_pairs = source.mode >= Mode::kKanji && !source.shifted;
        if (is_graphic(octet)) {
            if (in_pairs) {
                const UTL_LIB_CHGC_RESULT result = read_pairs(source, batch);
                if (result != UTL_LIB_CHGC_DONE) return result;
                continue;
            }
            if (source.at_ascii()) {
                if (batch.count != 0 && ascii_word_ahead(source)) break;
                batch.add(octet);
            } else {
                if (octet > 0x5F) return UTL_LIB_CHGC_MALFORMED;
                batch.add(kFirstHalfKana + (octet - 0x21U));
            }
        } else if (octet == kEscape) {
            if (!read_escape(source)) return UTL_LIB_CHGC_MALFORMED;
            continue;
        } else if (octet == kShiftOut || octet == kShiftIn) {
            source.shifted = octet == kShiftOut;
        } else if (octet >= 0x80) {
            if (in_pairs || octet < 0xA1 || octet > 0xDF) return UTL_LIB_CHGC_MALFORMED;
            batch.add(kFirstHalfKana + (octet - 0xA1U));
        } else {
            batch.add(octet);
            if (octet == '\r' ||
                octet == '\n') {  // RFC 1468: a line ends in ASCII, even if its writer forgot
                source.mode = Mode::kAscii;
                source.shifted = false;
            }
        }
        ++source.next;
    }
    return UTL_LIB_CHGC_DONE;
}

}  // namespace velorin_charset
