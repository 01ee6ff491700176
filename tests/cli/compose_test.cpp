#include "compose.h"

#include <memory>

#include <gtest/gtest.h>

#include "CutlCPLBOSBoundary.h"

#include "temporary_folder.h"

using namespace velorin;
using namespace velorin::cli;

namespace {

std::string header_of(CntsSMTPSendMail& mail)
{
    char* block = nullptr;
    long length = 0;
    if (mail.MakeHeader(block, length) == 0) return "no header";
    const std::string header(block, static_cast<std::size_t>(length));
    CutlCPLBOSBoundary::MemFree(block);
    return header;
}

MailOptions plain_options()
{
    MailOptions options;
    options.to = {"\"Doe, J\" <j@example.com>, k@example.com"};
    options.cc = {"l@example.com"};
    options.bcc = {"m@example.com"};
    options.subject = "Hello";
    options.date = "Thu, 01 Jan 2026 12:00:00 +0100";
    options.message_id = "id1@here";
    options.in_reply_to = "a@b <c@d>";
    options.references = "<e@f>,<g@h>";
    return options;
}

Account plain_account()
{
    Account account;
    account.from = "Me <me@example.com>";
    return account;
}

// One wrong field at a time.
struct WrongCase {
    const char* label;
    void (*change)(MailOptions&, Account&);
    int exit_code;
    const char* part;  // of the sentence
};

}  // namespace

TEST(CliCompose, FillsTheWholeHeader)
{
    CntsSMTPSendMail mail;
    Failure failure;
    ASSERT_TRUE(compose_header(plain_options(), plain_account(), mail, failure)) << failure.sentence;
    MailText text;
    text.charset = CntsMLUTLMailType::eCharSetIso2022Jp;
    ASSERT_TRUE(compose_content(text, false, false, mail, failure));
    EXPECT_EQ("Date: Thu, 01 Jan 2026 12:00:00 +0100\r\nFrom: Me <me@example.com>\r\nSubject: Hello\r\n"
              "To: \"Doe, J\" <j@example.com>,\r\n\tk@example.com\r\nCc: l@example.com\r\nMessage-Id: "
              "<id1@here>\r\n"
              "In-Reply-To: <a@b>\r\n\t<c@d>\r\nReferences: <e@f>\r\n\t<g@h>\r\nMime-Version: 1.0\r\n"
              "Content-Type: text/plain; charset=\"iso-2022-jp\"\r\nContent-Transfer-Encoding: 7bit\r\n\r\n",
              header_of(mail));
    EXPECT_STREQ("m@example.com", mail.m_cBcc.m_cAddress.GetString());
}

