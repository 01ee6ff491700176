#include "charset_codec.h"

#include "charset_tables.h"

namespace velorin_charset {

namespace {

// One octet a character; octet_of gives it, or 0 for a character with no place (NUL never occurs in a text).
template <typename OctetOf>
inline UTL_LIB_CHGC_RESULT write_octets(Target& target, const Batch& batch, OctetOf octet_of)
{
    for (std::size_t index = 0; index < batch.count; ++index) {
        const unsigned octet = octet_of(batch.character[index]);
        if (octet == 0) return UTL_LIB_CHGC_NO_PLACE;
        if (target.next == target.end) return UTL_LIB_CHGC_TOO_LONG;
        *target.next++ = static_cast<unsigned char>(octet);
    }
    return UTL_LIB_CHGC_DONE;
}

inline bool put(Target& target, unsigned octet)
{
    if (target.next == target.end) return false;
    *target.next++ = static_cast<unsigned char>(octet);
    return true;
}

inline bool put(Target& target, unsigned first, unsigned second)
{
    if (target.room() < 2) return false;
    target.next[0] = static_cast<unsigned char>(first);
    target.next[1] = static_cast<unsigned char>(second);
    target.next += 2;
    return true;
}

inline bool put_shift_jis(Target& target, unsigned row, unsigned cell)
{
    unsigned lead = 0x81U + (row - 1U) / 2U;
    if (lead > 0x9F) lead += 0x40U;
    unsigned trail = cell + (row % 2 == 0 ? 0x9EU : 0x3FU);
    if (row % 2 != 0 && trail >= 0x7F) ++trail;
    return put(target, lead, trail);
}

inline bool enter(Target& target, Mode mode)
{
    if (target.mode == mode) return true;
    if (target.room() < 3) return false;
    target.next[0] = kEscape;
    target.next[1] = mode == Mode::kKanji ? '$' : '(';
    target.next[2] = mode == Mode::kKana ? 'I' : 'B';
    target.next += 3;
    target.mode = mode;
    return true;
}

inline bool put_pair(Target& target, unsigned place)
{
    return enter(target, Mode::kKanji) && put(target, (place >> 8) + 0x20U, (place & 0xFFU) + 0x20U);
}

inline bool put_held_kana(Target& target)
{
    if (target.held_kana == 0) return true;
    const char32_t kana = target.held_kana;
    target.held_kana = 0;
    return put_pair(target, kWideKana[kana - kFirstHalfKana]);
}

// What a JIS text would take for a change of mode.
inline bool is_jis_control(char32_t character)
{
    return character == kEscape || character == kShiftOut || character == kShiftIn;
}

template <bool keep_half_kana>
UTL_LIB_CHGC_RESULT write_jis(Target& target, const Batch& batch)
{
    for (std::size_t index = 0; index < batch.count; ++index) {
        const char32_t character = batch.character[index];
        bool fits = true;
        if (!keep_half_kana && target.held_kana != 0) {
            const unsigned joined = joined_kana(target.held_kana, character);
            if (joined != 0) {
                target.held_kana = 0;
                if (!put_pair(target, joined)) return UTL_LIB_CHGC_TOO_LONG;
                continue;
            }
            if (!put_held_kana(target)) return UTL_LIB_CHGC_TOO_LONG;
        }
        if (character < 0x80) {
            if (is_jis_control(character)) return UTL_LIB_CHGC_NO_PLACE;
            fits = enter(target, Mode::kAscii) && put(target, character);
        } else if (is_half_kana(character)) {
            if (keep_half_kana)
                fits = enter(target, Mode::kKana) && put(target, character - kFirstHalfKana + 0x21U);
            else
                target.held_kana = character;
        } else {
            const unsigned place = place_of(character);
            if (place == 0) return UTL_LIB_CHGC_NO_PLACE;
            fits = put_pair(target, place);
        }
        if (!fits) return UTL_LIB_CHGC_TOO_LONG;
    }
    return UTL_LIB_CHGC_DONE;
}

}  // namespace

UTL_LIB_CHGC_RESULT write_ascii(Target& target, const Batch& batch)
{
    return write_octets(target, batch, [](char32_t character) { return character < 0x80 ? character : 0U; });
}

UTL_LIB_CHGC_RESULT write_latin1(Target& target, const Batch& batch)
{
    return write_octets(target, batch, [](char32_t character) { return character < 0x100 ? character : 0U; });
}

UTL_LIB_CHGC_RESULT write_latin2(Target& target, const Batch& batch)
{
    return write_octets(target, batch, [](char32_t character) -> unsigned {
        if (character < 0xA0) return character;
        if (character < 0x180) return kLatin2Near[character - 0xA0U];
        if (character >= 0x2C0 && character < 0x2E0) return kLatin2Far[character - 0x2C0U];
        return 0;
    });
}

UTL_LIB_CHGC_RESULT write_utf8(Target& target, const Batch& batch)
{
    for (std::size_t index = 0; index < batch.count; ++index) {
        const char32_t character = batch.character[index];
        const unsigned length = character < 0x80 ? 1 : character < 0x800 ? 2 : character < 0x10000 ? 3 : 4;
        if (target.room() < length) return UTL_LIB_CHGC_TOO_LONG;
        const auto trailing = [character](unsigned shift) {
            return static_cast<unsigned char>(0x80U | ((character >> shift) & 0x3FU));
        };
        unsigned char* const octet = target.next;
        if (length == 3) {
            octet[0] = static_cast<unsigned char>(0xE0U | character >> 12);
            octet[1] = trailing(6);
            octet[2] = trailing(0);
        } else if (length == 1) {
            octet[0] = static_cast<unsigned char>(character);
        } else if (length == 2) {
            octet[0] = static_cast<unsigned char>(0xC0U | character >> 6);
            octet[1] = trailing(0);
        } else {
            octet[0] = static_cast<unsigned char>(0xF0U | character >> 18);
            octet[1] = trailing(12);
            octet[2] = trailing(6);
            octet[3] = trailing(0);
        }
        target.next += length;
    }
    return UTL_LIB_CHGC_DONE;
}

UTL_LIB_CHGC_RESULT write_shift_jis(Target& target, const Batch& batch)
{
    for (std::size_t index = 0; index < batch.count; ++index) {
        const char32_t character = batch.character[index];
        bool fits = true;
        if (character < 0x80) {
            fits = put(target, character);
        } else if (is_half_kana(character)) {
            fits = put(target, character - kFirstHalfKana + 0xA1U);
        } else if (character - kFirstUserDefined < kUserCells) {
            const unsigned cell = character - kFirstUserDefined;
            fits = put_shift_jis(target, kFirstUserRow + cell / kCellsPerRow, cell % kCellsPerRow + 1U);
        } else {
            unsigned place = place_of(character);
            if (place == 0) return UTL_LIB_CHGC_NO_PLACE;
            if (place >= 89U << 8) place = ibm_from_nec(place);
            fits = put_shift_jis(target, place >> 8, place & 0xFFU);
        }
        if (!fits) return UTL_LIB_CHGC_TOO_LONG;
    }
    return UTL_LIB_CHGC_DONE;
}

UTL_LIB_CHGC_RESULT write_iso_2022_jp(Target& target, const Batch& batch)
{
    return write_jis<false>(target, batch);
}

UTL_LIB_CHGC_RESULT write_x_jis(Target& target, const Batch& batch)
{
    return write_jis<true>(target, batch);
}

UTL_LIB_CHGC_RESULT finish(Target& target)
{
    return put_held_kana(target) && enter(target, Mode::kAscii) ? UTL_LIB_CHGC_DONE : UTL_LIB_CHGC_TOO_LONG;
}

}  // namespace velorin_charset
