// The boundary stack of a mail against models of it, over long runs of random operations.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "CntsPOP3ReceiveMail.h"
#include "mlutl_support.h"
#include "operator_new.h"
#include "platform_double.h"
#include "pop3_stack_support.h"

using velorin::CntsPOP3MailInfo;
using velorin::CntsPOP3ReceiveMail;
using velorin_test::Call;
using velorin_test::innermost;
using velorin_test::kDownEmpty;
using velorin_test::kDownNoVector;
using velorin_test::kUpFailed;
using velorin_test::live_news;
using velorin_test::PlatformDouble;
using velorin_test::PseudoRandom;
using velorin_test::stack_of;
using velorin_test::watch_news;

namespace {

using Texts = std::vector<std::string>;

class BoundaryStackModel : public testing::Test {
protected:
    BoundaryStackModel() { watch_news(sizeof(CutlCPLBMString)); }

    PlatformDouble platform;
    const CntsPOP3MailInfo info{4, "uid", 5, 1};
};

// Longer than a string object, so that no text is taken for one.
std::string random_boundary(PseudoRandom& random)
{
    return random.text("'()+_,-./:=? abcXYZ059", 40 + random.below(31));
}

}  // namespace

TEST_F(BoundaryStackModel, AgreesWithTheStackOverPushesAndPops)
{
    for (const std::uint32_t seed : {1u, 2u, 3u}) {
        PseudoRandom random(seed);
        Texts model;
        auto mail = std::make_unique<CntsPOP3ReceiveMail>(info);
        std::size_t deepest = 0;
        long strings = 0;
        for (int step = 0; step < 10000; ++step) {
            Texts lines;
            int detected = static_cast<int>(random.below(2));
            mail->m_bIsBoundaryDetected = detected;
            // Pushes and pops prevail in turn, so that the stack gets deep and empty.
            const bool rising = (step / 50) % 2 == 0;
            const std::uint32_t chosen = random.below(10);
            if (chosen == 1) platform.fail_call(Call::vector_add, 1);
            const std::string text = random_boundary(random);
            const long before = live_news();
            if (chosen == 0) {
                lines.push_back(kUpFailed);
                ASSERT_EQ(mail->UpBoundaryLevel(nullptr), 0);
            } else if (chosen == 1) {
                lines.push_back(kUpFailed);
                ASSERT_EQ(mail->UpBoundaryLevel(text.c_str()), 0);
            } else if ((chosen < 7) == rising) {
                ASSERT_EQ(mail->UpBoundaryLevel(text.c_str()), 1);
                model.push_back(text);
                detected = 0;
            } else if (model.empty()) {
                lines.push_back(kDownEmpty);
                ASSERT_EQ(mail->DownBoundaryLevel(), 0);
            } else {
                ASSERT_EQ(mail->DownBoundaryLevel(), 1);
                model.pop_back();
                detected = 0;
            }
            strings += live_news() - before;
            ASSERT_EQ(strings, static_cast<long>(model.size())) << "seed " << seed << ", step " << step;
            deepest = std::max(deepest, model.size());
            ASSERT_EQ(stack_of(*mail), model) << "seed " << seed << ", step " << step;
            ASSERT_EQ(mail->m_nPartDepth, static_cast<int>(model.size()));
            ASSERT_EQ(mail->m_bIsBoundaryDetected, detected);
            ASSERT_EQ(innermost(*mail), model.empty() ? "none" : model.back());
            ASSERT_EQ(platform.take_traces(), lines);
        }
        EXPECT_GE(deepest, 10u);
        EXPECT_EQ(strings, static_cast<long>(model.size()));
        const long before = live_news();
        mail->SetBoundaryStringList(nullptr);
        EXPECT_EQ(before - live_news(), strings);
    }
}

namespace {

// Stack and depth by themselves, as they are when the depth comes from elsewhere and the vector refuses.
class LooseRun {
public:
    LooseRun(PlatformDouble& platform, const CntsPOP3MailInfo& info, std::uint32_t seed)
        : platform_(platform), random_(seed), mail_(std::make_unique<CntsPOP3ReceiveMail>(info))
    {
    }

