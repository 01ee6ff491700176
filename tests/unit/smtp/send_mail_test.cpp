#include <string>
#include <type_traits>

#include <gtest/gtest.h>

#include "CntsSMTPSendMail.h"
#include "mlutl_support.h"
#include "octets.h"
#include "platform_double.h"

namespace velorin_test {
namespace {

using velorin::CntsMLUTLMailAddress;
using velorin::CntsMLUTLMailPart;
using velorin::CntsSMTPSendMail;
using velorin::CntsSMTPSendMailPart;

// Tells when it is destroyed, so through a virtual destructor.
class WatchedPart : public CntsSMTPSendMailPart {
public:
    explicit WatchedPart(int& destroyed) : destroyed_(destroyed) {}
    ~WatchedPart() override { ++destroyed_; }

private:
    int& destroyed_;
};

TEST(SendMail, BeginsEmpty)
{
    PlatformDouble platform;
    const CntsSMTPSendMail mail;
    EXPECT_EQ(nullptr, mail.m_pPart);
    for (const CntsMLUTLMailAddress* const address : {&mail.m_cFrom, &mail.m_cTo, &mail.m_cCc, &mail.m_cBcc,
                                                      &mail.m_cReplyTo, &mail.m_cSender, &mail.m_cMdnAddress})
        EXPECT_EQ(nullptr, address->m_cAddress.GetString());
    for (const CutlCPLBMString* const text : {&mail.m_cSubject, &mail.m_cBoundaryString, &mail.m_cDate,
                                              &mail.m_cMessageID, &mail.m_cInReplyTo, &mail.m_cReferences})
        EXPECT_EQ(nullptr, text->GetString());
    EXPECT_EQ(14, static_cast<int>(mail.m_eContentType));
    EXPECT_EQ(12, static_cast<int>(mail.m_eCharSet));
    EXPECT_EQ(&mail.m_cMdnAddress, &mail.GetMdnAddress());
    EXPECT_EQ(20, CntsSMTPSendMail::REFERENCES_MAX);
    EXPECT_TRUE((std::is_base_of<CntsMLUTLMailPart, CntsSMTPSendMail>::value));
    EXPECT_TRUE((std::is_base_of<CntsMLUTLMailPart, CntsSMTPSendMailPart>::value));
}

TEST(SendMailPart, BelongsToTheMail)
{
    PlatformDouble platform;
    int first = 0;
    int second = 0;
    {
        CntsSMTPSendMail mail;
        CntsSMTPSendMailPart* const part = new WatchedPart(first);
        mail.SetPart(part);
        EXPECT_EQ(part, mail.m_pPart);
        EXPECT_EQ(0, first);
        mail.SetPart(new WatchedPart(second));
        EXPECT_EQ(1, first);
        EXPECT_EQ(0, second);
    }
    EXPECT_EQ(1, second) << "the destructor deletes the part it holds";
}

TEST(SendMailPart, IsDeletedOnRequest)
{
    PlatformDouble platform;
    int destroyed = 0;
    CntsSMTPSendMail mail;
    mail.DeletePart();
    EXPECT_EQ(nullptr, mail.m_pPart);
    mail.SetPart(new WatchedPart(destroyed));
    mail.DeletePart();
    EXPECT_EQ(1, destroyed);
    EXPECT_EQ(nullptr, mail.m_pPart);
    mail.DeletePart();
    EXPECT_EQ(1, destroyed);
    mail.SetPart(new WatchedPart(destroyed));
    mail.SetPart(nullptr);
    EXPECT_EQ(2, destroyed);
    EXPECT_EQ(nullptr, mail.m_pPart);
    mail.SetPart(nullptr);
    EXPECT_EQ(2, destroyed);
}

TEST(SendMailPart, OutlivesBeingSetAgain)
{
    PlatformDouble platform;
    int destroyed = 0;
    {
        CntsSMTPSendMail mail;
        mail.SetPart(new WatchedPart(destroyed));
        mail.SetPart(mail.m_pPart);
        EXPECT_EQ(0, destroyed);
        ASSERT_NE(nullptr, mail.m_pPart);
    }
    EXPECT_EQ(1, destroyed);
}

TEST(SendMailMdnAddress, StoresNullAsEmpty)
{
    PlatformDouble platform;
    CntsSMTPSendMail mail;
    mail.SetMdnAddress("ab@cd");
    EXPECT_EQ("ab@cd", text_of(mail.GetMdnAddress().m_cAddress));
    mail.SetMdnAddress(static_cast<const char*>(nullptr));
    EXPECT_EQ("", text_of(mail.GetMdnAddress().m_cAddress));
    mail.SetMdnAddress(CntsMLUTLMailAddress(" Name <ef@gh> "));
    EXPECT_EQ(" Name <ef@gh> ", text_of(mail.m_cMdnAddress.m_cAddress)) << "as typed";
    mail.SetMdnAddress(CntsMLUTLMailAddress());
    EXPECT_EQ("", text_of(mail.m_cMdnAddress.m_cAddress));
    mail.SetMdnAddress("");
    EXPECT_EQ("", text_of(mail.m_cMdnAddress.m_cAddress));
    mail.SetMdnAddress("ab@cd");
    mail.SetMdnAddress(mail.GetMdnAddress());
    EXPECT_EQ("ab@cd", text_of(mail.m_cMdnAddress.m_cAddress)) << "its own value";
}

TEST(SendMailMessageID, IsKeptInBrackets)
{
    const struct {
        const char* label;
        const char* given;
        const char* stored;
    } cases[] = {
        {"bare", "id1", "<id1>"},
        {"blanks around", "  id1  ", "<id1>"},
        {"line ends around", "\r\n\tid1\r\n", "<id1>"},
        {"bracketed", "<id1>", "<id1>"},
        {"only opened", "<id1", "<id1>"},
        {"only closed", "id1>", "<id1>"},
        {"blanks and half a bracket", " id1> ", "<id1>"},
        {"blanks inside", "a b", "<a b>"},
        {"one opening bracket", "<", "<>"},
        {"one closing bracket", ">", "<>"},
        {"empty brackets", "<>", "<>"},
        {"percent signs", "%s%n", "<%s%n>"},
        {"blank", " \t\r\n ", ""},
        {"empty", "", ""},
        {"null", nullptr, ""},
    };
    PlatformDouble platform;
    for (const auto& c : cases) {
        CntsSMTPSendMail by_text;
        by_text.SetMessageID("<older>");
        by_text.SetMessageID(c.given);
        EXPECT_EQ(c.stored, text_of(by_text.m_cMessageID)) << c.label;
        CntsSMTPSendMail by_string;
        by_string.SetMessageID(CutlCPLBMString(c.given));
        EXPECT_EQ(c.stored, text_of(by_string.m_cMessageID)) << c.label;
        CutlCPLBMString out("before");
        EXPECT_EQ(*c.stored == '\0' ? 0 : 1, by_text.GetMessageID(out)) << c.label;
        EXPECT_EQ(*c.stored == '\0' ? "before" : c.stored, text_of(out)) << c.label;
        by_text.SetMessageID(by_text.m_cMessageID);
        EXPECT_EQ(c.stored, text_of(by_text.m_cMessageID)) << c.label << ", its own value";
    }
}

TEST(SendMailInReplyTo, IsTrimmedAndNothingElse)
{
    const struct {
        const char* label;
        const char* given;
        const char* stored;
    } cases[] = {
        {"bare: no brackets are added", "id1", "id1"},
        {"bracketed", "<id1>", "<id1>"},
        {"blanks around", " \t<id1> <id2>\r\n", "<id1> <id2>"},
        {"folding inside", "<id1>\r\n\t<id2>", "<id1>\r\n\t<id2>"},
        {"blank", "  ", ""},
        {"empty", "", ""},
        {"null", nullptr, ""},
    };
    PlatformDouble platform;
    for (const auto& c : cases) {
        CntsSMTPSendMail by_text;
        by_text.SetInReplyTo("<older>");
        by_text.SetInReplyTo(c.given);
        EXPECT_EQ(c.stored, text_of(by_text.m_cInReplyTo)) << c.label;
        CntsSMTPSendMail by_string;
        by_string.SetInReplyTo(CutlCPLBMString(c.given));
        EXPECT_EQ(c.stored, text_of(by_string.m_cInReplyTo)) << c.label;
        CutlCPLBMString out("before");
        EXPECT_EQ(*c.stored == '\0' ? 0 : 1, by_text.GetInReplyTo(out)) << c.label;
        EXPECT_EQ(*c.stored == '\0' ? "before" : c.stored, text_of(out)) << c.label;
    }
}

std::string identifiers(int first, int last, const char* between)
{
    std::string text;
    for (int i = first; i <= last; ++i)
        text += (i == first ? "" : between) + ("<id" + std::to_string(i) + ">");
    return text;
}

TEST(SendMailReferences, KeepTheLastTwenty)
{
    const struct {
        const char* label;
        std::string given;
        std::string stored;
    } cases[] = {
        {"one", "<id1>", "<id1>"},
        {"two", "<id1> <id2>", "<id1> <id2>"},
        {"text before", "junk <id1> <id2>", "<id1> <id2>"},
        {"text behind stays", "<id1> junk ", "<id1> junk"},
        {"text between stays", "<id1> (x) <id2>", "<id1> (x) <id2>"},
        {"folding stays", "<id1>\r\n\t<id2>\r\n", "<id1>\r\n\t<id2>"},
        {"nineteen", identifiers(1, 19, " "), identifiers(1, 19, " ")},
        {"twenty", identifiers(1, 20, " "), identifiers(1, 20, " ")},
        {"twenty behind text", "x " + identifiers(1, 20, " "), identifiers(1, 20, " ")},
        {"twenty-one", identifiers(1, 21, " "), identifiers(2, 21, " ")},
        {"twenty-five", identifiers(1, 25, " "), identifiers(6, 25, " ")},
        {"twenty-five, folded", identifiers(1, 25, "\r\n\t"), identifiers(6, 25, "\r\n\t")},
        {"twenty-five, touching", identifiers(1, 25, ""), identifiers(6, 25, "")},
        {"no closing bracket", "<id1 <id2", ""},
        {"no bracket", "id1 id2", ""},
        {"no opening bracket before it", "id1> <id2", ""},
        {"only a closing bracket", ">", ""},
        {"closed first, then a pair", "a> <id1>", ""},
        {"an opening bracket inside", "<a<id1>", "<id1>"},
        {"two closing brackets", "<id1>> <id2>", "<id1>> <id2>"},
        {"twenty closing brackets without a pair", std::string(20, '>'), ""},
        {"twenty behind an old pair", "<id1>" + std::string(20, '>'), "<id1>" + std::string(20, '>')},
        {"blank", "  ", ""},
        {"empty", "", ""},
        {"percent signs", "<%s%n>", "<%s%n>"},
    };
    PlatformDouble platform;
    for (const auto& c : cases) {
        CntsSMTPSendMail by_text;
        by_text.SetReferences("<older>");
        by_text.SetReferences(c.given.c_str());
        EXPECT_EQ(c.stored, text_of(by_text.m_cReferences)) << c.label;
        CntsSMTPSendMail by_string;
        by_string.SetReferences(CutlCPLBMString(c.given.c_str()));
        EXPECT_EQ(c.stored, text_of(by_string.m_cReferences)) << c.label;
        CutlCPLBMString out("before");
        EXPECT_EQ(c.stored.empty() ? 0 : 1, by_text.GetReferences(out)) << c.label;
        EXPECT_EQ(c.stored.empty() ? "before" : c.stored, text_of(out)) << c.label;
        by_text.SetReferences(by_text.m_cReferences);
        EXPECT_EQ(c.stored, text_of(by_text.m_cReferences)) << c.label << ", its own value";
    }
}

TEST(SendMailReferences, MayBeNull)
{
    PlatformDouble platform;
    CntsSMTPSendMail mail;
    CutlCPLBMString out("before");
    EXPECT_EQ(0, mail.GetReferences(out));
    EXPECT_EQ(0, mail.GetInReplyTo(out));
    EXPECT_EQ(0, mail.GetMessageID(out));
    EXPECT_EQ("before", text_of(out));
    mail.SetReferences("<older>");
    mail.SetReferences(static_cast<const char*>(nullptr));
    EXPECT_EQ("", text_of(mail.m_cReferences));
    mail.SetReferences("<older>");
    mail.SetReferences(CutlCPLBMString());
    EXPECT_EQ("", text_of(mail.m_cReferences));
}

// Backwards over the text: the twentieth closing bracket from the end, or the leftmost; then its opening one.
std::string model_references(const std::string& text)
{
    std::size_t chosen = std::string::npos;
    int seen = 0;
    for (std::size_t i = text.size(); i > 0 && seen < 20; --i) {
        if (text[i - 1] != '>') continue;
        chosen = i - 1;
        ++seen;
    }
    if (chosen == std::string::npos || chosen == 0) return "";
    const std::size_t open = text.rfind('<', chosen - 1);
    return open == std::string::npos ? "" : trimmed(std::string_view(text).substr(open));
}

TEST(SendMailReferences, AgreeWithTheModelOnAnyText)
{
    PlatformDouble platform;
    PseudoRandom random(20);
    for (int round = 0; round < 5000; ++round) {
        const std::string text = random.text("<>> a\t", random.below(70));
        CntsSMTPSendMail mail;
        mail.SetReferences(text.c_str());
        ASSERT_EQ(model_references(text), text_of(mail.m_cReferences)) << printable(text);
    }
}

}  // namespace
}  // namespace velorin_test
