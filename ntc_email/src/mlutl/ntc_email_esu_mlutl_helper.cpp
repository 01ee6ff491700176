#include "ntc_email_esu_mlutl_helper.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>

#include "CutlCPLBOSBoundary.h"

#include "heap_block.h"
#include "wire_text.h"

namespace velorin {

int ntc_email_esu_mlutl_helper::convert_mlutl_mail_address(const ntc_email_esu_mlutl_mail_address& message,
                                                           CntsMLUTLMailAddress& address)
{
    if (message.has_c_address()) copy_text(address.m_cAddress, message.c_address());  // 1
    return 0;
}

int ntc_email_esu_mlutl_helper::convert_mlutl_mail_address(const CntsMLUTLMailAddress& address,
                                                           ntc_email_esu_mlutl_mail_address& message)
{
    if (has_text(address.m_cAddress)) message.set_c_address(text_of(address.m_cAddress));  // 1, null: absent
    return 0;
}

namespace {

// Queues the message's octets, as many as its length says and its buffer holds.
void queue_octets(const ntc_email_esu_mlutl_mail_part& message, CntsMLUTLMailPart& part)
{
    const std::string& octets = message.p_buffer();
    const long present =
        static_cast<long>(std::min<std::size_t>(octets.size(), std::numeric_limits<std::int32_t>::max()));
    long length = std::min(static_cast<long>(message.n_length()), present);
    const std::size_t size = length > 0 ? static_cast<std::size_t>(length) : 0;
    HeapBlock block;
    block.data = static_cast<char*>(CutlCPLBOSBoundary::MemAllocate(size));
    if (block.data != nullptr && size > 0) std::memcpy(block.data, octets.data(), size);
    void* handed = block.data;
    if (part.SetBuffer(handed, length) != 0) block.data = nullptr;  // the part's now, or merged into its own
}

}  // namespace

int ntc_email_esu_mlutl_helper::convert_mlutl_mail_part(const ntc_email_esu_mlutl_mail_part& message,
                                                        CntsMLUTLMailPart& part)
{
    using Type = CntsMLUTLMailType;
    if (message.has_e_content_type())
        part.m_eContentType = static_cast<Type::eContentType>(message.e_content_type());  // 1
    if (message.has_e_transfer_encoding()) {
        part.m_eTransferEncoding = static_cast<Type::eTransferEncoding>(message.e_transfer_encoding());  // 2
    }
    if (message.has_e_content_disposition()) {
        part.m_eContentDisposition =
            static_cast<Type::eContentDisposition>(message.e_content_disposition());  // 3
    }
    if (message.has_e_char_set()) part.m_eCharSet = static_cast<Type::eCharSet>(message.e_char_set());  // 4
    if (message.has_c_content_type()) copy_text(part.m_cContentType, message.c_content_type());         // 5
    if (message.has_c_content_type_string())
        copy_text(part.m_cContentTypeString, message.c_content_type_string());  // 6
    if (message.has_c_transfer_encoding())
        copy_text(part.m_cTransferEncoding, message.c_transfer_encoding());  // 7
    if (message.has_c_file_name()) {                                         // 8
        copy_text(part.m_cFIleName, message.c_file_name());
        trim(part.m_cFIleName);
    }
    if (message.has_c_extension()) copy_text(part.m_cExtension, message.c_extension());    // 9
    if (message.has_p_buffer() && message.has_n_length()) queue_octets(message, part);     // 10 with 11
    if (message.has_is_terminate()) part.m_bIsTerminate = message.is_terminate() ? 1 : 0;  // 12
    if (message.has_ignore_content_xciajwnetfax()) {                                       // 13
        part.SetContentCIAJWNETFAX(message.ignore_content_xciajwnetfax().c_str());
    }
    return 0;
}

int ntc_email_esu_mlutl_helper::convert_mlutl_mail_part(const CntsMLUTLMailPart& part,
                                                        ntc_email_esu_mlutl_mail_part& message)
{
    message.set_e_content_type(part.m_eContentType);                                              // 1
    message.set_e_transfer_encoding(part.m_eTransferEncoding);                                    // 2
    message.set_e_content_disposition(part.m_eContentDisposition);                                // 3
    message.set_e_char_set(part.m_eCharSet);                                                      // 4
    if (has_text(part.m_cContentType)) message.set_c_content_type(text_of(part.m_cContentType));  // 5
    if (has_text(part.m_cContentTypeString))
        message.set_c_content_type_string(text_of(part.m_cContentTypeString));  // 6
    if (has_text(part.m_cTransferEncoding))
        message.set_c_transfer_encoding(text_of(part.m_cTransferEncoding));                // 7
    if (has_text(part.m_cFIleName)) message.set_c_file_name(text_of(part.m_cFIleName));    // 8
    if (has_text(part.m_cExtension)) message.set_c_extension(text_of(part.m_cExtension));  // 9
    {
        CntsMLUTLMailPart copy(part);  // GetBuffer empties its part
        void* taken = nullptr;
        long length = 0;
        if (copy.GetBuffer(taken, length) != 0) {
            HeapBlock block;
            block.data = static_cast<char*>(taken);
            if (taken != nullptr) message.set_p_buffer(block.data, static_cast<std::size_t>(length));  // 10
            message.set_n_length(static_cast<std::int32_t>(length));                                   // 11
        }
    }
    message.set_is_terminate(part.m_bIsTerminate == 1);  // 12
    // Taken from a copy on purpose: a copy carries no marker, so this direction never fills field 13.
    CntsMLUTLMailPart copy(part);
    CutlCPLBMString marker;
    if (copy.GetContentCIAJWNETFAXSource(marker) != 0)
        message.set_ignore_content_xciajwnetfax(text_of(marker));  // 13
    return 0;
}

}  // namespace velorin
