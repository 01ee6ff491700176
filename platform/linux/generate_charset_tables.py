#!/usr/bin/env python3
"""Prints the tables of the character-code converter as C++ (included by charset_tables.cpp).

Source of every character: Python's codecs cp932 and iso8859_2. What the converter's arithmetic takes for granted
about them is checked here, so that another source cannot slip in unnoticed.
"""

import sys
import unicodedata

CELLS = 94
ROWS = 120  # lead octets 0x81 to 0x9F and 0xE0 to 0xFC, two rows each
USER_ROWS = range(95, 115)  # U+E000 on, by arithmetic

# Other Unicode names under which the same Japanese characters are known: (alias, name in code page 932).
ALIASES = (
    (0x301C, 0xFF5E),  # wave dash
    (0x2016, 0x2225),  # double vertical line
    (0x2212, 0xFF0D),  # minus sign
    (0x2014, 0x2015),  # dash
    (0x00A2, 0xFFE0),  # cent
    (0x00A3, 0xFFE1),  # pound
    (0x00A5, 0xFFE5),  # yen
    (0x00A6, 0xFFE4),  # broken bar
    (0x00AC, 0xFFE2),  # not
    (0x203E, 0xFFE3),  # overline
)


def shift_jis(row, cell):
    lead = 0x81 + (row - 1) // 2
    if lead > 0x9F:
        lead += 0x40
    if row % 2 == 0:
        trail = cell + 0x9E
    else:
        trail = cell + 0x3F + (1 if cell > 63 else 0)
    return bytes((lead, trail))


def unicode_of(row, cell):
    """The character of a cell, 0 when there is none."""
    try:
        text = shift_jis(row, cell).decode("cp932")
    except UnicodeDecodeError:
        return 0
    require(len(text) == 1 and ord(text) < 0x10000, "cell %d-%d is one character of the basic plane" % (row, cell))
    return ord(text)


def require(condition, what):
    if not condition:
        sys.exit("generate_charset_tables.py: the codec is not the expected one: " + what)


def print_array(kind, name, values, comment, per_line=16, width=6):
    print("// " + comment)
    print("const %s %s[%d] = {" % (kind, name, len(values)))
    for start in range(0, len(values), per_line):
        print("    " + ", ".join("0x%0*X" % (width - 2, value) for value in values[start:start + per_line]) + ",")
    print("};\n")


def check_cells(table):
    require(table[16][1] == 0x4E9C and table[84][6] == 0x7199, "JIS X 0208 from 16-1 to 84-6")
    require(table[4][2] == 0x3042 and table[13][1] == 0x2460, "hiragana in row 4, circled digits in row 13")
    for row in USER_ROWS:
        for cell in range(1, CELLS + 1):
            require(table[row][cell] == 0xE000 + (row - 95) * CELLS + cell - 1, "the user-defined rows are U+E000 on")
    nec = [table[row][cell] for row in range(89, 93) for cell in range(1, CELLS + 1)]
    ibm = [table[row][cell] for row in range(115, 120) for cell in range(1, CELLS + 1)]
    require(all(ibm[:388]) and not any(ibm[388:]), "IBM's extensions are 388")
    # charset_tables.h, ibm_from_nec, relies on these.
    require(nec[:360] == ibm[28:388], "the kanji of the NEC selection stand in IBM's order")
    require(nec[360:362] == [0, 0], "two cells are free behind them")
    require(nec[362:372] == ibm[0:10], "small Roman numerals end the NEC selection")
    require(nec[373:376] == ibm[21:24], "with broken bar and two quotation marks")


def check_single_octets():
    for octet in range(0x80):
        require(bytes((octet,)).decode("cp932") == chr(octet), "the lower half is ASCII")
    for octet in range(0xA1, 0xE0):
        require(bytes((octet,)).decode("cp932") == chr(0xFF61 + octet - 0xA1), "0xA1 to 0xDF are half-width kana")


def row_tables(table):
    """Rows that hold something, and for every row which of them it is; slot 0 is the empty row."""
    slots, rows = [0] * (ROWS + 1), [[0] * CELLS]
    for row in range(1, ROWS + 1):
        if row in USER_ROWS or not any(table[row]):
            continue
        slots[row] = len(rows)
        rows.append(table[row][1:])
    print_array("std::uint8_t", "kRowSlot", slots, "Row to slot; slot 0 is empty.", width=4)
    print_array("std::uint16_t", "kCellUnicode", [value for row in rows for value in row],
                "94 cells a slot: the character, 0 for none.")


