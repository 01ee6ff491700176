#pragma once

#include <cstddef>
#include <cstdint>

namespace velorin {

// The number under which the service knows a session: the low 32 bits of its communicator's address.
inline std::uint32_t session_identity(const void* communicator)
{
    return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(communicator) & 0xFFFFFFFFu);
}

// Memory for a communicator whose identity no other live one of this process has. Where addresses are wider
// than the identity, a block that would collide is passed over.
//   result  null when memory runs out
void* allocate_identified(std::size_t size) noexcept;
void free_identified(void* block) noexcept;  // null allowed

}  // namespace velorin
