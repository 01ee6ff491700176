#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <future>
#include <memory>
#include <set>
#include <thread>
#include <type_traits>
#include <vector>

#include "emwOSW.h"
#include "platform_support.h"

namespace {

using std::chrono::steady_clock;

std::uint32_t new_semaphore()
{
    std::uint32_t semid = 0;
    EXPECT_EQ(emwOSWCreateMutexSem(&semid, 0, 1), 0u);
    return semid;
}

TEST(MutexSem, IdentifiersAreDistinctAndNeverZero)
{
    std::set<std::uint32_t> all;
    for (int index = 0; index < 2000; ++index) {
        const std::uint32_t semid = new_semaphore();
        ASSERT_NE(semid, 0u);
        ASSERT_TRUE(all.insert(semid).second);
    }
    for (const std::uint32_t semid : all) {
        ASSERT_EQ(emwOSWRequestMutexSem(semid, 0), 0u);
        ASSERT_EQ(emwOSWReleaseMutexSem(semid), 0u);
    }
    EXPECT_NE(emwOSWCreateMutexSem(nullptr, 0, 1), 0u);
}

TEST(MutexSem, IsBinaryWhateverOptionAndCount)
{
    for (const std::uint32_t count : {0u, 1u, 7u}) {
        std::uint32_t semid = 0;
        ASSERT_EQ(emwOSWCreateMutexSem(&semid, 3, count), 0u);
        EXPECT_EQ(emwOSWRequestMutexSem(semid, 0), 0u);
        EXPECT_NE(emwOSWRequestMutexSem(semid, 0), 0u);
        EXPECT_EQ(emwOSWReleaseMutexSem(semid), 0u);
    }
}

TEST(MutexSem, UnknownIdentifiersFail)
{
    const std::uint32_t last = new_semaphore();
    for (const std::uint32_t semid : {0u, last + 1, 0xFFFFFFFFu}) {
        EXPECT_NE(emwOSWRequestMutexSem(semid, -1), 0u) << semid;
        EXPECT_NE(emwOSWReleaseMutexSem(semid), 0u) << semid;
    }
}

TEST(MutexSem, ReleasingAFreeOneFailsAndKeepsItBinary)
{
    const std::uint32_t semid = new_semaphore();
    EXPECT_NE(emwOSWReleaseMutexSem(semid), 0u);
    EXPECT_EQ(emwOSWRequestMutexSem(semid, 0), 0u);
    EXPECT_NE(emwOSWRequestMutexSem(semid, 0), 0u);
    EXPECT_EQ(emwOSWReleaseMutexSem(semid), 0u);
    EXPECT_NE(emwOSWReleaseMutexSem(semid), 0u);
}

TEST(MutexSem, TimeOutWaitsThatLong)
{
    const std::uint32_t semid = new_semaphore();
    ASSERT_EQ(emwOSWRequestMutexSem(semid, -1), 0u);
    const auto begin = steady_clock::now();
    EXPECT_NE(emwOSWRequestMutexSem(semid, 50), 0u);
    EXPECT_GE(steady_clock::now() - begin, std::chrono::milliseconds(50));
    EXPECT_EQ(emwOSWReleaseMutexSem(semid), 0u);
    EXPECT_EQ(emwOSWRequestMutexSem(semid, 50), 0u);
}

TEST(MutexSem, AnotherThreadMayReleaseIt)
{
    const std::uint32_t semid = new_semaphore();
    ASSERT_EQ(emwOSWRequestMutexSem(semid, -1), 0u);
    std::thread([semid] { EXPECT_EQ(emwOSWReleaseMutexSem(semid), 0u); }).join();
    EXPECT_EQ(emwOSWRequestMutexSem(semid, 0), 0u);
}

TEST(MutexSem, InfiniteWaitEndsWithTheRelease)
{
    const std::uint32_t semid = new_semaphore();
    ASSERT_EQ(emwOSWRequestMutexSem(semid, -1), 0u);
    auto waiter = std::async(std::launch::async, [semid] { return emwOSWRequestMutexSem(semid, -1); });
    EXPECT_EQ(waiter.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    EXPECT_EQ(emwOSWReleaseMutexSem(semid), 0u);
    ASSERT_EQ(waiter.wait_for(std::chrono::seconds(30)), std::future_status::ready);
    EXPECT_EQ(waiter.get(), 0u);
}

TEST(MutexSem, ExcludesThreadsFromEachOther)
{
    const std::uint32_t semid = new_semaphore();
    long counted = 0;  // not atomic: the semaphore is what protects it
    std::atomic<int> inside{0};
    std::vector<std::thread> threads;
    for (int index = 0; index < 8; ++index) {
        threads.emplace_back([&, index] {
            for (int round = 0; round < 500; ++round) {
                EXPECT_EQ(emwOSWRequestMutexSem(semid, index % 2 == 0 ? -1 : 60000), 0u);
                EXPECT_EQ(inside.fetch_add(1), 0);
                ++counted;
                inside.fetch_sub(1);
                EXPECT_EQ(emwOSWReleaseMutexSem(semid), 0u);
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(counted, 8 * 500);
}

TEST(MutexSem, ThreadsCreateAndFindThemAtOnce)
{
    std::vector<std::thread> threads;
    for (int index = 0; index < 8; ++index) {
        threads.emplace_back([] {
            for (int round = 0; round < 200; ++round) {
                const std::uint32_t semid = new_semaphore();
                EXPECT_EQ(emwOSWRequestMutexSem(semid, 0), 0u);
                EXPECT_EQ(emwOSWReleaseMutexSem(semid), 0u);
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
}

TEST(MutexSem, ForkedChildIsNotBoundByThreadsOfItsParent)
{
    const std::uint32_t mine = new_semaphore();
    const std::uint32_t others = new_semaphore();
    ASSERT_EQ(emwOSWRequestMutexSem(mine, -1), 0u);
    std::promise<void> taken;
    std::promise<void> end;
    std::thread holder([&] {
        EXPECT_EQ(emwOSWRequestMutexSem(others, -1), 0u);
        taken.set_value();
        end.get_future().wait();
        EXPECT_EQ(emwOSWReleaseMutexSem(others), 0u);
    });
    taken.get_future().wait();
    const int status = platform_support::run_in_child([&] {
        if (emwOSWRequestMutexSem(others, 0) != 0) return 1;  // its holder is not in this process
        if (emwOSWRequestMutexSem(mine, 0) == 0) return 2;    // the forking thread still holds this one
        if (emwOSWReleaseMutexSem(mine) != 0) return 3;
        if (emwOSWRequestMutexSem(mine, 0) != 0) return 4;
        std::uint32_t fresh = 0;
        if (emwOSWCreateMutexSem(&fresh, 0, 1) != 0 || fresh <= others) return 5;
        return 0;
    });
    EXPECT_EQ(status, 0);
    EXPECT_NE(emwOSWRequestMutexSem(mine, 0), 0u);  // what the child did was its own
    end.set_value();
    holder.join();
}

TEST(ThreadGuard, NestsInOneThread)
{
    static_assert(!std::is_copy_constructible<OSW_Thread_Guard>::value, "one guard, one release");
    auto outer = std::make_unique<OSW_Thread_Guard>();
    auto inner = std::make_unique<OSW_Thread_Guard>();
    auto other = std::async(std::launch::async, [] { const OSW_Thread_Guard guard; });
    inner.reset();
    EXPECT_EQ(other.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    outer.reset();
    EXPECT_EQ(other.wait_for(std::chrono::seconds(30)), std::future_status::ready);
}

TEST(ThreadGuard, ExcludesThreadsFromEachOther)
{
    long counted = 0;  // not atomic: the guard is what protects it
    std::vector<std::thread> threads;
    for (int index = 0; index < 8; ++index) {
        threads.emplace_back([&counted] {
            for (int round = 0; round < 1000; ++round) {
                const OSW_Thread_Guard guard;
                const OSW_Thread_Guard again;
                ++counted;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(counted, 8 * 1000);
}

TEST(ThreadGuard, ChildForkedUnderItCanReleaseIt)
{
    const OSW_Thread_Guard held;
    EXPECT_EQ(platform_support::run_in_child([] {
                  {
                      const OSW_Thread_Guard nested;
                  }
                  return 0;
              }),
              0);
}

TEST(MemPart, BlocksOfPoolAndSubPoolAreFreedAlike)
{
    for (const std::uint32_t size : {0u, 1u, 4096u, 1u << 20}) {
        void* from_pool = nullptr;
        void* from_sub_pool = nullptr;
        ASSERT_EQ(emwOSWOrgAllocMemPart(0, &from_pool, size), 0u);
        ASSERT_EQ(emwOSWSubAllocMem(&from_sub_pool, size), 0u);
        ASSERT_NE(from_pool, nullptr);
        ASSERT_NE(from_sub_pool, nullptr);
        EXPECT_NE(from_pool, from_sub_pool);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(from_pool) % alignof(std::max_align_t), 0u);
        std::memset(from_pool, 0xA5, size);
        std::memset(from_sub_pool, 0x5A, size);
        EXPECT_EQ(emwOSWOrgFreeMemPart(0, from_pool), 0u);
        EXPECT_EQ(emwOSWOrgFreeMemPart(0, from_sub_pool), 0u);
    }
}

TEST(MemPart, RefusesWhatNoPoolHas)
{
    int object = 0;
    void* block = &object;
    EXPECT_NE(emwOSWOrgAllocMemPart(1, &block, 16), 0u);
    EXPECT_EQ(block, nullptr);
    EXPECT_NE(emwOSWOrgAllocMemPart(0, nullptr, 16), 0u);
    EXPECT_NE(emwOSWSubAllocMem(nullptr, 16), 0u);
    EXPECT_NE(emwOSWOrgFreeMemPart(0, nullptr), 0u);
    ASSERT_EQ(emwOSWOrgAllocMemPart(0, &block, 16), 0u);
    EXPECT_NE(emwOSWOrgFreeMemPart(7, block), 0u);
    EXPECT_EQ(emwOSWOrgFreeMemPart(0, block), 0u);
}

}  // namespace
