#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <string>

#include "emwGEN.h"
#include "emwOSW.h"

#include "envelope_arena.h"
#include "ntc_email_export.h"
#include "pool_block.h"
#include "secret_text.h"
#include "session_identity.h"
#include "status.h"
#include "trace.h"

// The trace texts that the protocols share, each whole with the communicator's name, for the inside of a
// Protocol.
#define NTC_CHANNEL_TEXTS(communicator)                                                                      \
    static constexpr char kRequestSemFailed[] =                                                              \
        communicator "::%s():emwOSWRequestMutexSem() returns 0x%lx\n";                                       \
    static constexpr char kReleaseSemFailed[] =                                                              \
        communicator "::%s():emwOSWReleaseMutexSem() returns 0x%lx\n";                                       \
    static constexpr char kInitFailed[] = communicator "::%s():emwGENPacketClntInit() returns 0x%lx\n";      \
    static constexpr char kCallFailed[] = communicator "::%s():emwGENPacketClntCall returns 0x%lx\n";        \
    static constexpr char kTermFailed[] = communicator "::%s():emwGENPacketClntTerm() returns 0x%lx\n";      \
    static constexpr char kSerializeFailed[] = communicator "::%s():SerializeToString() returns NG\n";       \
    static constexpr char kParseFailed[] = communicator "::%s():ParseFromString() returns NG\n";             \
    static constexpr char kStartFailed[] = communicator "::%s():start_method()  0x%lx\n";                    \
    static constexpr char kEndFailed[] = communicator "::%s():end_method() returns 0x%lx\n";                 \
    static constexpr char kExchangeFailed[] = communicator "::%s():call_esu_method() returns 0x%lx\n";

namespace velorin {

// The octets of a request. Those of an account hold its passwords, so they do not stay behind in the heap.
class RequestOctets {
public:
    RequestOctets() = default;
    RequestOctets(const RequestOctets&) = delete;
    RequestOctets& operator=(const RequestOctets&) = delete;
    ~RequestOctets()
    {
        constexpr std::size_t kMostWithPassword = 64u << 10;  // octets; a longer request carries a body
        if (octets.size() > kMostWithPassword) return;
        wipe_octets(&octets[0], octets.size());
    }

    std::string octets;
};

// Overwrites what of a request is secret once its exchange is over, however it ends. Of most requests nothing is;
// a protocol specialises this for the others.
template <typename Request>
class RequestSecrets {
public:
    explicit RequestSecrets(Request& /*request*/) {}
};

// The way to the mail service that both communicators are built on. Protocol names what differs: envelope,
// endpoint, receive size and trace texts. Each operation is one exchange over a channel of its own, under the
// protocol's semaphore, which all instances in the process share. An instance is used by one thread at a
// time.
template <typename Protocol>
class NTC_EMAIL_API ServiceChannel {
public:
    using Envelope = typename Protocol::Envelope;
    using MethodType = typename Protocol::MethodType;

    static std::uint32_t
        _semid;  // created by the first exchange of any instance, kept for the life of the process

    ServiceChannel(const ServiceChannel&) = delete;
    ServiceChannel& operator=(const ServiceChannel&) = delete;
    virtual ~ServiceChannel();

    // Communicators on the heap have an identity that no other live one shares.
    static void* operator new(std::size_t size);
    static void* operator new(std::size_t size, const std::nothrow_t&) noexcept
    {
        return allocate_identified(size);
    }
    static void operator delete(void* block) noexcept { free_identified(block); }
    static void operator delete(void* block, const std::nothrow_t&) noexcept { free_identified(block); }

    // Opens the channel for one exchange and takes the semaphore; at once 0 when it is open already.
    //   result  0, the semaphore then held until end_method; 0x21077103, traced, nothing held
    std::uint32_t start_method();
    // Closes the channel and releases the semaphore, the one also when the other fails.
    //   result  0; 0x21077103, traced
    std::uint32_t end_method();
    // One exchange: serialises the request, sends it, waits without limit for the answer and parses it.
    //   result  0; 0x21077103, traced. A channel that cannot be closed fails a call whose answer was parsed
    std::uint32_t call_esu_method(Envelope& request, Envelope& response);

protected:
    ServiceChannel();

