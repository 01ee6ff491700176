#include "CntsPOP3ReceiveMail.h"

#include <memory>
#include <new>

#include "trace.h"

namespace velorin {

namespace {

CutlCPLBMString* boundary_at(const CutlCPLBMVector& list, long index)
{
    return static_cast<CutlCPLBMString*>(list.GetAt(index));
}

// Destroys the strings of a stack, up to the first null slot, and the stack; null allowed.
void destroy_stack(CutlCPLBMVector* list)
{
    if (list == nullptr) return;
    for (long i = 0; i < list->GetCount(); ++i) {
        const CutlCPLBMString* const boundary = boundary_at(*list, i);
        if (boundary == nullptr) break;
        delete boundary;
    }
    delete list;
}

}  // namespace

CntsPOP3ReceiveMail::CntsPOP3ReceiveMail(const CntsPOP3MailInfo& info)
    : m_cBoundaryString(nullptr), m_nPartDepth(0), m_bIsHasNext(1), m_cMailInfo(info), m_pPart(nullptr),
      m_bIsBoundaryDetected(0)
{
    m_cBoundaryString = new CutlCPLBMVector;
}

CntsPOP3ReceiveMail::~CntsPOP3ReceiveMail()
{
    DeletePart();
    destroy_stack(m_cBoundaryString);
}

int CntsPOP3ReceiveMail::UpBoundaryLevel(const char* boundary)
{
    if (boundary == nullptr) {
        NTC_TRACE("<Error> CntsPOP3ReceiveMail::UpBoundaryLevel():[Return FALSE]NULL pointer\n");
        return 0;
    }
    auto copy = std::make_unique<CutlCPLBMString>(boundary);
    if (m_cBoundaryString == nullptr) m_cBoundaryString = new CutlCPLBMVector;
    if (m_cBoundaryString->Add(m_nPartDepth, copy.get()) == 0) {
        NTC_TRACE("<Error> CntsPOP3ReceiveMail::UpBoundaryLevel():[Return FALSE]NULL pointer\n");
        return 0;
    }
    static_cast<void>(copy.release());  // the stack's from now on
    m_bIsBoundaryDetected = 0;
    ++m_nPartDepth;
    return 1;
}

int CntsPOP3ReceiveMail::DownBoundaryLevel()
{
    if (m_nPartDepth < 1) {
        NTC_TRACE("<Error> CntsPOP3ReceiveMail::DownBoundaryLevel():[Return FALSE]NULL pointer\n");
        return 0;
    }
    if (m_cBoundaryString == nullptr) {
        NTC_TRACE("<Error> CntsPOP3ReceiveMail::DownBoundaryLevel():m_cBoundaryString is NULL\n");
        return 0;
    }
    const long top = m_nPartDepth - 1;
    const CutlCPLBMString* const innermost = GetBoundaryString();
    m_cBoundaryString->Remove(top);
    // Whatever that says: a slot that stays keeps its string, and the depth alone decides what is on the stack.
    if (boundary_at(*m_cBoundaryString, top) != innermost) delete innermost;
    m_bIsBoundaryDetected = 0;
    --m_nPartDepth;
    return 1;
}

CutlCPLBMString* CntsPOP3ReceiveMail::GetBoundaryString()
{
    if (m_nPartDepth < 1 || m_cBoundaryString == nullptr) return nullptr;
    if (m_nPartDepth - 1 >= m_cBoundaryString->GetCount()) return nullptr;
    return boundary_at(*m_cBoundaryString, m_nPartDepth - 1);
}

void CntsPOP3ReceiveMail::SetBoundaryStringList(CutlCPLBMVector* list)
{
    if (list == m_cBoundaryString) return;
    destroy_stack(m_cBoundaryString);
    m_cBoundaryString = list;
}

void CntsPOP3ReceiveMail::SetPart(CntsPOP3ReceiveMailPart* part)
{
    if (part == m_pPart) return;
    DeletePart();
    m_pPart = part;
}

CntsPOP3ReceiveMailPart* CntsPOP3ReceiveMail::GetPart()
{
    return m_pPart;
}

void CntsPOP3ReceiveMail::DeletePart()
{
    delete m_pPart;
    m_pPart = nullptr;
}

}  // namespace velorin
