#include "pop3_support.h"

#include "CntsPOP3Settings.h"
#include "smtp_support.h"

namespace velorin_test::sweep {

using velorin::CntsPOP3MailInfo;

std::shared_ptr<velorin::CntsPOP3Boundary> open_pop3_session(PlatformDouble& platform)
{
    platform.on_exchange([](const Exchange&) { return Answer{}; });
    return std::make_shared<velorin::CntsPOP3Boundary>(velorin::CntsPOP3Settings(pop3_record()));
}

std::shared_ptr<velorin::CntsPOP3MailInfoList> info_list()
{
    const auto list = std::make_shared<velorin::CntsPOP3MailInfoList>(20);
    list->AddMailInfo(new CntsPOP3MailInfo(3, "unique id of the third mail", 3000, 1), 1);
    list->AddMailInfo(new CntsPOP3MailInfo(2, "unique id of the second mail", 2000, 2), 1);
    list->AddMailInfo(new CntsPOP3MailInfo(1, "unique id of the first mail", 1000, 1), 1);
    return list;
}

void fill(velorin::ntc_email_esu_pop3_mail_info_list& message)
{
    for (int id = 4; id <= 5; ++id) {
        velorin::ntc_email_esu_pop3_mail_info& info = *message.add_c_list();
        info.set_n_id(id);
        info.set_c_uniq_id("what the server calls mail " + std::to_string(id));
        info.set_n_size(static_cast<std::uint32_t>(id) * 1000);
        info.set_n_status(1);
    }
    message.set_n_max_list_size(30);
}

std::shared_ptr<velorin::CntsPOP3ReceiveMail> receive_mail()
{
    using Type = velorin::CntsMLUTLMailType;
    const auto mail = std::make_shared<velorin::CntsPOP3ReceiveMail>(
        CntsPOP3MailInfo(7, "the unique id of this mail", 7000, 1));
    mail->m_eContentType = Type::eContentTypeMultipartMixed;
    mail->m_eTransferEncoding = Type::eTransferEncoding8bit;
    mail->m_eContentDisposition = Type::eContentDispositionInline;
    mail->m_eCharSet = Type::eCharSetUtf8;
    mail->m_cContentType.CopyString("multipart/mixed as it was received", -1);
    mail->m_cContentTypeString.CopyString("multipart/mixed; boundary=\"as it was received\"", -1);
    mail->m_cTransferEncoding.CopyString("8bit as it was received", -1);
    mail->m_cFIleName.CopyString("received.txt", -1);
    mail->m_cExtension.CopyString("txt", -1);
    mail->m_bIsTerminate = 1;
    mail->m_cTo.m_cAddress.CopyString("first@example.org", -1);
    mail->m_cFrom.m_cAddress.CopyString("second@example.org", -1);
    mail->m_cCc.m_cAddress.CopyString("third@example.org", -1);
    mail->m_cNotificationTo.m_cAddress.CopyString("fourth@example.org", -1);
    mail->m_cReplyTo.m_cAddress.CopyString("fifth@example.org", -1);
    mail->m_cSubject.CopyString("the subject of the received mail", -1);
    mail->m_cDate.CopyString("Sat, 21 Nov 2026 13:00:00 +0900", -1);
    mail->m_cMessageID.CopyString("<received@example.org>", -1);
    mail->UpBoundaryLevel("the outer boundary of the mail");
    mail->UpBoundaryLevel("the inner boundary of the mail");
    mail->m_cInReplyTo.CopyString("<answered@example.org>", -1);
    mail->m_cReferences.CopyString("<referred@example.org>", -1);
    mail->m_cReturnPath.m_cAddress.CopyString("sixth@example.org", -1);
    mail->m_bIsBoundaryDetected = 1;
    queue(*mail, "octets of the mail itself");
    auto* const part = new velorin::CntsPOP3ReceiveMailPart;
    part->m_eContentType = Type::eContentTypeImageTiff;
    part->m_cFIleName.CopyString("image.tiff", -1);
    queue(*part, "octets of the part");
    mail->SetPart(part);
    return mail;
}

void fill(velorin::ntc_email_esu_pop3_receive_mail& message)
{
    velorin::ntc_email_esu_mlutl_mail_part& own = *message.mutable_my_part();
    own.set_e_content_type(4);
    own.set_e_transfer_encoding(3);
    own.set_e_content_disposition(1);
    own.set_e_char_set(7);
    own.set_c_content_type("multipart/report");
    own.set_c_content_type_string("multipart/report; report-type=disposition-notification");
    own.set_c_transfer_encoding("quoted-printable");
    own.set_c_file_name("  new.txt ");
    own.set_c_extension("new");
    own.set_is_terminate(false);
    own.set_ignore_content_xciajwnetfax("IGNORE");
    message.mutable_c_to()->set_c_address("new first@example.org");
    message.mutable_c_from()->set_c_address("new second@example.org");
    message.mutable_c_cc()->set_c_address("new third@example.org");
    message.mutable_c_notification_to()->set_c_address("new fourth@example.org");
    message.mutable_c_reply_to()->set_c_address("new fifth@example.org");
    message.set_c_subject("a new subject");
    message.set_c_date("Sun, 22 Nov 2026 13:00:00 +0900");
    message.set_c_message_id("<new@example.org>");
    message.add_c_boundary_string("the only boundary, now");
    message.add_c_boundary_string("");
    message.set_c_in_reply_to("<new answered@example.org>");
    message.set_c_references("<new referred@example.org>");
    message.mutable_c_return_path()->set_c_address("new sixth@example.org");
    message.set_n_part_depth(2);
    message.set_is_has_next(false);
    velorin::ntc_email_esu_pop3_mail_info& info = *message.mutable_c_mail_info();
    info.set_n_id(8);
    info.set_c_uniq_id("another unique id");
    info.set_n_size(8000);
    info.set_n_status(2);
    velorin::ntc_email_esu_mlutl_mail_part& part = *message.mutable_p_part()->mutable_p_part();
    part.set_e_content_type(0);
    part.set_p_buffer("octets of the new part");
    part.set_n_length(static_cast<std::int32_t>(part.p_buffer().size()));
    part.set_is_terminate(true);
    message.set_is_boundary_detected(false);
}

}  // namespace velorin_test::sweep
