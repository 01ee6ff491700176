#pragma once

#include "CutlCPLBMString.h"
#include "CutlCPLBObject.h"

#include "CntsMLUTLMailType.h"
#include "ntc_email_export.h"

namespace velorin {

// One MIME part: its vocabulary values and texts, the Internet-fax marker, and a queue of body octets.
// m_nLength octets stand in m_pBuffer, a platform-heap block that the part owns; a block the part grew itself
// has a NUL behind them, an adopted one need not. Used by one thread at a time. Nothing throws out of it but
// std::bad_alloc of the platform's strings. Results are 1 and 0; a failure leaves one trace line.
class NTC_EMAIL_API CntsMLUTLMailPart : public CutlCPLBObject {
public:
    CntsMLUTLMailPart();
    CntsMLUTLMailPart(const CntsMLUTLMailPart& other);  // by CopyPart
    CntsMLUTLMailPart&
    operator=(const CntsMLUTLMailPart& other);  // frees its own queue and marker, then CopyPart
    ~CntsMLUTLMailPart() override;

    // Copies values, texts and queue, but not the Internet-fax marker.
    //   result  1; 0 when memory runs out: the queue is then empty, the rest is copied
    int CopyPart(const CntsMLUTLMailPart& source);

    // Drops the queue.
    void FreeBuffer();

    // Appends octets to the queue, as they are.
    //   in      pBuffer: platform-heap block; nLength: its octets
    //   out     on success the block is the part's: pBuffer null, nLength 0. On failure both stay the
    //           caller's
    //   result  1; 0 for a null block, a length below 1, or when memory runs out
    int SetBuffer(void*& pBuffer, long& nLength);

    // Takes octets from the front of the queue.
    //   shape   as queued, no transfer decoding; a partial take has a NUL after it that is not counted
    //   in      nLength: octets wanted; below 1 takes all
    //   out     pBuffer: platform-heap block, the caller's (CutlCPLBOSBoundary::MemFree); null when nothing
    //           is queued. nLength: octets handed over
    //   result  1; 0 when memory runs out: pBuffer null, nLength 0, queue unchanged
    int GetBuffer(void*& pBuffer, long& nLength);

    // Append to and prepend to a platform-heap block of the caller's, to the exact size, a NUL behind it.
    // They use nothing of the part.
    //   in      buf: null starts a block; len: its octets; n: octets of data
    //   out     buf, len: unchanged on failure
    int AddBuffer(char*& buf, long& len, const char* data, long n);
    int InsertBuffer(char*& buf, long& len, const char* data, long n);

    // Folds a text into lines of 64 octets with CR LF and a tab between them; a multibyte character may be
    // cut.
    //   result  platform-heap block, the caller's; null for an empty text and when memory runs out
    char* MakeMultiLine(const char* text);

    // Composes the part's MIME header block, the empty line included.
    //   out     pHeader: platform-heap block, the caller's; nLength: octets without the NUL. Null and 0 on
    //           failure
    //   result  1; 0 when the part has no content type or memory runs out
    int MakeHeader(char*& pHeader, long& nLength);

    // Moves a cut so that no ISO-2022-JP or Shift_JIS character is split and no piece ends in a mode switch
    // that nothing follows. A text that ends in ESC ( B is taken whole.
    //   in      text: up to its NUL; nCut: octets wanted from its front; bBodyMode: nonzero for the part's
    //           own body, where only text parts are adjusted and m_bIsTerminate tells whether the text may be
    //           taken to its end
    //   out     nCut: safe number of octets, never negative. Outside ISO-2022-JP a number above the text's
    //           length stays above it: ask for no more than there is
    //   result  ISO-2022-JP mode at the cut: 0 ESC ( B or none, 1 ESC ( J, 2 ESC ( I, 3 ESC $ @, 4 ESC $ B, 5
    //           ESC & @, 6 ESC $ ( D; 0 for other character sets
    int AdjustMultiByteCode(const char* text, long& nCut, int bBodyMode);

    // The text after the last "." of the file name.
    //   result  inside m_cFIleName, "" when it has no dot; null with a trace line when there is no file name
    const char* GetFileExtension() const;

    // The Internet-fax marker. 1 stores "IGNORE", any other number the empty text; a null text stores null.
    void SetContentCIAJWNETFAX(int ignore);
    void SetContentCIAJWNETFAX(const char* text);
    int
    GetContentCIAJWNETFAXSource(CutlCPLBMString& out);  // 1 and a copy of a marker that is not empty, else 0
    int IsIgnoreContentCIAJWNETFAX();  // 1 when the marker begins with "IGNORE" in any letter case

    CntsMLUTLMailType::eContentType m_eContentType;
    CntsMLUTLMailType::eTransferEncoding m_eTransferEncoding;
    CntsMLUTLMailType::eContentDisposition m_eContentDisposition;
    CntsMLUTLMailType::eCharSet m_eCharSet;
    CutlCPLBMString m_cContentType;
    CutlCPLBMString m_cContentTypeString;
    CutlCPLBMString m_cTransferEncoding;
    CutlCPLBMString m_cFIleName;
    CutlCPLBMString m_cExtension;
    CutlCPLBMString m_cOther;
    char* m_pBuffer;
    long m_nLength;      // octets in m_pBuffer
    int m_bIsTerminate;  // 1: the last piece of the part's body
    CutlCPLBMString m_cContentCIAJWNETFAX;
};

}  // namespace velorin
