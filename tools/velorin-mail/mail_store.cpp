#include "mail_store.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "new_file.h"

namespace velorin::cli {

namespace {

constexpr const char* kStep = "folder";

bool fail_with_path(Failure& failure, const std::string& path, const std::string& sentence)
{
    fail(failure, kExitIo, kStep, sentence);
    failure.where = path;
    return false;
}

Descriptor open_folder(int parent, const std::string& name)
{
    return Descriptor(::openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

struct DirectoryClose {
    void operator()(DIR* directory) const { ::closedir(directory); }
};

// Removes a file, or a folder with the files in it and, to that depth, the folders.
void remove_tree(int parent, const std::string& name, int depth = 2)
{
    if (::unlinkat(parent, name.c_str(), 0) == 0 || depth < 0) return;
    const std::unique_ptr<DIR, DirectoryClose> directory(::fdopendir(open_folder(parent, name).release()));
    if (directory == nullptr) return;
    while (const dirent* const entry = ::readdir(directory.get())) {
        const std::string inner = entry->d_name;
        if (inner != "." && inner != "..") remove_tree(::dirfd(directory.get()), inner, depth - 1);
    }
    ::unlinkat(parent, name.c_str(), AT_REMOVEDIR);
}

bool exists(const std::string& path, bool& there)
{
    struct stat facts = {};
    there = ::lstat(path.c_str(), &facts) == 0;
    return there || errno == ENOENT || errno == ENOTDIR;
}

bool sync_folder_of(const std::string& path)
{
    const Descriptor folder(
        ::open(path.substr(0, path.rfind('/') + 1).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return folder.valid() && ::fsync(folder.get()) == 0;
}

// Keeps errno.
bool is_same_file(const std::string& path, const struct stat& facts)
{
    const int why = errno;
    struct stat other = {};
    const bool same =
        ::lstat(path.c_str(), &other) == 0 && other.st_dev == facts.st_dev && other.st_ino == facts.st_ino;
    errno = why;
    return same;
}

// File systems that cannot rename without replacing: a link does not replace either, and a folder never
// replaces one that is not empty.
int put_in_place_slowly(const std::string& temporary, const std::string& path)
{
    struct stat facts = {};
    if (::lstat(temporary.c_str(), &facts) != 0) return errno;
    if (S_ISDIR(facts.st_mode)) {
        if (::rename(temporary.c_str(), path.c_str()) == 0) return 0;
        return errno == ENOTEMPTY || errno == ENOTDIR ? EEXIST : errno;
    }
    if (::link(temporary.c_str(), path.c_str()) != 0 && !is_same_file(path, facts)) return errno;
    return ::unlink(temporary.c_str()) == 0 ? 0 : errno;
}

//   result  0; errno: EEXIST when there is something of that name, ENOENT when the mail is not there
int put_in_place(const std::string& temporary, const std::string& path)
{
    if (::renameat2(AT_FDCWD, temporary.c_str(), AT_FDCWD, path.c_str(), RENAME_NOREPLACE) == 0) return 0;
    return errno == EINVAL || errno == ENOSYS ? put_in_place_slowly(temporary, path) : errno;
}

}  // namespace

std::string numbered_mail(const std::string& name, unsigned number)
{
    const std::size_t length = name.size() - std::min(name.size(), std::strlen(kRawExtension));
    const bool is_file = name.compare(length, std::string::npos, kRawExtension) == 0;
    const std::string stem = is_file ? name.substr(0, length) : name;
    return stem + "-" + std::to_string(number) + (is_file ? kRawExtension : "");
}

MailStore::~MailStore()
{
    incoming_.close();
    if (folder_.valid() && !incoming_name_.empty()) remove_tree(folder_.get(), incoming_name_);
}

bool MailStore::open(const std::string& folder, const std::string& identity, Failure& failure)
{
    if (::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST)
        return fail_with_path(failure, folder, std::string("cannot be made: ") + std::strerror(errno));
    folder_ = Descriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder_.valid())
        return fail_with_path(failure, folder, std::string("cannot be opened: ") + std::strerror(errno));
    const std::unique_ptr<char, decltype(&std::free)> path(::realpath(folder.c_str(), nullptr), &std::free);
    if (path == nullptr)
        return fail_with_path(failure, folder, std::string("cannot be opened: ") + std::strerror(errno));
    folder_path_ = std::strcmp(path.get(), "/") == 0 ? "" : path.get();
    const std::string name = ".incoming-" + identity;
    remove_tree(folder_.get(), name);
    if (::mkdirat(folder_.get(), name.c_str(), 0700) != 0)
        return fail_with_path(failure, folder, writing_failed(errno));
    incoming_name_ = name;
    incoming_ = open_folder(folder_.get(), name);
    if (!incoming_.valid())
        return fail_with_path(failure, folder, std::string("cannot be opened: ") + std::strerror(errno));
    return true;
}

bool MailStore::make_folder(const std::string& name, Descriptor& folder, Failure& failure)
{
    if (::mkdirat(incoming_.get(), name.c_str(), 0700) == 0) folder = open_folder(incoming_.get(), name);
    return folder.valid() || fail_with_path(failure, folder_path_, writing_failed(errno));
}

bool MailStore::sync(Failure& failure)
{
    return ::syncfs(incoming_.get()) == 0 || fail_with_path(failure, folder_path_, writing_failed(errno));
}

bool MailStore::sync_names(Failure& failure)
{
    const bool synced = ::fsync(folder_.get()) == 0 && ::fsync(incoming_.get()) == 0;
    return synced || fail_with_path(failure, folder_path_, writing_failed(errno));
}

std::string MailStore::take_name(const std::string& wanted)
{
    unsigned& number = numbers_[wanted];
    for (;;) {
        ++number;
        std::string name = number == 1 ? wanted : numbered_mail(wanted, number);
        struct stat facts = {};
        const bool there = ::fstatat(folder_.get(), name.c_str(), &facts, AT_SYMLINK_NOFOLLOW) == 0;
        if (!there && taken_.insert(name).second) return name;
    }
}

std::string MailStore::temporary_path_of(const std::string& name) const
{
    return folder_path_ + "/" + incoming_name_ + "/" + name;
}

void MailStore::discard(const std::string& name)
{
    remove_tree(incoming_.get(), name);
}

bool give_name(SeenMail& mail, Failure& failure)
{
    const std::size_t slash = mail.path.rfind('/') + 1;
    const std::string folder = mail.path.substr(0, slash);
    const std::string wanted = mail.path.substr(slash);
    int why = put_in_place(mail.temporary, mail.path);
    for (unsigned number = 2; why == EEXIST; ++number) {
        mail.path = folder + numbered_mail(wanted, number);
        why = put_in_place(mail.temporary, mail.path);
    }
    if (why != 0)
        return fail_with_path(failure, mail.path,
                              std::string("cannot be given its name: ") + std::strerror(why));
    mail.place = SeenMail::Place::kFetched;
    mail.temporary.clear();
    return true;
}

bool complete_pending(SeenState& state, Failure& failure)
{
    bool changed = false;
    for (auto next = state.mails().begin(); next != state.mails().end();) {
        const auto mail = next++;
        SeenMail& seen = mail->second;
        if (seen.place != SeenMail::Place::kPending) continue;
        changed = true;
        bool waits = false;
        bool named = false;
        if (!exists(seen.temporary, waits) || !exists(seen.path, named))
            return fail_with_path(failure, seen.path,
                                  std::string("cannot be looked at: ") + std::strerror(errno));
        if (!waits && !named) {
            state.mails().erase(mail);  // nobody has it: it is fetched again
            continue;
        }
        if (!waits) {
            seen.place = SeenMail::Place::kFetched;
            seen.temporary.clear();
        } else if (!give_name(seen, failure)) {
            return false;
        }
        if (!sync_folder_of(seen.path)) return fail_with_path(failure, seen.path, writing_failed(errno));
    }
    return !changed || state.save(failure);
}

}  // namespace velorin::cli
