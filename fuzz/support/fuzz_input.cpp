#include "fuzz_input.h"

#include <algorithm>

namespace velorin_fuzz {

Input::Input(const std::uint8_t* octets, std::size_t size)
    : left_(reinterpret_cast<const char*>(octets), size)
{
}

unsigned Input::octet()
{
    if (left_.empty()) return 0;
    const unsigned char octet = static_cast<unsigned char>(left_.front());
    left_.remove_prefix(1);
    return octet;
}

unsigned Input::below(unsigned limit)
{
    const unsigned value = octet();
    return (value >= '0' && value <= '9' ? value - '0' : value) % limit;
}

int Input::number(int lowest, int highest)
{
    const unsigned high = octet();
    const unsigned value = high << 8 | octet();
    return lowest + static_cast<int>(value % static_cast<unsigned>(highest - lowest + 1));
}

std::string Input::line()
{
    const std::size_t end = std::min(left_.find('\n'), left_.size());
    const std::string line(left_.substr(0, end));
    left_.remove_prefix(std::min(end + 1, left_.size()));
    return line;
}

std::string Input::octets(std::size_t count)
{
    const std::string octets(left_.substr(0, count));
    left_.remove_prefix(octets.size());
    return octets;
}

std::string Input::rest()
{
    const std::string rest(left_);
    left_ = {};
    return rest;
}

Exact::Exact(std::string_view octets)
    : block_(new char[octets.size()]), length_(static_cast<long>(octets.size()))
{
    std::copy(octets.begin(), octets.end(), block_.get());
}

ExactText::ExactText(std::string_view text)
{
    text = text.substr(0, text.find('\0'));
    block_ = std::make_unique<char[]>(text.size() + 1);
    length_ = static_cast<long>(text.size());
    std::copy(text.begin(), text.end(), block_.get());
}

}  // namespace velorin_fuzz
