// Converters of the mail info list and the mail under reception.
#include "ntc_email_esu_pop3_helper.h"

#include <memory>
#include <string>

#include "ntc_email_esu_mlutl_helper.h"
#include "status.h"
#include "trace.h"
#include "wire_text.h"

namespace velorin {

namespace {

constexpr char kPartFailed[] = "ntc_email_esu_pop3_helper::%s():convert_mlutl_mail_part() returns NG\n";
constexpr char kAddressFailed[] = "ntc_email_esu_pop3_helper::%s():convert_mlutl_mail_address() returns NG\n";
constexpr char kInfoFailed[] = "ntc_email_esu_pop3_helper::%s():convert_pop3_mail_info() returns NG\n";
constexpr char kReceivePartFailed[] =
    "ntc_email_esu_pop3_helper::%s():convert_pop3_receive_mail_part() returns NG\n";
constexpr char kAddFailed[] = "ntc_email_esu_pop3_helper::%s():AddMailInfo() returns NG\n";

// Fills a field from an address that is not null; traces a failure.
template <typename MutableField>
bool put_address(const char* converter, const CntsMLUTLMailAddress& address, MutableField mutable_field)
{
    if (!has_text(address.m_cAddress)) return true;
    if (ntc_email_esu_mlutl_helper::convert_mlutl_mail_address(address, *mutable_field()) == 0) return true;
    NTC_TRACE(kAddressFailed, converter);
    return false;
}

void get_address(CntsMLUTLMailAddress& address, const ntc_email_esu_mlutl_mail_address& message)
{
    copy_text(address.m_cAddress, message.c_address());
}

void put_boundaries(const CntsPOP3ReceiveMail& mail, ntc_email_esu_pop3_receive_mail& message)
{
    const CutlCPLBMVector* const stack = mail.m_cBoundaryString;
    if (stack == nullptr) return;
    for (long i = 0; i < stack->GetCount(); ++i) {
        const auto* const boundary = static_cast<const CutlCPLBMString*>(stack->GetAt(i));
        if (boundary == nullptr) break;
        message.add_c_boundary_string(has_text(*boundary) ? text_of(*boundary) : "");
    }
}

// Installs the message's boundaries as the mail's stack.
//   result  false when memory runs out: the mail keeps its stack
bool get_boundaries(const ntc_email_esu_pop3_receive_mail& message, CntsPOP3ReceiveMail& mail)
{
    struct Stack {
        std::unique_ptr<CutlCPLBMVector> list = std::make_unique<CutlCPLBMVector>();
        ~Stack()
        {
            for (long i = 0; list != nullptr && i < list->GetCount(); ++i) {
                delete static_cast<CutlCPLBMString*>(list->GetAt(i));
            }
        }
    } stack;
    for (const std::string& wire : message.c_boundary_string()) {
        auto boundary = std::make_unique<CutlCPLBMString>();
        copy_text(*boundary, wire);
        if (stack.list->Add(stack.list->GetCount(), boundary.get()) == 0) return false;
        static_cast<void>(boundary.release());  // the stack's from now on
    }
    mail.SetBoundaryStringList(stack.list.release());
    return true;
}

}  // namespace

std::uint32_t ntc_email_esu_pop3_helper::convert_pop3_mail_info(const CntsPOP3MailInfo& info,
                                                                ntc_email_esu_pop3_mail_info& message)
{
    message.set_n_id(info.m_nId);                                                  // 1, always
    if (has_text(info.m_cUniqId)) message.set_c_uniq_id(text_of(info.m_cUniqId));  // 2, null: absent
    message.set_n_size(static_cast<std::uint32_t>(info.m_nSize));                  // 3, always
    message.set_n_status(info.m_nStatus);                                          // 4, always
    return kStatusOk;
}

std::uint32_t ntc_email_esu_pop3_helper::convert_pop3_mail_info(const ntc_email_esu_pop3_mail_info& message,
                                                                CntsPOP3MailInfo& info)
{
    if (!message.has_n_id() || !message.has_c_uniq_id() || !message.has_n_size() || !message.has_n_status()) {
        return kStatusOk;
    }
    // The size has 32 bits with a sign on every host.
    info = CntsPOP3MailInfo(message.n_id(), message.c_uniq_id().c_str(),
                            static_cast<std::int32_t>(message.n_size()), message.n_status());
    return kStatusOk;
}

std::uint32_t
ntc_email_esu_pop3_helper::convert_pop3_mail_info_list(const CntsPOP3MailInfoList& list,
                                                       ntc_email_esu_pop3_mail_info_list& message)
{
    message.clear_c_list();
    message.set_n_max_list_size(list.m_nMaxListSize);  // 2, always
    for (long i = 0; i < list.m_cList.GetCount(); ++i) {
        const auto* const entry = static_cast<const CntsPOP3MailInfo*>(list.m_cList.GetAt(i));
        if (entry == nullptr) continue;
        if (convert_pop3_mail_info(*entry, *message.add_c_list()) != kStatusOk) {  // 1
            message.clear_c_list();
            NTC_TRACE(kInfoFailed, __func__);
            return kStatusCallFailed;
        }
    }
    return kStatusOk;
}

std::uint32_t
ntc_email_esu_pop3_helper::convert_pop3_mail_info_list(const ntc_email_esu_pop3_mail_info_list& message,
                                                       CntsPOP3MailInfoList& list)
{
    list.ClearId();
    list.ClearList();
    if (message.has_n_max_list_size()) list.m_nMaxListSize = message.n_max_list_size();  // 2 back
    for (const ntc_email_esu_pop3_mail_info& wire : message.c_list()) {                  // 1 back
        auto entry = std::make_unique<CntsPOP3MailInfo>();
        convert_pop3_mail_info(wire, *entry);
        if (list.AddMailInfo(entry.release(), 1) == 0) {
            NTC_TRACE(kAddFailed, __func__);
            return kStatusCallFailed;
        }
    }
    return kStatusOk;
}

std::uint32_t
ntc_email_esu_pop3_helper::convert_pop3_receive_mail_part(const CntsPOP3ReceiveMailPart& part,
                                                          ntc_email_esu_pop3_receive_mail_part& message)
{
    if (ntc_email_esu_mlutl_helper::convert_mlutl_mail_part(part, *message.mutable_p_part()) !=
        0) {  // 1, always
        NTC_TRACE(kPartFailed, __func__);
        return kStatusCallFailed;
    }
    return kStatusOk;
}

std::uint32_t
ntc_email_esu_pop3_helper::convert_pop3_receive_mail_part(const ntc_email_esu_pop3_receive_mail_part& message,
                                                          CntsPOP3ReceiveMailPart& part)
{
    if (message.has_p_part() &&
        ntc_email_esu_mlutl_helper::convert_mlutl_mail_part(message.p_part(), part) != 0) {  // 1 back
        NTC_TRACE(kPartFailed, __func__);
        return kStatusCallFailed;
    }
    return kStatusOk;
}

std::uint32_t ntc_email_esu_pop3_helper::convert_pop3_receive_mail(const CntsPOP3ReceiveMail& mail,
                                                                   ntc_email_esu_pop3_receive_mail& message)
{
    const char* const converter = __func__;
    {
        // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): a copy that fails is traced
        const CntsMLUTLMailPart copy(mail);
        if (ntc_email_esu_mlutl_helper::convert_mlutl_mail_part(copy, *message.mutable_my_part()) !=
            0) {  // 1, always
            NTC_TRACE(kPartFailed, converter);
            return kStatusCallFailed;
        }
    }
    if (!put_address(converter, mail.m_cTo, [&] { return message.mutable_c_to(); }) ||      // 2
        !put_address(converter, mail.m_cFrom, [&] { return message.mutable_c_from(); }) ||  // 3
        !put_address(converter, mail.m_cCc, [&] { return message.mutable_c_cc(); }) ||      // 4
        !put_address(converter, mail.m_cNotificationTo,
                     [&] { return message.mutable_c_notification_to(); }) ||                       // 5
        !put_address(converter, mail.m_cReplyTo, [&] { return message.mutable_c_reply_to(); })) {  // 6
        return kStatusCallFailed;
    }
    if (has_text(mail.m_cSubject)) message.set_c_subject(text_of(mail.m_cSubject));         // 7, null: absent
    if (has_text(mail.m_cDate)) message.set_c_date(text_of(mail.m_cDate));                  // 8, null: absent
    if (has_text(mail.m_cMessageID)) message.set_c_message_id(text_of(mail.m_cMessageID));  // 9, null: absent
    put_boundaries(mail, message);                                                          // 10
    if (has_text(mail.m_cInReplyTo))
        message.set_c_in_reply_to(text_of(mail.m_cInReplyTo));  // 11, null: absent
    if (has_text(mail.m_cReferences))
        message.set_c_references(text_of(mail.m_cReferences));  // 12, null: absent
    if (!put_address(converter, mail.m_cReturnPath, [&] { return message.mutable_c_return_path(); })) {  // 13
        return kStatusCallFailed;
    }
    message.set_n_part_depth(mail.m_nPartDepth);      // 14, always
    message.set_is_has_next(mail.m_bIsHasNext != 0);  // 15, always
    if (convert_pop3_mail_info(mail.m_cMailInfo, *message.mutable_c_mail_info()) !=
        kStatusOk) {  // 16, always
        NTC_TRACE(kInfoFailed, converter);
        return kStatusCallFailed;
    }
    if (mail.m_pPart != nullptr && convert_pop3_receive_mail_part(*mail.m_pPart, *message.mutable_p_part()) !=
                                       kStatusOk) {  // 17, null: absent
        NTC_TRACE(kReceivePartFailed, converter);
        return kStatusCallFailed;
    }
    message.set_is_boundary_detected(mail.m_bIsBoundaryDetected != 0);  // 18, always
    return kStatusOk;
}

std::uint32_t
ntc_email_esu_pop3_helper::convert_pop3_receive_mail(const ntc_email_esu_pop3_receive_mail& message,
                                                     CntsPOP3ReceiveMail& mail)
{
    const char* const converter = __func__;
    if (message.has_my_part() &&
        ntc_email_esu_mlutl_helper::convert_mlutl_mail_part(message.my_part(), mail) != 0) {  // 1 back
        NTC_TRACE(kPartFailed, converter);
        return kStatusCallFailed;
    }
    if (message.has_c_to()) get_address(mail.m_cTo, message.c_to());        // 2 back
    if (message.has_c_from()) get_address(mail.m_cFrom, message.c_from());  // 3 back
    if (message.has_c_cc()) get_address(mail.m_cCc, message.c_cc());        // 4 back
    if (message.has_c_notification_to())
        get_address(mail.m_cNotificationTo, message.c_notification_to());                  // 5 back
    if (message.has_c_reply_to()) get_address(mail.m_cReplyTo, message.c_reply_to());      // 6 back
    if (message.has_c_subject()) copy_text(mail.m_cSubject, message.c_subject());          // 7 back
    if (message.has_c_date()) copy_text(mail.m_cDate, message.c_date());                   // 8 back
    if (message.has_c_message_id()) copy_text(mail.m_cMessageID, message.c_message_id());  // 9 back
    if (message.c_boundary_string_size() > 0 && !get_boundaries(message, mail))
        return kStatusCallFailed;                                                               // 10 back
    if (message.has_c_in_reply_to()) copy_text(mail.m_cInReplyTo, message.c_in_reply_to());     // 11 back
    if (message.has_c_references()) copy_text(mail.m_cReferences, message.c_references());      // 12 back
    if (message.has_c_return_path()) get_address(mail.m_cReturnPath, message.c_return_path());  // 13 back
    if (message.has_n_part_depth()) mail.m_nPartDepth = message.n_part_depth();                 // 14 back
    if (message.has_is_has_next()) mail.m_bIsHasNext = message.is_has_next() ? 1 : 0;           // 15 back
    if (message.has_c_mail_info()) {                                                            // 16 back
        CntsPOP3MailInfo info;  // a message without all its fields makes the entry a default one
        convert_pop3_mail_info(message.c_mail_info(), info);
        mail.m_cMailInfo = info;
    }
    if (message.has_p_part()) {  // 17 back
        auto part = std::make_unique<CntsPOP3ReceiveMailPart>();
        if (convert_pop3_receive_mail_part(message.p_part(), *part) != kStatusOk) {
            NTC_TRACE(kReceivePartFailed, converter);
            return kStatusCallFailed;
        }
        mail.SetPart(part.release());
    }
    if (message.has_is_boundary_detected())
        mail.m_bIsBoundaryDetected = message.is_boundary_detected() ? 1 : 0;  // 18
    return kStatusOk;
}

}  // namespace velorin
