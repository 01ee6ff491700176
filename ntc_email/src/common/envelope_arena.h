#pragma once

#include <cstddef>
#include <new>

#include <google/protobuf/arena.h>

#include "secret_text.h"

namespace velorin {

// Where the envelopes of one exchange stand with all that is in them: on the stack, so that an exchange hardly
// asks the heap for anything. What does not fit goes to the heap in larger blocks. Nothing stays behind in
// either: the texts of an account are among it.
class EnvelopeArena {
public:
    EnvelopeArena() : arena_(options_with(first_)) {}
    EnvelopeArena(const EnvelopeArena&) = delete;
    EnvelopeArena& operator=(const EnvelopeArena&) = delete;

    template <typename Envelope>
    Envelope& make()
    {
        return *google::protobuf::Arena::CreateMessage<Envelope>(&arena_);
    }

private:
    // Outlives the arena, whose texts end with it.
    struct FirstBlock {
        // With the rest of a call's frame no more than the 4 KiB that a thread of a device can spare.
        alignas(std::max_align_t) char octets[3584];

        ~FirstBlock() { wipe_octets(octets, sizeof octets); }
    };

    static void wipe_and_delete(void* block, std::size_t size)
    {
        wipe_octets(block, size);
        ::operator delete(block);
    }

    static google::protobuf::ArenaOptions options_with(FirstBlock& first)
    {
        google::protobuf::ArenaOptions options;
        options.initial_block = first.octets;
        options.initial_block_size = sizeof first.octets;
        options.block_alloc = [](std::size_t size) { return ::operator new(size); };
        options.block_dealloc = wipe_and_delete;
        return options;
    }

    FirstBlock first_;
    google::protobuf::Arena arena_;
};

}  // namespace velorin
