// The library's own way through the contests.
#include <cstring>

#include "CutlCPLBOSBoundary.h"
#include "ntc_email.h"
#include "utility_contests.h"

namespace velorin_bench {

namespace {

using namespace velorin;
using CharSet = CntsMLUTLMailType::eCharSet;

constexpr char kSubjectName[] = "Subject: ";
constexpr int kSubjectNameLength = sizeof kSubjectName - 1;
constexpr int kLine = 75;
constexpr int kBase64Columns = 76;
constexpr int kQuotedColumns = 73;  // one character more of three and the "=" make 76

// What the library hands out.
struct Block {
    Block() = default;
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;
    ~Block()
    {
        CutlCPLBOSBoundary::MemFree(text);
        CutlCPLBOSBoundary::MemFree(octets);
    }
    std::string_view view() const
    {
        return {text != nullptr ? text : static_cast<const char*>(octets), static_cast<std::size_t>(length)};
    }

    char* text = nullptr;
    void* octets = nullptr;
    long length = 0;
};

// Takes the folds out, which InlineDecode leaves between the words.
std::size_t unfold(char* text, std::size_t length)
{
    char* to = text;
    const char* from = text;
    const char* const end = text + length;
    while (const void* found = std::memchr(from, '\r', static_cast<std::size_t>(end - from))) {
        const char* const fold = static_cast<const char*>(found);
        const std::size_t plain = static_cast<std::size_t>(fold - from);
        if (to != from) std::memmove(to, from, plain);
        to += plain;
        from = end - fold < 3 ? end : fold + 3;
    }
    const std::size_t rest = static_cast<std::size_t>(end - from);
    std::memmove(to, from, rest);
    return static_cast<std::size_t>(to + rest - text);
}

void enter_words(UtilityContests& contests, const UtilityTexts& texts)
{
    contests.decode_utf8.enter(kOurs, [&texts](auto keep) {
        Block decoded;
        CharSet set = CntsMLUTLMailType::eCharSetUnknown;
        CntsMLUTLMimeUtility::InlineDecode(texts.subject_utf8.data(),
                                           static_cast<long>(texts.subject_utf8.size()), decoded.text,
                                           decoded.length, set, 0);
        const std::size_t length = unfold(decoded.text, decoded.view().size());
        keep(std::string_view(decoded.text, length));
    });
    contests.decode_jis.enter(kOurs, [&texts](auto keep) {
        Block decoded;
        CharSet set = CntsMLUTLMailType::eCharSetUnknown;
        CntsMLUTLMimeUtility::InlineDecode(texts.subject_jis.data(),
                                           static_cast<long>(texts.subject_jis.size()), decoded.text,
                                           decoded.length, set, 0);
        char utf8[1024];
        const std::size_t length = unfold(decoded.text, decoded.view().size());
        const CntsMLUTLMailType::ENCODED_STRING source = {set, decoded.text, static_cast<int>(length)};
        CntsMLUTLMailType::ENCODED_STRING target = {CntsMLUTLMailType::eCharSetUtf8, utf8, sizeof utf8};
        int consumed = 0;
        CntsMLUTLMailType::ConvertEncodedString(source, target, consumed);
        keep(std::string_view(utf8, static_cast<std::size_t>(target.m_nLength)));
    });
    contests.encode.enter(kOurs, [&texts](auto keep) {
        Block line;
        Block words;
        CntsMLUTLMimeUtility::ToMimeEncode(CntsMLUTLMailType::eCharSetUtf8, texts.long_subject.data(),
                                           static_cast<long>(texts.long_subject.size()), words.text,
                                           words.length, kLine - kSubjectNameLength);
        CntsMLUTLMimeUtility::ReallocationBuffer(line.text, line.length, kSubjectName, kSubjectNameLength);
        CntsMLUTLMimeUtility::ReallocationBuffer(line.text, line.length, words.text, words.length);
        keep(line.view());
    });
}

void enter_mails(UtilityContests& contests, const UtilityTexts& texts)
{
    contests.walk.enter(kOurs, [&texts](auto keep) {
        const CntsMLUTLMailAddress list(texts.list.c_str());
        CutlCPLBMString entry;
        CutlCPLBMString address;
        int position = 0;
        while (list.GetAddress(entry, position, ";,") != 0) {
            CntsMLUTLMailAddress::GetRealAddress(address, entry.GetString());
            keep(std::string_view(address.GetString(), static_cast<std::size_t>(address.GetLength())));
        }
    });
    contests.compose.enter(kOurs, [](auto keep) {
        const MailTexts mail_texts;
        CntsSMTPSendMail mail;
        mail.m_eContentType = CntsMLUTLMailType::eContentTypeTextPlain;
        mail.m_eCharSet = CntsMLUTLMailType::eCharSetUtf8;
        mail.m_eTransferEncoding = CntsMLUTLMailType::eTransferEncoding8bit;
        mail.m_cFrom.m_cAddress.CopyString(mail_texts.from, -1);
        CutlCPLBMString& to = mail.m_cTo.m_cAddress;
        for (const char* const reader : mail_texts.to) {
            if (to.GetLength() != 0) to += ", ";
            to += reader;
        }
        mail.m_cSubject.CopyString(mail_texts.subject, -1);
        mail.m_cDate.CopyString(mail_texts.date, -1);
        mail.SetMessageID(mail_texts.message_id);
        Block header;
        mail.MakeHeader(header.text, header.length);
        keep(header.view());
    });
}

void enter_codecs(UtilityContests& contests, const UtilityTexts& texts)
{
    contests.to_b64.enter(kOurs, [&texts](auto keep) {
        Block encoded;
        CntsMLUTLMimeUtility::ToB64(texts.octets.data(), static_cast<long>(texts.octets.size()), encoded.text,
                                    encoded.length, kBase64Columns);
        keep(encoded.view());
    });
    contests.from_b64.enter(kOurs, [&texts](auto keep) {
        Block decoded;
        CntsMLUTLMimeUtility::FromB64(texts.base64.data(), static_cast<long>(texts.base64.size()),
                                      decoded.octets, decoded.length);
        keep(decoded.view());
    });
    const auto encode = [](Contest& contest, const std::string& text) {
        contest.enter(kOurs, [&text](auto keep) {
            Block encoded;
            CntsMLUTLMimeUtility::ToQB(text.c_str(), static_cast<long>(text.size()), encoded.text,
                                       encoded.length, kQuotedColumns);
            keep(std::string_view(encoded.text));
        });
    };
    encode(contests.to_qb_ascii, texts.ascii);
    encode(contests.to_qb_japanese, texts.japanese);
    const auto decode = [](Contest& contest, const std::string& text) {
        contest.enter(kOurs, [&text](auto keep) {
            Block decoded;
            CntsMLUTLMimeUtility::FromQP(text.data(), static_cast<long>(text.size()), decoded.octets,
                                         decoded.length);
            keep(decoded.view());
        });
    };
    decode(contests.from_qp_ascii, texts.ascii_quoted);
    decode(contests.from_qp_japanese, texts.japanese_quoted);
}

}  // namespace

void enter_ours(UtilityContests& contests, const UtilityTexts& texts)
{
    enter_words(contests, texts);
    enter_mails(contests, texts);
    enter_codecs(contests, texts);
}

}  // namespace velorin_bench
