#include "operator_new.h"

#include <atomic>
#include <cstdlib>
#include <new>
#include <utility>

namespace velorin_test {

namespace {

// Stands in front of every block.
struct alignas(std::max_align_t) Head {
    bool watched;
    bool nothrow;
    bool served;
};

std::atomic<std::size_t> watched_size{0};
std::atomic<long> watched_live{0};
std::atomic<int> failing_nothrow{0};
std::atomic<int> failing{0};
std::atomic<long> nothrow_live{0};

// Used by one thread only, the test's own.
std::function<void*(std::size_t)> served_from;
std::function<void(void*)> given_back;
bool serving = false;

void* dress(void* raw, std::size_t size, bool nothrow, bool served)
{
    Head* const head = static_cast<Head*>(raw);
    head->watched = size == watched_size.load();
    head->nothrow = nothrow;
    head->served = served;
    if (head->watched) ++watched_live;
    if (nothrow) ++nothrow_live;
    return head + 1;
}

}  // namespace

void* allocate(std::size_t size, bool nothrow)
{
    if (nothrow && failing_nothrow.load() > 0 && --failing_nothrow == 0) return nullptr;
    if (nothrow && serving) {
        void* const served = served_from(size + sizeof(Head));
        if (served != nullptr) return dress(served, size, nothrow, true);
    }
    void* const raw = std::malloc(size + sizeof(Head));
    return raw == nullptr ? nullptr : dress(raw, size, nothrow, false);
}

void release(void* block)
{
    if (block == nullptr) return;
    Head* const head = static_cast<Head*>(block) - 1;
    if (head->watched) --watched_live;
    if (head->nothrow) --nothrow_live;
    if (head->served) {
        given_back(head);
    } else {
        std::free(head);
    }
}

void watch_news(std::size_t size)
{
    watched_size.store(size);
    watched_live.store(0);
}

long live_news()
{
    return watched_live.load();
}

bool fails_now()
{
    return failing.load() > 0 && --failing == 0;
}

void fail_new(int nth)
{
    failing.store(nth);
}

void fail_nothrow_new(int nth)
{
    failing_nothrow.store(nth);
}

long live_nothrow_news()
{
    return nothrow_live.load();
}

void serve_nothrow_new(std::function<void*(std::size_t size)> source, std::function<void(void*)> taken_back)
{
    served_from = std::move(source);
    given_back = std::move(taken_back);
    serving = true;
}

void serve_nothrow_new_as_usual()
{
    serving = false;
}

}  // namespace velorin_test

void* operator new(std::size_t size)
{
    void* const block = velorin_test::fails_now() ? nullptr : velorin_test::allocate(size, false);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}

void* operator new[](std::size_t size)
{
    return ::operator new(size);
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return velorin_test::allocate(size, true);
}

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept
{
    return velorin_test::allocate(size, false);
}

void operator delete(void* block) noexcept
{
    velorin_test::release(block);
}

void operator delete[](void* block) noexcept
{
    velorin_test::release(block);
}

void operator delete(void* block, std::size_t) noexcept
{
    velorin_test::release(block);
}

void operator delete[](void* block, std::size_t) noexcept
{
    velorin_test::release(block);
}

void operator delete(void* block, const std::nothrow_t&) noexcept
{
    velorin_test::release(block);
}

void operator delete[](void* block, const std::nothrow_t&) noexcept
{
    velorin_test::release(block);
}
