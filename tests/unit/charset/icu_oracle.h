#pragma once

#include <optional>
#include <string>

#include <unicode/ucnv.h>

// One of ICU's converters, strict in both directions: what it cannot convert whole is no result.
class IcuOracle {
public:
    explicit IcuOracle(const char* name);
    ~IcuOracle();
    IcuOracle(const IcuOracle&) = delete;
    IcuOracle& operator=(const IcuOracle&) = delete;

    std::optional<std::u16string> read(const std::string& octets);
    std::optional<std::string> write(const std::u16string& text);

private:
    UConverter* converter_;
};

std::string utf8_of(const std::u16string& text);
std::u16string utf16_of(const std::string& octets);  // of valid UTF-8
std::u16string nfkc_of(const std::u16string& text);  // compatibility composition
