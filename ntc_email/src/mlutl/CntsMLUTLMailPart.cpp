#include "CntsMLUTLMailPart.h"

#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include "CutlCPLBOSBoundary.h"
#include "emwCLB.h"

#include "CntsMLUTLMailException.h"
#include "heap_block.h"
#include "trace.h"
#include "wire_text.h"

namespace velorin {

namespace {

constexpr long kFoldedLineLength = 64;

bool add_line(CntsMLUTLMailPart& part, HeapBlock& header, const std::string& text, int line)
{
    if (part.AddBuffer(header.data, header.length, text.data(), static_cast<long>(text.size())) != 0)
        return true;
    NTC_TRACE("<Error> : CntsMLUTLMailPart::MakeHeader() AddBuffer[NG]: Line%d\n", line);
    return false;
}

bool fold_text(CntsMLUTLMailPart& part, HeapBlock& folded, const char* text)
{
    const auto append = [&](const char* octets, long length, int line) {
        if (part.AddBuffer(folded.data, folded.length, octets, length) != 0) return true;
        NTC_TRACE("<Error> : CntsMLUTLMailPart::MakeMultiLine() AddBuffer[NG]: Line%d\n", line);
        return false;
    };
    long left = static_cast<long>(std::strlen(text));
    for (; left > kFoldedLineLength; left -= kFoldedLineLength, text += kFoldedLineLength) {
        if (!append(text, kFoldedLineLength, __LINE__)) return false;
        if (!append("\r\n\t", 3, __LINE__)) return false;
    }
    return append(text, left, __LINE__);
}

// The header lines of a part that has a content type.
bool compose_header(CntsMLUTLMailPart& part, HeapBlock& header)
{
    using Type = CntsMLUTLMailType;
    const std::string type = Type::GetContentType(part.m_eContentType);
    std::string line = "Content-Type: " + type;
    const bool has_char_set =
        part.m_eCharSet != Type::eCharSetUnknown && part.m_eCharSet != Type::eCharSetEnd;
    if (emwCLBCompStrCaseN(type.c_str(), "text", 4) == 0 && has_char_set) {
        line += "; charset=\"" + std::string(Type::GetCharSet(part.m_eCharSet)) + "\"";
    }
    if (!add_line(part, header, line, __LINE__)) return false;

    const Type::eContentDisposition disposition = part.m_eContentDisposition;
    const std::string disposition_text = Type::GetContentDisposition(disposition);
    if (disposition == Type::eContentDispositionAttachment && has_octets(part.m_cFIleName)) {
        const std::string file_name = text_of(part.m_cFIleName);
        line = ";\r\n\tname=\"" + file_name + "\"\r\nContent-Disposition: " + disposition_text +
               ";\r\n\tfilename=\"" + file_name + "\"";
        if (!add_line(part, header, line, __LINE__)) return false;
    } else if (disposition != Type::eContentDispositionUnknown &&
               disposition != Type::eContentDispositionEnd) {
        if (!add_line(part, header, "\r\nContent-Disposition: " + disposition_text, __LINE__)) return false;
    }

    const Type::eTransferEncoding encoding = part.m_eTransferEncoding;
    if (encoding != Type::eTransferEncodingUnknown && encoding != Type::eTransferEncodingEnd) {
        line = std::string("\r\nContent-Transfer-Encoding: ") + Type::GetTransferEncoding(encoding);
        if (!add_line(part, header, line, __LINE__)) return false;
    }
    if (part.IsIgnoreContentCIAJWNETFAX() != 0) {
        line = std::string("\r\nContent-X-CIAJWNETFAX: ") +
               Type::GetContetXCiajwnetfax(Type::eContetXCiajwnetfaxIgnore);
        if (!add_line(part, header, line, __LINE__)) return false;
    }
    return add_line(part, header, "\r\n\r\n", __LINE__);
}

}  // namespace

CntsMLUTLMailPart::CntsMLUTLMailPart()
    : m_eContentType(CntsMLUTLMailType::eContentTypeUnknown),
      m_eTransferEncoding(CntsMLUTLMailType::eTransferEncodingEnd),
      m_eContentDisposition(CntsMLUTLMailType::eContentDispositionEnd),
      m_eCharSet(CntsMLUTLMailType::eCharSetEnd), m_pBuffer(nullptr), m_nLength(0), m_bIsTerminate(0)
{
}

CntsMLUTLMailPart::CntsMLUTLMailPart(const CntsMLUTLMailPart& other)
    : CutlCPLBObject(other), m_pBuffer(nullptr), m_nLength(0), m_bIsTerminate(0)
{
    CopyPart(other);
}

CntsMLUTLMailPart& CntsMLUTLMailPart::operator=(const CntsMLUTLMailPart& other)
{
    if (this == &other) return *this;
    FreeBuffer();
    m_cContentCIAJWNETFAX =
        CutlCPLBMString();  // an assigned part carries no marker, whatever it carried before
    CopyPart(other);
    return *this;
}

CntsMLUTLMailPart::~CntsMLUTLMailPart()
{
    FreeBuffer();
}

int CntsMLUTLMailPart::CopyPart(const CntsMLUTLMailPart& source)
{
    if (this == &source) return 1;
    m_eContentType = source.m_eContentType;
    m_eTransferEncoding = source.m_eTransferEncoding;
    m_eContentDisposition = source.m_eContentDisposition;
    m_eCharSet = source.m_eCharSet;
    m_cContentType = source.m_cContentType;
    m_cContentTypeString = source.m_cContentTypeString;
    m_cTransferEncoding = source.m_cTransferEncoding;
    m_cFIleName = source.m_cFIleName;
    m_cExtension = source.m_cExtension;
    m_cOther = source.m_cOther;
    m_bIsTerminate = source.m_bIsTerminate;
    if (source.m_nLength <= 0) {
        m_nLength = source.m_nLength;
        return 1;
    }

    const std::size_t size = source.m_pBuffer != nullptr ? grown_size(source.m_nLength, 0) : 0;
    char* const copy = size != 0 ? static_cast<char*>(CutlCPLBOSBoundary::MemAllocate(size)) : nullptr;
    if (copy == nullptr) {
        NTC_TRACE("<Error> : CntsMLUTLMailPart::CopyPart() failed to allocate memory\n");
        m_nLength = 0;
        return 0;
    }
    std::memcpy(copy, source.m_pBuffer, size - 1);
    copy[size - 1] = '\0';
    CutlCPLBOSBoundary::MemFree(m_pBuffer);
    m_pBuffer = copy;
    m_nLength = source.m_nLength;  // only now: the heap may have thrown
    return 1;
}

void CntsMLUTLMailPart::FreeBuffer()
{
    if (m_pBuffer != nullptr) CutlCPLBOSBoundary::MemFree(m_pBuffer);
    m_pBuffer = nullptr;
    m_nLength = 0;
}

int CntsMLUTLMailPart::SetBuffer(void*& pBuffer, long& nLength)
{
    if (pBuffer == nullptr || nLength <= 0) {
        NTC_TRACE("<Error> : CntsMLUTLMailPart::SetBuffer() pBuffer is null or abnormal value(nLength=%ld)\n",
                  nLength);
        return 0;
    }
    if (m_pBuffer == nullptr) {
        m_pBuffer = static_cast<char*>(pBuffer);
        m_nLength = nLength;
    } else {
        if (!append_exactly(m_pBuffer, m_nLength, pBuffer, nLength)) {
            NTC_TRACE("<Error> : CntsMLUTLMailPart::SetBuffer() failed to reallocate memory\n");
            return 0;
        }
        CutlCPLBOSBoundary::MemFree(pBuffer);
    }
    pBuffer = nullptr;
    nLength = 0;
    return 1;
}

int CntsMLUTLMailPart::GetBuffer(void*& pBuffer, long& nLength)
{
    pBuffer = nullptr;
    if (m_pBuffer == nullptr) {
        nLength = 0;
        return 1;
    }
    if (nLength < 1) nLength = m_nLength;
    if (m_nLength <= nLength) {
        pBuffer = m_pBuffer;
        nLength = m_nLength;
        m_pBuffer = nullptr;
        m_nLength = 0;
        return 1;
    }

    const std::size_t taken = static_cast<std::size_t>(nLength);
    const long left = m_nLength - nLength;
    HeapBlock block;
    try {
        block.data = static_cast<char*>(CutlCPLBOSBoundary::MemAllocate(taken + 1));
        if (block.data == nullptr) {
            NTC_TRACE("<Error> : CntsMLUTLMailPart::GetBuffer() failed to allocate memory\n");
            nLength = 0;
            return 0;
        }
        std::memcpy(block.data, m_pBuffer, taken);
        block.data[taken] = '\0';
        block.length = nLength;
        std::memmove(m_pBuffer, m_pBuffer + taken, static_cast<std::size_t>(left));
        m_nLength = left;
        m_pBuffer[left] = '\0';
        // A block that cannot be shrunk serves as it is.
        void* const shrunk = CutlCPLBOSBoundary::MemReallocate(m_pBuffer, static_cast<std::size_t>(left) + 1);
        if (shrunk != nullptr) m_pBuffer = static_cast<char*>(shrunk);
    } catch (CntsMLUTLMailException* thrown) {
        const std::unique_ptr<CntsMLUTLMailException> failure(thrown);
        NTC_TRACE("<Error> : CntsMLUTLMailPart::GetBuffer() %s\n", failure->m_pszText);
        if (block.length > 0) {  // thrown while shrinking: what was taken goes back to the front
            std::memmove(m_pBuffer + taken, m_pBuffer, static_cast<std::size_t>(left));
            std::memcpy(m_pBuffer, block.data, taken);
            m_nLength = left + block.length;
        }
        nLength = 0;
        return 0;
    }
    block.take(pBuffer, nLength);
    return 1;
}

int CntsMLUTLMailPart::AddBuffer(char*& buf, long& len, const char* data, long n)
{
    if (append_exactly(buf, len, data, n)) return 1;
    NTC_TRACE("<Error> : CntsMLUTLMailPart::AddBuffer() failed to reallocate memory\n");
    return 0;
}

int CntsMLUTLMailPart::InsertBuffer(char*& buf, long& len, const char* data, long n)
{
    const std::size_t size = grown_size(len, n);
    void* const grown = size != 0 ? CutlCPLBOSBoundary::MemReallocate(buf, size) : nullptr;
    if (grown == nullptr) {
        NTC_TRACE("<Error> : CntsMLUTLMailPart::InsertBuffer() failed to reallocate memory\n");
        return 0;
    }
    buf = static_cast<char*>(grown);
    if (n > 0) {
        std::memmove(buf + n, buf, static_cast<std::size_t>(len));
        std::memcpy(buf, data, static_cast<std::size_t>(n));
    }
    len += n;
    buf[len] = '\0';
    return 1;
}

char* CntsMLUTLMailPart::MakeMultiLine(const char* text)
{
    if (text == nullptr || text[0] == '\0') return nullptr;
    HeapBlock folded;
    try {
        if (!fold_text(*this, folded, text)) return nullptr;
    } catch (CntsMLUTLMailException* thrown) {
        const std::unique_ptr<CntsMLUTLMailException> failure(thrown);
        NTC_TRACE("<Error> : CntsMLUTLMailPart::MakeMultiLine() %s\n", failure->m_pszText);
        return nullptr;
    }
    char* block = nullptr;
    long length = 0;
    folded.take(block, length);
    return block;
}

int CntsMLUTLMailPart::MakeHeader(char*& pHeader, long& nLength)
{
    pHeader = nullptr;
    nLength = 0;
    if (m_eContentType == CntsMLUTLMailType::eContentTypeEnd ||
        m_eContentType == CntsMLUTLMailType::eContentTypeUnknown) {
        NTC_TRACE("<Error> : CntsMLUTLMailPart::MakeHeader() IsContentTypeAvail returns [FALSE]\n");
        return 0;
    }
    HeapBlock header;
    try {
        if (!compose_header(*this, header)) return 0;
    } catch (CntsMLUTLMailException* thrown) {
        const std::unique_ptr<CntsMLUTLMailException> failure(thrown);
        NTC_TRACE("<Error> : CntsMLUTLMailPart::MakeHeader() %s\n", failure->m_pszText);
        return 0;
    } catch (const std::bad_alloc&) {
        NTC_TRACE("<Error> : CntsMLUTLMailPart::MakeHeader() AddBuffer[NG]: Line%d\n", __LINE__);
        return 0;
    }
    header.take(pHeader, nLength);
    return 1;
}

const char* CntsMLUTLMailPart::GetFileExtension() const
{
    if (!has_text(m_cFIleName)) {
        NTC_TRACE("<Error> : CntsMLUTLMailPart::GetFileExtension() m_cFIleName is null\n");
        return nullptr;
    }
    const char* const name = text_of(m_cFIleName);
    const char* const dot = std::strrchr(name, '.');
    return dot != nullptr ? dot + 1 : name + std::strlen(name);
}

void CntsMLUTLMailPart::SetContentCIAJWNETFAX(int ignore)
{
    using Type = CntsMLUTLMailType;
    const Type::eContetXCiajwnetfax value =
        ignore == 1 ? Type::eContetXCiajwnetfaxIgnore : Type::eContetXCiajwnetfaxEnd;
    m_cContentCIAJWNETFAX.CopyString(Type::GetContetXCiajwnetfax(value), -1);
}

void CntsMLUTLMailPart::SetContentCIAJWNETFAX(const char* text)
{
    m_cContentCIAJWNETFAX.CopyString(text, -1);
}

int CntsMLUTLMailPart::GetContentCIAJWNETFAXSource(CutlCPLBMString& out)
{
    if (!has_octets(m_cContentCIAJWNETFAX)) return 0;
    out = m_cContentCIAJWNETFAX;
    return 1;
}

int CntsMLUTLMailPart::IsIgnoreContentCIAJWNETFAX()
{
    if (!has_text(m_cContentCIAJWNETFAX)) return 0;
    const CntsMLUTLMailType::eContetXCiajwnetfax value =
        CntsMLUTLMailType::TestContetXCiajwnetfax(text_of(m_cContentCIAJWNETFAX));
    return value == CntsMLUTLMailType::eContetXCiajwnetfaxIgnore ? 1 : 0;
}

}  // namespace velorin
