// Has no encoded words.
#include <mimetic/mimetic.h>

#include <iterator>
#include <sstream>

#include "utility_contests.h"

namespace velorin_bench {

namespace {

template <typename Codec>
void enter_codec(Contest& contest, const std::string& text)
{
    contest.enter("mimetic", [&text](auto keep) {
        Codec codec;
        std::string result;
        result.reserve(4 * text.size());
        mimetic::code(text.begin(), text.end(), codec, std::back_inserter(result));
        keep(std::string_view(result));
    });
}

}  // namespace

void enter_mimetic(UtilityContests& contests, const UtilityTexts& texts)
{
    contests.walk.enter("mimetic", [&texts](auto keep) {
        const mimetic::MailboxList list(texts.list);
        for (const mimetic::Mailbox& mailbox : list) {
            keep(std::string_view(mailbox.mailbox() + "@" + mailbox.domain()));
        }
    });
    contests.compose.enter("mimetic", [](auto keep) {
        const MailTexts mail;
        mimetic::MimeEntity entity;
        mimetic::Header& header = entity.header();
        header.from(mimetic::MailboxList(mail.from));
        header.to(mimetic::AddressList(std::string(mail.to[0]) + ", " + mail.to[1] + ", " + mail.to[2]));
        header.subject(mail.subject);
        header.field("Date").value(mail.date);
        header.messageid(mimetic::MessageId(mail.message_id));
        header.mimeVersion(mimetic::MimeVersion("1.0"));
        header.contentType(mimetic::ContentType("text/plain; charset=\"utf-8\""));
        header.contentTransferEncoding(mimetic::ContentTransferEncoding("8bit"));
        std::ostringstream out;
        out << entity;
        keep(std::string_view(out.str()));
    });
    enter_codec<mimetic::Base64::Encoder>(contests.to_b64, texts.octets);
    enter_codec<mimetic::Base64::Decoder>(contests.from_b64, texts.base64);
    enter_codec<mimetic::QP::Encoder>(contests.to_qb_ascii, texts.ascii);
    enter_codec<mimetic::QP::Encoder>(contests.to_qb_japanese, texts.japanese);
    enter_codec<mimetic::QP::Decoder>(contests.from_qp_ascii, texts.ascii_quoted);
    enter_codec<mimetic::QP::Decoder>(contests.from_qp_japanese, texts.japanese_quoted);
}

}  // namespace velorin_bench
