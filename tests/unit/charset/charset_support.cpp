#include "charset_support.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <ostream>

#include <gtest/gtest.h>

const std::vector<int> kAllTypes = {0, 1, 2, 3, 4, 5, 6, 7, 12, 13};

bool operator==(const Converted& left, const Converted& right)
{
    return left.result == right.result && left.octets == right.octets;
}

std::ostream& operator<<(std::ostream& stream, const Converted& converted)
{
    return stream << "result " << converted.result << ", octets" << hex_of(converted.octets);
}

Converted convert_into(int from, int to, const std::string& text, std::size_t capacity)
{
    const std::unique_ptr<char[]> input(new char[text.size() + 1]);
    std::memcpy(input.get(), text.c_str(), text.size() + 1);
    const std::unique_ptr<char[]> output(capacity != 0 ? new char[capacity] : nullptr);
    UTL_LIB_CHGC_REQUEST request = {input.get(), output.get(), static_cast<std::uint32_t>(capacity), 0xDEAD};
    const std::uint32_t result = utl_lib_convert_encode(from, to, &request);
    EXPECT_LE(request.output_length, capacity);
    if (result != UTL_LIB_CHGC_DONE) {
        EXPECT_EQ(request.output_length, 0U) << "after failure " << result;
    }
    EXPECT_EQ(request.output, output.get());
    EXPECT_EQ(request.output_capacity, capacity);
    return {result,
            request.output_length != 0 ? std::string(output.get(), request.output_length) : std::string()};
}

Converted convert(int from, int to, const std::string& text)
{
    // The longest result: every octet a pair of its own mode, or three octets of UTF-8.
    const Converted converted = convert_into(from, to, text, text.size() * 8 + 8);
    if (converted.result != UTL_LIB_CHGC_DONE) return converted;
    EXPECT_EQ(convert_into(from, to, text, converted.octets.size()), converted) << from << " to " << to;
    if (!converted.octets.empty()) {
        EXPECT_EQ(convert_into(from, to, text, converted.octets.size() - 1), failed(UTL_LIB_CHGC_TOO_LONG))
            << from << " to " << to << hex_of(text);
    }
    return converted;
}

std::string utf8_of(char32_t character)
{
    std::string octets;
    const auto add = [&octets](char32_t octet) {
        octets += static_cast<char>(static_cast<unsigned char>(octet));
    };
    if (character < 0x80) {
        add(character);
    } else if (character < 0x800) {
        add(0xC0 + character / 64);
        add(0x80 + character % 64);
    } else if (character < 0x10000) {
        add(0xE0 + character / 4096);
        add(0x80 + character / 64 % 64);
        add(0x80 + character % 64);
    } else {
        add(0xF0 + character / 262144);
        add(0x80 + character / 4096 % 64);
        add(0x80 + character / 64 % 64);
        add(0x80 + character % 64);
    }
    return octets;
}

std::string octets_of(std::uint32_t code)
{
    std::string octets;
    for (int shift = 16; shift >= 0; shift -= 8)
        if (code >> shift != 0) octets += static_cast<char>(static_cast<unsigned char>(code >> shift & 0xFF));
    return octets;
}

std::string hex_of(const std::string& octets)
{
    std::string text;
    for (const char octet : octets) {
        char digits[4];
        std::snprintf(digits, sizeof digits, " %02X",
                      static_cast<unsigned>(static_cast<unsigned char>(octet)));
        text += digits;
    }
    return text;
}
