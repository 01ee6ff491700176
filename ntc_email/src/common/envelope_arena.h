#pragma once

#include <cstddef>
#include <cstring>

#include <google/protobuf/arena.h>

namespace velorin {

// Where the envelopes of one exchange stand with all that is in them: on the stack, so that an exchange hardly
// asks the heap for anything. What does not fit goes to the heap in blocks of several kilobytes. Nothing stays
// behind on the stack: the texts of an account are among it.
class EnvelopeArena {
public:
    EnvelopeArena() : arena_(first_.octets, sizeof first_.octets) {}
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
        alignas(std::max_align_t) char octets[4096];

        ~FirstBlock()
        {
            // volatile: it is not to be left out
            void* (*volatile const fill)(void*, int, std::size_t) = std::memset;
            fill(octets, 0, sizeof octets);
        }
    };

    FirstBlock first_;
    google::protobuf::Arena arena_;
};

}  // namespace velorin
