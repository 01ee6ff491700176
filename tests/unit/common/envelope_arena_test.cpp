#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include <gtest/gtest.h>

#include "envelope_arena.h"
#include "ntc_email_esu_smtp.pb.h"

namespace {

// Short enough to stand in the text's own object, which is in the arena.
constexpr char kSecret[] = "TopSecret";

// Stands in front of every block of this program's heap.
struct alignas(std::max_align_t) Head {
    std::size_t size;
};

bool watching = false;  // by one thread only
int freed_blocks = 0;
int freed_with_secret = 0;

void look_at(const char* octets, std::size_t size)
{
    if (!watching) return;
    ++freed_blocks;
    const char* const end = octets + size;
    if (std::search(octets, end, kSecret, kSecret + sizeof kSecret - 1) != end) ++freed_with_secret;
}

}  // namespace

void* operator new(std::size_t size)
{
    Head* const head = static_cast<Head*>(std::malloc(size + sizeof(Head)));
    if (head == nullptr) throw std::bad_alloc();
    head->size = size;
    std::memset(head + 1, 0, size);  // of what was there before nothing is looked at
    return head + 1;
}

void operator delete(void* block) noexcept
{
    if (block == nullptr) return;
    Head* const head = static_cast<Head*>(block) - 1;
    look_at(static_cast<const char*>(block), head->size);
    std::free(head);
}

void operator delete(void* block, std::size_t /*size*/) noexcept
{
    ::operator delete(block);
}

// A sanitizer has forms of its own of these: what they give would reach the one above.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    try {
        return ::operator new(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void operator delete(void* block, const std::nothrow_t&) noexcept
{
    ::operator delete(block);
}

namespace {

// Starts and ends the look at what is freed.
class Watch {
public:
    Watch()
    {
        freed_blocks = 0;
        freed_with_secret = 0;
        watching = true;
    }
    ~Watch() { watching = false; }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;
};

void fill(velorin::ntc_email_esu_smtp_settings& settings)
{
    settings.set_c_usr_id(kSecret);
    settings.set_c_paswd(kSecret);
}

}  // namespace

TEST(EnvelopeArena, LeavesNothingInBlocksOfTheHeap)
{
    const Watch watch;
    {
        velorin::EnvelopeArena arena;
        for (int made = 0; made < 500; ++made)
            fill(arena.make<velorin::ntc_email_esu_smtp_settings>());
        ASSERT_EQ(0, freed_blocks) << "the texts stand somewhere else";
    }
    EXPECT_LT(1, freed_blocks) << "all of it stood on the stack";
    EXPECT_EQ(0, freed_with_secret);
}

// What the test above looks for is found where nobody overwrites it.
TEST(EnvelopeArena, IsNeededForThat)
{
    const Watch watch;
    {
        google::protobuf::Arena arena;
        fill(*google::protobuf::Arena::CreateMessage<velorin::ntc_email_esu_smtp_settings>(&arena));
    }
    EXPECT_LT(0, freed_with_secret);
}

TEST(EnvelopeArena, AsksTheHeapForNothingWhileItIsSmall)
{
    const Watch watch;
    {
        velorin::EnvelopeArena arena;
        fill(arena.make<velorin::ntc_email_esu_smtp_settings>());
    }
    EXPECT_EQ(0, freed_blocks);
}
