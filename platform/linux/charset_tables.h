// Tables of code page 932 and ISO 8859-2 (generated), and the arithmetic around them. A character of code
// page 932 is named by its place, row * 256 + cell, both from 1. Rows 1 to 94 are those of JIS; 95 to 120
// exist in Shift_JIS only.
#pragma once

#include <cstdint>

#pragma GCC visibility push(hidden)  // reached directly, not through the global offset table

namespace velorin_charset {

struct CharacterBlock {
    std::uint16_t bits;   // bit n: the block's character n has a place
    std::uint16_t first;  // where in kPlace the places of this block begin
};

extern const std::uint8_t kRowSlot[121];
extern const std::uint16_t kCellUnicode[];
extern const std::uint8_t kPageSlot[256];
extern const CharacterBlock kBlock[];
extern const std::uint16_t kPlace[];
extern const std::uint16_t kWideKana[63];
extern const std::uint16_t kLatin2Unicode[96];
extern const std::uint8_t kLatin2Near[224];
extern const std::uint8_t kLatin2Far[32];

constexpr unsigned kCellsPerRow = 94;
constexpr char32_t kFirstHalfKana = 0xFF61;
constexpr char32_t kLastHalfKana = 0xFF9F;
constexpr char32_t kFirstUserDefined = 0xE000;  // cells of rows 95 to 114
constexpr unsigned kFirstUserRow = 95;
constexpr unsigned kUserCells = 20 * kCellsPerRow;

inline bool is_half_kana(char32_t character)
{
    return character - kFirstHalfKana <= kLastHalfKana - kFirstHalfKana;
}

// The character of a cell, 0 when there is none. Row 1 to 120, cell 1 to 94; not for the user-defined rows.
inline char32_t unicode_of_cell(unsigned row, unsigned cell)
{
    return kCellUnicode[kRowSlot[row] * kCellsPerRow + (cell - 1)];
}

// The place to write a character at, 0 when it has none. Never past row 92; ASCII, half-width kana and
// user-defined characters have none.
inline unsigned place_of(char32_t character)
{
    if (character > 0xFFFF) return 0;
    const CharacterBlock& block = kBlock[kPageSlot[character >> 8] * 16U + ((character >> 4) & 15U)];
    const unsigned bit = 1U << (character & 15U);
    if ((block.bits & bit) == 0) return 0;
    unsigned below = block.bits & (bit - 1U);  // counted in place: not every device has an instruction for it
    below -= (below >> 1) & 0x5555U;
    below = (below & 0x3333U) + ((below >> 2) & 0x3333U);
    below = (below + (below >> 4)) & 0x0F0FU;
    return kPlace[block.first + ((below + (below >> 8)) & 0x1FU)];
}

// A place in the NEC selection (rows 89 to 92) as IBM's own rows have it, which Shift_JIS writers use.
inline unsigned ibm_from_nec(unsigned place)
{
    unsigned index = ((place >> 8) - 89U) * kCellsPerRow + (place & 0xFFU) - 1U;
    if (index < 360)  // kanji
        index += 28;
    else if (index < 372)  // small Roman numerals, after two free cells
        index -= 362;
    else  // the signs at the end
        index -= 352;
    return ((115U + index / kCellsPerRow) << 8) + index % kCellsPerRow + 1U;
}

// The place of a half-width kana and the mark behind it as one full-width character; 0: they stay apart.
inline unsigned joined_kana(char32_t kana, char32_t mark)
{
    const unsigned place = kWideKana[kana - kFirstHalfKana];
    const bool h_column = kana >= 0xFF8A && kana <= 0xFF8E;
    if (mark == 0xFF9F) return h_column ? place + 2U : 0U;
    if (mark != 0xFF9E) return 0;
    if (kana == 0xFF73) return 0x0554;  // u becomes vu, far from it
    return h_column || (kana >= 0xFF76 && kana <= 0xFF84) ? place + 1U : 0U;
}

}  // namespace velorin_charset

#pragma GCC visibility pop
