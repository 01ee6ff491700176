#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <tuple>

#include "cancel_signal.h"
#include "deadline.h"

namespace velorin::service {

// One process. A process id comes again; with the start time it does not.
struct ClientId {
    std::uint32_t uid = 0;
    std::int32_t pid = 0;
    std::uint64_t start_time = 0;

    bool operator<(const ClientId& other) const
    {
        return std::tie(uid, pid, start_time) < std::tie(other.uid, other.pid, other.start_time);
    }
};

enum class SessionKind { smtp, pop3 };

struct SessionKey {
    ClientId client;
    SessionKind kind = SessionKind::smtp;
    std::uint32_t session_id = 0;

    bool operator<(const SessionKey& other) const
    {
        return std::tie(client, kind, session_id) < std::tie(other.client, other.kind, other.session_id);
    }
};

// What all sessions have in common: one operation at a time, whose waiting anybody may end. A session that
// has ended stays so; who still works for it drops its connection when done.
class Session {
public:
    Session() = default;
    virtual ~Session() = default;
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    // The right to work for a session. Taken without waiting, so that a session whose server is slow holds up
    // nobody but itself. Whatever was aborted meanwhile is dropped when the right is taken and when it is
    // given back.
    class Turn {
    public:
        explicit Turn(Session& session);
        ~Turn();
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;
        bool taken() const { return lock_.owns_lock(); }

    private:
        void settle();

        Session& session_;
        std::unique_lock<std::mutex> lock_;
    };

    void abort();  // ends a running operation; the connection is dropped
    void end();    // and no further one begins
    bool ended() const { return ended_.load(std::memory_order_acquire); }

    // The last octet of a mail is on its way and the server's verdict not here: better waited for than cut
    // off.
    bool awaits_verdict() const { return awaits_verdict_.load(std::memory_order_acquire); }

    virtual void quit() = 0;  // by whoever has the turn: takes leave of the server where that harms nothing

    Clock::time_point last_used() const;
    bool busy() const { return busy_.load(std::memory_order_acquire); }

protected:
    virtual void drop() noexcept = 0;  // by whoever has the turn: the connection goes, nothing more is sent
    const CancelSignal& cancel_signal() const { return cancel_; }
    void set_awaits_verdict(bool awaits) { awaits_verdict_.store(awaits, std::memory_order_release); }

private:
    std::mutex mutex_;
    CancelSignal cancel_;
    std::atomic<bool> ended_{false};
    std::atomic<bool> busy_{false};
    std::atomic<bool> awaits_verdict_{false};
    std::atomic<Clock::rep> last_used_{Clock::now().time_since_epoch().count()};
};

}  // namespace velorin::service
