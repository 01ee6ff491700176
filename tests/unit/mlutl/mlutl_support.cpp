#include "mlutl_support.h"

#include <algorithm>
#include <new>
#include <stdexcept>

namespace velorin_test {
namespace {

std::unique_ptr<char[]> copy_of(std::string_view octets, std::size_t size)
{
    std::unique_ptr<char[]> block(new char[size]);
    std::copy(octets.begin(), octets.end(), block.get());
    return block;
}

}  // namespace

ExactCopy::ExactCopy(std::string_view octets)
    : block_(copy_of(octets, octets.size())), length_(static_cast<long>(octets.size()))
{
}

ExactText::ExactText(std::string_view text)
    : block_(copy_of(text, text.size() + 1)), length_(static_cast<long>(text.size()))
{
    block_[text.size()] = '\0';
}

void* platform_block(std::string_view octets)
{
    void* const block = CutlCPLBOSBoundary::MemAllocate(octets.size());
    if (block == nullptr) throw std::bad_alloc();
    std::copy(octets.begin(), octets.end(), static_cast<char*>(block));
    return block;
}

std::uint32_t PseudoRandom::next()
{
    state_ ^= state_ << 13;  // Marsaglia's xorshift with 32 bits of state
    state_ ^= state_ >> 17;
    state_ ^= state_ << 5;
    return state_ >> 3;
}

std::string PseudoRandom::octets(std::size_t length)
{
    std::string result(length, '\0');
    for (char& c : result)
        c = octet();
    return result;
}

std::string PseudoRandom::text(std::string_view alphabet, std::size_t length)
{
    std::string result(length, '\0');
    for (char& c : result)
        c = alphabet[below(static_cast<std::uint32_t>(alphabet.size()))];
    return result;
}

std::string text_of(const CutlCPLBMString& string)
{
    if (string.GetString() == nullptr) return "(null)";
    return std::string(string.GetString(), static_cast<std::size_t>(string.GetLength()));
}

std::string trimmed(std::string_view text)
{
    const std::size_t begin = text.find_first_not_of(" \t\r\n");
    if (begin == std::string_view::npos) return std::string();
    return std::string(text.substr(begin, text.find_last_not_of(" \t\r\n") - begin + 1));
}

// Six bits at a time.
std::string base64_of(std::string_view octets)
{
    constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t i = 0; i < octets.size(); i += 3) {
        unsigned group = 0;
        for (std::size_t k = 0; k < 3; ++k)
            group = group << 8 | (i + k < octets.size() ? static_cast<unsigned char>(octets[i + k]) : 0u);
        for (int shift = 18; shift >= 0; shift -= 6)
            text += kAlphabet[group >> shift & 63];
        if (i + 1 >= octets.size()) text[text.size() - 2] = '=';
        if (i + 2 >= octets.size()) text[text.size() - 1] = '=';
    }
    return text;
}

std::string field(int number, std::string_view octets)
{
    if (number > 15 || octets.size() > 127)
        throw std::invalid_argument("more than one octet of tag or length");
    std::string result;
    result += static_cast<char>(number * 8 + 2);
    result += static_cast<char>(octets.size());
    result += octets;
    return result;
}

}  // namespace velorin_test
