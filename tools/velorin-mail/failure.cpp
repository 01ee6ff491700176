#include "failure.h"

namespace velorin::cli {

bool fail(Failure& failure, int exit_code, const std::string& step, const std::string& sentence)
{
    failure = Failure();
    failure.exit_code = exit_code;
    failure.step = step;
    failure.sentence = sentence;
    return false;
}

}  // namespace velorin::cli
