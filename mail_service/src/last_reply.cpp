#include "last_reply.h"

#include <utility>

#include "smtp_reply.h"

namespace velorin::service {

void LastReply::set(const std::string& line)
{
    std::string printable = printable_line(line);
    const std::lock_guard<std::mutex> lock(mutex_);
    line_ = std::move(printable);
}

void LastReply::forget()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    line_.clear();
}

std::string LastReply::get() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return line_;
}

}  // namespace velorin::service