TEST(CliCompose, RefusesWhatCannotBeSent)
{
    static const WrongCase cases[] = {
        {"no author", [](MailOptions&, Account& a) { a.from.clear(); }, kExitUsage, "no author"},
        {"two authors", [](MailOptions&, Account& a) { a.from = "a@b, c@d"; }, kExitData, "more than one"},
        {"author without @", [](MailOptions&, Account& a) { a.from = "me"; }, kExitData, "has no \"@\""},
        {"no recipient", [](MailOptions& m, Account&) { m.to.clear(), m.cc.clear(), m.bcc.clear(); },
         kExitUsage, "no recipient"},
        {"empty recipient", [](MailOptions& m, Account&) { m.to = {" , "}; }, kExitData, "is empty"},
        {"recipient without @",
         [](MailOptions& m, Account&) {
             m.to = {"a@b", "c"};
         },
         kExitData, "\"c\" of to has no \"@\""},
        {"unquoted comma", [](MailOptions& m, Account&) { m.to = {"Doe, J <j@x>"}; }, kExitData,
         "\"Doe\" of to has no"},
        {"nothing before @", [](MailOptions& m, Account&) { m.cc = {"@b"}; }, kExitData, "account@domain"},
        {"blank inside", [](MailOptions& m, Account&) { m.bcc = {"a b@c"}; }, kExitData, "account@domain"},
        {"line break in an address", [](MailOptions& m, Account&) { m.to = {"a@b\r\nRCPT TO:<c@d>"}; },
         kExitData, "line break"},
        {"8 bit in an address", [](MailOptions& m, Account&) { m.to = {"\xE3\x81\x82@b"}; }, kExitData,
         "not US-ASCII outside of its display name"},
        {"8 bit in brackets", [](MailOptions& m, Account&) { m.cc = {"x <\xE3\x81\x82@b>"}; }, kExitData,
         "not US-ASCII outside of its display name"},
        {"8 bit behind an address", [](MailOptions& m, Account&) { m.cc = {"<a@b> (\xE3\x81\x82)"}; },
         kExitData, "not US-ASCII outside of its display name"},
        {"name that is no UTF-8", [](MailOptions& m, Account&) { m.to = {"\xE3\x81 <a@b>"}; }, kExitData,
         "an address of to is not UTF-8"},
        {"name without a place in the set",
         [](MailOptions& m, Account& a) {
             m.to = {"\xE3\x81\x82 <a@b>"};
             a.charset = "iso-8859-1";
         },
         kExitData, "of to cannot be encoded, the character U+3042 has no place in iso-8859-1"},
        {"name too long for an entry",
         [](MailOptions& m, Account&) {
             m.to.clear();
             for (int i = 0; i < 30; ++i)
                 m.to = {(m.to.empty() ? std::string() : m.to[0]) + "\xE3\x81\x82"};
             m.to[0] += " <a@b>";
         },
         kExitData, "longer than 128 octets when its name is encoded"},
        {"entry of 129 octets", [](MailOptions& m, Account&) { m.to = {std::string(125, 'a') + "@b.c"}; },
         kExitData, "128"},
        {"line break in the subject", [](MailOptions& m, Account&) { m.subject = "a\nb"; }, kExitData,
         "subject holds a line break"},
        {"folded subject", [](MailOptions& m, Account&) { m.subject = "a\r\n b"; }, kExitData, "line break"},
        {"subject that is no UTF-8", [](MailOptions& m, Account&) { m.subject = "a\xE3\x81"; }, kExitData,
         "subject is not UTF-8"},
        {"subject with a control character in two octets",
         [](MailOptions& m, Account&) { m.subject = "a\xC2\x85"; }, kExitData,
         "subject holds a control character"},
        {"subject without a place in the set",
         [](MailOptions& m, Account& a) {
             m.subject = "x\xE2\x98\x83";
             a.charset = "ISO-2022-JP";
         },
         kExitData, "subject cannot be encoded, the character U+2603 has no place in iso-2022-jp"},
        {"unknown set", [](MailOptions&, Account& a) { a.charset = "koi8-r"; }, kExitUsage,
         "charset must be"},
        {"8 bit in an identifier", [](MailOptions& m, Account&) { m.references = "<\xC3\xA9@b>"; }, kExitData,
         "references is not US-ASCII"},
        {"long subject", [](MailOptions& m, Account&) { m.subject = std::string(990, 'x'); }, kExitData,
         "too long"},
        {"two senders", [](MailOptions&, Account& a) { a.sender = "a@b; c@d"; }, kExitData, "more than one"},
        {"reply-to without @", [](MailOptions&, Account& a) { a.reply_to = "x"; }, kExitData,
         "of reply-to has no"},
        {"mdn without @", [](MailOptions& m, Account&) { m.mdn = "x"; }, kExitData, "of mdn has no"},
        {"two identifiers", [](MailOptions& m, Account&) { m.message_id = "a b"; }, kExitData,
         "more than one"},
        {"line break in an identifier", [](MailOptions& m, Account&) { m.references = "<a>\r\nX: y"; },
         kExitData, "line break"},
        {"brackets only", [](MailOptions& m, Account&) { m.in_reply_to = "<>"; }, kExitData, "no identifier"},
        {"date", [](MailOptions& m, Account&) { m.date = "2026-01-01"; }, kExitData, "date is not"},
    };
    for (const WrongCase& c : cases) {
        MailOptions options = plain_options();
        Account account = plain_account();
        c.change(options, account);
        CntsSMTPSendMail mail;
        Failure failure;
        EXPECT_FALSE(compose_header(options, account, mail, failure)) << c.label;
        EXPECT_EQ(c.exit_code, failure.exit_code) << c.label;
        EXPECT_NE(std::string::npos, failure.sentence.find(c.part)) << c.label << ": " << failure.sentence;
    }
}

TEST(CliCompose, TakesWhatIsJustShortEnough)
{
    MailOptions options = plain_options();
    options.subject = std::string(989, 'x');
    options.to = {std::string(124, 'a') + "@b.c"};
    CntsSMTPSendMail mail;
    Failure failure;
    ASSERT_TRUE(compose_header(options, plain_account(), mail, failure)) << failure.sentence;
    MailText text;
    ASSERT_TRUE(compose_content(text, false, false, mail, failure));
    EXPECT_NE("no header", header_of(mail));
}

TEST(CliCompose, EncodedWordsPassAsTheyAre)
{
    MailOptions options = plain_options();
    options.subject = "=?iso-2022-jp?B?GyRCJDMbKEI=?= 100%";
    CntsSMTPSendMail mail;
    Failure failure;
    ASSERT_TRUE(compose_header(options, plain_account(), mail, failure));
    EXPECT_STREQ(options.subject.c_str(), mail.m_cSubject.GetString());
}

