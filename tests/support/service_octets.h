// What the tests of both sessions share: requests put together by hand.
#pragma once

#include <cstdint>
#include <string>

#include <gtest/gtest.h>

#include "platform_double.h"
#include "wire_octets.h"

namespace velorin_test {

constexpr std::uint32_t kCallFailed = 0x21077103;

// A method as the octets of field 1 and the tags of its request and response, in hex.
struct ServiceMethod {
    const char* type;
    const char* request;
    const char* response;
};

// The request of a method: the session's number, then what the method adds.
inline std::string request_of(const ServiceMethod& method, std::uint32_t session,
                              const std::string& rest = "")
{
    return octets_of(method.type) + delimited(method.request, octets_of("08") + varint(session) + rest);
}

// The session's number in a create request.
inline std::uint32_t session_in_create(const std::string& request)
{
    // 08 and the method, tag 12, length (two octets at most here), 08, number
    std::size_t at = 3;
    while (at < request.size() && (static_cast<unsigned char>(request[at]) & 0x80) != 0)
        ++at;
    at += 2;
    std::uint32_t number = 0;
    for (unsigned shift = 0; at < request.size(); shift += 7, ++at) {
        const auto octet = static_cast<unsigned char>(request[at]);
        number |= static_cast<std::uint32_t>(octet & 0x7F) << shift;
        if ((octet & 0x80) == 0) return number;
    }
    ADD_FAILURE() << "no create request: " << hex_of(request);
    return 0;
}

// What the service may return, all passed through unchanged.
constexpr std::uint32_t kRetcodes[] = {0,          1,          0x7F,       0x80,       0x21077101, 0x21077103,
                                       0x2108000A, 0x7FFFFFFF, 0x80000000, 0x80004005, 0xFFFFFFFF};

}  // namespace velorin_test
