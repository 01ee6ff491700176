#pragma once

#include "platform_api.h"

// An ordered list of object pointers, null among them. It holds the pointers only; the objects are its
// owner's. Also holds a position counter for its owner, which no operation of the vector itself changes. One
// vector is used by one thread at a time; constant operations of one vector may run at once.
class NTC_PLATFORM_API CutlCPLBMVector {
public:
    //   in      capacity: entries for which to make room at once; more are taken all the same, and when
    //           memory runs out here the vector starts without room
    explicit CutlCPLBMVector(long capacity = 0);
    ~CutlCPLBMVector();
    CutlCPLBMVector(const CutlCPLBMVector&) = delete;
    CutlCPLBMVector& operator=(const CutlCPLBMVector&) = delete;

    // Inserts an entry in front of the one at `index`.
    //   in      index: 0 to GetCount(); GetCount() appends
    //           item: null is kept as a null entry
    //   result  1; 0 for another index or when memory runs out: vector unchanged
    int Add(long index, void* item);

    // Takes an entry out; those behind it move up. Taking out the first or the last costs the same however many
    // there are.
    //   result  1; 0 when there is no such entry
    int Remove(long index);

    //   result  the entry; null outside the vector as for a null entry
    void* GetAt(long index) const;

    long GetCount() const;  // entries, null ones among them

    void SetPosition(long position);  // any number; 0 at construction
    long GetPosition() const;

private:
    NTC_PLATFORM_LOCAL bool make_place();  // one behind the last entry

    void** room_;
    long front_;  // places free in front of the first entry
    long count_;
    long capacity_;  // places
    long position_;
};
