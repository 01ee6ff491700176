// Composition of an outgoing mail's header block.
#include "CntsSMTPSendMail.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <initializer_list>
#include <memory>
#include <new>
#include <string>
#include <string_view>

#include <sys/time.h>

#include "CutlCPLBOSBoundary.h"
#include "emwCLB.h"

#include "CntsMLUTLMailException.h"
#include "heap_block.h"
#include "pool_block.h"
#include "trace.h"
#include "wire_text.h"

namespace velorin {

namespace {

using Type = CntsMLUTLMailType;

constexpr std::size_t kLineSize = 1024;  // octets of a header line and its NUL
constexpr long kAddressLength = 128;     // octets of an address entry
constexpr char kSeparators[] = ";,";

// The trace lines of a step that could not be written name the source line of the step.
bool trace_add_failed(int line)
{
    NTC_TRACE("<Error> : CntsSMTPSendMail::MakeHeader() AddBuffer[NG]: Line%d\n", line);
    return false;
}

bool trace_address_failed(int line)
{
    NTC_TRACE("<Error> : CntsSMTPSendMail::MakeHeader() MakeHeaderAddress[NG]: Line%d\n", line);
    return false;
}

bool trace_bracket_failed(int line)
{
    NTC_TRACE("<Error> : CntsSMTPSendMail::MakeHeader() MakeHeaderBracket[NG]: Line%d\n", line);
    return false;
}

using Pieces = std::initializer_list<std::string_view>;

// Puts a line together in a buffer of kLineSize octets.
//   result  its octets; -1 for a line that the buffer cannot hold with a NUL behind it
long put_line(char* line, Pieces pieces)
{
    std::size_t length = 0;
    for (const std::string_view piece : pieces) {
        if (piece.size() >= kLineSize - length) return -1;
        std::memcpy(line + length, piece.data(), piece.size());
        length += piece.size();
    }
    line[length] = '\0';
    return static_cast<long>(length);
}

// Puts lines together in its work buffer and appends them to the block.
class HeaderWriter {
public:
    explicit HeaderWriter(CntsSMTPSendMail& mail) : mail_(mail) {}

    // False for a line that the work buffer cannot hold, and when memory runs out.
    bool add(Pieces pieces)
    {
        const long length = put_line(work, pieces);
        return length >= 0 && mail_.AddBuffer(header.data, header.length, work, length) != 0;
    }
    // A field with its value. A folded value that is longer than the work buffer goes line by line: each of
    // its lines has to fit.
    bool add_field(std::string_view name, std::string_view value)
    {
        constexpr std::string_view kLineEnd = "\r\n";
        if (name.size() + value.size() + kLineEnd.size() < sizeof work) return add({name, value, kLineEnd});
        std::string_view line = take_line(value);
        if (!add({name, line, kLineEnd})) return false;
        while (!value.empty()) {
            line = take_line(value);
            if (!add({line, kLineEnd})) return false;
        }
        return true;
    }
    bool add_addresses(const CntsMLUTLMailAddress& addresses, const char* name, long& count)
    {
        return mail_.MakeHeaderAddress(addresses, name, header.data, work, count, header.length) != 0;
    }
    bool add_identifiers(const CutlCPLBMString& value, const char* name)
    {
        return mail_.MakeHeaderBracket(value, name, header.data, header.length) != 0;
    }

    HeapBlock header;
    char work[kLineSize];

private:
    // Takes a line from the front of a value, up to a CR LF that a blank or tab follows.
    static std::string_view take_line(std::string_view& value)
    {
        std::size_t end = value.find("\r\n");
        while (end != std::string_view::npos) {
            const std::string_view next = value.substr(end + 2, 1);
            if (next == " " || next == "\t") break;
            end = value.find("\r\n", end + 2);
        }
        const std::string_view line = value.substr(0, end);
        value.remove_prefix(end == std::string_view::npos ? value.size() : end + 2);
        return line;
    }

