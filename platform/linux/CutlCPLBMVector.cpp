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

void move_entries(void** to, void* const* from, long count)
{
    if (count > 0) std::memmove(to, from, static_cast<std::size_t>(count) * sizeof(void*));
}

}  // namespace

CutlCPLBMVector::CutlCPLBMVector(long capacity)
    : room_(new_entries(capacity)), front_(0), count_(0), capacity_(room_ != nullptr ? capacity : 0),
      position_(0)
{
}

CutlCPLBMVector::~CutlCPLBMVector()
{
    delete[] room_;
}

bool CutlCPLBMVector::make_place()
{
    if (front_ + count_ < capacity_) return true;
    void** to = room_;
    if (front_ == 0 || front_ < count_) {  // else as many were taken out in front as now move down
        if (capacity_ >= kMaxEntries) return false;
        const long room = capacity_ > kMaxEntries / 2 ? kMaxEntries
                          : capacity_ < kFirstGrowth  ? kFirstGrowth
                                                      : capacity_ * 2;
        to = new_entries(room);
        if (to == nullptr) return false;
        capacity_ = room;
    }
    move_entries(to, room_ + front_, count_);
    if (to != room_) delete[] room_;
    room_ = to;
    front_ = 0;
    return true;
}

int CutlCPLBMVector::Add(long index, void* item)
{
    if (index < 0 || index > count_ || !make_place()) return 0;
    void** const entry = room_ + front_ + index;
    move_entries(entry + 1, entry, count_ - index);
    *entry = item;
    ++count_;
    return 1;
}

int CutlCPLBMVector::Remove(long index)
{
    if (index < 0 || index >= count_) return 0;
    --count_;
    if (index == 0) {
        ++front_;
    } else {
        void** const entry = room_ + front_ + index;
        move_entries(entry, entry + 1, count_ - index);
    }
    return 1;
}

void* CutlCPLBMVector::GetAt(long index) const
{
    return index < 0 || index >= count_ ? nullptr : room_[front_ + index];
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
