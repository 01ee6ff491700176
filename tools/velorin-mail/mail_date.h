#pragma once

#include <ctime>
#include <string>

namespace velorin::cli {

// Reads the Date field of a mail (RFC 5322, section 3.3, the obsolete forms included).
//   out     moment: set on success
bool read_mail_date(const std::string& text, std::time_t& moment);

// "2026-01-31 12:30", in local time.
std::string short_date(std::time_t moment);

// "20260131-113000", in UTC, for file names.
std::string date_stamp(std::time_t moment);

}  // namespace velorin::cli
