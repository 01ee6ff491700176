#include "channel_proxy.h"

#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "local_socket.h"

namespace velorin_test {

ChannelProxy::ChannelProxy(AttackedDaemon& daemon) : daemon_(daemon)
{
    for (const char* const name : {"ntc_email_smtp", "ntc_email_pop3"})
        endpoints_.push_back({name, -1, -1, {}});
}

ChannelProxy::~ChannelProxy()
{
    stop_listening();
    hang_up();
    join();
}

void ChannelProxy::start()
{
    hang_up();
    join();
    killed_ = false;
    over_ = false;
    ASSERT_NO_FATAL_FAILURE(daemon_.start());
    for (Endpoint& endpoint : endpoints_) {
        endpoint.listener = listen_at(folder_.path() + "/" + endpoint.name);
        ASSERT_GE(endpoint.listener, 0);
        endpoint.thread = std::thread([this, &endpoint] { serve(endpoint); });
    }
}

void ChannelProxy::stop_listening()
{
    for (const Endpoint& endpoint : endpoints_)
        if (endpoint.listener >= 0) ::shutdown(endpoint.listener, SHUT_RDWR);
}

// The library keeps a connection for its next exchange.
void ChannelProxy::hang_up()
{
    const std::lock_guard<std::mutex> guard(lock_);
    over_ = true;
    for (const Endpoint& endpoint : endpoints_)
        if (endpoint.library >= 0) ::shutdown(endpoint.library, SHUT_RDWR);
}

void ChannelProxy::join()
{
    for (Endpoint& endpoint : endpoints_) {
        if (endpoint.thread.joinable()) endpoint.thread.join();
        OwnedDescriptor(endpoint.listener).reset();
        endpoint.listener = -1;
    }
}

void ChannelProxy::kill_at_next(const Killing& killing)
{
    killing_ = killing;
    armed_ = true;
}

// One connection after the other: the library has one at a time with an endpoint.
void ChannelProxy::serve(Endpoint& endpoint)
{
    for (;;) {
        const OwnedDescriptor library(::accept4(endpoint.listener, nullptr, nullptr, SOCK_CLOEXEC));
        if (library.get() < 0) return;
        note_connection(endpoint, library.get());
        while (exchange(endpoint, library.get())) {
        }
        note_connection(endpoint, -1);
    }
}

void ChannelProxy::note_connection(Endpoint& endpoint, int library)
{
    const std::lock_guard<std::mutex> guard(lock_);
    endpoint.library = library;
    if (over_ && library >= 0) ::shutdown(library, SHUT_RDWR);
}

// Passes one exchange on, or ends it and the daemon.
//   result  false: the connection is over
bool ChannelProxy::exchange(const Endpoint& endpoint, int library)
{
    std::string head;
    if (!peek_all(library, kRequestHead, head)) return false;
    const OwnedDescriptor daemon(connect_to(daemon_.directory() + "/" + endpoint.name));
    if (daemon.get() < 0) return false;
    if (!armed_.exchange(false)) return pass_on(library, daemon.get());
    switch (killing_.moment) {
    case Moment::kBeforeItReads:
        die_before_reading(library, daemon.get());
        break;
    case Moment::kInMidRequest:
        die_in_mid_request(library, daemon.get());
        break;
    case Moment::kInMidWork:
        die_in_mid_work(library, daemon.get());
        break;
    case Moment::kAfterHalfAnswer:
        die_after_half_answer(library, daemon.get());
        break;
    }
    return false;
}

namespace {

bool receive_request(int library, std::string& frame)
{
    std::string envelope;
    if (!receive_all(library, kRequestHead, frame)) return false;
    if (!receive_all(library, request_length(frame), envelope)) return false;
    frame += envelope;
    return true;
}

bool receive_answer(int daemon, std::string& frame)
{
    std::string envelope;
    if (!receive_all(daemon, kAnswerHead, frame)) return false;
    if (!receive_all(daemon, answer_length(frame), envelope)) return false;
    frame += envelope;
    return true;
}

}  // namespace

bool ChannelProxy::pass_on(int library, int daemon)
{
    std::string frame;
    return receive_request(library, frame) && send_all(daemon, frame) && receive_answer(daemon, frame) &&
           send_all(library, frame);
}

// What was not read stays unread here, too, so that the library's connection ends as it would without us.
void ChannelProxy::die_before_reading(int library, int daemon)
{
    daemon_.stop();
    std::string frame;
    EXPECT_TRUE(peek_all(library, kRequestHead, frame));
    EXPECT_TRUE(peek_all(library, kRequestHead + request_length(frame), frame));
    EXPECT_TRUE(send_all(daemon, frame));
    kill_daemon();
}

void ChannelProxy::die_in_mid_request(int library, int daemon)
{
    std::string frame;
    EXPECT_TRUE(peek_all(library, kRequestHead, frame));
    const std::size_t half = (kRequestHead + request_length(frame)) / 2;
    EXPECT_TRUE(receive_all(library, half, frame));
    EXPECT_TRUE(send_all(daemon, frame));
    EXPECT_TRUE(wait_until_read(daemon, kPatience));
    kill_daemon();
}

void ChannelProxy::die_in_mid_work(int library, int daemon)
{
    std::string frame;
    EXPECT_TRUE(receive_request(library, frame));
    EXPECT_TRUE(send_all(daemon, frame));
    EXPECT_TRUE(wait_until_read(daemon, kPatience));
    EXPECT_TRUE(killing_.in_mid_work());
    kill_daemon();
}

void ChannelProxy::die_after_half_answer(int library, int daemon)
{
    std::string frame;
    EXPECT_TRUE(receive_request(library, frame));
    EXPECT_TRUE(send_all(daemon, frame));
    EXPECT_TRUE(receive_answer(daemon, frame));
    EXPECT_TRUE(send_all(library, frame.substr(0, frame.size() / 2)));
    kill_daemon();
}

void ChannelProxy::kill_daemon()
{
    stop_listening();
    killed_at_ = std::chrono::steady_clock::now();
    daemon_.kill();
    killed_ = true;
}

}  // namespace velorin_test
