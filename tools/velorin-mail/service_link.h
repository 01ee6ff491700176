#pragma once

#include <memory>

#include "account.h"
#include "failure.h"

namespace velorin {
class EmbeddedMailService;
}

namespace velorin::cli {

// The mail service that the sessions of this process use: one inside the process, or the running one.
// Outlives them.
class ServiceLink {
public:
    ServiceLink();
    ~ServiceLink();
    ServiceLink(const ServiceLink&) = delete;
    ServiceLink& operator=(const ServiceLink&) = delete;

    //   result  false with the sentence: no service runs, this user may not call it, or it could not start
    //   here
    bool open(const Account& account, Failure& failure);

private:
    std::unique_ptr<EmbeddedMailService> embedded_;
};

}  // namespace velorin::cli
