#pragma once

#include <sys/types.h>

#include <string>

#include "channel_connection.h"

// The channel directory and the sockets in it, as a server makes them.
namespace velorin_channel {

constexpr gid_t kNoGroup = static_cast<gid_t>(-1);

// Holds the channel directory against other servers that are starting, so that of two that find the same
// stale socket only one replaces it.
class DirectoryLock {
public:
    DirectoryLock() = default;
    ~DirectoryLock();
    DirectoryLock(const DirectoryLock&) = delete;
    DirectoryLock& operator=(const DirectoryLock&) = delete;
    bool take(const std::string& directory, std::string& error);

private:
    int file_ = -1;
};

// Creates the directory (0750, of `group` when there is one) or checks the one that is there: nobody but this
// user and root may be able to put sockets into it.
bool prepare_directory(const std::string& directory, gid_t group, std::string& error);

// Creates and listens on endpoint.path (0660), replacing a socket that nobody listens on. Under the
// directory's lock.
//   out     endpoint: listener, device and inode; error: a sentence when the result is false
bool open_listener(ServedEndpoint& endpoint, gid_t group, std::string& error);

// Removes the socket file if it is still the one that open_listener made.
void remove_socket(const ServedEndpoint& endpoint);

//   out     group: of that name
bool find_group(const std::string& name, gid_t& group, std::string& error);

}  // namespace velorin_channel
