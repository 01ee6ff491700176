// What of an envelope is recorded. Envelopes are written out here octet by octet, not by the schema's
// classes.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "capture.h"
#include "envelope_octets.h"

namespace {

using namespace envelope_octets;
using velorin_channel::EnvelopeKind;
using velorin_channel::redact_envelope;

std::string redacted(EnvelopeKind kind, const std::string& envelope)
{
    // Exact-size copy: an octet too many is seen by the address sanitizer.
    const std::unique_ptr<char[]> exact(new char[envelope.size()]);
    envelope.copy(exact.get(), envelope.size());
    std::string result = "(unchanged)";
    return redact_envelope(kind, exact.get(), envelope.size(), result) ? result : "(malformed)";
}

TEST(Redact, WithoutSecretsNothingChanges)
{
    const std::string envelope = number(1, 3) + text(8, number(1, 0xDEADBEEF) + text(2, text(9, "subject")));
    EXPECT_EQ(redacted(EnvelopeKind::kSmtp, envelope), envelope);
    EXPECT_EQ(redacted(EnvelopeKind::kSmtp, ""), "");
    EXPECT_EQ(redacted(EnvelopeKind::kPop3, number(1, 2) + text(5, number(1, 0xFFFFFFFF80000000ull))),
              number(1, 2) + text(5, number(1, 0xFFFFFFFF80000000ull)));
}

TEST(Redact, PasswordsOfTheSmtpSettings)
{
    const std::string pop3 = text(2, "pop.example") + text(4, "user") + text(5, "pop secret") + number(6, 1);
    const std::string settings =
        text(2, "smtp.example") + text(5, pop3) + text(6, "me") + text(7, "smtp secret");
    const std::string clean_pop3 = text(2, "pop.example") + text(4, "user") + text(5, "***") + number(6, 1);
    const std::string clean = text(2, "smtp.example") + text(5, clean_pop3) + text(6, "me") + text(7, "***");
    EXPECT_EQ(redacted(EnvelopeKind::kSmtp, text(2, number(1, 7) + text(2, settings))),
              text(2, number(1, 7) + text(2, clean)));
}

TEST(Redact, PasswordOfThePop3Settings)
{
    EXPECT_EQ(
        redacted(EnvelopeKind::kPop3, number(1, 1) + text(2, number(1, 7) + text(2, text(5, "secret")))),
        number(1, 1) + text(2, number(1, 7) + text(2, text(5, "***"))));
    EXPECT_EQ(redacted(EnvelopeKind::kPop3, text(2, text(2, text(5, "")))), text(2, text(2, text(5, "***"))));
}

TEST(Redact, BodiesOfEverySmtpRequest)
{
    const std::string part =
        number(1, 1) + text(8, "file.pdf") + text(10, std::string("body\0octets", 11)) + number(11, 11);
    const std::string clean = number(1, 1) + text(8, "file.pdf") + text(10, "") + number(11, 11);
    for (const unsigned field : {8u, 10u, 12u, 14u, 16u}) {
        EXPECT_EQ(redacted(EnvelopeKind::kSmtp, text(field, text(2, text(1, part) + text(2, text(1, part))))),
                  text(field, text(2, text(1, clean) + text(2, text(1, clean)))))
            << field;
    }
}

TEST(Redact, BodiesOfEveryPop3RequestAndAnswer)
{
    const std::string part = text(10, "body") + number(11, 4);
    const std::string clean = text(10, "") + number(11, 4);
    const std::string mail = text(1, part) + text(7, "subject") + text(17, text(1, part));
    const std::string clean_mail = text(1, clean) + text(7, "subject") + text(17, text(1, clean));
    for (const unsigned field : {14u, 16u, 18u, 20u, 22u, 24u, 26u, 36u}) {
        EXPECT_EQ(redacted(EnvelopeKind::kPop3, text(field, text(2, mail))), text(field, text(2, clean_mail)))
            << field;
        EXPECT_EQ(redacted(EnvelopeKind::kPop3, text(field + 1, text(1, mail))),
                  text(field + 1, text(1, clean_mail)))
            << field + 1;
    }
    EXPECT_EQ(redacted(EnvelopeKind::kPop3, text(34, text(3, mail))), text(34, text(3, clean_mail)));
}

TEST(Redact, FieldsThatTheSchemaDoesNotKnowAreLeftOut)
{
    EXPECT_EQ(redacted(EnvelopeKind::kSmtp,
                       number(1, 0) + text(24, "later") + number(99, 5) + text(3, number(1, 0))),
              number(1, 0) + text(3, number(1, 0)));
    EXPECT_EQ(redacted(EnvelopeKind::kSmtp, text(2, text(2, text(15, "another password") + text(6, "me")))),
              text(2, text(2, text(6, "me"))));
    EXPECT_EQ(redacted(EnvelopeKind::kSmtp, std::string("\x09") + "12345678" + "\x0D" + "1234"), "");
    // A known field in another shape is not the known field.
    EXPECT_EQ(redacted(EnvelopeKind::kSmtp, text(1, "text") + text(2, text(2, number(7, 1234)))),
              text(2, text(2, "")));
}

TEST(Redact, EveryTruncationIsMalformedOrWithoutSecrets)
{
    const std::string envelope =
        number(1, 0) + text(2, number(1, 7) + text(2, text(2, "host") + text(7, "secret")));
    for (std::size_t length = 0; length < envelope.size(); ++length) {
        const std::string result = redacted(EnvelopeKind::kSmtp, envelope.substr(0, length));
        EXPECT_EQ(result.find("secret"), std::string::npos) << length;
        EXPECT_EQ(result, length == 0 ? "" : length == 2 ? number(1, 0) : "(malformed)") << length;
    }
}

TEST(Redact, MalformedEnvelopesAreRefused)
{
    const struct {
        const char* label;
        std::string envelope;
    } cases[] = {
        {"field 0", std::string("\0x", 2)},
        {"a group", "\x0B\x0C"},
        {"wire type 6", "\x0E"},
        {"wire type 7", "\x0F"},
        {"a length beyond the end", "\x12\x05"
                                    "abcd"},
        {"a length of 64 bits", "\x12\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x01"},
        {"a number without end", "\x08\x80\x80\x80\x80\x80\x80\x80\x80\x80\x80\x01"},
        {"a field number too large", "\x80\x80\x80\x80\x80\x01x"},
        {"a request that is no message", text(2, "\xFF")},
        {"settings that are no message", text(2, text(2, "\xFF"))},
    };
    for (const auto& each : cases)
        EXPECT_EQ(redacted(EnvelopeKind::kSmtp, each.envelope), "(malformed)") << each.label;
    EXPECT_EQ(redacted(EnvelopeKind::kUnknown, number(1, 0)), "(malformed)");
}

TEST(Redact, OutputIsUntouchedOnFailure)
{
    std::string result = "before";
    EXPECT_FALSE(redact_envelope(EnvelopeKind::kSmtp, "\x0F", 1, result));
    EXPECT_EQ(result, "before");
}

}  // namespace
