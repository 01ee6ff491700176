#include "channel_socket.h"

#include <errno.h>
#include <fcntl.h>
#include <grp.h>
#include <poll.h>
#include <string.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <vector>

#include "channel_frame.h"

namespace velorin_channel {
namespace {

constexpr int kBacklog = 4096;         // the system's own limit cuts it
constexpr int kLockPatienceMs = 5000;  // another server's start takes milliseconds
constexpr int kIdleSeconds = 5;        // after which a thread in accept looks whether it is one too many

std::string reason(const char* what, const std::string& path)
{
    return std::string(what) + " " + path + ": " + strerrordesc_np(errno);
}

// Closes a descriptor unless it is kept.
class DescriptorGuard {
public:
    explicit DescriptorGuard(int descriptor) : descriptor_(descriptor) {}
    ~DescriptorGuard()
    {
        if (descriptor_ >= 0) close(descriptor_);
    }
    DescriptorGuard(const DescriptorGuard&) = delete;
    DescriptorGuard& operator=(const DescriptorGuard&) = delete;
    int get() const { return descriptor_; }
    int release()
    {
        const int descriptor = descriptor_;
        descriptor_ = -1;
        return descriptor;
    }

private:
    int descriptor_;
};

enum class Occupant { kNobody, kStale, kLive, kOther };

// Who stands at a path. Asking a live server costs it one connection that closes at once.
Occupant occupant(const sockaddr_un& address)
{
    struct stat found {};
    if (lstat(address.sun_path, &found) != 0) return errno == ENOENT ? Occupant::kNobody : Occupant::kOther;
    if (!S_ISSOCK(found.st_mode)) return Occupant::kOther;
    const DescriptorGuard probe(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (probe.get() < 0) return Occupant::kOther;
    if (connect(probe.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
        return Occupant::kLive;
    if (errno == EAGAIN || errno == EINPROGRESS) return Occupant::kLive;  // its queue is full
    return errno == ECONNREFUSED ? Occupant::kStale : Occupant::kOther;
}

}  // namespace

DirectoryLock::~DirectoryLock()
{
    if (file_ >= 0) close(file_);
}

bool DirectoryLock::take(const std::string& directory, std::string& error)
{
    // Never removed: who removes it could remove one that another server has just locked.
    const std::string path = directory + "/.lock";
    file_ = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (file_ < 0) {
        error = reason("cannot create", path);
        return false;
    }
    const Deadline deadline(kLockPatienceMs);
    while (flock(file_, LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK && errno != EINTR) {
            error = reason("cannot lock", path);
            return false;
        }
        if (deadline.left() == 0) {
            error = "another server has been starting in " + directory + " for too long";
            return false;
        }
        poll(nullptr, 0, 10);
    }
    return true;
}

bool prepare_directory(const std::string& directory, gid_t group, std::string& error)
{
    if (mkdir(directory.c_str(), 0750) == 0) {
        // Once more without the process's mask.
        if ((group != kNoGroup && chown(directory.c_str(), static_cast<uid_t>(-1), group) != 0) ||
            chmod(directory.c_str(), 0750) != 0) {
            error = reason("cannot give its group and mode to", directory);
            rmdir(directory.c_str());
            return false;
        }
        return true;
    }
    if (errno != EEXIST) {
        error = reason("cannot create", directory);
        return false;
    }
    struct stat found {};
    if (stat(directory.c_str(), &found) != 0) {
        error = reason("cannot read", directory);
        return false;
    }
    if (!S_ISDIR(found.st_mode)) {
        error = directory + " is no directory";
        return false;
    }
    if (found.st_uid != geteuid() && found.st_uid != 0) {
        error = directory + " belongs to another user";
        return false;
    }
    if ((found.st_mode & S_IWOTH) != 0) {
        error = directory + " can be written by everybody";
        return false;
    }
    return true;
}

bool open_listener(ServedEndpoint& endpoint, gid_t group, std::string& error)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (endpoint.path.size() >= sizeof address.sun_path) {
        error = "the path " + endpoint.path + " is longer than a socket's can be";
        return false;
    }
    std::memcpy(address.sun_path, endpoint.path.c_str(), endpoint.path.size() + 1);
    switch (occupant(address)) {
    case Occupant::kNobody:
        break;
    case Occupant::kLive:
        error = "already running: somebody listens on " + endpoint.path;
        return false;
    case Occupant::kOther:
        error = reason("something is in the way at", endpoint.path);
        return false;
    case Occupant::kStale:
        if (unlink(endpoint.path.c_str()) != 0) {
            error = reason("cannot remove the stale socket", endpoint.path);
            return false;
        }
        break;
    }
    DescriptorGuard listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (listener.get() < 0) {
        error = reason("cannot create a socket for", endpoint.path);
        return false;
    }
    // The mode before bind: the file is never there with more rights than it is to have.
    fchmod(listener.get(), 0660);
    if (bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        error = reason("cannot create", endpoint.path);
        return false;
    }
    struct stat made {};
    if (lstat(address.sun_path, &made) == 0) {
        endpoint.device = made.st_dev;
        endpoint.inode = made.st_ino;
    }
    const timeval idle{kIdleSeconds, 0};
    const bool ready = (group == kNoGroup || chown(address.sun_path, static_cast<uid_t>(-1), group) == 0) &&
                       chmod(address.sun_path, 0660) == 0 &&
                       setsockopt(listener.get(), SOL_SOCKET, SO_RCVTIMEO, &idle, sizeof idle) == 0 &&
                       listen(listener.get(), kBacklog) == 0;
    if (!ready) {
        error = reason("cannot listen on", endpoint.path);
        remove_socket(endpoint);
        return false;
    }
    endpoint.listener = listener.release();
    return true;
}

void remove_socket(const ServedEndpoint& endpoint)
{
    struct stat found {};
    if (lstat(endpoint.path.c_str(), &found) != 0) return;
    if (found.st_dev != endpoint.device || found.st_ino != endpoint.inode) return;
    unlink(endpoint.path.c_str());
}

bool find_group(const std::string& name, gid_t& group, std::string& error)
{
    std::vector<char> text(4096);
    struct group entry {};
    struct group* found = nullptr;
    int result = 0;
    while ((result = getgrnam_r(name.c_str(), &entry, text.data(), text.size(), &found)) == ERANGE) {
        text.resize(text.size() * 2);
    }
    if (found == nullptr) {
        error = "there is no group " + name;
        if (result != 0) error += std::string(": ") + strerrordesc_np(result);
        return false;
    }
    group = found->gr_gid;
    return true;
}

}  // namespace velorin_channel
