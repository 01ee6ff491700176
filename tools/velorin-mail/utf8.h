#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace velorin::cli {

// The octets of the character that stands at `text` (RFC 3629: shortest form, no surrogates, up to U+10FFFF).
//   in      left: octets from there on
//   result  1 to 4; 0 when no whole character stands there
std::size_t utf8_width(const char* text, std::size_t left);

// The character of `width` octets, which utf8_width gave.
std::uint32_t utf8_character(const char* text, std::size_t width);

// Whether a text cut off at its end may go on to be one character: a lead octet and too few others behind it.
//   in      left: octets, 1 to 3
bool utf8_is_begun(const char* text, std::size_t left);

// Whether a whole text is UTF-8.
bool is_utf8(const std::string& text);

// The octets of the front of a text that goes on, up to where no character is split.
std::size_t whole_utf8(const std::string& text);

// Whether a character is a half-width sound mark.
bool utf8_is_sound_mark(const char* text, std::size_t width);

// The octets of the character that stands at `text` and of the sound marks behind it: in ISO-2022-JP a half-width kana
// and its mark are one character.
//   in      left: octets from there on, valid UTF-8
std::size_t utf8_unit(const char* text, std::size_t left);

}  // namespace velorin::cli
