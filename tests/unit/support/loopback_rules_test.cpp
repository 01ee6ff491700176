#include "loopback_rules.h"

#include <gtest/gtest.h>

namespace velorin_test {
namespace {

TEST(RuleBook, CountsFromTheMomentTheRuleIsAdded)
{
    RuleBook rules;
    EXPECT_FALSE(rules.hit(Step::kRcpt));
    rules.add(Rule(Step::kRcpt, 2).reply("450 later"));
    EXPECT_FALSE(rules.hit(Step::kRcpt));
    EXPECT_FALSE(rules.hit(Step::kMail));
    ASSERT_TRUE(rules.hit(Step::kRcpt));
    EXPECT_FALSE(rules.hit(Step::kRcpt));
}

TEST(RuleBook, TheFirstRuleWhoseTurnItIsWins)
{
    RuleBook rules;
    rules.add(Rule(Step::kNoop, 2).reply("1"));
    rules.add(Rule(Step::kNoop).every().reply("2"));
    EXPECT_EQ("2\r\n", *rules.hit(Step::kNoop)->text);
    EXPECT_EQ("1\r\n", *rules.hit(Step::kNoop)->text);
    EXPECT_EQ("2\r\n", *rules.hit(Step::kNoop)->text);
}

TEST(ParseRule, ReadsPlaceAndActions)
{
    std::string error;
    auto rule = parse_rule("rcpt:2 delay 30 trickle 5 reply 550 5.1.1 nobody here\\r\\n\\xff", error);
    ASSERT_TRUE(rule) << error;
    EXPECT_EQ(Step::kRcpt, rule->step);
    EXPECT_EQ(2, rule->nth);
    EXPECT_EQ(30, rule->delay_ms);
    EXPECT_EQ(5, rule->trickle_ms);
    EXPECT_EQ("550 5.1.1 nobody here\r\n\xff\r\n", rule->text);
    EXPECT_EQ(Rule::Act::kGoOn, rule->act);

    rule = parse_rule("Body:*@1000 close", error);
    ASSERT_TRUE(rule) << error;
    EXPECT_EQ(Step::kBody, rule->step);
    EXPECT_EQ(0, rule->nth);
    EXPECT_EQ(1000U, rule->after_octets);
    EXPECT_EQ(Rule::Act::kClose, rule->act);

    rule = parse_rule("body@5 stall", error);
    ASSERT_TRUE(rule) << error;
    EXPECT_EQ(1, rule->nth);
    EXPECT_EQ(5U, rule->after_octets);

    const std::pair<const char*, Rule::Act> acts[] = {
        {"close", Rule::Act::kClose},      {"close-inside", Rule::Act::kCloseInside},
        {"reset", Rule::Act::kReset},      {"close-after", Rule::Act::kCloseAfter},
        {"silence", Rule::Act::kSilence},  {"endless-line", Rule::Act::kEndlessLine},
        {"fail-tls", Rule::Act::kFailTls}, {"stall", Rule::Act::kStall},
    };
    for (const auto& [word, act] : acts) {
        rule = parse_rule(std::string("dot ") + word, error);
        ASSERT_TRUE(rule) << word;
        EXPECT_EQ(act, rule->act) << word;
    }
}

TEST(ParseRule, RefusesWhatIsNone)
{
    for (const char* text : {"", "nowhere close", "rcpt:0 close", "rcpt:x close", "body@x close",
                             "rcpt vanish", "rcpt delay", "rcpt delay soon", "rcpt: close"}) {
        std::string error;
        EXPECT_FALSE(parse_rule(text, error)) << text;
        EXPECT_NE("", error) << text;
    }
}

}  // namespace
}  // namespace velorin_test
