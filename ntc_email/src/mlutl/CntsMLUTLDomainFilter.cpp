#include "CntsMLUTLDomainFilter.h"

#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "wire_text.h"

namespace velorin {

namespace {

constexpr unsigned char kModeNone = 0;
constexpr unsigned char kModePermit = 1;
constexpr char kSeparators[] = ",;";

// True for the same octets; a null text equals nothing.
bool equal(const CutlCPLBMString& a, const CutlCPLBMString& b)
{
    return has_text(a) && has_text(b) && a.GetLength() == b.GetLength() &&
           std::memcmp(a.GetString(), b.GetString(), static_cast<std::size_t>(a.GetLength())) == 0;
}

bool matches(const CutlCPLBMString& entry, const CutlCPLBMVector& list)
{
    CutlCPLBMString address;
    CutlCPLBMString account;
    CutlCPLBMString domain;
    CntsMLUTLMailAddress::GetRealAddress(address, entry.GetString());
    CntsMLUTLMailAddress::SplitAddress(account, domain, address.GetString());  // no domain: an empty one
    address.ToUpper();
    domain.ToUpper();
    const long count = list.GetCount();
    for (long i = 0; i < count; ++i) {
        CutlCPLBMString* const item = static_cast<CutlCPLBMString*>(list.GetAt(i));
        if (item == nullptr) continue;
        item->ToUpper();  // in place: the caller's list ends up in upper case
        if (equal(*item, domain) || equal(*item, address)) return true;
    }
    return false;
}

bool passes(const CutlCPLBMString& entry, unsigned char mode, const CutlCPLBMVector& list)
{
    return mode == kModeNone || matches(entry, list) == (mode == kModePermit);
}

// A permit list without items lets nothing pass, and is taken for a fault of the caller.
bool is_list_valid(unsigned char mode, long count)
{
    return count >= 0 && (count > 0 || mode != kModePermit);
}

bool are_arguments_valid(const char* address, unsigned char mode, const char** list, int count)
{
    return address != nullptr && (list != nullptr || count <= 0) && is_list_valid(mode, count);
}

bool all_pass(const CntsMLUTLMailAddress& addresses, unsigned char mode, const CutlCPLBMVector& list)
{
    if (!has_text(addresses.m_cAddress) || !is_list_valid(mode, list.GetCount())) return false;
    CutlCPLBMString entry;
    int position = 0;
    bool is_any = false;
    while (addresses.GetAddress(entry, position, kSeparators) != 0) {
        if (!passes(entry, mode, list)) return false;
        is_any = true;
    }
    return is_any;
}

// The items of a plain list, and the vector of them.
class ItemList {
public:
    // Throws std::bad_alloc when there is no memory for all of them.
    ItemList(const char** texts, int count) : vector_(count)
    {
        for (int i = 0; i < count; ++i) {
            if (texts[i] == nullptr) continue;
            items_.push_back(std::make_unique<CutlCPLBMString>(texts[i]));
            if (vector_.Add(vector_.GetCount(), items_.back().get()) == 0) throw std::bad_alloc();
        }
    }
    const CutlCPLBMVector& vector() const { return vector_; }

private:
    std::vector<std::unique_ptr<CutlCPLBMString>> items_;
    CutlCPLBMVector vector_;
};

bool keep_passing(const CntsMLUTLMailAddress& addresses, unsigned char mode, const CutlCPLBMVector& list,
                  CutlCPLBMString& passed)
{
    CutlCPLBMString entry;
    int position = 0;
    bool is_any = false;
    while (addresses.GetAddress(entry, position, kSeparators) != 0) {
        if (!passes(entry, mode, list)) continue;
        if (is_any) passed += ", ";
        passed += entry;
        is_any = true;
    }
    return is_any;
}

// Without memory nothing passes: what cannot be checked must not be used.
template <typename Check>
int refused_without_memory(Check check)
{
    try {
        return check() ? 1 : 0;
    } catch (const std::bad_alloc&) {
        return 0;
    }
}

// Makes a text empty; where there is no memory even for that, null.
void clear(CutlCPLBMString& text)
{
    text.CopyString(nullptr, -1);
    refused_without_memory([&] {
        text.CopyString("", -1);
        return true;
    });
}

}  // namespace

int CntsMLUTLDomainFilter::CheckDomain(const CutlCPLBMString& entry, unsigned char mode,
                                       const CutlCPLBMVector& list)
{
    return refused_without_memory([&] { return passes(entry, mode, list); });
}

int CntsMLUTLDomainFilter::CheckFilter(const CntsMLUTLMailAddress& addr, unsigned char mode,
                                       const CutlCPLBMVector& list)
{
    return refused_without_memory([&] { return all_pass(addr, mode, list); });
}

int CntsMLUTLDomainFilter::CheckFilter(const char* pAddress, CutlCPLBMString& passed, unsigned char mode,
                                       const char** list, int count)
{
    const int result = refused_without_memory([&] {
        const CntsMLUTLMailAddress addresses(pAddress);  // a copy: it may be the text of `passed` itself
        passed.CopyString("", -1);
        if (!are_arguments_valid(pAddress, mode, list, count)) return false;
        const ItemList items(list, count);
        return keep_passing(addresses, mode, items.vector(), passed);
    });
    if (result == 0) clear(passed);
    return result;
}

}  // namespace velorin

int ntsMLUTLCheckFilter(const char* pAddress, unsigned char mode, const char** list, int count)
{
    using namespace velorin;
    return refused_without_memory([&] {
        if (!are_arguments_valid(pAddress, mode, list, count)) return false;
        const CntsMLUTLMailAddress addresses(pAddress);
        const ItemList items(list, count);
        return all_pass(addresses, mode, items.vector());
    });
}
