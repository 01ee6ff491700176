#pragma once

#include <string>

#include "platform_api.h"

// Where endpoints are.
namespace velorin_channel {

constexpr char kEndpointPrefix[] = "pcie:";

// The directory that holds the sockets: $VELORIN_CHANNEL_DIR, else $XDG_RUNTIME_DIR/velorin, else
// /run/velorin. An empty variable counts as none. Read from the environment each time.
NTC_PLATFORM_API std::string channel_directory();

//   result  whether an endpoint may have that name: letters, digits, "_", "-" and ".", not beginning with "."
bool is_endpoint_name(const std::string& name);

}  // namespace velorin_channel