TEST(CliCompose, MakesAnIdentifierWhenThereIsNone)
{
    MailOptions options = plain_options();
    options.message_id.clear();
    CntsSMTPSendMail mail;
    Failure failure;
    ASSERT_TRUE(compose_header(options, plain_account(), mail, failure));
    const std::string id = mail.m_cMessageID.GetString();
    EXPECT_EQ('<', id.front());
    EXPECT_NE(std::string::npos, id.find(".ME@example.com>"));
}

TEST(CliCompose, BoundariesDiffer)
{
    CntsSMTPSendMail first;
    CntsSMTPSendMail second;
    MailText text;
    Failure failure;
    ASSERT_TRUE(compose_content(text, false, true, first, failure));
    ASSERT_TRUE(compose_content(text, false, true, second, failure));
    EXPECT_STRNE(first.m_cBoundaryString.GetString(), second.m_cBoundaryString.GetString());
    EXPECT_EQ(CntsMLUTLMailType::eContentTypeMultipartMixed, first.m_eContentType);
}

TEST(CliCompose, DatesAreOfTheForm)
{
    EXPECT_TRUE(is_rfc5322_date(rfc5322_date(0)));
    const std::string late = rfc5322_date(4300000000);  // 2106-04-06T04:26:40Z, more than 32 bits hold
    EXPECT_TRUE(is_rfc5322_date(late)) << late;
    EXPECT_NE(std::string::npos, late.find("Apr 2106")) << late;
    EXPECT_TRUE(is_rfc5322_date("01 Jan 2026 12:00 -0500"));
    EXPECT_TRUE(is_rfc5322_date("Thu, 1 Jan 2026 12:00:00 +0900 (JST)"));
    EXPECT_TRUE(is_rfc5322_date("Thu, 1 Jan 2026 12:00:00 GMT"));
    for (const char* wrong : {"", "Thu, 1 Jan 2026 12:00:00", "Thu, 1 Jan 2026 12:00:00 +09",
                              "Thu, 1 Jan 2026 12:00:00 +0900 x", "yesterday"})
        EXPECT_FALSE(is_rfc5322_date(wrong)) << wrong;
}

TEST(CliCompose, EncodesWhatIsTyped)
{
    MailOptions options = plain_options();
    options.subject = "\xE6\x97\xA5\xE6\x9C\xAC";
    options.to = {"\"\xE5\xB1\xB1\xE7\x94\xB0, \\\"Y\\\"\" <y@example.jp>; Plain <p@example.com>"};
    Account account = plain_account();
    account.from = "\xC3\x89\x6D\x69\x6C <me@example.com>";
    CntsSMTPSendMail mail;
    Failure failure;
    ASSERT_TRUE(compose_header(options, account, mail, failure)) << failure.sentence;
    EXPECT_STREQ("=?iso-2022-jp?B?GyRCRnxLXBsoQg==?=", mail.m_cSubject.GetString());
    EXPECT_STREQ("=?iso-2022-jp?B?GyRCOzNFRBsoQiwgIlki?= <y@example.jp>, Plain <p@example.com>",
                 mail.m_cTo.m_cAddress.GetString());
    EXPECT_STREQ("=?utf-8?B?w4ltaWw=?= <me@example.com>", mail.m_cFrom.m_cAddress.GetString());
}

