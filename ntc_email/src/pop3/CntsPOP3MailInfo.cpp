#include "CntsPOP3MailInfo.h"

namespace velorin {

CntsPOP3MailInfo::CntsPOP3MailInfo() : CntsPOP3MailInfo(0, "", 0, eStatusNotSet) {}

CntsPOP3MailInfo::CntsPOP3MailInfo(int id, const char* uid, long size, int status)
    : m_nId(id), m_cUniqId(uid != nullptr ? uid : ""), m_nSize(size), m_nStatus(status)
{
}

CntsPOP3MailInfo::~CntsPOP3MailInfo() = default;

}  // namespace velorin
