#pragma once

#include <cstddef>
#include <cstdint>

#include "server_connection.h"

namespace velorin::service {

// Times and limits that all sessions share.
struct SessionRules {
    MakeConnection make_connection;
    OpeningRules opening;
    std::uint32_t command_timeout = 60;  // seconds, for accounts that name none
    std::uint32_t data_timeout = 600;    // seconds
    std::size_t max_recipients = 1000;
};

}  // namespace velorin::service
