#include "CntsPOP3MailInfoList.h"

#include <climits>
#include <cstring>
#include <memory>

#include "trace.h"
#include "wire_text.h"

namespace velorin {

namespace {

CntsPOP3MailInfo* entry_at(const CutlCPLBMVector& list, long index)
{
    return static_cast<CntsPOP3MailInfo*>(list.GetAt(index));
}

bool has_same_uid(const CntsPOP3MailInfo& entry, const CntsPOP3MailInfo& info)
{
    return has_text(entry.m_cUniqId) && std::strcmp(text_of(entry.m_cUniqId), text_of(info.m_cUniqId)) == 0;
}

enum class Pick { found, none, strange };

// The entry with the status that has the lowest id, the first of equal ones; id 0 only while no other comes.
Pick pick_lowest(const CutlCPLBMVector& list, int status, long& index)
{
    Pick result = Pick::none;
    int lowest = 0;
    for (long i = 0; i < list.GetCount(); ++i) {
        const CntsPOP3MailInfo* const entry = entry_at(list, i);
        if (entry == nullptr) return Pick::strange;
        if ((entry->m_nId < lowest || lowest == 0) && entry->m_nStatus == status) {
            result = Pick::found;
            lowest = entry->m_nId;
            index = i;
        }
    }
    return result;
}

}  // namespace

CntsPOP3MailInfoList::CntsPOP3MailInfoList(int max) : m_cList(max > 0 ? max : 0), m_nMaxListSize(max) {}

CntsPOP3MailInfoList::~CntsPOP3MailInfoList()
{
    for (m_cList.SetPosition(0); m_cList.GetPosition() < m_cList.GetCount();
         m_cList.SetPosition(m_cList.GetPosition() + 1)) {
        const CntsPOP3MailInfo* const entry = entry_at(m_cList, m_cList.GetPosition());
        if (entry == nullptr) break;
        delete entry;
    }
}

int CntsPOP3MailInfoList::IsHasRoom() const
{
    return m_cList.GetCount() < m_nMaxListSize ? 1 : 0;
}

int CntsPOP3MailInfoList::AddMailInfo(CntsPOP3MailInfo* info, int force)
{
    if (info == nullptr) {
        NTC_TRACE("<ERR> CntsPOP3MailInfoList::AddMailInfo() no info.\n");
        return 0;
    }
    std::unique_ptr<CntsPOP3MailInfo> owned(info);
    if (force == 0 && info->m_nStatus != CntsPOP3MailInfo::eStatusRegistered) {
        NTC_TRACE("<ERR> CntsPOP3MailInfoList::AddMailInfo() info is not registered.\n");
        return 0;
    }
    if (IsHasRoom() == 0) {
        NTC_TRACE("<ERR> CntsPOP3MailInfoList::AddMailInfo() no room.\n");
        return 0;
    }
    if (m_cList.Add(m_cList.GetCount(), info) == 0) {
        NTC_TRACE("<ERR> CntsPOP3MailInfoList::AddMailInfo() cannot add info.\n");
        return 0;
    }
    static_cast<void>(owned.release());  // the list's from now on
    return 1;
}

int CntsPOP3MailInfoList::UpdateMailInfo(CntsPOP3MailInfo* info)
{
    if (info == nullptr) {
        NTC_TRACE("<ERR> CntsPOP3MailInfoList::UpdateMailInfo() no info.\n");
        return 0;
    }
    const std::unique_ptr<CntsPOP3MailInfo> owned(info);
    if (info->m_nStatus != CntsPOP3MailInfo::eStatusRegistered) {
        NTC_TRACE("<ERR> CntsPOP3MailInfoList::UpdateMailInfo() info is not registered.\n");
        return 0;
    }
    if (!has_octets(info->m_cUniqId)) {
        // A server without UIDL is no error: there is nothing to match by.
        NTC_TRACE("<ERR> CntsPOP3MailInfoList::UpdateMailInfo() This Server is not Supported UIDL.\n");
        return 1;
    }
    for (long i = 0; i < m_cList.GetCount(); ++i) {
        CntsPOP3MailInfo* const entry = entry_at(m_cList, i);
        if (entry == nullptr) {
            NTC_TRACE("<ERR> CntsPOP3MailInfoList::UpdateMailInfo() strange list.\n");
            return 0;
        }
        if (has_same_uid(*entry, *info)) {
            entry->m_nId = info->m_nId;
            break;
        }
    }
    return 1;
}

CntsPOP3MailInfo* CntsPOP3MailInfoList::SearchMailInfo(const CntsPOP3MailInfo& info)
{
    if (!has_octets(info.m_cUniqId)) {
        m_cList.SetPosition(0);
        return entry_at(m_cList, 0);
    }
    for (long i = 0; i < m_cList.GetCount(); ++i) {
        CntsPOP3MailInfo* const entry = entry_at(m_cList, i);
        if (entry == nullptr) {
            NTC_TRACE("<ERR> CntsPOP3MailInfoList::SearchMailInfo(): GetAt() error.\n");
            return nullptr;
        }
        if (has_same_uid(*entry, info)) return entry;
    }
    NTC_TRACE("<ERR> CntsPOP3MailInfoList::SearchMailInfo(): not found.\n");
    return nullptr;
}

int CntsPOP3MailInfoList::SearchNextMail(CntsPOP3MailInfo& out)
{
    long index = 0;
    switch (pick_lowest(m_cList, CntsPOP3MailInfo::eStatusRegistered, index)) {
    case Pick::strange:
        NTC_TRACE("<ERR> CntsPOP3MailInfoList::SearchNextMail() strange list.\n");
        return 0;
    case Pick::none:
        NTC_TRACE("<ERR> CntsPOP3MailInfoList::SearchNextMail(): not detected.\n");
        return 0;
    case Pick::found:
        break;
    }
    out = *entry_at(m_cList, index);
    return 1;
}

int CntsPOP3MailInfoList::IsHasNextMail()
{
    for (long i = 0; i < m_cList.GetCount(); ++i) {
        const CntsPOP3MailInfo* const entry = entry_at(m_cList, i);
        if (entry == nullptr) {
            NTC_TRACE("<ERR> CntsPOP3MailInfoList::IsHasNextMail() strange list.\n");
            return 0;
        }
        if (entry->m_nStatus == CntsPOP3MailInfo::eStatusRegistered) return 1;
    }
    return 0;
}

int CntsPOP3MailInfoList::SetEntryStatus(CntsPOP3MailInfo& info, int status)
{
    for (long i = 0; i < m_cList.GetCount(); ++i) {
        CntsPOP3MailInfo* const entry = entry_at(m_cList, i);
        if (entry == nullptr) {
            NTC_TRACE("<ERR> CntsPOP3MailInfoList::SetEntryStatus() strange list.\n");
            return 0;
        }
        if (entry->m_nId == info.m_nId) {
            entry->m_nStatus = status;
            return 1;
        }
    }
    NTC_TRACE("<ERR> CntsPOP3MailInfoList::SetEntryStatus() no match.\n");
    return 0;
}

int CntsPOP3MailInfoList::SetAllEntryStatus(int status)
{
    for (long i = 0; i < m_cList.GetCount(); ++i) {
        CntsPOP3MailInfo* const entry = entry_at(m_cList, i);
        if (entry == nullptr) {
            NTC_TRACE("<ERR> CntsPOP3MailInfoList::SetAllEntryStatus(): GetAt() error.\n");
            return 0;
        }
        entry->m_nStatus = status;
    }
    return 1;
}

int CntsPOP3MailInfoList::GetNextId()
{
    int highest = 0;
    for (long i = 0; i < m_cList.GetCount(); ++i) {
        const CntsPOP3MailInfo* const entry = entry_at(m_cList, i);
        if (entry == nullptr) {
            NTC_TRACE("<ERR> CntsPOP3MailInfoList::GetNextId(): GetAt() error.\n");
            return -1;
        }
        if (entry->m_nId > highest) highest = entry->m_nId;
    }
    return highest < INT_MAX ? highest + 1 : INT_MAX;
}

int CntsPOP3MailInfoList::ClearId()
{
    for (long i = 0; i < m_cList.GetCount(); ++i) {
        CntsPOP3MailInfo* const entry = entry_at(m_cList, i);
        if (entry == nullptr) {
            NTC_TRACE("<ERR> CntsPOP3MailInfoList::ClearId() strange list.\n");
            return 0;
        }
        entry->m_nId = 0;
    }
    return 1;
}

int CntsPOP3MailInfoList::ClearList()
{
    long index = 0;
    while (index < m_cList.GetCount()) {
        const CntsPOP3MailInfo* const entry = entry_at(m_cList, index);
        if (entry == nullptr) {
            NTC_TRACE(
                "<ERR> CntsPOP3MailInfoList::ClearId() strange list.\n");  // deliberately the text of ClearId
            return 0;
        }
        if (entry->m_nId != 0) {
            ++index;
            continue;
        }
        if (m_cList.Remove(index) == 0) {
            NTC_TRACE("<ERR> CntsPOP3MailInfoList::ClearList() cannnot remove info.\n");
            return 0;
        }
        delete entry;  // only now: no slot points at what is gone, also where the vector refuses
    }
    return 1;
}

int CntsPOP3MailInfoList::RemoveMailInfo()
{
    long index = 0;
    switch (pick_lowest(m_cList, CntsPOP3MailInfo::eStatusToRemove, index)) {
    case Pick::strange:
        NTC_TRACE("<ERR> CntsPOP3MailInfoList::RemoveMailInfo() strange list.\n");
        return 0;
    case Pick::none:
        NTC_TRACE("<ERR> CntsPOP3MailInfoList::RemoveMailInfo(): not detected.\n");
        return 0;
    case Pick::found:
        break;
    }
    const CntsPOP3MailInfo* const entry = entry_at(m_cList, index);
    if (m_cList.Remove(index) == 0) {
        NTC_TRACE("<ERR> CntsPOP3MailInfoList::RemoveMailInfo() could not remove mail.\n");
        return 0;
    }
    delete entry;
    return 1;
}

void CntsPOP3MailInfoList::ShowList()
{
    for (long i = 0; i < m_cList.GetCount(); ++i) {
        if (entry_at(m_cList, i) == nullptr) break;
    }
}

}  // namespace velorin
