// An input, read from its front: first the arguments of a call, an octet each, then texts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace velorin_fuzz {

// Reading on behind the end gives zeros and empty texts.
class Input {
public:
    Input(const std::uint8_t* octets, std::size_t size);

    unsigned octet();
    // A number from an octet: that of a digit, so that seeds can be written by hand, else the octet's. Below `limit`.
    unsigned below(unsigned limit);
    // A number from two octets, the first the high one.
    int number(int lowest, int highest);
    // Up to the next line feed, which is skipped, or the end.
    std::string line();
    // As many octets as there are of them.
    std::string octets(std::size_t count);
    // What is left.
    std::string rest();
    bool is_at_end() const { return left_.empty(); }

private:
    std::string_view left_;
};

// Octets in a heap block of exactly their length, no NUL behind them: the address sanitizer reports a read past their
// end.
class Exact {
public:
    explicit Exact(std::string_view octets);
    char* data() const { return block_.get(); }
    long length() const { return length_; }

private:
    std::unique_ptr<char[]> block_;
    long length_;
};

// The same for a text: its octets up to the first NUL, and a NUL behind them.
class ExactText {
public:
    explicit ExactText(std::string_view text);
    char* data() const { return block_.get(); }
    long length() const { return length_; }
    std::string_view view() const { return {block_.get(), static_cast<std::size_t>(length_)}; }

private:
    std::unique_ptr<char[]> block_;
    long length_;
};

}  // namespace velorin_fuzz
