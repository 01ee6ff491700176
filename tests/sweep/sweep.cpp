#include "sweep.h"

#include <memory>
#include <new>
#include <utility>

#include <gtest/gtest.h>

#include "CntsMLUTLMailException.h"

#include "malformed.h"
#include "ntc_email_esu_pop3_main_communicator.h"
#include "ntc_email_esu_smtp_main_communicator.h"
#include "operator_new.h"

namespace velorin_test::sweep {

namespace {

constexpr const char* kThrownText = "thrown by the platform";
constexpr int kMostCalls = 3000;  // in one operation; a loop that never ends is a failure

struct Injection {
    std::string name;
    int nth = 0;       // platform call that fails
    int from = 0;      // and all later ones
    int new_nth = 0;   // request of operator new that fails
    int thrown = 0;    // allocation of the platform's heap that throws
    int exchange = 0;  // whose answer is replaced, 1 the first
    Answer answer = {};
};

// The service's answers as they were given, and one of them replaced.
class Service {
public:
    Service(PlatformDouble& platform, Handler good, const Injection& injection)
        : good_(std::move(good)), injection_(injection)
    {
        platform.on_exchange([this](const Exchange& exchange) { return answer(exchange); });
    }

    bool replaced() const { return injection_.exchange > 0 && exchanges.size() >= replaced_at(); }

    struct Seen {
        std::string endpoint;
        std::uint32_t buffer_size;
        std::string good;
    };
    std::vector<Seen> exchanges;
    std::vector<GivenAnswer> given;

private:
    std::size_t replaced_at() const { return static_cast<std::size_t>(injection_.exchange); }

    Answer answer(const Exchange& exchange)
    {
        const Answer good = good_ ? good_(exchange) : Answer{};
        exchanges.push_back(Seen{exchange.endpoint, exchange.buffer_size, good.octets});
        const bool is_replaced = injection_.exchange > 0 && exchanges.size() == replaced_at();
        const Answer answer = is_replaced ? injection_.answer : good;
        given.push_back(as_found(answer, exchange.buffer_size));
        return answer;
    }

    static GivenAnswer as_found(const Answer& answer, std::uint32_t buffer_size)
    {
        std::string octets = answer.octets.substr(0, buffer_size);
        const std::uint32_t reported =
            answer.reported_length.value_or(static_cast<std::uint32_t>(answer.octets.size()));
        octets.resize(reported < buffer_size ? reported : buffer_size, '\0');
        return GivenAnswer{octets, answer.status};
    }

    Handler good_;
    const Injection& injection_;
};

bool are_lines(const std::vector<std::string>& lines, const std::vector<std::string>& expected)
{
    bool match = lines.size() == expected.size();
    for (std::size_t i = 0; match && i < lines.size(); ++i)
        match = is_line(lines[i], expected[i]);
    return match;
}

std::string joined(const std::vector<std::string>& lines)
{
    std::string text;
    for (const std::string& line : lines)
        text += "  " + line;
    return text.empty() ? "  none\n" : text;
}

// One scenario's trials.
class Sweeper {
public:
    explicit Sweeper(const Scenario& scenario) : scenario_(scenario) {}

    // Carries the operation out once.
    //   result  whether the fault was met
    bool attempt(const Injection& injection, bool is_first = false);

    std::vector<Service::Seen> exchanges;  // of the last attempt

private:
    // Carries it out in a platform that is there already.
    //   result  blocks of operator new that are to be left
    long attempt_in(PlatformDouble& platform, const Injection& injection, bool& met);
    long check_without_memory(const Trial& trial, PlatformDouble& platform, const Outcome& outcome,
                              bool threw);
    void check_thrown(PlatformDouble& platform, bool threw, bool met);
    void carry_out_again(const Trial& trial, PlatformDouble& platform);

