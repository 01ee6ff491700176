#include <fstream>
#include <regex>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "return_codes.h"
#include "service_client.h"
#include "velorin_mail_service.h"

namespace velorin::service {
namespace {

struct Row {
    std::uint32_t code;
    const char* name;
    const char* sentence;
};

constexpr Row kRows[] = {
#define NTC_TEST_ROW(constant, value, name, sentence) {value, name, sentence},
    NTC_SERVICE_RETURN_CODES(NTC_TEST_ROW)
#undef NTC_TEST_ROW
};

TEST(ReturnCodes, AreDistinct)
{
    std::set<std::uint32_t> codes;
    std::set<std::string> names;
    for (const Row& row : kRows) {
        EXPECT_EQ(0x2108u, row.code >> 16) << row.name;
        EXPECT_TRUE(codes.insert(row.code).second) << row.name;
        EXPECT_TRUE(names.insert(row.name).second) << row.name;
        EXPECT_EQ('.', std::string(row.sentence).back()) << row.name;
        EXPECT_TRUE(std::regex_match(row.name, std::regex("[a-z]+(-[a-z]+)*"))) << row.name;
    }
}

TEST(ReturnCodes, AreFound)
{
    for (const Row& row : kRows) {
        const ReturnCode* const found = find_return_code(row.code);
        ASSERT_NE(nullptr, found) << row.name;
        EXPECT_STREQ(row.name, found->name);
        EXPECT_STREQ(row.sentence, found->sentence);
        EXPECT_STREQ(row.name, name_of_code(row.code));
    }
    for (const std::uint32_t code : {0x21077103u, 0x21077101u, 0x2107720Fu}) {
        EXPECT_NE(nullptr, find_return_code(code)) << code;
    }
    for (const std::uint32_t code : {0u, 1u, 0x21080000u, 0x2108FFFFu, 0xFFFFFFFFu}) {
        EXPECT_EQ(nullptr, find_return_code(code)) << code;
    }
    EXPECT_STREQ("ok", name_of_code(0));
    EXPECT_STREQ("?", name_of_code(1));
}

// The page that people read has exactly the rows of the table.
TEST(ReturnCodes, StandInTheDocument)
{
    std::ifstream document(VELORIN_MAIL_SERVICE_DOCUMENT);
    ASSERT_TRUE(document.is_open()) << VELORIN_MAIL_SERVICE_DOCUMENT;
    const std::regex form("\\| `0x([0-9A-F]{8})` \\| ([a-z-]+) \\| (.*) \\|");
    std::set<std::uint32_t> documented;
    std::string line;
    while (std::getline(document, line)) {
        std::smatch match;
        if (!std::regex_match(line, match, form)) continue;
        const auto code = static_cast<std::uint32_t>(std::stoul(match[1], nullptr, 16));
        EXPECT_TRUE(documented.insert(code).second) << line;
        const ReturnCode* const row = find_return_code(code);
        ASSERT_NE(nullptr, row) << line;
        EXPECT_EQ(row->name, match[2].str());
        EXPECT_EQ(row->sentence, match[3].str());
    }
    for (const Row& row : kRows)
        EXPECT_EQ(1u, documented.count(row.code)) << row.name;
    EXPECT_EQ(std::size(kRows) + 3, documented.size()) << "and the library's three";
}

}  // namespace
}  // namespace velorin::service
