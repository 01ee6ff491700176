// Answers that are not what the service should have given.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform_double.h"

namespace velorin_test::sweep {

struct Malformed {
    std::string name;
    Answer answer;
};

// What can become of a good answer on an endpoint: cut, of a wrong length, with an octet changed, another method's,
// none at all.
std::vector<Malformed> malformed_answers(const std::string& good, const std::string& endpoint,
                                         std::uint32_t buffer_size);

}  // namespace velorin_test::sweep
