#pragma once

#include <string>

#include "CutlCPLBMString.h"

namespace velorin {

// A text that is null stays off the wire; an empty one is sent as empty.
inline bool has_text(const CutlCPLBMString& text)
{
    return text.GetString() != nullptr;
}

// True for a text with at least one octet.
inline bool has_octets(const CutlCPLBMString& text)
{
    return has_text(text) && text.GetString()[0] != '\0';
}

// The text up to its NUL; it is not null.
inline const char* text_of(const CutlCPLBMString& text)
{
    return text.GetString();
}

// Removes the white space at both ends.
inline void trim(CutlCPLBMString& text)
{
    text.TrimTop();
    text.TrimBottom();
}

// Takes a text off the wire, up to its first NUL: texts are NUL-terminated everywhere else.
inline void copy_text(CutlCPLBMString& text, const std::string& wire)
{
    text.CopyString(wire.c_str(), -1);
}

// Copies a text; null becomes `fallback`.
inline void copy_or(CutlCPLBMString& text, const CutlCPLBMString& source, const char* fallback)
{
    text.CopyString(has_text(source) ? source.GetString() : fallback, -1);
}

}  // namespace velorin
