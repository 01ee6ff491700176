// Readers and writers, one for each character set. A conversion goes in batches: a reader turns octets into
// Unicode characters, a writer turns those into octets. Six readers and seven writers thus serve all pairs,
// and no call is made per character.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "utl_lib_convert.h"

namespace velorin_charset {

enum class Mode : std::uint8_t { kAscii, kKana, kKanji, kSupplement };  // kSupplement: JIS X 0212, read only

constexpr unsigned char kEscape = 0x1B;
constexpr unsigned char kShiftOut = 0x0E;
constexpr unsigned char kShiftIn = 0x0F;

// What is left to read. The mode and the shift belong to JIS; elsewhere they stay as they begin.
struct Source {
    const unsigned char* next;
    const unsigned char* end;
    Mode mode = Mode::kAscii;
    bool shifted = false;  // by shift-out: kana whatever the mode

    std::size_t left() const { return static_cast<std::size_t>(end - next); }
    bool at_ascii() const { return mode == Mode::kAscii && !shifted; }
};

// What is left to fill. The mode and the kana belong to JIS.
struct Target {
    unsigned char* next;
    unsigned char* end;
    Mode mode = Mode::kAscii;
    char32_t held_kana = 0;  // half-width, not written yet because a sound mark may follow

    std::size_t room() const { return static_cast<std::size_t>(end - next); }
    bool at_ascii() const { return mode == Mode::kAscii && held_kana == 0; }
};

struct Batch {
    static constexpr std::size_t kSize = 256;  // 1 KiB of stack
    std::size_t count;
    char32_t character[kSize];

    bool full() const { return count == kSize; }
    void add(char32_t value) { character[count++] = value; }
};

// Every octet of a machine word the same.
constexpr std::size_t in_every_octet(unsigned char value)
{
    return static_cast<std::size_t>(-1) / 0xFFU * value;
}

// Readers end a batch where a word of ASCII stands ahead: the caller copies such runs without any batch.
inline bool ascii_word_ahead(const Source& source)
{
    if (source.left() < sizeof(std::size_t)) return false;
    std::size_t word;
    std::memcpy(&word, source.next, sizeof word);
    return (word & in_every_octet(0x80)) == 0;
}

// Fills an empty batch as far as it goes and moves on in the source, by one octet at least unless it fails.
//   result  UTL_LIB_CHGC_DONE, or what is wrong behind the characters that are in the batch
using Reader = UTL_LIB_CHGC_RESULT (*)(Source& source, Batch& batch);
UTL_LIB_CHGC_RESULT read_ascii(Source& source, Batch& batch);
UTL_LIB_CHGC_RESULT read_latin1(Source& source, Batch& batch);
UTL_LIB_CHGC_RESULT read_latin2(Source& source, Batch& batch);
UTL_LIB_CHGC_RESULT read_utf8(Source& source, Batch& batch);
UTL_LIB_CHGC_RESULT read_shift_jis(Source& source, Batch& batch);
UTL_LIB_CHGC_RESULT read_jis(Source& source, Batch& batch);

// Writes a whole batch.
//   result  UTL_LIB_CHGC_DONE, UTL_LIB_CHGC_NO_PLACE or UTL_LIB_CHGC_TOO_LONG
using Writer = UTL_LIB_CHGC_RESULT (*)(Target& target, const Batch& batch);
UTL_LIB_CHGC_RESULT write_ascii(Target& target, const Batch& batch);
UTL_LIB_CHGC_RESULT write_latin1(Target& target, const Batch& batch);
UTL_LIB_CHGC_RESULT write_latin2(Target& target, const Batch& batch);
UTL_LIB_CHGC_RESULT write_utf8(Target& target, const Batch& batch);
UTL_LIB_CHGC_RESULT write_shift_jis(Target& target, const Batch& batch);
UTL_LIB_CHGC_RESULT write_iso_2022_jp(Target& target, const Batch& batch);
UTL_LIB_CHGC_RESULT write_x_jis(Target& target, const Batch& batch);

// Ends a text: writes a kana that is held back and returns to ASCII. Nothing to do outside JIS.
UTL_LIB_CHGC_RESULT finish(Target& target);

}  // namespace velorin_charset
