// The C++ heap of a test program: operator new and delete are the program's own. Counts blocks by size, makes
// nothrow requests fail, and can say where they land. Nothrow requests are those for one object: the platform
// makes its tables with the array form, and those are left alone.
#pragma once

#include <cstddef>
#include <functional>

namespace velorin_test {

// Blocks of exactly this many octets that were made since watch_news(size) and are not yet deleted.
void watch_news(std::size_t size);
long live_news();

// The nth throwing request from now throws, 1 the next; 0: none.
void fail_new(int nth);

// The nth nothrow request from now gives null, 1 the next; 0: none.
void fail_nothrow_new(int nth);
long live_nothrow_news();  // made and not yet deleted

// Requests of any form that the test itself or a function of the platform double makes are no concern of the three
// below: the double's are spared always, the test's own while a SparedNews lives. They are used by one thread only.
class SparedNews {
public:
    SparedNews();
    ~SparedNews();
    SparedNews(const SparedNews&) = delete;
    SparedNews& operator=(const SparedNews&) = delete;
};

// The nth request of any form from now fails, 1 the next: a throwing one throws, a nothrow one gives null. 0: none.
void fail_any_new(int nth);
bool any_new_failed();  // since fail_any_new was called

// Blocks made since track_news() and not yet deleted.
void track_news();
long live_tracked_news();

// Where the next nothrow requests land.
//   source  gives the address of at least `size` octets, aligned for every type; null: the usual heap serves.
//           What it gave is handed to `taken_back` when it is deleted
void serve_nothrow_new(std::function<void*(std::size_t size)> source, std::function<void(void*)> taken_back);
void serve_nothrow_new_as_usual();

}  // namespace velorin_test
