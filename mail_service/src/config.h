#pragma once

#include <cstdint>
#include <string>

#include "velorin_mail_service.h"

namespace velorin::service {

// The daemon's configuration: a file of lines `key = value`; "#" begins a comment, blank lines are skipped.
struct DaemonConfig {
    MailServiceOptions options;
    std::string channel_directory;  // empty: as the environment says
    std::string group;              // its members may use the service; empty: own user and root only
    std::uint32_t stop_grace =
        5;  // seconds for a verdict that is still on its way when the daemon is stopped
};

// Reads a configuration file.
//   out     error: one sentence that names file and line, when the result is false
//   result  false for a file that cannot be read, an unknown key, a value that does not fit
bool read_config(const std::string& path, DaemonConfig& config, std::string& error);

// The same from a text; `path` is for the sentence only.
bool parse_config(const std::string& text, const std::string& path, DaemonConfig& config, std::string& error);

}  // namespace velorin::service
