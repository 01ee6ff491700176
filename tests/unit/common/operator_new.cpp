#include "operator_new.h"

#include <atomic>
#include <cstdlib>
#include <new>
#include <utility>

#include "platform_double.h"

namespace velorin_test {

namespace {

// Stands in front of every block.
struct alignas(std::max_align_t) Head {
    bool watched;
    bool nothrow;
    bool served;
    unsigned tracked;  // the number of the count that the block belongs to; 0: none
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
int sparing = 0;
int failing_any = 0;
bool failed_any = false;
unsigned tracking = 0;  // counts the calls of track_news
long tracked_live = 0;

bool is_spared()
{
    return sparing > 0 || PlatformDouble::is_inside();
}

void* dress(void* raw, std::size_t size, bool nothrow, bool served)
{
    Head* const head = static_cast<Head*>(raw);
    head->watched = size == watched_size.load();
    head->nothrow = nothrow;
    head->served = served;
    head->tracked = tracking != 0 && !is_spared() ? tracking : 0;
    if (head->tracked != 0) ++tracked_live;
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
    if (head->tracked != 0 && head->tracked == tracking) --tracked_live;
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

bool any_fails_now()
{
    if (failing_any == 0 || is_spared() || --failing_any > 0) return false;
    failed_any = true;
    return true;
}

SparedNews::SparedNews()
{
    ++sparing;
}

SparedNews::~SparedNews()
{
    --sparing;
}

void fail_any_new(int nth)
{
    failing_any = nth;
    failed_any = false;
}

bool any_new_failed()
{
    return failed_any;
}

void track_news()
{
    ++tracking;
    tracked_live = 0;
}

long live_tracked_news()
{
    return tracked_live;
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
    const bool fails = velorin_test::fails_now() || velorin_test::any_fails_now();
    void* const block = fails ? nullptr : velorin_test::allocate(size, false);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}

void* operator new[](std::size_t size)
{
    return ::operator new(size);
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return velorin_test::any_fails_now() ? nullptr : velorin_test::allocate(size, true);
}

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept
{
    return velorin_test::any_fails_now() ? nullptr : velorin_test::allocate(size, false);
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
