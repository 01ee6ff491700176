#include "character_walk.h"

#include <algorithm>

#include "piece_cutter.h"

namespace velorin::service {
namespace {

unsigned value_at(std::string_view text, std::size_t at)
{
    return at < text.size() ? static_cast<unsigned char>(text[at]) : 0;
}

bool is_jis_octet(unsigned value)
{
    return value >= 0x21 && value <= 0x7E;
}

// Of the UTF-8 character that the text begins with; 1 when it begins with none.
std::size_t utf8_length(std::string_view text)
{
    const unsigned lead = value_at(text, 0);
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC2 ? 2 : 1;
    for (std::size_t at = 1; at < length; ++at)
        if ((value_at(text, at) & 0xC0) != 0x80) return 1;
    return length;
}

std::size_t shift_jis_length(std::string_view text)
{
    const unsigned lead = value_at(text, 0);
    const unsigned trail = value_at(text, 1);
    const bool leads = (lead >= 0x81 && lead <= 0x9F) || (lead >= 0xE0 && lead <= 0xFC);
    return leads && trail >= 0x40 && trail <= 0xFC && trail != 0x7F ? 2 : 1;
}

}  // namespace

void CharacterWalk::step()
{
    const std::string_view passed = character();
    if (!passed.empty() && passed[0] == '\x1B') {
        const bool wide = passed.find('$') != std::string_view::npos;
        mode_ = wide ? Mode::wide : passed == "\x1B(I" ? Mode::kana : Mode::ascii;
    }
    at_ += length_;
    measure();
}

void CharacterWalk::measure()
{
    const std::string_view rest = text_.substr(std::min(at_, text_.size()));
    const unsigned value = value_at(rest, 0);
    is_ascii_ = false;
    length_ = std::min<std::size_t>(1, rest.size());
    if (rest.empty()) return;
    if (value == 0x1B) {
        length_ = std::min(escape_length(rest), rest.size());
    } else if (value >= 0x80) {
        length_ = utf8_length(rest);
        if (length_ == 1) length_ = shift_jis_length(rest);
    } else if (mode_ == Mode::wide && is_jis_octet(value) && is_jis_octet(value_at(rest, 1))) {
        length_ = 2;
    } else {
        is_ascii_ = mode_ == Mode::ascii || !is_jis_octet(value);
    }
}

std::size_t find_ascii(std::string_view text, char octet, std::size_t at)
{
    CharacterWalk walk(text, at);
    while (!walk.over() && walk.octet() != octet)
        walk.step();
    return std::min(walk.at(), text.size());
}

}  // namespace velorin::service
