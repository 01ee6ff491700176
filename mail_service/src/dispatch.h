#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <limits>
#include <string_view>

#include "channel_server.h"

#include "envelope_arena.h"
#include "mail_service.h"
#include "return_codes.h"
#include "service_log.h"

namespace velorin::service {

// One operation of an endpoint.
template <typename Envelope>
struct OperationRow {
    decltype(Envelope().method_type()) method;
    bool frequent;     // comes by the thousand: logged when it fails only
    bool closing;      // served while the service shuts down
    const char* name;  // for the log
    bool (*requested)(const Envelope&);
    // Puts into the reply what belongs there whatever becomes of the operation; null: nothing.
    void (*prepare)(const Envelope& request, Envelope& reply, std::uint32_t capacity);
    //   out     reply: what the operation hands back, its code aside; it must fit the capacity
    std::uint32_t (*run)(MailService&, const velorin_channel::Caller&, Envelope& request, Envelope& reply,
                         std::uint32_t capacity);
    void (*set_result)(Envelope&, std::uint32_t);
};

// What the two endpoints have in common: one exchange. `Protocol` names the Envelope, the kOperations, and
// forget_secrets(Envelope&). A request that cannot be read, or whose parts do not fit each other, is answered
// too: with its code in the answer of every method, since nobody knows which one the caller looks at.
template <typename Protocol>
class Dispatch {
public:
    using Envelope = typename Protocol::Envelope;
    using Row = OperationRow<Envelope>;

    Dispatch(MailService& service, const velorin_channel::Caller& caller) : service_(service), caller_(caller)
    {
    }

    //   result  true; false when the answer does not fit, or memory ran out for it
    bool exchange(std::string_view request, char* answer, std::uint32_t capacity,
                  std::uint32_t& answer_length) noexcept
    {
        try {
            EnvelopeArena arena;
            Envelope& reply = arena.make<Envelope>();
            answer_to(request, arena, reply, capacity);
            const std::size_t size = reply.ByteSizeLong();
            if (size > capacity || !reply.SerializeToArray(answer, static_cast<int>(size))) return false;
            answer_length = static_cast<std::uint32_t>(size);
            return true;
        } catch (...) {
            return false;
        }
    }

private:
    // The log-in data of a request goes with it, however the request ends.
    struct RequestEnvelope {
        Envelope& message;

        explicit RequestEnvelope(EnvelopeArena& arena) : message(arena.make<Envelope>()) {}
        RequestEnvelope(const RequestEnvelope&) = delete;
        RequestEnvelope& operator=(const RequestEnvelope&) = delete;
        ~RequestEnvelope() { Protocol::forget_secrets(message); }
    };

    void answer_to(std::string_view request, EnvelopeArena& arena, Envelope& reply, std::uint32_t capacity)
    {
        RequestEnvelope envelope(arena);
        std::uint32_t code = kMalformedRequest;
        const Row* row = nullptr;
        if (request.size() > service_.options().max_request) {
            code = kLimitReached;
        } else if (request.size() <= static_cast<std::size_t>(std::numeric_limits<int>::max()) &&
                   envelope.message.ParseFromArray(request.data(), static_cast<int>(request.size()))) {
            row = find(envelope.message);
        }
        if (row == nullptr) {
            log("request", code);
            for (const Row& each : Protocol::kOperations)
                each.set_result(reply, code);
            return;
        }
        if (row->prepare != nullptr) row->prepare(envelope.message, reply, capacity);
        code = service_.shutting_down() && !row->closing ? kShuttingDown
                                                         : run(*row, envelope.message, reply, capacity);
        if (code != 0 || !row->frequent) log(row->name, code);
        reply.set_method_type(row->method);
        row->set_result(reply, code);
    }

    // The operation that an envelope asks for: its method is known, and its request is the only one there.
    static const Row* find(const Envelope& envelope)
    {
        if (!envelope.has_method_type()) return nullptr;
        const Row* found = nullptr;
        for (const Row& candidate : Protocol::kOperations) {
            const bool wanted = candidate.method == envelope.method_type();
            if (candidate.requested(envelope) != wanted) return nullptr;
            if (wanted) found = &candidate;
        }
        return found;
    }

    std::uint32_t run(const Row& row, Envelope& request, Envelope& reply, std::uint32_t capacity)
    {
        try {
            return row.run(service_, caller_, request, reply, capacity);
        } catch (const std::exception& failure) {
            NTC_SERVICE_LOG("%s failed: %s\n", row.name, failure.what());
        } catch (...) {
            NTC_SERVICE_LOG("%s failed\n", row.name);
        }
        reply.Clear();
        if (row.prepare != nullptr) row.prepare(request, reply, capacity);
        return kInternalFailure;
    }

    void log(const char* name, std::uint32_t code) const
    {
        if (!service_.options().log_events) return;
        NTC_SERVICE_LOG("client %ld of user %lu: %s: %s (0x%08lx)\n", static_cast<long>(caller_.pid),
                        static_cast<unsigned long>(caller_.uid), name, name_of_code(code),
                        static_cast<unsigned long>(code));
    }

    MailService& service_;
    const velorin_channel::Caller& caller_;
};

}  // namespace velorin::service
