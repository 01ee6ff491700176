#include <array>
#include <cstdint>
#include <string>

#include "emwGEN.h"
#include "velorin_mail_service.h"

namespace velorin {
namespace {

constexpr char kEndpoint[] = "pcie:velorin_diagnosis";
constexpr std::uint32_t kMaxLine = 512;
constexpr std::int32_t kTimeout = 5000;  // milliseconds; the service has the line at hand

}  // namespace

std::string last_server_reply()
{
    std::uint32_t channel = 0;
    if (emwGENPacketClntInit(kEndpoint, &channel) != 0) return {};
    std::array<char, kMaxLine> line{};
    std::uint32_t length = 0;
    const std::uint32_t status =
        emwGENPacketClntCall(channel, nullptr, 0, line.data(), kMaxLine, &length, kTimeout);
    emwGENPacketClntTerm(channel);
    return status == 0 && length <= kMaxLine ? std::string(line.data(), length) : std::string();
}

}  // namespace velorin
