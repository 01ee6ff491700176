// The platform's calls of one run, walked through again by a model of the operation, which says what each failure
// leaves behind.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "platform_double.h"

namespace velorin_test::sweep {

constexpr std::uint32_t kFaultCode = 0xBAD;  // what a failed platform call returns

// An answer as the service gave it.
struct GivenAnswer {
    std::string octets;  // as the library finds them in its buffer
    std::uint32_t status = 0;
};

class Replay {
public:
    Replay(std::vector<CallRecord> calls, std::vector<GivenAnswer> answers);

    //   result  whether the next call failed, which has to be of this kind
    bool fails(Call kind);
    //   result  how many failed of the calls of these kinds that come next
    std::size_t failures(std::initializer_list<Call> kinds);
    bool is_next(Call kind) const;

    GivenAnswer next_answer();

    // What is expected. A "#" in a line stands for the number of a line of the source.
    void line(const std::string& text);
    void lines(std::size_t count, const std::string& text);
    void keep_pool_block() { ++kept_pool_blocks; }
    void keep_objects(long count) { kept_objects += count; }

    bool semaphore_exists = true;  // before the first exchange of a process it does not

    std::vector<std::string> expected_lines;
    std::size_t kept_pool_blocks = 0;
    long kept_objects = 0;  // blocks of operator new

    // Empty when every call was walked through and each was of the expected kind.
    std::string problem() const;

private:
    std::vector<CallRecord> calls_;
    std::vector<GivenAnswer> answers_;
    std::size_t next_call_ = 0;
    std::size_t next_answer_ = 0;
    std::string problem_;
};

bool is_line(const std::string& line, const std::string& expected);

}  // namespace velorin_test::sweep
