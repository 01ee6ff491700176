// What may run at once and what never does.
#include <atomic>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform_double.h"
#include "service_channel_fixture.h"
#include "service_channel_support.h"

using velorin_test::Answer;
using velorin_test::Exchange;
using velorin_test::PlatformDouble;
using velorin_test::Pop3Side;
using velorin_test::Rendezvous;
using velorin_test::sem_request;
using velorin_test::SmtpSide;

namespace {

template <typename Side>
std::uint32_t exchange_once()
{
    typename Side::Communicator communicator;
    typename Side::Envelope request;
    typename Side::Envelope response;
    Side::make_test_request(request);
    return communicator.call_esu_method(request, response);
}

void join_all(std::vector<std::thread>& threads)
{
    for (std::thread& thread : threads)
        thread.join();
}

template <typename Side>
class ServiceChannelThreads : public testing::Test {
};

}  // namespace

TYPED_TEST_SUITE(ServiceChannelThreads, velorin_test::Sides, velorin_test::SideNames);

TYPED_TEST(ServiceChannelThreads, RacingFirstCallsCreateOneSemaphore)
{
    constexpr std::size_t kThreads = 8;
    constexpr int kRounds = 20;
    for (int round = 0; round < kRounds; ++round) {
        PlatformDouble platform;
        platform.on_exchange([](const Exchange&) { return Answer{}; });
        TypeParam::Communicator::_semid = 0;
        Rendezvous start(kThreads);
        std::atomic<unsigned> good{0};
        std::vector<std::thread> threads;
        for (std::size_t index = 0; index < kThreads; ++index) {
            threads.emplace_back([&] {
                EXPECT_TRUE(start.arrive_and_wait());
                if (exchange_once<TypeParam>() == 0) ++good;
            });
        }
        join_all(threads);
        EXPECT_EQ(good.load(), kThreads);
        EXPECT_EQ(platform.count("sem_create("), 1u);
        EXPECT_EQ(platform.count(sem_request<TypeParam>()), kThreads);
        EXPECT_EQ(platform.most_open_channels(TypeParam::kEndpoint), 1u);
    }
}

TYPED_TEST(ServiceChannelThreads, ASecondExchangeWaitsForTheFirst)
{
    PlatformDouble platform;
    Rendezvous in_first(2);
    Rendezvous let_go(2);
    std::atomic<int> seen{0};
    platform.on_exchange([&](const Exchange&) {
        if (++seen == 1) {
            EXPECT_TRUE(in_first.arrive_and_wait());
            EXPECT_TRUE(let_go.arrive_and_wait());
        }
        return Answer{};
    });
    std::thread first([] { EXPECT_EQ(exchange_once<TypeParam>(), 0u); });
    EXPECT_TRUE(in_first.arrive_and_wait());
    std::thread second([] { EXPECT_EQ(exchange_once<TypeParam>(), 0u); });
    // The second has converted and allocated, and now asks for the semaphore that the first holds.
    EXPECT_TRUE(platform.wait_for_count("sem_request(", 2));
    EXPECT_EQ(platform.count("pool_alloc("), 2u);
    EXPECT_EQ(platform.count("init("), 1u);
    EXPECT_EQ(platform.open_channels(), 1u);
    EXPECT_TRUE(let_go.arrive_and_wait());
    first.join();
    second.join();
    EXPECT_EQ(platform.count("init("), 2u);
    EXPECT_EQ(platform.most_open_channels(TypeParam::kEndpoint), 1u);
}

TYPED_TEST(ServiceChannelThreads, ManyExchangesNeverOverlap)
{
    constexpr std::size_t kThreads = 4;
    constexpr int kExchanges = 50;
    PlatformDouble platform;
    std::atomic<int> inside{0};
    std::atomic<int> most{0};
    platform.on_exchange([&](const Exchange&) {
        const int now = ++inside;
        if (now > most.load()) most.store(now);
        std::this_thread::yield();
        --inside;
        return Answer{};
    });
    std::vector<std::thread> threads;
    for (std::size_t index = 0; index < kThreads; ++index) {
        threads.emplace_back([] {
            for (int turn = 0; turn < kExchanges; ++turn)
                EXPECT_EQ(exchange_once<TypeParam>(), 0u);
        });
    }
    join_all(threads);
    EXPECT_EQ(platform.count("call("), kThreads * kExchanges);
    EXPECT_EQ(most.load(), 1);
    EXPECT_EQ(platform.most_open_channels(TypeParam::kEndpoint), 1u);
}

TEST(ServiceChannelThreadsOfBoth, AnSmtpAndAPop3ExchangeMayOverlap)
{
    PlatformDouble platform;
    Rendezvous both_inside(2);
    platform.on_exchange([&](const Exchange&) {
        EXPECT_TRUE(both_inside.arrive_and_wait()) << "each waits for the other inside its exchange";
        return Answer{};
    });
    std::thread smtp([] { EXPECT_EQ(exchange_once<SmtpSide>(), 0u); });
    std::thread pop3([] { EXPECT_EQ(exchange_once<Pop3Side>(), 0u); });
    smtp.join();
    pop3.join();
    EXPECT_EQ(platform.most_open_channels(""), 2u);
    EXPECT_EQ(platform.most_open_channels(SmtpSide::kEndpoint), 1u);
    EXPECT_EQ(platform.most_open_channels(Pop3Side::kEndpoint), 1u);
}