def reverse_tables(table):
    """Character to row * 256 + cell: pages of 16 blocks, a block of 16 characters is a bit set and where its cells begin."""
    cells = {}
    for row in range(1, ROWS + 1):  # of a character that stands twice, the lower row is the one to write
        if row in USER_ROWS:
            continue
        for cell in range(1, CELLS + 1):
            if table[row][cell]:
                cells.setdefault(table[row][cell], row * 256 + cell)
    require(max(cells.values()) >> 8 <= 92, "what IBM's rows hold stands in a lower row, too")
    for alias, name in ALIASES:
        require(alias not in cells, "U+%04X is an alias only" % alias)
        cells[alias] = cells[name]
    require(all(0x80 <= character < 0xFF61 or character > 0xFF9F for character in cells), "single octets stay apart")

    page_slots, blocks, places = [0] * 256, [(0, 0)] * 16, []
    for page in range(256):
        if not any((character >> 8) == page for character in cells):
            continue
        page_slots[page] = len(blocks) // 16
        for block in range(16):
            first = page * 256 + block * 16
            bits = sum(1 << bit for bit in range(16) if first + bit in cells)
            blocks.append((bits, len(places)))
            places += [cells[first + bit] for bit in range(16) if first + bit in cells]
    print_array("std::uint8_t", "kPageSlot", page_slots, "High octet to page; page 0 is empty.", width=4)
    print("// 16 blocks a page: which of 16 characters have a cell, and where in kPlace the first of them is.")
    print("const CharacterBlock kBlock[%d] = {" % len(blocks))
    for start in range(0, len(blocks), 6):
        print("    " + ", ".join("{0x%04X, %d}" % block for block in blocks[start:start + 6]) + ",")
    print("};\n")
    print_array("std::uint16_t", "kPlace", places, "Row * 256 + cell.")
    return cells


def kana_table(cells):
    wide = []
    for character in range(0xFF61, 0xFFA0):
        # The compatibility forms of the two sound marks are combining; the marks that stand alone are meant.
        full = {0xFF9E: "\u309B", 0xFF9F: "\u309C"}.get(character) or unicodedata.normalize("NFKC", chr(character))
        require(len(full) == 1 and ord(full) in cells, "U+%04X has a full-width form" % character)
        wide.append(cells[ord(full)])
    for kana, (place, voiced) in {0xFF76: (0x050B, "\u30AC"), 0xFF8A: (0x052F, "\u30D0"), 0xFF73: (0x0506, "\u30F4")}.items():
        require(wide[kana - 0xFF61] == place and ord(voiced) in cells, "katakana of row 5")
    print_array("std::uint16_t", "kWideKana", wide, "U+FF61 to U+FF9F: place of the full-width form.")


def latin2_tables():
    upper = [ord(bytes((octet,)).decode("iso8859_2")) for octet in range(0xA0, 0x100)]
    for octet in range(0xA0):
        require(bytes((octet,)).decode("iso8859_2") == chr(octet), "ISO 8859-2 begins as ISO 8859-1")
    near, far = [0] * (0x180 - 0xA0), [0] * (0x2E0 - 0x2C0)
    for octet, character in enumerate(upper, 0xA0):
        if 0xA0 <= character < 0x180:
            near[character - 0xA0] = octet
        else:
            require(0x2C0 <= character < 0x2E0, "U+%04X of ISO 8859-2 is in the tables' reach" % character)
            far[character - 0x2C0] = octet
    print_array("std::uint16_t", "kLatin2Unicode", upper, "ISO 8859-2, 0xA0 to 0xFF.")
    print_array("std::uint8_t", "kLatin2Near", near, "U+00A0 to U+017F: the octet of ISO 8859-2, 0 for none.", width=4)
    print_array("std::uint8_t", "kLatin2Far", far, "U+02C0 to U+02DF.", width=4)


def main():
    check_single_octets()
    table = [[0] * (CELLS + 1)] + [[0] + [unicode_of(row, cell) for cell in range(1, CELLS + 1)]
                                   for row in range(1, ROWS + 1)]
    check_cells(table)
    print("// Generated by generate_charset_tables.py from Python's codecs cp932 and iso8859_2.\n")
    row_tables(table)
    kana_table(reverse_tables(table))
    latin2_tables()


main()
