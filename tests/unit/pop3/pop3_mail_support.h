// What the tests of the received mail share: its octets put together by hand.
#pragma once

#include <cstddef>
#include <string>

#include <gtest/gtest.h>

#include "CntsPOP3ReceiveMail.h"

#include "mlutl_support.h"
#include "platform_double.h"
#include "wire_octets.h"

namespace velorin_test {

// A part without values: types 14, 5, 3 and 12, no octets, not the last piece.
constexpr const char* kEmptyPart = "08 0E 10 05 18 03 20 0C 58 00 60 00";

// A mail made from an entry that was never set: its own part, depth 0, more follows, the entry, no boundary.
inline std::string empty_mail()
{
    return delimited("0A", octets_of(kEmptyPart)) +
           octets_of("70 00 78 01 82 01 08 08 00 12 00 18 00 20 00 90 01 00");
}

inline void queue(velorin::CntsMLUTLMailPart& part, const std::string& octets)
{
    void* block = platform_block(octets);
    long length = static_cast<long>(octets.size());
    ASSERT_EQ(part.SetBuffer(block, length), 1);
}

inline std::string queued(const velorin::CntsMLUTLMailPart& part)
{
    if (part.m_pBuffer == nullptr) return "(null)";
    return std::string(part.m_pBuffer, static_cast<std::size_t>(part.m_nLength));
}

// Every member set that travels, and two that do not.
inline void fill(velorin::CntsPOP3ReceiveMail& mail)
{
    using velorin::CntsMLUTLMailType;
    mail.m_eContentType = static_cast<CntsMLUTLMailType::eContentType>(1);
    mail.m_eTransferEncoding = static_cast<CntsMLUTLMailType::eTransferEncoding>(2);
    mail.m_eContentDisposition = static_cast<CntsMLUTLMailType::eContentDisposition>(0);
    mail.m_eCharSet = static_cast<CntsMLUTLMailType::eCharSet>(5);
    mail.m_cContentType.CopyString("ct", -1);
    mail.m_cContentTypeString.CopyString("cs", -1);
    mail.m_cTransferEncoding.CopyString("te", -1);
    mail.m_cFIleName.CopyString("fn", -1);
    mail.m_cExtension.CopyString("ex", -1);
    mail.m_cOther.CopyString("stays here", -1);
    mail.m_bIsTerminate = 1;
    mail.SetContentCIAJWNETFAX(1);  // stays here too: copies carry no marker
    queue(mail, std::string("a\0\xFF", 3));
    mail.m_cTo.m_cAddress.CopyString("t@x", -1);
    mail.m_cFrom.m_cAddress.CopyString("f@x", -1);
    mail.m_cCc.m_cAddress.CopyString("c@x", -1);
    mail.m_cNotificationTo.m_cAddress.CopyString("n@x", -1);
    mail.m_cReplyTo.m_cAddress.CopyString("r@x", -1);
    mail.m_cSubject.CopyString("sub", -1);
    mail.m_cDate.CopyString("dat", -1);
    mail.m_cMessageID.CopyString("mid", -1);
    ASSERT_EQ(mail.UpBoundaryLevel("out"), 1);
    ASSERT_EQ(mail.UpBoundaryLevel(""), 1);
    ASSERT_EQ(mail.UpBoundaryLevel("in"), 1);
    mail.m_cInReplyTo.CopyString("irt", -1);
    mail.m_cReferences.CopyString("ref", -1);
    mail.m_cReturnPath.m_cAddress.CopyString("p@x", -1);
    mail.m_bIsHasNext = 0;
    mail.m_bIsBoundaryDetected = 1;
    auto* const part = new velorin::CntsPOP3ReceiveMailPart;
    part->m_eContentType = static_cast<CntsMLUTLMailType::eContentType>(7);
    part->m_cFIleName.CopyString("a.pdf", -1);
    queue(*part, "JVBE");
    mail.SetPart(part);
}

// What `fill` makes of a mail from the entry (300, "uid", 70000, 1).
inline std::string filled_mail()
{
    return delimited("0A",
                     octets_of("08 01 10 02 18 00 20 05 2A 02 63 74 32 02 63 73 3A 02 74 65 42 02 66 6E "
                               "4A 02 65 78 52 03 61 00 FF 58 03 60 01")) +
           octets_of("12 05 0A 03 74 40 78 1A 05 0A 03 66 40 78 22 05 0A 03 63 40 78 2A 05 0A 03 6E 40 78 "
                     "32 05 0A 03 72 40 78 3A 03 73 75 62 42 03 64 61 74 4A 03 6D 69 64 "
                     "52 03 6F 75 74 52 00 52 02 69 6E 5A 03 69 72 74 62 03 72 65 66 6A 05 0A 03 70 40 78 "
                     "70 03 78 00 82 01 0E 08 AC 02 12 03 75 69 64 18 F0 A2 04 20 01") +
           delimited("8A 01", delimited("0A", octets_of("08 07 10 05 18 03 20 0C 42 05 61 2E 70 64 66 "
                                                        "52 04 4A 56 42 45 58 04 60 00"))) +
           octets_of("90 01 01");
}

}  // namespace velorin_test
