#include "emwOSW.h"

#include <errno.h>
#include <pthread.h>
#include <semaphore.h>
#include <time.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <mutex>
#include <new>

namespace {

// Failure codes; a caller knows "nonzero" only.
enum : std::uint32_t {
    kDone = 0,
    kBadArgument = 0x21050001,
    kUnknownSemaphore = 0x21050002,
    kTimeout = 0x21050003,
    kNotTaken = 0x21050004,
    kNoMemory = 0x21050005,
    kUnknownPool = 0x21050006
};

constexpr std::uint32_t kDefaultPool = 0;

// Names the calling thread by an address, which a fork keeps, as it does not keep thread ids.
thread_local char thread_mark;

const void* this_thread()
{
    return &thread_mark;
}

// A semaphore that is counted 0 or 1. `holder` says more than the count: a release without a holder is
// refused, and after a fork the child frees what threads of the parent held. It also orders what holders do
// one after another.
struct Semaphore {
    sem_t count;
    std::atomic<const void*> holder;
};

// Semaphores by identifier, never removed: look-up takes no lock. Block n holds kFirstBlock << n of them, so
// a process with few pays for few and an identifier finds its block by its highest bit.
class SemaphoreTable {
public:
    std::uint32_t create(std::uint32_t& semid)
    {
        const std::lock_guard<std::mutex> guard(lock_);
        const std::uint32_t index = used_.load(std::memory_order_relaxed);
        std::uint32_t offset = 0;
        const unsigned block = block_of(index, offset);
        if (block >= kBlocks) return kNoMemory;
        Semaphore* slots = blocks_[block].load(std::memory_order_relaxed);
        if (slots == nullptr) {
            slots = new (std::nothrow) Semaphore[std::size_t{kFirstBlock} << block];
            if (slots == nullptr) return kNoMemory;
            blocks_[block].store(slots, std::memory_order_relaxed);
        }
        if (sem_init(&slots[offset].count, 0, 1) != 0) return kNoMemory;
        slots[offset].holder.store(nullptr, std::memory_order_relaxed);
        used_.store(index + 1, std::memory_order_release);
        semid = index + 1;
        return kDone;
    }

    Semaphore* find(std::uint32_t semid)
    {
        if (semid == 0 || semid > used_.load(std::memory_order_acquire)) return nullptr;
        std::uint32_t offset = 0;
        const unsigned block = block_of(semid - 1, offset);
        return &blocks_[block].load(std::memory_order_relaxed)[offset];
    }

    void before_fork() { lock_.lock(); }

    void after_fork_in_parent() { lock_.unlock(); }

    // Only the forking thread lives on in the child: what others held nobody would ever release, and those
    // who waited are gone.
    void after_fork_in_child()
    {
        const std::uint32_t used = used_.load(std::memory_order_relaxed);
        for (std::uint32_t semid = 1; semid <= used; ++semid) {
            Semaphore& semaphore = *find(semid);
            const bool mine = semaphore.holder.load(std::memory_order_relaxed) == this_thread();
            if (!mine) semaphore.holder.store(nullptr, std::memory_order_relaxed);
            sem_init(&semaphore.count, 0, mine ? 0 : 1);
        }
        lock_.unlock();
    }

private:
    static constexpr std::uint32_t kFirstBlock = 16;
    static constexpr unsigned kBlocks = 20;

    static unsigned block_of(std::uint32_t index, std::uint32_t& offset)
    {
        unsigned block = 0;
        std::uint32_t size = kFirstBlock;
        while (index >= size && block < kBlocks) {
            index -= size;
            size <<= 1;
            ++block;
        }
        offset = index;
        return block;
    }

    std::mutex lock_;
    std::atomic<std::uint32_t> used_{0};
    std::atomic<Semaphore*> blocks_[kBlocks] = {};
};

// The process-wide lock. Not a recursive mutex of the system: that one remembers a thread id, so a child that
// was forked under it could not release it.
class RecursiveLock {
public:
    void lock()
    {
        if (owner_.load(std::memory_order_relaxed) != this_thread()) {
            lock_.lock();
            owner_.store(this_thread(), std::memory_order_relaxed);
        }
        ++depth_;
    }