TEST(CliAttachments, FileNamesAreMadeSafe)
{
    static const struct {
        const char* path;
        const char* name;
    } cases[] = {
        {"a.pdf", "a.pdf"},
        {"/x/y/a b.pdf", "a b.pdf"},
        {"say \"hi\"\\.txt", "say _hi__.txt"},
        {"a\r\nb", "a__b"},
        {"\xE6\x97\xA5\xE6\x9C\xAC.pdf", "\xE6\x97\xA5\xE6\x9C\xAC.pdf"},
        {" a ", " a "},
        {"100%s", "100%s"},
        {"\x7F", "_"},
        {"folder/", "_"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.name, safe_file_name(c.path)) << c.path;
}

TEST(CliAttachments, FileNamesAreEncodedWhereThatIsNeeded)
{
    static const struct {
        const char* name;
        const char* charset;
        const char* encoded;
    } cases[] = {
        {"a b.pdf", "", "a b.pdf"},
        {"100%s;(x).pdf", "iso-2022-jp", "100%s;(x).pdf"},
        {"\xE6\x97\xA5.pdf", "", "=?iso-2022-jp?B?GyRCRnwbKEIucGRm?="},
        {"\xE6\x97\xA5.pdf", "utf-8", "=?utf-8?B?5pelLnBkZg==?="},
        {"\xE6\x97\xA5.pdf", "shift_jis", "=?shift_jis?B?k/oucGRm?="},
        {" a", "us-ascii", "=?us-ascii?B?IGE=?="},
        {"a ", "", "=?utf-8?B?YSA=?="},
        {"=?utf-8?B?YWI=?=", "", "=?utf-8?B?PT91dGYtOD9CP1lXST0/PQ==?="},
    };
    for (const auto& c : cases) {
        std::string encoded;
        std::string wrong;
        EXPECT_TRUE(encode_file_name(c.name, c.charset, encoded, wrong)) << c.name << wrong;
        EXPECT_EQ(c.encoded, encoded) << c.name;
    }
}

TEST(CliAttachments, TypesComeFromExtensionOrOption)
{
    const TemporaryFolder folder;
    static const struct {
        const char* file;
        const char* option;
        const char* type;
        std::int32_t vocabulary;
    } cases[] = {
        {"a.pdf", "", "application/pdf", 7},
        {"a.PDF", "", "application/pdf", 7},
        {"a.tar.tif", "", "image/tiff", 10},
        {"a.bin", "", "application/octet-stream", 14},
        {"pdf", "", "application/octet-stream", 14},
        {"a.", "", "application/octet-stream", 14},
        {"a.bin", "Image/JPEG", "Image/JPEG", 11},
        {"a.pdf", "application/x-pdf", "application/x-pdf", 14},
        {"a.pdf", "application/pdfx", "application/pdfx", 14},
        {"a.html", "", "text/html", 1},
        {"a.png", "", "image/png", 14},
    };
    for (const auto& c : cases) {
        std::vector<Attachment> attachments;
        Failure failure;
        ASSERT_TRUE(
            inspect_attachments({{folder.write(c.file, "12345"), c.option}}, "", attachments, failure))
            << failure.sentence;
        EXPECT_EQ(c.type, attachments[0].type) << c.file;
        EXPECT_EQ(c.vocabulary, attachments[0].vocabulary) << c.file << c.option;
        EXPECT_EQ(5u, attachments[0].size);
    }
}

TEST(CliAttachments, WhatCannotBeAttachedIsRefused)
{
    const TemporaryFolder folder;
    const std::string file = folder.write("a", "x");
    const struct {
        const char* label;
        AttachOption option;
        int exit_code;
    } cases[] = {
        {"name that is no UTF-8", {folder.write("\xFF\xFE.pdf", "x"), ""}, kExitData},
        {"name without a place in the set", {folder.write("\xE6\x97\xA5.pdf", "x"), ""}, kExitData},
        {"no file", {folder.path() + "/none", ""}, kExitNoInput},
        {"folder", {folder.path(), ""}, kExitNoInput},
        {"device", {"/dev/null", ""}, kExitNoInput},
        {"no slash", {file, "pdf"}, kExitUsage},
        {"parameter", {file, "text/plain; charset=utf-8"}, kExitUsage},
        {"line break", {file, "text/plain\r\nX: y"}, kExitUsage},
        {"multipart", {file, "Multipart/mixed"}, kExitUsage},
        {"message", {file, "message/rfc822"}, kExitUsage},
    };
    for (const auto& c : cases) {
        std::vector<Attachment> attachments;
        Failure failure;
        EXPECT_FALSE(inspect_attachments({c.option}, "iso-8859-1", attachments, failure)) << c.label;
        EXPECT_EQ(c.exit_code, failure.exit_code) << c.label;
    }
}

TEST(CliAttachments, Base64SizesAreThoseOfTheEncoder)
{
    for (const long size : {1L, 2L, 3L, 56L, 57L, 58L, 113L, 114L, 115L, 100000L}) {
        char* text = nullptr;
        long length = 0;
        const std::string octets(static_cast<std::size_t>(size), 'x');
        ASSERT_EQ(1, CntsMLUTLMimeUtility::ToB64(octets.data(), size, text, length, 76));
        CutlCPLBOSBoundary::MemFree(text);
        EXPECT_EQ(static_cast<std::uint64_t>(length), base64_size(static_cast<std::uint64_t>(size))) << size;
    }
    EXPECT_EQ(0u, base64_size(0));
}

TEST(CliAttachments, TheOwnPartHeaderIsThatOfTheLibrary)
{
    Attachment attachment;
    attachment.name = "a.pdf";
    attachment.type = "application/pdf";
    attachment.vocabulary = CntsMLUTLMailType::eContentTypeApplicationPdf;
    const std::unique_ptr<CntsSMTPSendMailPart> part(make_part(attachment));
    char* block = nullptr;
    long length = 0;
    ASSERT_EQ(1, part->MakeHeader(block, length));
    EXPECT_EQ("\r\n--b\r\n" + std::string(block, static_cast<std::size_t>(length)),
              part_header(attachment, "b"));
    CutlCPLBOSBoundary::MemFree(block);
}
