#include "text_check.h"

#include <algorithm>
#include <cstddef>

#include "ntc_email_esu_mlutl.pb.h"
#include "ntc_email_esu_smtp.pb.h"

#include "return_codes.h"

namespace velorin::service {
namespace {

constexpr std::size_t kMaxBoundary = 70;
constexpr std::size_t kFold = 3;  // octets of a CR LF with the blank or tab behind it

bool is_fold(const std::string& text, std::size_t index)
{
    return index + 2 < text.size() && text[index] == '\r' && text[index + 1] == '\n' &&
           (text[index + 2] == ' ' || text[index + 2] == '\t');
}

// A fold behind an encoded word of a display name, with a further word or the address behind it.
bool is_fold_of_name(const std::string& text, std::size_t index)
{
    if (!is_fold(text, index) || index < 2 || text.compare(index - 2, 2, "?=") != 0) return false;
    return text.compare(index + kFold, 1, "<") == 0 || text.compare(index + kFold, 2, "=?") == 0;
}

}  // namespace

bool is_safe_address_text(const std::string& text)
{
    for (std::size_t index = 0; index < text.size(); ++index) {
        const auto value = static_cast<unsigned char>(text[index]);
        if (value == '\t' || (value >= 0x20 && value != 0x7F)) continue;
        if (!is_fold_of_name(text, index)) return false;
        index += kFold - 1;
    }
    return true;
}

bool is_safe_header_text(const std::string& text)
{
    for (std::size_t index = 0; index < text.size(); ++index) {
        const char octet = text[index];
        if (octet == '\0' || octet == '\n') return false;
        if (octet != '\r') continue;
        if (!is_fold(text, index)) return false;
        index += kFold - 1;
    }
    return true;
}

bool is_safe_boundary(const std::string& text)
{
    if (text.empty() || text.size() > kMaxBoundary || text.back() == ' ') return false;
    return std::all_of(text.begin(), text.end(), [](char octet) {
        return octet >= 0x20 && octet <= 0x7E && octet != '"' && octet != '\\';
    });
}

std::uint32_t check_part_texts(const ntc_email_esu_mlutl_mail_part& part)
{
    for (const std::string* const text :
         {&part.c_content_type(), &part.c_content_type_string(), &part.c_transfer_encoding(),
          &part.c_file_name(), &part.c_extension(), &part.ignore_content_xciajwnetfax()}) {
        if (!is_safe_header_text(*text)) return kUnsafeText;
    }
    return 0;
}

std::uint32_t check_mail_texts(const ntc_email_esu_smtp_send_mail& mail, bool multipart)
{
    for (const ntc_email_esu_mlutl_mail_address* const address :
         {&mail.c_from(), &mail.c_to(), &mail.c_cc(), &mail.c_bcc(), &mail.c_reply_to(), &mail.c_sender(),
          &mail.c_mdn_address()}) {
        if (!is_safe_address_text(address->c_address())) return kUnsafeText;
    }
    for (const std::string* const text :
         {&mail.c_subject(), &mail.c_boundary_string(), &mail.c_date(), &mail.c_message_id(),
          &mail.c_in_reply_to(), &mail.c_references()}) {
        if (!is_safe_header_text(*text)) return kUnsafeText;
    }
    if (multipart && !is_safe_boundary(mail.c_boundary_string())) return kUnsafeText;
    return check_part_texts(mail.my_part());
}

}  // namespace velorin::service
