#include "mail_folder.h"

#include <cerrno>
#include <utility>

#include "safe_name.h"

namespace velorin::cli {

MailFolder::MailFolder(Descriptor folder) : folder_(std::move(folder)) {}

bool MailFolder::create(const std::string& wanted, NewFile& file, std::string& name)
{
    unsigned& number = numbers_[wanted];
    for (;;) {
        ++number;
        name = number == 1 ? wanted : numbered_name(wanted, number);
        if (file.open(folder_.get(), name)) return true;
        if (errno != EEXIST) return false;
    }
}

}  // namespace velorin::cli
