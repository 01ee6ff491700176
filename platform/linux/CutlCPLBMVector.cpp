#include "CutlCPLBMVector.h"

#include <cstddef>
#include <cstring>
#include <limits>
#include <new>

namespace {

// Entries that one block can hold at most, so that neither a count nor a size in octets overflows.
constexpr std::size_t kBlockLimit = std::numeric_limits<std::size_t>::max() / 2 / sizeof(void*);
constexpr unsigned long kCountLimit = static_cast<unsigned long>(std::numeric_limits<long>::max());
constexpr long kMaxEntries = static_cast<long>(kBlockLimit < kCountLimit ? kBlockLimit : kCountLimit);
constexpr long kFirstGrowth = 8;  // entries

void** new_entries(long count)
{
    if (count <= 0 || count > kMaxEntries) return nullptr;
    return new (std::nothrow) void*[static_cast<std::size_t>(count)];
}

void copy_entries(void** to, void* const* from, long count)
{
    if (count > 0) std::memcpy(to, from, static_cast<std::size_t>(count) * sizeof(void*));
}

void move_entries(void** to, void* const* from, long count)
{
    if (count > 0) std::memmove(to, from, static_cast<std::size_t>(count) * sizeof(void*));
}

}  // namespace

CutlCPLBMVector::CutlCPLBMVector(long capacity)
    : items_(new_entries(capacity)), count_(0), capacity_(items_ != nullptr ? capacity : 0), position_(0)
{
}

CutlCPLBMVector::~CutlCPLBMVector()
{
    delete[] items_;
}

int CutlCPLBMVector::Add(long index, void* item)
{
    if (index < 0 || index > count_) return 0;
    if (count_ < capacity_) {
        move_entries(items_ + index + 1, items_ + index, count_ - index);
    } else {
        if (capacity_ >= kMaxEntries) return 0;
        const long room = capacity_ > kMaxEntries / 2 ? kMaxEntries
                          : capacity_ < kFirstGrowth  ? kFirstGrowth
                                                      : capacity_ * 2;
        void** const grown = new_entries(room);
        if (grown == nullptr) return 0;
        copy_entries(grown, items_, index);
        copy_entries(grown + index + 1, items_ + index, count_ - index);
        delete[] items_;
        items_ = grown;
        capacity_ = room;
    }
    items_[index] = item;
    ++count_;
    return 1;
}

int CutlCPLBMVector::Remove(long index)
{
    if (index < 0 || index >= count_) return 0;
    move_entries(items_ + index, items_ + index + 1, count_ - index - 1);
    --count_;
    return 1;
}

void* CutlCPLBMVector::GetAt(long index) const
{
    return index < 0 || index >= count_ ? nullptr : items_[index];
}

long CutlCPLBMVector::GetCount() const
{
    return count_;
}

void CutlCPLBMVector::SetPosition(long position)
{
    position_ = position;
}

long CutlCPLBMVector::GetPosition() const
{
    return position_;
}
