#include "CntsSMTPSendMail.h"

#include <cstring>

#include "wire_text.h"

namespace velorin {

namespace {

// Copies out a text that is neither null nor empty.
int get_text(const CutlCPLBMString& text, CutlCPLBMString& out)
{
    if (!has_octets(text)) return 0;
    out = text;
    return 1;
}

CutlCPLBMString trimmed(const CutlCPLBMString& text)
{
    CutlCPLBMString copy(text);
    trim(copy);
    return copy;
}

// Where the last REFERENCES_MAX identifiers of a text begin; null when it holds none.
const char* kept_references(const char* text)
{
    const char* close = nullptr;
    int identifiers = 0;
    for (const char* at = text + std::strlen(text);
         at != text && identifiers < CntsSMTPSendMail::REFERENCES_MAX;) {
        --at;
        if (*at == '>') {
            close = at;
            ++identifiers;
        }
    }
    if (close == nullptr) return nullptr;
    for (const char* at = close; at != text;) {
        --at;
        if (*at == '<') return at;
    }
    return nullptr;
}

}  // namespace

CntsSMTPSendMail::CntsSMTPSendMail() : m_pPart(nullptr) {}

CntsSMTPSendMail::~CntsSMTPSendMail()
{
    DeletePart();
}

void CntsSMTPSendMail::SetPart(CntsSMTPSendMailPart* pPart)
{
    if (pPart == m_pPart) return;
    DeletePart();
    m_pPart = pPart;
}

void CntsSMTPSendMail::DeletePart()
{
    delete m_pPart;
    m_pPart = nullptr;
}

void CntsSMTPSendMail::SetMdnAddress(const CntsMLUTLMailAddress& address)
{
    copy_or(m_cMdnAddress.m_cAddress, address.m_cAddress, "");
}

void CntsSMTPSendMail::SetMdnAddress(const char* pAddress)
{
    SetMdnAddress(CntsMLUTLMailAddress(pAddress));
}

const CntsMLUTLMailAddress& CntsSMTPSendMail::GetMdnAddress() const
{
    return m_cMdnAddress;
}

void CntsSMTPSendMail::SetMessageID(const CutlCPLBMString& id)
{
    const CutlCPLBMString text = trimmed(id);  // before the member changes: it may be the argument
    m_cMessageID.CopyString("", -1);
    if (!has_octets(text)) return;
    if (text_of(text)[0] != '<') m_cMessageID += "<";
    m_cMessageID += text;
    if (text_of(text)[std::strlen(text_of(text)) - 1] != '>') m_cMessageID += ">";
}

void CntsSMTPSendMail::SetMessageID(const char* id)
{
    SetMessageID(CutlCPLBMString(id));
}

void CntsSMTPSendMail::SetInReplyTo(const CutlCPLBMString& ids)
{
    if (has_text(ids)) {
        m_cInReplyTo = trimmed(ids);
    } else {
        m_cInReplyTo.CopyString("", -1);
    }
}

void CntsSMTPSendMail::SetInReplyTo(const char* ids)
{
    SetInReplyTo(CutlCPLBMString(ids));
}

void CntsSMTPSendMail::SetReferences(const CutlCPLBMString& ids)
{
    // A copy, since the argument may be the member.
    const CutlCPLBMString text(ids);  // NOLINT(performance-unnecessary-copy-initialization)
    m_cReferences.CopyString("", -1);
    if (!has_octets(text)) return;
    const char* const kept = kept_references(text_of(text));
    if (kept == nullptr) return;
    m_cReferences.CopyString(kept, -1);
    m_cReferences.TrimTop();
    m_cReferences.TrimBottom();
}

void CntsSMTPSendMail::SetReferences(const char* ids)
{
    SetReferences(CutlCPLBMString(ids));
}

int CntsSMTPSendMail::GetMessageID(CutlCPLBMString& out) const
{
    return get_text(m_cMessageID, out);
}

int CntsSMTPSendMail::GetInReplyTo(CutlCPLBMString& out) const
{
    return get_text(m_cInReplyTo, out);
}

int CntsSMTPSendMail::GetReferences(CutlCPLBMString& out) const
{
    return get_text(m_cReferences, out);
}

}  // namespace velorin
