#pragma once

#include <memory>
#include <optional>
#include <string>

// One of ICU's converters, strict in both directions: what it cannot convert whole is no result.
//
// Where ICU is not at hand, its answers come from a file (icu_answers.cpp), which a run of the same tests with ICU has
// written down: VELORIN_ICU_ANSWERS names it in both.
class IcuOracle {
public:
    explicit IcuOracle(const char* name);
    ~IcuOracle();
    IcuOracle(const IcuOracle&) = delete;
    IcuOracle& operator=(const IcuOracle&) = delete;

    std::optional<std::u16string> read(const std::string& octets);
    std::optional<std::string> write(const std::u16string& text);

private:
    struct Converter;
    std::unique_ptr<Converter> converter_;
};

std::u16string nfkc_of(const std::u16string& text);  // compatibility composition

// utf16_text.cpp
std::string utf8_of(const std::u16string& text);
std::u16string utf16_of(const std::string& octets);  // of valid UTF-8