    // The shape of every operation. `fill` completes the request and returns a status, `read` takes the
    // answer's member, empty when the service left it out, and returns the operation's result.
    template <typename Request, typename Response, typename Fill, typename Read>
    std::uint32_t exchange(const char* method, MethodType type, Request* (Envelope::*mutable_request)(),
                           Response* (Envelope::*mutable_response)(), Fill fill, Read read)
    {
        EnvelopeArena arena;
        Envelope& request = arena.make<Envelope>();
        request.set_method_type(type);
        Request& own_request = *(request.*mutable_request)();
        [[maybe_unused]] const RequestSecrets<Request> secrets(own_request);
        own_request.set_session_id(session_identity(this));
        const std::uint32_t filled = fill(own_request);
        if (filled != kStatusOk) return filled;
        Envelope& response = arena.make<Envelope>();
        const std::uint32_t called = call_esu_method(request, response);
        if (called != kStatusOk) {
            NTC_TRACE(Protocol::kExchangeFailed, method, static_cast<unsigned long>(called));
            return called;
        }
        return read(*(response.*mutable_response)());
    }

private:
    std::uint32_t handle_;  // 0: no channel is open
};

// For operations whose request carries the session alone.
struct FillNothing {
    template <typename Request>
    std::uint32_t operator()(Request&) const
    {
        return kStatusOk;
    }
};

// For operations whose answer is a code alone.
struct RetcodeOf {
    template <typename Response>
    std::uint32_t operator()(const Response& response) const
    {
        return static_cast<std::uint32_t>(response.retcode());
    }
};

template <typename Protocol>
std::uint32_t ServiceChannel<Protocol>::_semid = 0;

template <typename Protocol>
ServiceChannel<Protocol>::ServiceChannel() : handle_(0)
{
}

template <typename Protocol>
ServiceChannel<Protocol>::~ServiceChannel() = default;

template <typename Protocol>
void* ServiceChannel<Protocol>::operator new(std::size_t size)
{
    void* const block = allocate_identified(size);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}

template <typename Protocol>
std::uint32_t ServiceChannel<Protocol>::start_method()
{
    const char* const method = __func__;
    if (handle_ != 0) return kStatusOk;
    {
        const OSW_Thread_Guard guard;
        if (_semid == 0) {
            const std::uint32_t created = emwOSWCreateMutexSem(&_semid, 0, 1);
            if (created != 0) {
                // Deliberately reported with the text of the request call.
                NTC_TRACE(Protocol::kRequestSemFailed, method, static_cast<unsigned long>(created));
                return kStatusCallFailed;
            }
        }
    }
    const std::uint32_t taken = emwOSWRequestMutexSem(_semid, -1);
    if (taken != 0) {
        NTC_TRACE(Protocol::kRequestSemFailed, method, static_cast<unsigned long>(taken));
        return kStatusCallFailed;
    }
    const std::uint32_t opened = emwGENPacketClntInit(Protocol::kEndpoint, &handle_);
    if (opened != 0) {
        handle_ = 0;
        NTC_TRACE(Protocol::kInitFailed, method, static_cast<unsigned long>(opened));
        emwOSWReleaseMutexSem(_semid);
        return kStatusCallFailed;
    }
    return kStatusOk;
}

template <typename Protocol>
std::uint32_t ServiceChannel<Protocol>::end_method()
{
    const char* const method = __func__;
    if (handle_ == 0) return kStatusOk;
    std::uint32_t status = kStatusOk;
    const std::uint32_t closed = emwGENPacketClntTerm(handle_);
    if (closed != 0) {
        NTC_TRACE(Protocol::kTermFailed, method, static_cast<unsigned long>(closed));
        status = kStatusCallFailed;
    }
    const std::uint32_t released = emwOSWReleaseMutexSem(_semid);
    if (released != 0) {
        NTC_TRACE(Protocol::kReleaseSemFailed, method, static_cast<unsigned long>(released));
        status = kStatusCallFailed;
    }
    handle_ = 0;
    return status;
}

template <typename Protocol>
std::uint32_t ServiceChannel<Protocol>::call_esu_method(Envelope& request, Envelope& response)
{
    const char* const method = __func__;
    RequestOctets sent;
    if (!request.SerializeToString(&sent.octets)) {
        NTC_TRACE(Protocol::kSerializeFailed, method);
        return kStatusCallFailed;
    }
    PoolBlock buffer;
    const std::uint32_t allocated = buffer.allocate(Protocol::kReceiveSize);
    if (allocated != 0) {
        buffer.release();  // what a failed allocation leaves behind is no block
        NTC_TRACE(Protocol::kAllocFailed, method, static_cast<unsigned long>(allocated));
        return kStatusCallFailed;
    }
    std::memset(buffer.octets(), 0, Protocol::kReceiveSize);
    const std::uint32_t started = start_method();
    if (started != kStatusOk) {
        NTC_TRACE(Protocol::kStartFailed, method, static_cast<unsigned long>(started));
        buffer.release();  // deliberate: this path keeps the block from the pool
        return started;
    }
    std::uint32_t received = 0;
    const std::uint32_t called =
        emwGENPacketClntCall(handle_, sent.octets.data(), static_cast<std::uint32_t>(sent.octets.size()),
                             buffer.octets(), Protocol::kReceiveSize, &received, -1);
    if (called != 0) {
        NTC_TRACE(Protocol::kCallFailed, method, static_cast<unsigned long>(called));
        end_method();
        return kStatusCallFailed;
    }
    const std::uint32_t ended = end_method();
    if (ended != kStatusOk) NTC_TRACE(Protocol::kEndFailed, method, static_cast<unsigned long>(ended));
    // A channel that reports more than it was given room for has filled the room at most.
    const std::uint32_t length = std::min(received, Protocol::kReceiveSize);
    if (!response.ParseFromArray(buffer.octets(), static_cast<int>(length))) {
        NTC_TRACE(Protocol::kParseFailed, method);
        return kStatusCallFailed;
    }
    return ended;
}

}  // namespace velorin