    // Operates once on both, and compares all there is.
    void step()
    {
        lines_.clear();
        detected_ = static_cast<int>(random_.below(2));
        mail_->m_bIsBoundaryDetected = detected_;
        const long strings_before = strings();
        const std::string text = random_boundary(random_);
        const long before = live_news();
        switch (random_.below(12)) {
        case 0:
            set_depth();
            break;
        case 1:
            set_stack();
            break;
        case 2:
        case 3:
            pop(true);
            break;
        case 4:
            push(text, true);
            break;
        case 5:
        case 6:
        case 7:
            pop(false);
            break;
        default:
            push(text, false);
        }
        ASSERT_EQ(live_news() - before, strings() - strings_before);
        ASSERT_EQ(stack_of(*mail_), stack_ ? *stack_ : Texts{"no vector"});
        ASSERT_EQ(mail_->m_nPartDepth, depth_);
        ASSERT_EQ(mail_->m_bIsBoundaryDetected, detected_);
        const bool has_innermost = depth_ > 0 && depth_ <= count();
        ASSERT_EQ(innermost(*mail_),
                  has_innermost ? (*stack_)[static_cast<std::size_t>(depth_ - 1)] : "none");
        ASSERT_EQ(platform_.take_traces(), lines_);
    }

    void end()
    {
        const long expected = strings();
        const long before = live_news();
        mail_.reset();
        EXPECT_EQ(before - live_news(), expected);
    }

    int refused_pops = 0;  // that left a string where it was

private:
    int count() const { return stack_ ? static_cast<int>(stack_->size()) : 0; }
    long strings() const { return count(); }

    void push(const std::string& text, bool refused)
    {
        if (refused) platform_.fail_call(Call::vector_add, 1);
        if (!stack_) stack_.emplace();
        const bool taken = !refused && depth_ >= 0 && depth_ <= count();
        ASSERT_EQ(mail_->UpBoundaryLevel(text.c_str()), taken ? 1 : 0);
        if (!taken) {
            lines_.push_back(kUpFailed);
            return;
        }
        stack_->insert(stack_->begin() + depth_, text);
        ++depth_;
        detected_ = 0;
    }

    void pop(bool refused)
    {
        if (depth_ < 1 || !stack_) {
            lines_.push_back(depth_ < 1 ? kDownEmpty : kDownNoVector);
            ASSERT_EQ(mail_->DownBoundaryLevel(), 0);
            return;
        }
        if (refused) platform_.fail_call(Call::vector_remove, 1);
        ASSERT_EQ(mail_->DownBoundaryLevel(), 1) << "whatever the vector says";
        --depth_;
        detected_ = 0;
        if (depth_ >= count()) return;
        if (refused) {
            ++refused_pops;
        } else {
            stack_->erase(stack_->begin() + depth_);
        }
    }

    void set_depth()
    {
        depth_ = static_cast<int>(random_.below(static_cast<std::uint32_t>(count()) + 4)) - 1;
        mail_->m_nPartDepth = depth_;
    }

    void set_stack()
    {
        stack_.reset();
        if (random_.below(4) == 0) {
            mail_->SetBoundaryStringList(nullptr);
            return;
        }
        stack_.emplace();
        auto list = std::make_unique<CutlCPLBMVector>();
        for (std::uint32_t left = random_.below(5); left > 0; --left) {
            stack_->push_back(random_boundary(random_));
            ASSERT_NE(list->Add(list->GetCount(), new CutlCPLBMString(stack_->back().c_str())), 0);
        }
        mail_->SetBoundaryStringList(list.release());
    }

    PlatformDouble& platform_;
    PseudoRandom random_;
    std::unique_ptr<CntsPOP3ReceiveMail> mail_;
    std::optional<Texts> stack_ = Texts();
    int depth_ = 0;
    int detected_ = 0;
    Texts lines_;
};

}  // namespace

TEST_F(BoundaryStackModel, AgreesWithTheStackWhateverItsDepth)
{
    for (const std::uint32_t seed : {4u, 5u, 6u}) {
        LooseRun both(platform, info, seed);
        for (int step = 0; step < 10000; ++step) {
            both.step();
            ASSERT_FALSE(HasFailure()) << "seed " << seed << ", step " << step;
        }
        EXPECT_GT(both.refused_pops, 100);
        both.end();
    }
}
