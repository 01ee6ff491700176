#pragma once

#include <cstddef>
#include <string_view>

namespace velorin::service {

// Walks through a header text as it came, character by character: an octet of an ISO-2022-JP or Shift_JIS character
// that looks like a quote, a backslash or a separator is not taken for one. Begins in US-ASCII.
class CharacterWalk {
public:
    explicit CharacterWalk(std::string_view text, std::size_t at = 0) : text_(text), at_(at) { measure(); }

    bool over() const { return at_ >= text_.size(); }
    std::size_t at() const { return at_; }
    // The character, or escape sequence, that the walk stands before.
    std::string_view character() const { return text_.substr(at_, length_); }
    // The same where it is one octet of US-ASCII; NUL for any other.
    char octet() const { return is_ascii_ ? text_[at_] : '\0'; }
    void step();

private:
    enum class Mode { ascii, kana, wide };

    void measure();

    std::string_view text_;
    std::size_t at_;
    std::size_t length_ = 0;
    bool is_ascii_ = false;
    Mode mode_ = Mode::ascii;
};

// The first `octet` of US-ASCII at or behind `at`, where the text is in US-ASCII; the end of the text when there is
// none.
std::size_t find_ascii(std::string_view text, char octet, std::size_t at);

}  // namespace velorin::service