    void unlock()
    {
        if (--depth_ != 0) return;
        owner_.store(nullptr, std::memory_order_relaxed);
        lock_.unlock();
    }

private:
    std::mutex lock_;
    std::atomic<const void*> owner_{nullptr};
    unsigned depth_ = 0;  // the owner's
};

struct State {
    SemaphoreTable semaphores;
    RecursiveLock guard;
};

void before_fork();
void after_fork_in_parent();
void after_fork_in_child();

// Never destroyed: threads may use it while the process ends.
State& state()
{
    static State* const instance = [] {
        State* const made = new State;
        pthread_atfork(before_fork, after_fork_in_parent, after_fork_in_child);
        return made;
    }();
    return *instance;
}

void before_fork()
{
    state().guard.lock();
    state().semaphores.before_fork();
}

void after_fork_in_parent()
{
    state().semaphores.after_fork_in_parent();
    state().guard.unlock();
}

void after_fork_in_child()
{
    state().semaphores.after_fork_in_child();
    state().guard.unlock();
}

timespec deadline_after(std::int32_t milliseconds)
{
    timespec deadline{};
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    deadline.tv_sec += milliseconds / 1000;
    deadline.tv_nsec += static_cast<long>(milliseconds % 1000) * 1000000L;
    if (deadline.tv_nsec >= 1000000000L) {
        deadline.tv_nsec -= 1000000000L;
        ++deadline.tv_sec;
    }
    return deadline;
}

}  // namespace

std::uint32_t emwOSWCreateMutexSem(std::uint32_t* semid, std::uint32_t /*option*/, std::uint32_t /*count*/)
{
    if (semid == nullptr) return kBadArgument;
    return state().semaphores.create(*semid);
}

std::uint32_t emwOSWRequestMutexSem(std::uint32_t semid, std::int32_t timeout)
{
    Semaphore* const semaphore = state().semaphores.find(semid);
    if (semaphore == nullptr) return kUnknownSemaphore;
    int result = sem_trywait(&semaphore->count);
    if (result != 0 && timeout < 0) {
        do {
            result = sem_wait(&semaphore->count);
        } while (result != 0 && errno == EINTR);
    } else if (result != 0 && timeout > 0) {
        const timespec deadline = deadline_after(timeout);
        do {
            result = sem_clockwait(&semaphore->count, CLOCK_MONOTONIC, &deadline);
        } while (result != 0 && errno == EINTR);
    }
    if (result != 0) return kTimeout;
    semaphore->holder.exchange(this_thread(), std::memory_order_acq_rel);
    return kDone;
}

std::uint32_t emwOSWReleaseMutexSem(std::uint32_t semid)
{
    Semaphore* const semaphore = state().semaphores.find(semid);
    if (semaphore == nullptr) return kUnknownSemaphore;
    if (semaphore->holder.exchange(nullptr, std::memory_order_acq_rel) == nullptr) return kNotTaken;
    sem_post(&semaphore->count);
    return kDone;
}

std::uint32_t emwOSWOrgAllocMemPart(std::uint32_t pool, void** block, std::uint32_t size)
{
    if (block == nullptr) return kBadArgument;
    *block = nullptr;
    if (pool != kDefaultPool) return kUnknownPool;
    *block = std::malloc(size == 0 ? 1 : size);
    return *block != nullptr ? kDone : kNoMemory;
}

std::uint32_t emwOSWOrgFreeMemPart(std::uint32_t pool, void* block)
{
    if (pool != kDefaultPool) return kUnknownPool;
    if (block == nullptr) return kBadArgument;
    std::free(block);
    return kDone;
}

std::uint32_t emwOSWSubAllocMem(void** block, std::uint32_t size)
{
    // The C library's heap is both pool and sub-pool here, so one operation frees the blocks of both.
    if (block == nullptr) return kBadArgument;
    *block = std::malloc(size == 0 ? 1 : size);
    return *block != nullptr ? kDone : kNoMemory;
}

OSW_Thread_Guard::OSW_Thread_Guard()
{
    state().guard.lock();
}

OSW_Thread_Guard::~OSW_Thread_Guard()
{
    state().guard.unlock();
}
