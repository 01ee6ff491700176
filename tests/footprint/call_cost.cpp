// What single calls of the library take from the heap, where the service's answers lie ready: C++ heap, platform heap and
// pool together. Prints a line for each call; the exit status is 0 only when the calls gave what they should.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include "CutlCPLBOSBoundary.h"
#include "emwGEN.h"
#include "emwOSW.h"
#include "ntc_email.h"

namespace {

// Stands in front of every block.
struct alignas(std::max_align_t) Head {
    std::size_t size;
};

struct Heap {
    std::size_t live = 0;  // octets that were asked for
    std::size_t highest = 0;
    unsigned allocations = 0;

    void count(std::size_t size)
    {
        live += size;
        highest = std::max(highest, live);
        ++allocations;
    }
};

Heap heap;
std::size_t request_length = 0;
const std::string* answer = nullptr;  // what the service says next; null: nothing, which is a code of 0

void* allocate(std::size_t size)
{
    Head* const head = static_cast<Head*>(std::malloc(size + sizeof(Head)));
    if (head == nullptr) return nullptr;
    head->size = size;
    heap.count(size);
    return head + 1;
}

void release(void* block)
{
    if (block == nullptr) return;
    Head* const head = static_cast<Head*>(block) - 1;
    heap.live -= head->size;
    std::free(head);
}

// Old and new block stand side by side, as they may on a device.
void* reallocate(void* block, std::size_t size)
{
    void* const grown = allocate(size);
    if (grown == nullptr || block == nullptr) return grown;
    std::memcpy(grown, block, std::min(size, (static_cast<Head*>(block) - 1)->size));
    release(block);
    return grown;
}

}  // namespace

void* operator new(std::size_t size)
{
    void* const block = allocate(size);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return allocate(size);
}

void operator delete(void* block) noexcept
{
    release(block);
}

void operator delete(void* block, std::size_t /*size*/) noexcept
{
    release(block);
}

void operator delete(void* block, const std::nothrow_t&) noexcept
{
    release(block);
}

void* CutlCPLBOSBoundary::MemAllocate(std::size_t size)
{
    return allocate(size);
}

void* CutlCPLBOSBoundary::MemReallocate(void* block, std::size_t size)
{
    return reallocate(block, size);
}

void CutlCPLBOSBoundary::MemFree(void* block)
{
    release(block);
}

extern "C" {

std::uint32_t emwOSWOrgAllocMemPart(std::uint32_t /*pool*/, void** block, std::uint32_t size)
{
    *block = allocate(size);
    return *block == nullptr ? 1 : 0;
}

std::uint32_t emwOSWOrgFreeMemPart(std::uint32_t /*pool*/, void* block)
{
    release(block);
    return 0;
}

std::uint32_t emwGENPacketClntInit(const char* /*endpoint*/, std::uint32_t* handle)
{
    *handle = 1;
    return 0;
}

std::uint32_t emwGENPacketClntCall(std::uint32_t /*handle*/, const void* /*request*/, std::uint32_t length,
                                   void* buffer, std::uint32_t buffer_size, std::uint32_t* received_length,
                                   std::int32_t /*timeout*/)
{
    request_length = length;
    const std::size_t size = answer == nullptr ? 0 : answer->size();
    if (size > buffer_size) return 1;
    if (size > 0) std::memcpy(buffer, answer->data(), size);
    *received_length = static_cast<std::uint32_t>(size);
    return 0;
}

std::uint32_t emwGENPacketClntTerm(std::uint32_t /*handle*/)
{
    return 0;
}

}  // extern "C"

namespace {

constexpr char kMailbox[] = "somebody.else@department.office.example";

int faults = 0;

void require(bool holds, const char* what)
{
    if (holds) return;
    ++faults;
    std::fprintf(stderr, "call_cost: %s\n", what);
}

// The call once before, so that what is made once a process does not count; `prepare` in front of each.
template <typename Prepare, typename Call>
void measure(const char* name, const std::string* ready, Prepare prepare, Call call)
{
    answer = ready;
    prepare();
    call();
    prepare();
    const std::size_t before = heap.live;
    heap.highest = before;
    heap.allocations = 0;
    call();
    std::printf("%s: heap at most %zu octets in %u allocations; request %zu octets, answer %zu\n", name,
                heap.highest - before, heap.allocations, request_length,
                ready == nullptr ? 0 : ready->size());
    answer = nullptr;
}

void queue(velorin::CntsMLUTLMailPart& part, std::size_t size)
{
    part.FreeBuffer();
    void* block = CutlCPLBOSBoundary::MemAllocate(size);
    if (block == nullptr) return require(false, "no memory for a body");
    std::memset(block, 'x', size);
    long length = static_cast<long>(size);
    require(part.SetBuffer(block, length) == 1, "SetBuffer failed");
}

void measure_sending()
{
    velorin::CntsSMTPBoundary session{velorin::CntsSMTPSettings(velorin::nts_smtp_settings())};
    velorin::CntsSMTPSendMail mail;
    mail.m_cFrom = velorin::CntsMLUTLMailAddress(kMailbox);
    mail.m_cTo = velorin::CntsMLUTLMailAddress(kMailbox);
    mail.m_cSubject = "Scanned from the third floor";
    measure(
        "SendHeader", nullptr, [] {}, [&] { require(session.SendHeader(mail) == 0, "SendHeader failed"); });
    measure(
        "SendBody", nullptr, [&] { queue(mail, 65536); },
        [&] { require(session.SendBody(mail) == 0, "SendBody failed"); });
}

// A length as the wire has it, seven bits an octet, the lowest first.
std::string varint(std::size_t number)
{
    std::string octets;
    for (; number >= 0x80; number >>= 7)
        octets += static_cast<char>((number & 0x7F) | 0x80);
    return octets + static_cast<char>(number);
}

std::string field(unsigned number, const std::string& octets)
{
    return varint(number << 3 | 2) + varint(octets.size()) + octets;
}

void measure_receiving()
{
    constexpr std::size_t kLength = 7168;
    // The part of the mail of the answer, with its octets and their number.
    const std::string part = field(10, std::string(kLength, 'x')) + varint(11 << 3) + varint(kLength);
    const std::string ready = field(17, field(1, field(1, part)));
    velorin::CntsPOP3Boundary session{velorin::CntsPOP3Settings(velorin::SPOP3Setting())};
    velorin::CntsPOP3ReceiveMail mail{velorin::CntsPOP3MailInfo()};
    measure(
        "ReceiveBody", &ready, [&] { mail.FreeBuffer(); },
        [&] {
            require(session.ReceiveBody(mail) == 0, "ReceiveBody failed");
            require(mail.m_nLength == static_cast<long>(kLength), "ReceiveBody brought another body");
        });
}

}  // namespace

int main()
{
    measure_sending();
    measure_receiving();
    return faults == 0 ? 0 : 1;
}
