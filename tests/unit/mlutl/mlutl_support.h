// What the tests of the mail utilities and of the outgoing mail share.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "CutlCPLBMString.h"
#include "CutlCPLBOSBoundary.h"

namespace velorin_test {

// Octets in a heap block of exactly their length, no NUL behind them: the address sanitizer reports a read
// past their end.
class ExactCopy {
public:
    explicit ExactCopy(std::string_view octets);
    char* data() const { return block_.get(); }
    long length() const { return length_; }

private:
    std::unique_ptr<char[]> block_;
    long length_;
};

// The same with the NUL of a text behind them, and nothing after it.
class ExactText {
public:
    explicit ExactText(std::string_view text);
    char* data() const { return block_.get(); }
    long length() const { return length_; }

private:
    std::unique_ptr<char[]> block_;
    long length_;
};

// A block of the platform heap that the library handed over, freed here.
class Taken {
public:
    explicit Taken(void* block) : block_(block) {}
    ~Taken() { CutlCPLBOSBoundary::MemFree(block_); }
    Taken(const Taken&) = delete;
    Taken& operator=(const Taken&) = delete;
    std::string octets(long length) const { return std::string(text(), static_cast<std::size_t>(length)); }
    const char* text() const { return static_cast<const char*>(block_); }
    bool is_null() const { return block_ == nullptr; }

private:
    void* block_;
};

// A block of the platform heap that holds these octets, as a caller of the library makes one.
void* platform_block(std::string_view octets);

// The same sequence on every machine.
class PseudoRandom {
public:
    explicit PseudoRandom(std::uint32_t seed) : state_(seed) {}
    std::uint32_t next();
    std::uint32_t below(std::uint32_t limit) { return next() % limit; }
    char octet() { return static_cast<char>(static_cast<unsigned char>(below(256))); }
    std::string octets(std::size_t length);
    // `length` characters, each one of `alphabet`.
    std::string text(std::string_view alphabet, std::size_t length);

private:
    std::uint32_t state_;
};

// The octets of a string, or "(null)" for one without text.
std::string text_of(const CutlCPLBMString& string);

// Without the blanks, tabs, CR and LF at both ends.
std::string trimmed(std::string_view text);

// The base64 of the octets in one line, with padding.
std::string base64_of(std::string_view octets);

// A tag with the length of what follows it, and that: how the wire carries texts and messages below 128
// octets.
std::string field(int number, std::string_view octets);

}  // namespace velorin_test
