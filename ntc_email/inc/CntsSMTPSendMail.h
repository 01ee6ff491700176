#pragma once

#include "CutlCPLBMString.h"

#include "CntsMLUTLMailAddress.h"
#include "CntsMLUTLMailPart.h"
#include "CntsSMTPSendMailPart.h"
#include "ntc_email_export.h"

namespace velorin {

// An outgoing mail: header data on top of the part that describes its own content, and the one further part
// that is being sent. Header texts are written as they stand: encoded words and the date are the caller's
// business. The caller fills the members directly. Owns m_pPart. Used by one thread at a time.
class NTC_EMAIL_API CntsSMTPSendMail : public CntsMLUTLMailPart {
public:
    static constexpr int REFERENCES_MAX = 20;  // identifiers kept by SetReferences

    CntsSMTPSendMail();
    CntsSMTPSendMail(const CntsSMTPSendMail&) = delete;
    CntsSMTPSendMail& operator=(const CntsSMTPSendMail&) = delete;
    ~CntsSMTPSendMail() override;

    // Replaces the further part; the mail owns it from here on. The part held before is deleted. Null: none.
    void SetPart(CntsSMTPSendMailPart* pPart);
    void DeletePart();

    // The address that is asked to be notified when the mail is displayed; null is stored as the empty text.
    void SetMdnAddress(const CntsMLUTLMailAddress& address);
    void SetMdnAddress(const char* pAddress);
    const CntsMLUTLMailAddress& GetMdnAddress() const;

    // The message identifier, kept in angle brackets: a missing one is added on its side. Blank or null:
    // empty.
    void SetMessageID(const CutlCPLBMString& id);
    void SetMessageID(const char* id);
    // Identifiers of the mail answered, trimmed; brackets are the caller's. Null: empty.
    void SetInReplyTo(const CutlCPLBMString& ids);
    void SetInReplyTo(const char* ids);
    // Identifiers in angle brackets; the last REFERENCES_MAX are kept as written, older ones are dropped.
    void SetReferences(const CutlCPLBMString& ids);
    void SetReferences(const char* ids);

    // Each: 1 and a copy; 0 when null or empty, out unchanged.
    int GetMessageID(CutlCPLBMString& out) const;
    int GetInReplyTo(CutlCPLBMString& out) const;
    int GetReferences(CutlCPLBMString& out) const;

    // Composes the header block of the whole mail; for a multipart mail also the first boundary line and the
    // header of its first (text) part.
    //   out     pHeader: platform-heap block, the caller's (CutlCPLBOSBoundary::MemFree); nLength: octets
    //           without the NUL. Null and 0 on failure
    //   result  1; 0 when date, From, Subject or every recipient is missing, Sender has more than one entry,
    //           the character set is none, the content is neither text nor multipart, an identifier list has
    //           no bracket, a line or an address is too long (1023 and 128 octets), or memory runs out;
    //           traced
    int MakeHeader(char*& pHeader, long& nLength);

    // Appends an address header, one line an entry. No entry, no line.
    //   in      name: with its colon; work: line buffer of at least 1024 octets
    //   out     count: entries, set on success; pHeader, nLength: the block with its new lines, its length as
    //           it was on failure
    int MakeHeaderAddress(const CntsMLUTLMailAddress& addr, const char* name, char*& pHeader, char* work,
                          long& count, long& nLength);

    // Appends a header of identifiers in angle brackets, one line each; text outside brackets is dropped. An
    // empty value writes nothing.
    //   result  1; 0 for a value without an identifier or when memory runs out: nLength as it was
    int MakeHeaderBracket(const CutlCPLBMString& value, const char* name, char*& pHeader, long& nLength);

    // Makes an identifier from the clock (local time, microseconds) and the address of From, account in upper
    // case.
    //   out     out: the identifier in angle brackets; "" on failure
    //   result  1; 0 when from holds no address or memory runs out
    int CreateMessageID(const CntsMLUTLMailAddress& from, CutlCPLBMString& out);

    CntsSMTPSendMailPart* m_pPart;
    CntsMLUTLMailAddress m_cFrom;
    CntsMLUTLMailAddress m_cTo;
    CntsMLUTLMailAddress m_cCc;
    CntsMLUTLMailAddress m_cBcc;
    CntsMLUTLMailAddress m_cReplyTo;
    CntsMLUTLMailAddress m_cSender;
    CutlCPLBMString m_cSubject;
    CutlCPLBMString m_cBoundaryString;
    CutlCPLBMString m_cDate;
    CntsMLUTLMailAddress m_cMdnAddress;
    CutlCPLBMString m_cMessageID;
    CutlCPLBMString m_cInReplyTo;
    CutlCPLBMString m_cReferences;
};

}  // namespace velorin
