// The network of a build without libcurl: every connection is refused.
#include "return_codes.h"
#include "server_connection.h"

namespace velorin::service {
namespace {

class NoConnection final : public ServerConnection {
public:
    std::uint32_t open(const ServerAccount&, const OpeningRules&, bool) override { return kConnectRefused; }
    bool password_untried() const override { return false; }
    std::uint32_t send(const char*, std::size_t, Deadline) override { return kConnectionLost; }
    std::uint32_t receive(char*, std::size_t, std::size_t& count, Deadline) override
    {
        count = 0;
        return kConnectionLost;
    }
    std::uint32_t receive_now(char*, std::size_t, std::size_t& count) override
    {
        count = 0;
        return kConnectionLost;
    }
    void drop() noexcept override {}
    bool is_open() const override { return false; }
    const SmtpCapabilities& capabilities() const override { return none_; }

private:
    const SmtpCapabilities none_ = {};
};

}  // namespace

std::unique_ptr<ServerConnection> make_network_connection(const CancelSignal&, LastReply&)
{
    return std::make_unique<NoConnection>();
}

}  // namespace velorin::service
