// What the tests of the mail info list share.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "CntsPOP3MailInfoList.h"

#include "mlutl_support.h"

namespace velorin_test {

// An entry that tells how many of its kind live, and which went.
class CountedInfo : public velorin::CntsPOP3MailInfo {
public:
    CountedInfo(int id, const char* uid, long size, int status) : CntsPOP3MailInfo(id, uid, size, status)
    {
        ++live;
    }
    CountedInfo(const CountedInfo&) = delete;
    CountedInfo& operator=(const CountedInfo&) = delete;
    ~CountedInfo() override
    {
        --live;
        destroyed.push_back(m_nId);
    }

    static inline int live = 0;
    static inline std::vector<int> destroyed;  // ids, in order
};

inline CountedInfo* info(int id, const char* uid, int status = 1, long size = 0)
{
    return new CountedInfo(id, uid, size, status);
}

inline velorin::CntsPOP3MailInfo* entry(const velorin::CntsPOP3MailInfoList& list, long index)
{
    return static_cast<velorin::CntsPOP3MailInfo*>(list.m_cList.GetAt(index));
}

// "ID:UID:SIZE:STATUS" of an entry, "null" for a slot without one.
inline std::string text_of_entry(const velorin::CntsPOP3MailInfo* info)
{
    if (info == nullptr) return "null";
    return std::to_string(info->m_nId) + ":" + text_of(info->m_cUniqId) + ":" +
           std::to_string(info->m_nSize) + ":" + std::to_string(info->m_nStatus);
}

inline std::vector<std::string> entries(const velorin::CntsPOP3MailInfoList& list)
{
    std::vector<std::string> texts;
    for (long index = 0; index < list.m_cList.GetCount(); ++index)
        texts.push_back(text_of_entry(entry(list, index)));
    return texts;
}

inline std::string list_line(const std::string& text)
{
    return "<ERR> CntsPOP3MailInfoList::" + text + "\n";
}

}  // namespace velorin_test