    const Scenario& scenario_;
    Outcome good_;  // of the untouched operation
    std::vector<std::string> good_lines_;
    bool has_good_ = false;
};

bool Sweeper::attempt(const Injection& injection, bool is_first)
{
    SCOPED_TRACE(std::string(scenario_.name) + ", " + injection.name);
    bool met = false;
    long kept = 0;
    track_news();
    {
        PlatformDouble platform;
        kept = attempt_in(platform, injection, met);
    }
    // The first time, the message runtime and the C library may keep what they need for good.
    if (!is_first) {
        EXPECT_EQ(live_tracked_news(), kept) << "blocks of operator new are left";
    }
    return met;
}

long Sweeper::attempt_in(PlatformDouble& platform, const Injection& injection, bool& met)
{
    platform.on_exchange([](const Exchange&) { return Answer{}; });
    Trial trial = scenario_.make(platform);
    Service service(platform, trial.service, injection);
    platform.take_call_records();
    EXPECT_EQ(joined(platform.take_traces()), joined({})) << "while the scenario was made ready";
    if (injection.nth > 0) platform.fail_any_call(injection.nth, kFaultCode);
    if (injection.from > 0) platform.fail_any_calls_from(injection.from, kFaultCode);
    Outcome outcome;
    bool threw = false;
    platform.throw_on_allocation(injection.thrown, kThrownText);
    fail_any_new(injection.new_nth);
    try {
        trial.run(outcome);
    } catch (const std::bad_alloc&) {
        threw = true;
    } catch (velorin::CntsMLUTLMailException* thrown) {
        const std::unique_ptr<velorin::CntsMLUTLMailException> failure(thrown);
        threw = true;
    }
    met = any_new_failed() || service.replaced() || platform.allocation_failed();
    platform.throw_on_allocation(0, nullptr);
    fail_any_new(0);
    platform.fail_any_call(0);
    platform.fail_any_calls_from(0);
    platform.on_exchange([](const Exchange&) { return Answer{}; });

    const SparedNews spared;
    EXPECT_TRUE(!threw || injection.new_nth > 0 || injection.thrown > 0)
        << "an exception that nothing caused";
    exchanges = service.exchanges;
    long kept = 0;
    if (injection.new_nth > 0) {
        kept = check_without_memory(trial, platform, outcome, threw);
    } else if (injection.thrown > 0) {
        check_thrown(platform, threw, met);
    } else {
        std::vector<CallRecord> records = platform.take_call_records();
        for (const CallRecord& record : records)
            met = met || record.failed;
        Replay replay(std::move(records), service.given);
        Outcome expected;
        trial.model(replay, expected);
        EXPECT_EQ(replay.problem(), "");
        EXPECT_TRUE(expected.admits(outcome)) << "gave\n"
                                              << outcome.text() << "instead of\n"
                                              << expected.text();
        const std::vector<std::string> lines = platform.take_traces();
        EXPECT_TRUE(are_lines(lines, replay.expected_lines)) << "traced\n"
                                                             << joined(lines) << "instead of\n"
                                                             << joined(replay.expected_lines);
        platform.expect_kept_pool_blocks(replay.kept_pool_blocks);
        kept = replay.kept_objects;
        if (!has_good_) {
            good_ = outcome;
            good_lines_ = lines;
        }
        has_good_ = true;
    }
    EXPECT_EQ(platform.open_channels(), 0u);
    if (platform.held_semaphores() != 0) {
        // Nobody is to wait for it: later scenarios have semaphores of their own.
        ADD_FAILURE() << "a semaphore is held";
        velorin::ntc_email_esu_smtp_main_communicator::_semid = 0;
        velorin::ntc_email_esu_pop3_main_communicator::_semid = 0;
    }
    const bool is_changed = !threw && good_.admits(outcome);
    const bool is_repeated = scenario_.again == Again::always || scenario_.again == Again::as_modelled ||
                             (scenario_.again == Again::after_failure && !is_changed);
    if (is_repeated) carry_out_again(trial, platform);
    return kept;
}

long Sweeper::check_without_memory(const Trial& trial, PlatformDouble& platform, const Outcome& outcome,
                                   bool threw)
{
    const std::vector<std::string> lines = platform.take_traces();
    if (threw) {
        EXPECT_TRUE(trial.may_throw) << "std::bad_alloc";
        // Lines that the untouched operation leaves too, as far as it came.
        EXPECT_LE(lines.size(), good_lines_.size()) << joined(lines);
        for (std::size_t i = 0; i < lines.size() && i < good_lines_.size(); ++i)
            EXPECT_EQ(lines[i], good_lines_[i]);
        return 0;
    }
    if (good_.admits(outcome) && lines == good_lines_) return 0;
    for (const WithoutMemory& admitted : trial.without_memory) {
        if (admitted.outcome.admits(outcome) && are_lines(lines, admitted.lines))
            return admitted.kept_objects;
    }
    ADD_FAILURE() << "without memory it gave\n" << outcome.text() << "and traced\n" << joined(lines);
    return 0;
}

// An operation that catches the exception says so in one line; nothing else may be different then.
void Sweeper::check_thrown(PlatformDouble& platform, bool threw, bool met)
{
    std::vector<std::string> lines = platform.take_traces();
    std::size_t told = 0;
    for (const std::string& line : lines) {
        if (line.find(kThrownText) != std::string::npos ||
            line.find("Exception occured") != std::string::npos)
            ++told;
    }
    EXPECT_EQ(told, met && !threw ? 1u : 0u) << joined(lines);
}

void Sweeper::carry_out_again(const Trial& trial, PlatformDouble& platform)
{
    SCOPED_TRACE("the next call");
    const Injection nothing;
    Service service(platform, trial.service, nothing);
    platform.take_call_records();
    Outcome outcome;
    trial.run(outcome);
    Replay replay(platform.take_call_records(), service.given);
    Outcome expected;
    trial.model(replay, expected);
    EXPECT_EQ(replay.problem(), "");
    EXPECT_EQ(outcome.text(), expected.text());
    if (scenario_.again != Again::as_modelled) {
        EXPECT_EQ(outcome.text(), good_.text());
    }
    EXPECT_EQ(joined(platform.take_traces()), joined(replay.expected_lines));
    EXPECT_EQ(platform.held_semaphores(), 0u);
    platform.on_exchange([](const Exchange&) { return Answer{}; });
}

template <typename Fault>
std::size_t until_none_is_left(Sweeper& sweeper, Fault fault)
{
    for (int nth = 1; nth < kMostCalls; ++nth) {
        const bool met = sweeper.attempt(fault(nth));
        if (testing::Test::HasFailure()) return static_cast<std::size_t>(nth);
        if (!met) return static_cast<std::size_t>(nth) - 1;
    }
    ADD_FAILURE() << "there is always another call to fail";
    return 0;
}

std::size_t replace_answers(Sweeper& sweeper)
{
    std::size_t replaced = 0;
    sweeper.attempt(Injection{"untouched"});
    const std::vector<Service::Seen> exchanges = sweeper.exchanges;
    for (std::size_t i = 0; i < exchanges.size(); ++i) {
        const Service::Seen& seen = exchanges[i];
        for (const Malformed& malformed : malformed_answers(seen.good, seen.endpoint, seen.buffer_size)) {
            Injection injection;
            injection.name = "exchange " + std::to_string(i + 1) + ": " + malformed.name;
            injection.exchange = static_cast<int>(i) + 1;
            injection.answer = malformed.answer;
            EXPECT_TRUE(sweeper.attempt(injection)) << injection.name;
            ++replaced;
            if (testing::Test::HasFailure()) return replaced;
        }
    }
    return replaced;
}

}  // namespace

Counts sweep(const Scenario& scenario)
{
    Sweeper sweeper(scenario);
    Counts counts;
    sweeper.attempt(Injection{"untouched for the first time"}, true);
    if (!testing::Test::HasFailure()) sweeper.attempt(Injection{"untouched"});
    if (testing::Test::HasFailure()) return counts;
    counts.platform = until_none_is_left(sweeper, [](int nth) {
        return Injection{"platform call " + std::to_string(nth) + " fails", nth};
    });
    if (testing::Test::HasFailure()) return counts;
    counts.from = until_none_is_left(sweeper, [](int nth) {
        return Injection{"platform calls from " + std::to_string(nth) + " on fail", 0, nth};
    });
    if (testing::Test::HasFailure()) return counts;
    counts.answers = replace_answers(sweeper);
    if (testing::Test::HasFailure()) return counts;
    counts.memory = until_none_is_left(sweeper, [](int nth) {
        return Injection{"operator new " + std::to_string(nth) + " fails", 0, 0, nth};
    });
    if (testing::Test::HasFailure()) return counts;
    counts.thrown = until_none_is_left(sweeper, [](int nth) {
        return Injection{"allocation " + std::to_string(nth) + " throws", 0, 0, 0, nth};
    });
    return counts;
}

}  // namespace velorin_test::sweep
