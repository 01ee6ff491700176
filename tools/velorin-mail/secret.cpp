#include "secret.h"

#include <cstring>

#include "CutlCPLBMString.h"

namespace velorin::cli {

Secret::Secret() : octets_(kCapacity + 1, '\0') {}

Secret::~Secret()
{
    clear();
}

bool Secret::assign(const char* text, std::size_t length)
{
    if (length > kCapacity) return false;
    clear();
    std::memcpy(octets_.data(), text, length);
    length_ = length;
    return true;
}

void Secret::clear()
{
    wipe(octets_.data(), octets_.size());
    length_ = 0;
}

bool Secret::has_control() const
{
    for (std::size_t i = 0; i < length_; ++i) {
        const auto octet = static_cast<unsigned char>(octets_[i]);
        if (octet < 0x20 || octet == 0x7F) return true;
    }
    return false;
}

void wipe(void* octets, std::size_t length)
{
    explicit_bzero(octets, length);
}

void wipe(CutlCPLBMString& text)
{
    // The string owns its text and hands it out for reading only; there is no other way to the octets before
    // they go back to the heap.
    if (text.GetString() != nullptr && text.GetLength() > 0)
        wipe(const_cast<char*>(text.GetString()), static_cast<std::size_t>(text.GetLength()));
}

}  // namespace velorin::cli
