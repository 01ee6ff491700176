#pragma once

#include "platform_api.h"

// A text of octets that is either absent (null) or present, perhaps empty: the two never turn into each
// other. Invariant: a text that is present has a NUL behind its last octet, which is not counted. A text given
// with a length may hold NUL octets. When memory runs out std::bad_alloc leaves and the string keeps the text
// it had. One string is used by one thread at a time; constant operations of one string may run at once.
class NTC_PLATFORM_API CutlCPLBMString {
public:
    CutlCPLBMString();  // no text

    //   in      text: up to the NUL; null: no text
    CutlCPLBMString(const char* text);

    //   in      text, length: as for CopyString
    CutlCPLBMString(const char* text, long length);

    CutlCPLBMString(const CutlCPLBMString& other);
    CutlCPLBMString& operator=(const CutlCPLBMString& other);
    ~CutlCPLBMString();

    // Replaces the text. `text` may be this string's own.
    //   in      text: null: no text
    //           length: octets taken, NULs among them; -1 (and any other negative value) up to the NUL
    void CopyString(const char* text, long length);

    // Appends a text; a string without text becomes that text. The text may be this string's own.
    //   in      up to the NUL; null, or a string without text, changes nothing
    CutlCPLBMString& operator+=(const char* text);
    CutlCPLBMString& operator+=(const CutlCPLBMString& other);  // the whole text, NULs among it

    void TrimTop();     // removes leading blanks, tabs, CR and LF; what was all of these is empty, not absent
    void TrimBottom();  // the same at the end
    void ToUpper();     // a to z only

    //   result  the text, valid until the string changes; null: no text
    const char* GetString() const;

    //   result  octets without the NUL; 0 when there is no text
    long GetLength() const;

private:
    NTC_PLATFORM_LOCAL void take(char* block, long capacity);
    NTC_PLATFORM_LOCAL void set_length(long length);
    NTC_PLATFORM_LOCAL void append(const char* text, long count);

    char* text_;  // null, the buffer that empty texts share, or a block of the heap
    long length_;
    long capacity_;  // octets that fit, the NUL aside
};