    CntsSMTPSendMail& mail_;
};

long count_entries(const CntsMLUTLMailAddress& addresses)
{
    CutlCPLBMString entry;
    int position = 0;
    long count = 0;
    while (addresses.GetAddress(entry, position, kSeparators) != 0) {
        ++count;
    }
    return count;
}

bool add_recipients(CntsSMTPSendMail& mail, HeaderWriter& writer)
{
    long to_count = 0;
    long cc_count = 0;
    if (!writer.add_addresses(mail.m_cTo, "To:", to_count)) return trace_address_failed(__LINE__);
    if (!writer.add_addresses(mail.m_cCc, "Cc:", cc_count)) return trace_address_failed(__LINE__);
    const long bcc_count = count_entries(mail.m_cBcc);  // counted, never written
    if (to_count == 0 && cc_count == 0 && bcc_count == 0) {
        NTC_TRACE("<Error> : CntsSMTPSendMail::MakeHeader : addr_count == 0\n");
        return false;
    }
    return true;
}

bool add_origin(CntsSMTPSendMail& mail, HeaderWriter& writer)
{
    if (!has_text(mail.m_cDate)) {
        NTC_TRACE("<Error> : CntsSMTPSendMail::MakeHeader : pdate == NULL\n");
        return false;
    }
    if (!writer.add_field("Date: ", text_of(mail.m_cDate))) return trace_add_failed(__LINE__);
    if (!has_text(mail.m_cFrom.m_cAddress)) {
        NTC_TRACE("<Error> : CntsSMTPSendMail::MakeHeader : pfrom == NULL\n");
        return false;
    }
    if (!writer.add_field("From: ", text_of(mail.m_cFrom.m_cAddress))) return trace_add_failed(__LINE__);
    if (!has_text(mail.m_cSubject)) {
        NTC_TRACE("<Error> : CntsSMTPSendMail::MakeHeader : psubject == NULL\n");
        return false;
    }
    if (!writer.add_field("Subject: ", text_of(mail.m_cSubject))) return trace_add_failed(__LINE__);
    return true;
}

bool add_reply_addresses(CntsSMTPSendMail& mail, HeaderWriter& writer)
{
    constexpr long kMostSenders = 1;
    long count = 0;
    if (!writer.add_addresses(mail.m_cReplyTo, "Reply-To:", count)) return trace_address_failed(__LINE__);
    long sender_count = 0;
    if (!writer.add_addresses(mail.m_cSender, "Sender:", sender_count)) return trace_address_failed(__LINE__);
    if (sender_count > kMostSenders) {
        NTC_TRACE("<Error> : CntsSMTPSendMail::MakeHeader : senderaddr_count > %ld\n", kMostSenders);
        return false;
    }
    if (!writer.add_addresses(mail.m_cMdnAddress, "Disposition-Notification-To:", count)) {
        return trace_address_failed(__LINE__);
    }
    return true;
}

bool add_identification(CntsSMTPSendMail& mail, HeaderWriter& writer)
{
    CutlCPLBMString identifier;
    if (mail.GetMessageID(identifier) == 0)
        mail.CreateMessageID(mail.m_cFrom, identifier);  // empty when it cannot
    if (!writer.add_identifiers(identifier, "Message-Id:")) return trace_bracket_failed(__LINE__);
    if (!writer.add_identifiers(mail.m_cInReplyTo, "In-Reply-To:")) return trace_bracket_failed(__LINE__);
    if (!writer.add_identifiers(mail.m_cReferences, "References:")) return trace_bracket_failed(__LINE__);
    return true;
}

bool add_transfer_encoding(HeaderWriter& writer, Type::eTransferEncoding carried,
                           Type::eTransferEncoding written)
{
    if (carried == Type::eTransferEncodingUnknown || carried == Type::eTransferEncodingEnd) return true;
    return writer.add({"Content-Transfer-Encoding: ", Type::GetTransferEncoding(written), "\r\n"});
}

// The rest of a multipart mail's block: its first boundary line and the header of its first part, which is
// text.
bool add_first_part(CntsSMTPSendMail& mail, HeaderWriter& writer, const char* boundary)
{
    if (!writer.add({"--", boundary, "\r\n"})) return trace_add_failed(__LINE__);
    if (!writer.add({"Content-Type: ", Type::GetContentType(Type::eContentTypeTextPlain), "; charset=\"",
                     Type::GetCharSet(mail.m_eCharSet), "\"\r\n"})) {
        return trace_add_failed(__LINE__);
    }
    if (!add_transfer_encoding(writer, mail.m_eTransferEncoding, mail.m_eTransferEncoding)) {
        return trace_add_failed(__LINE__);
    }
    if (mail.IsIgnoreContentCIAJWNETFAX() != 0 &&
        !writer.add({"Content-X-CIAJWNETFAX: ", Type::GetContetXCiajwnetfax(Type::eContetXCiajwnetfaxIgnore),
                     "\r\n"})) {
        return trace_add_failed(__LINE__);
    }
    if (!writer.add({"\r\n"})) return trace_add_failed(__LINE__);
    return true;
}

bool add_content(CntsSMTPSendMail& mail, HeaderWriter& writer)
{
    if (!writer.add({"Mime-Version: 1.0\r\n"})) return trace_add_failed(__LINE__);
    const char* const type = Type::GetContentType(mail.m_eContentType);
    const bool is_text = emwCLBCompStrCaseN(type, "text", 4) == 0;
    const bool is_multipart = !is_text && emwCLBCompStrCaseN(type, "mult", 4) == 0;
    const char* const boundary = has_text(mail.m_cBoundaryString) ? text_of(mail.m_cBoundaryString) : "";
    if (is_text) {
        if (!writer.add(
                {"Content-Type: ", type, "; charset=\"", Type::GetCharSet(mail.m_eCharSet), "\"\r\n"})) {
            return trace_add_failed(__LINE__);
        }
    } else if (is_multipart) {
        if (!writer.add({"Content-Type: ", type, ";\r\n\tboundary=\"", boundary, "\"\r\n"})) {
            return trace_add_failed(__LINE__);
        }
    } else {
        NTC_TRACE("<Error> : CntsSMTPSendMail::MakeHeader : Invalid ContentType.\n");
        return false;
    }
    // Parts of a multipart mail may hold 8-bit text whatever the first part's own encoding is.
    const Type::eTransferEncoding encoding =
        is_multipart ? Type::eTransferEncoding8bit : mail.m_eTransferEncoding;
    if (!add_transfer_encoding(writer, mail.m_eTransferEncoding, encoding)) return trace_add_failed(__LINE__);
    if (!writer.add({"\r\n"})) return trace_add_failed(__LINE__);
    return is_text || add_first_part(mail, writer, boundary);
}

// The entries of an address list, each in a slot of fixed size.
class AddressSlots {
public:
    AddressSlots() = default;
    AddressSlots(const AddressSlots&) = delete;
    AddressSlots& operator=(const AddressSlots&) = delete;
    ~AddressSlots() { CutlCPLBOSBoundary::MemFree(slots_); }

