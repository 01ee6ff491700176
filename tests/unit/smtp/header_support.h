// What the tests of the outgoing header share: a mail to start from, and the clock.
#pragma once

#include <cstdint>
#include <string>

#include "CntsSMTPSendMail.h"

namespace velorin_test {

// While it lives, gettimeofday gives this time.
class FixedClock {
public:
    FixedClock(std::int64_t seconds, long microseconds);
    ~FixedClock();
    FixedClock(const FixedClock&) = delete;
    FixedClock& operator=(const FixedClock&) = delete;
};

// A plain ISO-2022-JP mail to one recipient with a message identifier. Addresses that it does not use are
// empty, not null, so that nothing is traced about them.
void fill_plain_mail(velorin::CntsSMTPSendMail& mail);

// The same as multipart/mixed with the boundary "BOUND".
void fill_multipart_mail(velorin::CntsSMTPSendMail& mail);

void set_address(velorin::CntsMLUTLMailAddress& address, const std::string& text);

// The block of MakeHeader; checks its length, its size and the NUL behind it.
std::string header_of(velorin::CntsSMTPSendMail& mail);

// MakeHeader fails and hands out nothing; the trace lines are the caller's to expect.
void expect_no_header(velorin::CntsSMTPSendMail& mail);

// Expects the line that ends with the number of a source line.
class PlatformDouble;
void expect_numbered_trace(PlatformDouble& platform, const std::string& text);

}  // namespace velorin_test
