#include "service_link.h"

#include <cstdint>

#include "emwGEN.h"
#include "velorin_mail_service.h"

#include "channel_codes.h"

namespace velorin::cli {

namespace {

constexpr const char* kStep = "mail service";
constexpr const char* kEndpoint = "pcie:ntc_email_smtp";

// Whether a running service can be called at all. A session that cannot be created does not tell why.
bool probe(Failure& failure)
{
    std::uint32_t handle = 0;
    const std::uint32_t code = emwGENPacketClntInit(kEndpoint, &handle);
    if (code == velorin_channel::kChannelDone) {
        emwGENPacketClntTerm(handle);
        return true;
    }
    if (code == velorin_channel::kNoPermission)
        return fail(failure, kExitPermission, kStep,
                    "this user has no right to the channel directory of the mail service");
    if (code == velorin_channel::kNoSuchEndpoint || code == velorin_channel::kRefused)
        return fail(failure, kExitUnavailable, kStep,
                    "velorin-maild is not running, or not in this channel directory");
    return fail(failure, kExitUnavailable, kStep, "the mail service cannot be reached");
}

}  // namespace

ServiceLink::ServiceLink() = default;

ServiceLink::~ServiceLink() = default;

bool ServiceLink::open(const Account& account, Failure& failure)
{
    if (account.daemon) return probe(failure);
    MailServiceOptions options;
    options.ca_file = account.ca_file;
    if (account.timeout != 0) {
        options.connect_timeout = account.timeout;
        options.command_timeout = account.timeout;
    }
    if (account.data_timeout != 0) options.data_timeout = account.data_timeout;
    embedded_ = std::make_unique<EmbeddedMailService>(options);
    if (embedded_->running()) return true;
    return fail(failure, kExitSystem, kStep, embedded_->error());
}

}  // namespace velorin::cli
