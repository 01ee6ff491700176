#include "CutlCPLBMString.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <limits>
#include <new>

namespace {

// Octets one text can have, so that its length fits a long and its block a size.
constexpr long kMaxLength = std::numeric_limits<long>::max() - 1;

// Octets of a block that stays with its string whatever short text comes next; a longer one does not outlive a text
// of less than half its size.
constexpr long kKeptRoom = 256;

// Octets that a text which is appended to gets at least: little comes alone.
constexpr long kLeastRoom = 63;

long length_of(const char* text)
{
    const std::size_t length = std::strlen(text);
    if (length > static_cast<std::size_t>(kMaxLength)) throw std::bad_alloc();
    return static_cast<long>(length);
}

// What all empty texts without room share: many are empty, and none of them is worth a block. Nobody writes to it.
const char kEmptyText = '\0';

char* new_text(long capacity)
{
    return capacity == 0 ? const_cast<char*>(&kEmptyText) : new char[static_cast<std::size_t>(capacity) + 1];
}

void free_text(const char* text)
{
    if (text != &kEmptyText) delete[] text;
}

void copy_octets(char* to, const char* from, long count)
{
    if (count > 0) std::memcpy(to, from, static_cast<std::size_t>(count));
}

bool is_trimmed(char octet)
{
    return octet == ' ' || octet == '\t' || octet == '\r' || octet == '\n';
}

}  // namespace

CutlCPLBMString::CutlCPLBMString() : text_(nullptr), length_(0), capacity_(0) {}

CutlCPLBMString::CutlCPLBMString(const char* text) : CutlCPLBMString()
{
    CopyString(text, -1);
}

CutlCPLBMString::CutlCPLBMString(const char* text, long length) : CutlCPLBMString()
{
    CopyString(text, length);
}

CutlCPLBMString::CutlCPLBMString(const CutlCPLBMString& other) : CutlCPLBMString()
{
    CopyString(other.GetString(), other.GetLength());
}

CutlCPLBMString& CutlCPLBMString::operator=(const CutlCPLBMString& other)
{
    if (this != &other) CopyString(other.GetString(), other.GetLength());
    return *this;
}

CutlCPLBMString::~CutlCPLBMString()
{
    free_text(text_);
}

void CutlCPLBMString::CopyString(const char* text, long length)
{
    if (text == nullptr) {
        take(nullptr, 0);
        length_ = 0;
        return;
    }
    const long count = length < 0 ? length_of(text) : length;
    if (count > kMaxLength) throw std::bad_alloc();
    if (text_ == nullptr || count > capacity_ || (capacity_ > kKeptRoom && count < capacity_ / 2)) {
        char* const fresh = new_text(count);
        copy_octets(fresh, text, count);  // before the old block goes: `text` may lie in it
        take(fresh, count);
    } else if (count > 0) {
        std::memmove(text_, text, static_cast<std::size_t>(count));
    }
    set_length(count);
}

CutlCPLBMString& CutlCPLBMString::operator+=(const char* text)
{
    if (text == nullptr) return *this;
    append(text, length_of(text));
    return *this;
}

CutlCPLBMString& CutlCPLBMString::operator+=(const CutlCPLBMString& other)
{
    const char* const text = other.GetString();
    if (text == nullptr) return *this;
    append(text, other.GetLength());
    return *this;
}

void CutlCPLBMString::TrimTop()
{
    long first = 0;
    while (first < length_ && is_trimmed(text_[first]))
        ++first;
    if (first == 0) return;
    length_ -= first;
    std::memmove(text_, text_ + first, static_cast<std::size_t>(length_) + 1);
}

void CutlCPLBMString::TrimBottom()
{
    if (text_ == nullptr) return;
    long length = length_;
    while (length > 0 && is_trimmed(text_[length - 1]))
        --length;
    set_length(length);
}

void CutlCPLBMString::ToUpper()
{
    for (long index = 0; index < length_; ++index) {
        char& octet = text_[index];
        if (octet >= 'a' && octet <= 'z') octet = static_cast<char>(octet - 'a' + 'A');
    }
}

const char* CutlCPLBMString::GetString() const
{
    return text_;
}

long CutlCPLBMString::GetLength() const
{
    return length_;
}

// Has another block from now on.
void CutlCPLBMString::take(char* block, long capacity)
{
    free_text(text_);
    text_ = block;
    capacity_ = capacity;
}

void CutlCPLBMString::set_length(long length)
{
    length_ = length;
    if (capacity_ > 0) text_[length] = '\0';
}

void CutlCPLBMString::append(const char* text, long count)
{
    if (count > kMaxLength - length_) throw std::bad_alloc();
    const long total = length_ + count;
    if (text_ == nullptr || total > capacity_) {
        // Twice the room, so that a text built piece by piece costs its length, not the square of it.
        const long doubled = capacity_ > kMaxLength / 2 ? kMaxLength : capacity_ * 2;
        const long room = std::max({total, doubled, kLeastRoom});
        char* const grown = new_text(room);
        if (text_ != nullptr) copy_octets(grown, text_, length_);
        copy_octets(grown + length_, text, count);  // before the old block goes: `text` may lie in it
        take(grown, room);
    } else if (count > 0) {
        std::memmove(text_ + length_, text, static_cast<std::size_t>(count));
    }
    set_length(total);
}
