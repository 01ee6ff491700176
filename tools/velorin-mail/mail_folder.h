#pragma once

#include <map>
#include <string>

#include "descriptor.h"
#include "new_file.h"

namespace velorin::cli {

// The folder of one mail while it is written. Nothing in it is ever written over.
class MailFolder {
public:
    explicit MailFolder(Descriptor folder);

    // Makes a file under the name that is wanted, or one with a number in it where that name is taken.
    //   in      wanted: safe
    //   out     name: what it has become
    //   result  false with errno
    bool create(const std::string& wanted, NewFile& file, std::string& name);

private:
    Descriptor folder_;
    std::map<std::string, unsigned> numbers_;  // the last one given to a name
};

}  // namespace velorin::cli
