#include "mail_fields.h"

#include <algorithm>
#include <cstdint>

namespace velorin_test::sweep {

namespace {

std::string first_text(const std::string& octets)
{
    return printable(std::string(octets.c_str()));  // texts end at their first NUL
}

std::string trimmed(std::string text)
{
    constexpr const char* kSpace = " \t\r\n";
    const std::size_t begin = text.find_first_not_of(kSpace);
    if (begin == std::string::npos) return std::string();
    text.erase(text.find_last_not_of(kSpace) + 1);
    return text.substr(begin);
}

std::string bracketed(const std::string& identifier)
{
    std::string text = trimmed(identifier);
    if (text.empty()) return text;
    if (text.front() != '<') text.insert(text.begin(), '<');
    if (text.back() != '>') text += '>';
    return text;
}

std::string kept_references(const std::string& text)
{
    std::size_t close = std::string::npos;
    for (std::size_t at = text.size(), found = 0; at-- > 0 && found < 20;) {
        if (text[at] != '>') continue;
        close = at;
        ++found;
    }
    if (close == std::string::npos || close == 0) return std::string();
    const std::size_t open = text.rfind('<', close - 1);
    return open == std::string::npos ? std::string() : trimmed(text.substr(open));
}

void put_receive_state(Fields& fields, const velorin::CntsPOP3ReceiveMail& mail)
{
    std::string stack;
    for (long i = 0; i < mail.m_cBoundaryString->GetCount(); ++i) {
        stack += "[" + printable(*static_cast<CutlCPLBMString*>(mail.m_cBoundaryString->GetAt(i))) + "]";
    }
    fields["stack"] = stack;
    fields["depth"] = std::to_string(mail.m_nPartDepth);
    fields["has next"] = std::to_string(mail.m_bIsHasNext);
    fields["info"] = text_of_info(mail.m_cMailInfo);
    fields["detected"] = std::to_string(mail.m_bIsBoundaryDetected);
}

constexpr const char* kNullBlock =
    "<Error> : CntsMLUTLMailPart::SetBuffer() pBuffer is null or abnormal value(nLength=";

void apply_body(const velorin::ntc_email_esu_mlutl_mail_part& message, std::string& body, Replay& replay)
{
    const long present = static_cast<long>(message.p_buffer().size());
    const long length = std::min(static_cast<long>(message.n_length()), present);
    if (replay.is_next(Call::allocate) && replay.fails(Call::allocate)) {
        replay.line(kNullBlock + std::to_string(length) + ")\n");
    } else if (length <= 0) {
        replay.line(kNullBlock + std::to_string(length) + ")\n");
    } else if (body == "(null)") {
        body = printable(message.p_buffer().substr(0, static_cast<std::size_t>(length)));
    } else if (replay.fails(Call::reallocate)) {
        replay.line("<Error> : CntsMLUTLMailPart::SetBuffer() failed to reallocate memory\n");
    } else {
        body += printable(message.p_buffer().substr(0, static_cast<std::size_t>(length)));
    }
}

void remove_part(Fields& fields, const std::string& prefix)
{
    for (auto field = fields.begin(); field != fields.end();)
        field = field->first.compare(0, prefix.size(), prefix) == 0 ? fields.erase(field) : std::next(field);
}

bool apply_boundaries(const velorin::ntc_email_esu_pop3_receive_mail& message, Fields& fields, Replay& replay)
{
    if (message.c_boundary_string_size() == 0) return true;
    std::string stack;
    for (const std::string& boundary : message.c_boundary_string()) {
        if (replay.is_next(Call::vector_add) && replay.fails(Call::vector_add)) return false;
        stack += "[" + first_text(boundary) + "]";
    }
    fields["stack"] = stack;
    return true;
}

}  // namespace

void put_part(Fields& fields, const std::string& prefix, const velorin::CntsMLUTLMailPart& part)
{
    fields[prefix + "type"] = std::to_string(part.m_eContentType);
    fields[prefix + "encoding"] = std::to_string(part.m_eTransferEncoding);
    fields[prefix + "disposition"] = std::to_string(part.m_eContentDisposition);
    fields[prefix + "set"] = std::to_string(part.m_eCharSet);
    fields[prefix + "type text"] = printable(part.m_cContentType);
    fields[prefix + "type string"] = printable(part.m_cContentTypeString);
    fields[prefix + "encoding text"] = printable(part.m_cTransferEncoding);
    fields[prefix + "file"] = printable(part.m_cFIleName);
    fields[prefix + "extension"] = printable(part.m_cExtension);
    fields[prefix + "body"] = printable(part.m_pBuffer, part.m_nLength);
    fields[prefix + "last"] = std::to_string(part.m_bIsTerminate);
}

Fields empty_part(const std::string& prefix)
{
    Fields fields;
    put_part(fields, prefix, velorin::CntsMLUTLMailPart());
    return fields;
}

Fields fields_of(const velorin::CntsSMTPSendMail& mail)
{
    Fields fields;
    put_part(fields, "own ", mail);
    if (mail.m_pPart != nullptr) put_part(fields, "part ", *mail.m_pPart);
    fields["from"] = printable(mail.m_cFrom.m_cAddress);
    fields["to"] = printable(mail.m_cTo.m_cAddress);
    fields["cc"] = printable(mail.m_cCc.m_cAddress);
    fields["bcc"] = printable(mail.m_cBcc.m_cAddress);
    fields["reply to"] = printable(mail.m_cReplyTo.m_cAddress);
    fields["sender"] = printable(mail.m_cSender.m_cAddress);
    fields["subject"] = printable(mail.m_cSubject);
    fields["boundary"] = printable(mail.m_cBoundaryString);
    fields["date"] = printable(mail.m_cDate);
    fields["notification"] = printable(mail.m_cMdnAddress.m_cAddress);
    fields["id"] = printable(mail.m_cMessageID);
    fields["in reply to"] = printable(mail.m_cInReplyTo);
    fields["references"] = printable(mail.m_cReferences);
    return fields;
}

Fields fields_of(const velorin::CntsPOP3ReceiveMail& mail)
{
    Fields fields;
    put_part(fields, "own ", mail);
    if (mail.m_pPart != nullptr) put_part(fields, "part ", *mail.m_pPart);
    fields["to"] = printable(mail.m_cTo.m_cAddress);
    fields["from"] = printable(mail.m_cFrom.m_cAddress);
    fields["cc"] = printable(mail.m_cCc.m_cAddress);
    fields["notification"] = printable(mail.m_cNotificationTo.m_cAddress);
    fields["reply to"] = printable(mail.m_cReplyTo.m_cAddress);
    fields["subject"] = printable(mail.m_cSubject);
    fields["date"] = printable(mail.m_cDate);
    fields["id"] = printable(mail.m_cMessageID);
    fields["in reply to"] = printable(mail.m_cInReplyTo);
    fields["references"] = printable(mail.m_cReferences);
    fields["return path"] = printable(mail.m_cReturnPath.m_cAddress);
    put_receive_state(fields, mail);
    return fields;
}

void apply(const velorin::ntc_email_esu_mlutl_mail_part& message, const std::string& prefix, Fields& fields,
           Replay& replay)
{
    const auto number = [&](const char* name, bool is_there, long long value) {
        if (is_there) fields[prefix + name] = std::to_string(value);
    };
    const auto text = [&](const char* name, bool is_there, const std::string& value) {
        if (is_there) fields[prefix + name] = first_text(value);
    };
    number("type", message.has_e_content_type(), message.e_content_type());
    number("encoding", message.has_e_transfer_encoding(), message.e_transfer_encoding());
    number("disposition", message.has_e_content_disposition(), message.e_content_disposition());
    number("set", message.has_e_char_set(), message.e_char_set());
    text("type text", message.has_c_content_type(), message.c_content_type());
    text("type string", message.has_c_content_type_string(), message.c_content_type_string());
    text("encoding text", message.has_c_transfer_encoding(), message.c_transfer_encoding());
    text("file", message.has_c_file_name(), trimmed(message.c_file_name().c_str()));
    text("extension", message.has_c_extension(), message.c_extension());
    if (message.has_p_buffer() && message.has_n_length())
        apply_body(message, fields[prefix + "body"], replay);
    number("last", message.has_is_terminate(), message.is_terminate() ? 1 : 0);
}

bool apply(const velorin::ntc_email_esu_pop3_receive_mail& message, Fields& fields, Replay& replay)
{
    const auto text = [&](const char* name, bool is_there, const std::string& value) {
        if (is_there) fields[name] = first_text(value);
    };
    if (message.has_my_part()) apply(message.my_part(), "own ", fields, replay);
    text("to", message.has_c_to(), message.c_to().c_address());
    text("from", message.has_c_from(), message.c_from().c_address());
    text("cc", message.has_c_cc(), message.c_cc().c_address());
    text("notification", message.has_c_notification_to(), message.c_notification_to().c_address());
    text("reply to", message.has_c_reply_to(), message.c_reply_to().c_address());
    text("subject", message.has_c_subject(), message.c_subject());
    text("date", message.has_c_date(), message.c_date());
    text("id", message.has_c_message_id(), message.c_message_id());
    if (!apply_boundaries(message, fields, replay)) return false;
    text("in reply to", message.has_c_in_reply_to(), message.c_in_reply_to());
    text("references", message.has_c_references(), message.c_references());
    text("return path", message.has_c_return_path(), message.c_return_path().c_address());
    if (message.has_n_part_depth()) fields["depth"] = std::to_string(message.n_part_depth());
    if (message.has_is_has_next()) fields["has next"] = message.is_has_next() ? "1" : "0";
    if (message.has_c_mail_info()) {
        ListModel::Entry info;
        apply(message.c_mail_info(), info);
        fields["info"] = text_of(info);
    }
    if (message.has_p_part()) {
        Fields part = empty_part("part ");
        if (message.p_part().has_p_part()) apply(message.p_part().p_part(), "part ", part, replay);
        remove_part(fields, "part ");
        fields.insert(part.begin(), part.end());
    }
    if (message.has_is_boundary_detected()) fields["detected"] = message.is_boundary_detected() ? "1" : "0";
    return true;
}

void apply(const velorin::ntc_email_esu_smtp_send_mail& message, Fields& fields, Replay& replay)
{
    const auto text = [&](const char* name, bool is_there, const std::string& value) {
        if (is_there) fields[name] = first_text(value);
    };
    if (message.has_my_part()) apply(message.my_part(), "own ", fields, replay);
    if (message.has_p_part()) {
        Fields part = empty_part("part ");
        if (message.p_part().has_p_part()) apply(message.p_part().p_part(), "part ", part, replay);
        remove_part(fields, "part ");
        fields.insert(part.begin(), part.end());
    }
    text("from", message.has_c_from(), message.c_from().c_address());
    text("to", message.has_c_to(), message.c_to().c_address());
    text("cc", message.has_c_cc(), message.c_cc().c_address());
    text("bcc", message.has_c_bcc(), message.c_bcc().c_address());
    text("reply to", message.has_c_reply_to(), message.c_reply_to().c_address());
    text("sender", message.has_c_sender(), message.c_sender().c_address());
    text("subject", message.has_c_subject(), message.c_subject());
    text("boundary", message.has_c_boundary_string(), message.c_boundary_string());
    text("date", message.has_c_date(), message.c_date());
    text("notification", message.has_c_mdn_address(), message.c_mdn_address().c_address());
    text("id", message.has_c_message_id(), bracketed(message.c_message_id()));
    text("in reply to", message.has_c_in_reply_to(), trimmed(message.c_in_reply_to()));
    text("references", message.has_c_references(), kept_references(message.c_references()));
}

void expect_message(Replay& replay, Outcome& expected, const Fields& mail)
{
    const std::size_t failed = replay.failures({Call::allocate, Call::reallocate});
    replay.lines(failed, "<Error> : CntsMLUTLMailPart::CopyPart() failed to allocate memory\n");
    expected.add("message", text_of_fields(mail, {"own body", "part body", "other"}));
    for (const char* const body : {"own body", "part body"}) {
        const auto found = mail.find(body);
        if (found == mail.end()) {
            expected.add(body, "(none)");
        } else if (failed > 0) {
            expected.either(body, {found->second, "(null)"});  // the whole body or none of it
        } else {
            expected.add(body, found->second);
        }
    }
}

}  // namespace velorin_test::sweep
