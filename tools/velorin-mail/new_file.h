#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "descriptor.h"

namespace velorin::cli {

// A file that was not there before, written through a buffer of its own. Results: false with errno.
class NewFile {
public:
    //   in      folder: descriptor, or AT_FDCWD; name: EEXIST when there is anything of that name, a link
    //           included. Nobody else may read it: mails are private
    bool open(int folder, const std::string& name);
    bool write(const char* octets, std::size_t length);
    bool sync();   // to the disk
    bool close();  // everything written, or an error
    // Empties the file; writing begins at its front again.
    bool restart();
    std::uint64_t size() const { return size_; }

private:
    bool flush();
    bool write_through(const char* octets, std::size_t length);

    Descriptor file_;
    std::string buffer_;
    std::uint64_t size_ = 0;
};

// Why a file could not be written, as a clause: a full disk, a quota and a limit of the process read alike.
std::string writing_failed(int why);

}  // namespace velorin::cli
