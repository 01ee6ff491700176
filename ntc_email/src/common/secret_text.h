#pragma once

#include <cstddef>
#include <cstring>
#include <string>

#include "CutlCPLBMString.h"

namespace velorin {

// Overwrites octets that were a password, so that neither the heap nor the stack keeps it. What nobody reads any
// more may not be left out by the compiler.
inline void wipe_octets(void* octets, std::size_t count)
{
    void* (*volatile const fill)(void*, int, std::size_t) = std::memset;
    fill(octets, 0, count);
}

// Empties a text, its block overwritten.
inline void wipe(std::string& text)
{
    text.resize(text.capacity());  // a longer one may have stood there before
    wipe_octets(&text[0], text.size());
    text.clear();
}

// Overwrites a text before its block goes back to the heap. The platform's texts only show what they hold; the
// block is the text's own, and no constant.
inline void wipe(CutlCPLBMString& text)
{
    if (text.GetLength() <= 0) return;
    wipe_octets(const_cast<char*>(text.GetString()), static_cast<std::size_t>(text.GetLength()));
}

// Puts a password on the wire without a copy of it on the way; it is not null.
inline void put_secret(std::string& wire, const CutlCPLBMString& text)
{
    wire.assign(text.GetString());
}

// Copies a text over another one, of which nothing stays behind.
inline void copy_secret(CutlCPLBMString& text, const CutlCPLBMString& source)
{
    wipe(text);
    text = source;
}

}  // namespace velorin
