// Octets of the messages that both protocols use.
#include <string>

#include <gtest/gtest.h>

#include "ntc_email_esu_mlutl.pb.h"
#include "wire_support.h"

using velorin::ntc_email_esu_mlutl_mail_address;
using velorin::ntc_email_esu_mlutl_mail_part;
using velorin_test::delimited;
using velorin_test::expect_octets;
using velorin_test::octets_of;
using velorin_test::read_octets;

TEST(MailAddressMessage, OneText)
{
    ntc_email_esu_mlutl_mail_address message;
    expect_octets(message, "");
    EXPECT_FALSE(message.has_c_address());
    message.set_c_address("ab@cd");
    expect_octets(message, octets_of("0A 05 61 62 40 63 64"));
    message.set_c_address("");
    expect_octets(message, octets_of("0A 00"));
    EXPECT_TRUE(read_octets<ntc_email_esu_mlutl_mail_address>(octets_of("0A 00")).has_c_address());
    EXPECT_EQ(message.GetTypeName(), "velorin.ntc_email_esu_mlutl_mail_address");
}

TEST(MailPartMessage, EveryField)
{
    ntc_email_esu_mlutl_mail_part message;
    expect_octets(message, "");
    message.set_e_content_type(7);
    message.set_e_transfer_encoding(2);
    message.set_e_content_disposition(1);
    message.set_e_char_set(10);
    message.set_c_content_type("a");
    message.set_c_content_type_string("bc");
    message.set_c_transfer_encoding("d");
    message.set_c_file_name("e");
    message.set_c_extension("f");
    message.set_p_buffer("gh");
    message.set_n_length(2);
    message.set_is_terminate(true);
    message.set_ignore_content_xciajwnetfax("IGNORE");
    expect_octets(message, octets_of("08 07  10 02  18 01  20 0A  2A 01 61  32 02 62 63  3A 01 64  42 01 65"
                                     "4A 01 66  52 02 67 68  58 02  60 01  6A 06 49 47 4E 4F 52 45"));
    EXPECT_EQ(message.GetTypeName(), "velorin.ntc_email_esu_mlutl_mail_part");
}

TEST(MailPartMessage, IsWrittenInTheOrderOfTheNumbersWhateverTheOrderOfSetting)
{
    ntc_email_esu_mlutl_mail_part message;
    message.set_is_terminate(false);
    message.set_c_content_type("");
    message.set_e_content_type(0);
    expect_octets(message, octets_of("08 00  2A 00  60 00"));
}

TEST(MailPartMessage, VocabularyNumbersPassUnchanged)
{
    const struct {
        const char* label;
        std::int32_t value;
        const char* hex;
    } cases[] = {
        {"no value", 14, "08 0E"},
        {"outside every table", 1000, "08 E8 07"},
        {"the largest", 2147483647, "08 FF FF FF FF 07"},
        {"minus one: ten octets", -1, "08 FF FF FF FF FF FF FF FF FF 01"},
        {"the smallest", -2147483647 - 1, "08 80 80 80 80 F8 FF FF FF FF 01"},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.label);
        ntc_email_esu_mlutl_mail_part message;
        message.set_e_content_type(one.value);
        expect_octets(message, octets_of(one.hex));
        EXPECT_EQ(read_octets<ntc_email_esu_mlutl_mail_part>(octets_of(one.hex)).e_content_type(), one.value);
    }
}

TEST(MailPartMessage, BodyOctetsOfEveryValueSurvive)
{
    std::string body;
    for (int octet = 0; octet < 256; ++octet)
        body.push_back(static_cast<char>(octet));
    ntc_email_esu_mlutl_mail_part message;
    message.set_p_buffer(body);
    const std::string octets = octets_of("52 80 02") + body;
    expect_octets(message, octets);
    EXPECT_EQ(read_octets<ntc_email_esu_mlutl_mail_part>(octets).p_buffer(), body);
}

TEST(MailPartMessage, NothingIsRequired)
{
    const ntc_email_esu_mlutl_mail_part message;
    EXPECT_TRUE(message.IsInitialized());
    EXPECT_FALSE(message.has_e_content_type());
    EXPECT_EQ(message.e_content_type(), 0);
    EXPECT_EQ(message.n_length(), 0);
    EXPECT_FALSE(message.is_terminate());
    EXPECT_EQ(message.p_buffer(), "");
}

TEST(MailPartMessage, ALaterOccurrenceOfAFieldWins)
{
    EXPECT_EQ(read_octets<ntc_email_esu_mlutl_mail_part>(octets_of("08 01 08 05")).e_content_type(), 5);
}

TEST(MailPartMessage, AFieldOfAnotherWireTypeIsUnknown)
{
    // Field 1 as octets, field 10 as a number.
    const auto message = read_octets<ntc_email_esu_mlutl_mail_part>(octets_of("0A 01 61  50 03  58 04"));
    EXPECT_FALSE(message.has_e_content_type());
    EXPECT_FALSE(message.has_p_buffer());
    EXPECT_EQ(message.n_length(), 4);
}
