// POP3 envelopes, requests and answers, through the converters of all that they carry.
//   input   the allocation that fails (0: none), the envelope
#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>

#include "fuzz_envelope.h"
#include "fuzz_input.h"
#include "ntc_email_esu_mlutl_helper.h"
#include "ntc_email_esu_pop3_helper.h"

namespace {

using namespace velorin;
using namespace velorin_fuzz;
using Helper = ntc_email_esu_pop3_helper;
using Mail = ntc_email_esu_pop3_receive_mail;
using Info = ntc_email_esu_pop3_mail_info;
using List = ntc_email_esu_pop3_mail_info_list;
using Settings = ntc_email_esu_pop3_settings;
using Address = ntc_email_esu_mlutl_mail_address;

const auto fresh_mail = [] {
    CntsPOP3MailInfo info;
    return std::make_unique<CntsPOP3ReceiveMail>(info);
};
const auto mail_from = [](const Mail& m, CntsPOP3ReceiveMail& o) {
    return Helper::convert_pop3_receive_mail(m, o);
};
const auto mail_to = [](const CntsPOP3ReceiveMail& o, Mail& m) {
    return Helper::convert_pop3_receive_mail(o, m);
};
const auto fresh_info = [] { return std::make_unique<CntsPOP3MailInfo>(); };
const auto info_from = [](const Info& m, CntsPOP3MailInfo& o) {
    return Helper::convert_pop3_mail_info(m, o);
};
const auto info_to = [](const CntsPOP3MailInfo& o, Info& m) { return Helper::convert_pop3_mail_info(o, m); };
const auto fresh_list = [] { return std::make_unique<CntsPOP3MailInfoList>(100); };
const auto list_from = [](const List& m, CntsPOP3MailInfoList& o) {
    return Helper::convert_pop3_mail_info_list(m, o);
};
const auto list_to = [](const CntsPOP3MailInfoList& o, List& m) {
    return Helper::convert_pop3_mail_info_list(o, m);
};
// Without any text, so that an absent one is told from an empty one.
const auto fresh_settings = [] {
    auto settings = std::make_unique<CntsPOP3Settings>(SPOP3Setting());
    for (CutlCPLBMString* const text :
         {&settings->c_address.m_cAddress, &settings->c_server, &settings->c_user_id, &settings->c_passwd}) {
        *text = CutlCPLBMString();
    }
    return settings;
};
const auto settings_from = [](const Settings& m, CntsPOP3Settings& o) {
    return Helper::convert_pop3_settings(m, o);
};
const auto settings_to = [](const CntsPOP3Settings& o, Settings& m) {
    return Helper::convert_pop3_settings(o, m);
};
const auto fresh_address = [] { return std::make_unique<CntsMLUTLMailAddress>(); };
const auto address_from = [](const Address& m, CntsMLUTLMailAddress& o) {
    return ntc_email_esu_mlutl_helper::convert_mlutl_mail_address(m, o);
};
const auto address_to = [](const CntsMLUTLMailAddress& o, Address& m) {
    return ntc_email_esu_mlutl_helper::convert_mlutl_mail_address(o, m);
};

void check_mail(const Mail& message, unsigned failing)
{
    {
        const Platform platform;
        Mail written;
        written.ParseFromString(stable(message, fresh_mail, mail_from, mail_to));
        check_part(written.my_part());
        check_part(written.p_part().p_part());
        require(written.has_p_part() == message.has_p_part(), "a part travels when there is one");
        require(written.c_boundary_string_size() == message.c_boundary_string_size(),
                "every boundary travels");
        require(written.n_part_depth() == message.n_part_depth(), "the depth travels as it is");
        require(written.is_has_next() == (message.has_is_has_next() ? message.is_has_next() : true),
                "a mail goes on unless it is said to end");
        keeps_what_is_absent(message, fresh_mail, mail_from, mail_to);
    }
    survives(message, failing, fresh_mail, mail_from, mail_to);
}

void check_info(const Info& message, unsigned failing)
{
    {
        const Platform platform;
        Info written;
        written.ParseFromString(stable(message, fresh_info, info_from, info_to));
        const bool is_whole =
            message.has_n_id() && message.has_c_uniq_id() && message.has_n_size() && message.has_n_status();
        require(written.n_id() == (is_whole ? message.n_id() : 0), "a whole entry is taken, and no other");
        require(written.n_size() == (is_whole ? message.n_size() : 0),
                "a whole entry is taken, and no other");
        keeps_what_is_absent(message, fresh_info, info_from, info_to);
    }
    survives(message, failing, fresh_info, info_from, info_to);
}

void check_list(const List& message, unsigned failing)
{
    {
        const Platform platform;
        auto list = fresh_list();
        const int most = message.has_n_max_list_size() ? message.n_max_list_size() : list->m_nMaxListSize;
        const int wanted = message.c_list_size();
        const bool fits = wanted == 0 || wanted <= most;
        require((list_from(message, *list) == 0) == fits, "a list that fits is taken, and no other");
        const long kept = std::min<long>(wanted, std::max(most, 0));
        require(list->m_cList.GetCount() == kept, "what fits is kept");
        stable(message, fresh_list, list_from, list_to);
    }
    survives(message, failing, fresh_list, list_from, list_to);
}

void check_settings(const Settings& message, unsigned failing)
{
    {
        const Platform platform;
        Settings written;
        written.ParseFromString(stable(message, fresh_settings, settings_from, settings_to));
        require(written.has_c_address() == message.c_address().has_c_address(), "null and empty stay apart");
        require(written.has_c_server() == message.has_c_server() &&
                    written.has_c_user_id() == message.has_c_user_id() &&
                    written.has_c_passwd() == message.has_c_passwd(),
                "a text that is absent stays absent");
        require(written.n_port() == message.n_port() && written.n_timeout() == message.n_timeout(),
                "numbers travel as they are");
        require(written.n_tls_mode() <= 0xFF, "a mode is an octet");
        keeps_what_is_absent(message, fresh_settings, settings_from, settings_to);
    }
    survives(message, failing, fresh_settings, settings_from, settings_to);
}

void check_address(const Address& message)
{
    const Platform platform;
    Address written;
    written.ParseFromString(stable(message, fresh_address, address_from, address_to));
    require(written.has_c_address() == message.has_c_address(), "null and empty stay apart");
    keeps_what_is_absent(message, fresh_address, address_from, address_to);
}

void check_mails(const ntc_email_esu_pop3_method& envelope, unsigned failing)
{
    const auto check = [&](const auto& member) {
        if (member.has_c_mail()) check_mail(member.c_mail(), failing);
    };
    check(envelope.receive_header_req());
    check(envelope.receive_header_res());
    check(envelope.receive_body_req());
    check(envelope.receive_body_res());
    check(envelope.receive_part_header_req());
    check(envelope.receive_part_header_res());
    check(envelope.receive_part_body_req());
    check(envelope.receive_part_body_res());
    check(envelope.skip_mail_req());
    check(envelope.skip_mail_res());
    check(envelope.skip_part_req());
    check(envelope.skip_part_res());
    check(envelope.delete_req());
    check(envelope.delete_res());
    check(envelope.receive_header_only_req());
    check(envelope.receive_header_only_res());
    check(envelope.delete_by_uid_req());
}

void check_lists(const ntc_email_esu_pop3_method& envelope, unsigned failing)
{
    const auto check = [&](const auto& member) {
        if (member.has_c_info_list()) check_list(member.c_info_list(), failing);
    };
    check(envelope.list_req());
    check(envelope.list_res());
    check(envelope.list_next_req());
    check(envelope.list_next_res());
    check(envelope.delete_by_uid_req());
    check(envelope.delete_by_uid_res());
    if (envelope.list_next_req().has_c_info()) check_info(envelope.list_next_req().c_info(), failing);
    if (envelope.list_next_res().has_c_info()) check_info(envelope.list_next_res().c_info(), failing);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t size)
{
    Input input(octets, size);
    const unsigned failing = input.below(16);
    ntc_email_esu_pop3_method envelope;
    if (!envelope.ParseFromString(input.rest())) return 0;

    check_mails(envelope, failing);
    check_lists(envelope, failing);
    if (envelope.create_instance_req().has_c_settings())
        check_settings(envelope.create_instance_req().c_settings(), failing);
    check_address(envelope.ref_mail_address_res().mail_address());
    return 0;
}
