#include "session_identity.h"

#include <mutex>
#include <new>

namespace velorin {

namespace {

// Stands in front of each communicator and chains the live ones, so that being known costs no memory that
// could fail.
struct alignas(std::max_align_t) Node {
    Node* next;
    Node* previous;
};

std::mutex live_lock;
Node* live_head = nullptr;

std::uint32_t identity_of(const Node* node)
{
    return session_identity(node + 1);
}

bool is_taken(std::uint32_t identity)
{
    for (const Node* node = live_head; node != nullptr; node = node->next) {
        if (identity_of(node) == identity) return true;
    }
    return false;
}

}  // namespace

void* allocate_identified(std::size_t size) noexcept
{
    const std::lock_guard<std::mutex> guard(live_lock);
    Node* passed_over = nullptr;
    Node* node = nullptr;
    for (;;) {
        void* const block = ::operator new(sizeof(Node) + size, std::nothrow);
        if (block == nullptr) break;
        node = ::new (block) Node{nullptr, nullptr};
        if (!is_taken(identity_of(node))) break;
        node->next = passed_over;  // held until the end, or the allocator would hand it out again
        passed_over = node;
        node = nullptr;
    }
    while (passed_over != nullptr) {
        Node* const next = passed_over->next;
        ::operator delete(passed_over);
        passed_over = next;
    }
    if (node == nullptr) return nullptr;
    node->next = live_head;
    if (live_head != nullptr) live_head->previous = node;
    live_head = node;
    return node + 1;
}

void free_identified(void* block) noexcept
{
    if (block == nullptr) return;
    const std::lock_guard<std::mutex> guard(live_lock);
    Node* const node = static_cast<Node*>(block) - 1;
    (node->previous != nullptr ? node->previous->next : live_head) = node->next;
    if (node->next != nullptr) node->next->previous = node->previous;
    ::operator delete(node);
}

}  // namespace velorin
