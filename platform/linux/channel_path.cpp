#include "channel_path.h"

#include <cstdlib>

namespace velorin_channel {

std::string channel_directory()
{
    const char* const chosen = std::getenv("VELORIN_CHANNEL_DIR");
    if (chosen != nullptr && *chosen != '\0') return chosen;
    const char* const runtime = std::getenv("XDG_RUNTIME_DIR");
    if (runtime != nullptr && *runtime != '\0') return std::string(runtime) + "/velorin";
    return "/run/velorin";
}

bool is_endpoint_name(const std::string& name)
{
    if (name.empty() || name.front() == '.') return false;
    for (const char octet : name) {
        const bool allowed = (octet >= 'a' && octet <= 'z') || (octet >= 'A' && octet <= 'Z') ||
                             (octet >= '0' && octet <= '9') || octet == '_' || octet == '-' || octet == '.';
        if (!allowed) return false;
    }
    return true;
}

}  // namespace velorin_channel
