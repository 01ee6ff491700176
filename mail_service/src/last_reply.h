#pragma once

#include <mutex>
#include <string>

namespace velorin::service {

// The last reply line that a server gave to the sessions of one client process. Any number of threads.
class LastReply {
public:
    void set(const std::string& line);  // kept printable, at most 512 octets
    void forget();
    std::string get() const;

private:
    mutable std::mutex mutex_;
    std::string line_;
};

}  // namespace velorin::service
