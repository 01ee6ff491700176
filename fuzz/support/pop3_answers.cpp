#include "pop3_answers.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "fuzz_property.h"
#include "ntc_email_esu_pop3.pb.h"
#include "return_codes.h"

namespace velorin_fuzz {
namespace {

using velorin::ntc_email_esu_mlutl_mail_part;

constexpr std::size_t kEnvelope = 20;  // octets around a mail or a list: method, lengths, code
constexpr int kMaxDepth = 20;

void check_text(const std::string& text)
{
    require(text.find_first_of(std::string("\r\n\0", 3)) == std::string::npos, "a text is one line");
}

void check_part(const ntc_email_esu_mlutl_mail_part& part)
{
    for (const std::string* const text :
         {&part.c_content_type(), &part.c_content_type_string(), &part.c_transfer_encoding(),
          &part.c_file_name(), &part.c_extension(), &part.ignore_content_xciajwnetfax()})
        check_text(*text);
    require(part.n_length() == static_cast<std::int32_t>(part.p_buffer().size()),
            "a length is that of its octets");
}

}  // namespace

void check_code(std::uint32_t code)
{
    require(code == 0 || std::strcmp(velorin::service::name_of_code(code), "?") != 0,
            "a code is one of the service's");
    require(code != velorin::service::kInternalFailure, "the service never fails by itself");
}

void check_mail(const velorin::ntc_email_esu_pop3_receive_mail& answer, std::size_t room)
{
    require(answer.ByteSizeLong() + kEnvelope <= room, "an answer fits its buffer");
    check_part(answer.my_part());
    check_part(answer.p_part().p_part());
    for (const auto* const address :
         {&answer.c_to(), &answer.c_from(), &answer.c_cc(), &answer.c_notification_to(), &answer.c_reply_to(),
          &answer.c_return_path()})
        check_text(address->c_address());
    for (const std::string* const text : {&answer.c_subject(), &answer.c_date(), &answer.c_message_id(),
                                          &answer.c_in_reply_to(), &answer.c_references()})
        check_text(*text);
    for (const std::string& boundary : answer.c_boundary_string()) {
        check_text(boundary);
        require(!boundary.empty(), "a boundary has a text");
    }
    require(answer.c_boundary_string_size() <= kMaxDepth, "multiparts nest as deep as is allowed");
    require(answer.n_part_depth() >= 0 && answer.n_part_depth() <= kMaxDepth,
            "the depth is that of the multiparts");
}

void check_list(const velorin::ntc_email_esu_pop3_mail_info_list& asked,
                const velorin::ntc_email_esu_pop3_mail_info_list& answer, std::size_t room)
{
    require(answer.ByteSizeLong() + kEnvelope <= room, "a list fits its buffer");
    require(answer.c_list_size() <= std::max(asked.c_list_size(), asked.n_max_list_size()),
            "a list grows no longer than its caller wants it");
    for (const auto& entry : answer.c_list())
        check_text(entry.c_uniq_id());
}

}  // namespace velorin_fuzz