    // False when memory runs out.
    bool grow()
    {
        void* const grown =
            CutlCPLBOSBoundary::MemReallocate(slots_, static_cast<std::size_t>(count_ + 1) * kSlotSize);
        if (grown == nullptr) return false;
        slots_ = static_cast<char*>(grown);
        ++count_;
        return true;
    }
    // Fills the slot grown last; false for an entry that it cannot hold.
    bool fill(const char* entry)
    {
        const std::size_t length = std::strlen(entry);
        if (length >= kSlotSize) return false;
        std::memcpy(slots_ + static_cast<std::size_t>(count_ - 1) * kSlotSize, entry, length + 1);
        return true;
    }
    long count() const { return count_; }
    const char* entry(long index) const { return slots_ + static_cast<std::size_t>(index) * kSlotSize; }

private:
    static constexpr std::size_t kSlotSize = kAddressLength + 1;
    char* slots_ = nullptr;
    long count_ = 0;
};

// Puts a growing block back to the length it had, unless the lines appended to it are kept.
class AppendedLines {
public:
    AppendedLines(char*& block, long& length) : block_(block), length_(length), begin_(length) {}
    AppendedLines(const AppendedLines&) = delete;
    AppendedLines& operator=(const AppendedLines&) = delete;
    ~AppendedLines()
    {
        if (is_kept_ || block_ == nullptr || length_ == begin_) return;
        length_ = begin_;
        block_[length_] = '\0';
    }
    void keep() { is_kept_ = true; }

private:
    char*& block_;
    long& length_;
    const long begin_;
    bool is_kept_ = false;
};

// The account in upper case, or the whole address when it has no domain.
//   result  false when memory runs out
bool append_upper(std::string& text, const char* part)
{
    const std::size_t size = std::strlen(part) + 1;
    PoolBlock copy;
    if (copy.allocate_from_sub_pool(static_cast<std::uint32_t>(size)) != 0 || copy.octets() == nullptr)
        return false;
    std::memcpy(copy.octets(), part, size);
    emwCLBConvertUpper(copy.octets());
    text += copy.octets();
    return true;
}

constexpr std::size_t kStampSize = 80;  // octets; 22 are usual, a broken clock may want more

// The local time to the second, then the microseconds in hexadecimal.
void make_stamp(char (&stamp)[kStampSize])
{
    timeval now = {};
    gettimeofday(&now, nullptr);
    const time_t seconds = now.tv_sec;
    struct tm local = {};
    emwCLBLocalTime_r(&seconds, &local);
    std::snprintf(stamp, sizeof stamp, "%d%02d%02d%02d%02d%02d%08lx", local.tm_year + 1900, local.tm_mon + 1,
                  local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
                  static_cast<unsigned long>(now.tv_usec));
}

}  // namespace

int CntsSMTPSendMail::MakeHeader(char*& pHeader, long& nLength)
{
    pHeader = nullptr;
    nLength = 0;
    if (m_eCharSet == Type::eCharSetUnknown || m_eCharSet == Type::eCharSetEnd) {
        NTC_TRACE("<Error> : CntsSMTPSendMail::MakeHeader : IsCharSetAvail NG\n");
        return 0;
    }
    HeaderWriter writer(*this);
    try {
        if (!add_origin(*this, writer) || !add_recipients(*this, writer) ||
            !add_reply_addresses(*this, writer) || !add_identification(*this, writer) ||
            !add_content(*this, writer)) {
            return 0;
        }
    } catch (CntsMLUTLMailException* thrown) {
        const std::unique_ptr<CntsMLUTLMailException> failure(thrown);
        NTC_TRACE("<Error> : CntsSMTPSendMail::MakeHeader : Exception occured.\n");
        return 0;
    } catch (const std::bad_alloc&) {
        trace_add_failed(__LINE__);
        return 0;
    }
    writer.header.take(pHeader, nLength);
    return 1;
}

int CntsSMTPSendMail::MakeHeaderAddress(const CntsMLUTLMailAddress& addr, const char* name, char*& pHeader,
                                        char* work, long& count, long& nLength)
{
    AddressSlots slots;
    CutlCPLBMString entry;
    int position = 0;
    while (addr.GetAddress(entry, position, kSeparators) != 0) {
        if (!slots.grow()) {
            NTC_TRACE("<Error> : CntsSMTPSendMail::%s():MemRealloc NG\n", __func__);
            return 0;
        }
        if (!slots.fill(text_of(entry))) {
            NTC_TRACE("<Error> : CntsSMTPSendMail::%s():AddBuffer NG\n", __func__);
            return 0;
        }
    }
    AppendedLines lines(pHeader, nLength);
    for (long i = 0; i < slots.count(); ++i) {
        const char* const line_end = i + 1 < slots.count() ? ",\r\n" : "\r\n";
        const long length = i == 0 ? put_line(work, {name, " ", slots.entry(i), line_end})
                                   : put_line(work, {"\t", slots.entry(i), line_end});
        if (length < 0 || AddBuffer(pHeader, nLength, work, length) == 0) {
            NTC_TRACE("<Error> : CntsSMTPSendMail::%s():AddBuffer NG\n", __func__);
            return 0;
        }
    }
    lines.keep();
    count = slots.count();
    return 1;
}

int CntsSMTPSendMail::MakeHeaderBracket(const CutlCPLBMString& value, const char* name, char*& pHeader,
                                        long& nLength)
{
    if (!has_octets(value)) return 1;
    AppendedLines lines(pHeader, nLength);
    char line[kLineSize];
    bool is_written = false;
    const char* next = text_of(value);
    while (const char* const open = std::strchr(next, '<')) {
        const char* const close = std::strchr(open, '>');
        if (close == nullptr) {
            NTC_TRACE("<Warning>CntsSMTPSendMail::%s:not found bracket'>'\n", __func__);
            break;
        }
        const std::string_view identifier(open, static_cast<std::size_t>(close + 1 - open));
        const long length = is_written ? put_line(line, {"\t", identifier, "\r\n"})
                                       : put_line(line, {name, " ", identifier, "\r\n"});
        if (length < 0 || AddBuffer(pHeader, nLength, line, length) == 0) {
            NTC_TRACE("<Error> : CntsSMTPSendMail::%s:AddBuffer NG\n", __func__);
            return 0;
        }
        is_written = true;
        next = close + 1;
    }
    lines.keep();
    return is_written ? 1 : 0;
}

int CntsSMTPSendMail::CreateMessageID(const CntsMLUTLMailAddress& from, CutlCPLBMString& out)
{
    const CntsMLUTLMailAddress address(from);  // out may be its text
    out.CopyString("", -1);
    char stamp[kStampSize];
    make_stamp(stamp);
    CutlCPLBMString bare;
    if (CntsMLUTLMailAddress::GetRealAddress(bare, address.m_cAddress.GetString()) == 0) {
        NTC_TRACE("<Warning>CntsSMTPSendMail::%s:[not real address]\n", __func__);
        return 0;
    }
    CutlCPLBMString account;
    CutlCPLBMString domain;
    try {
        std::string identifier = std::string("<") + stamp + ".";
        if (CntsMLUTLMailAddress::SplitAddress(account, domain, text_of(bare)) != 0) {
            if (!append_upper(identifier, text_of(account))) return 0;
            identifier += "@";
            identifier += text_of(domain);
        } else if (!append_upper(identifier, text_of(bare))) {
            return 0;
        }
        identifier += ">";
        out.CopyString(identifier.c_str(), -1);
    } catch (const std::bad_alloc&) {
        return 0;
    }
    return 1;
}

}  // namespace velorin
