#include "seen_state.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <set>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "new_file.h"
#include "spool.h"

namespace velorin::cli {

namespace {

constexpr const char* kStep = "list of fetched mails";
constexpr std::int64_t kForgetAfter =
    std::int64_t{30} * 24 * 3600;             // seconds; a server may lose sight of a mail for a while
constexpr std::size_t kMaxFile = 512u << 20;  // octets; more is no such list

bool fail_with_file(Failure& failure, int exit_code, const std::string& file, const std::string& sentence)
{
    fail(failure, exit_code, kStep, sentence);
    failure.where = file;
    return false;
}

// A name for a file out of any text: no two texts have the same.
std::string name_of(const std::string& text)
{
    std::string name;
    for (const char c : text) {
        const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                           c == '-' || c == '_' || (c == '.' && !name.empty()) || c == '@';
        char escape[8];
        std::snprintf(escape, sizeof escape, "%%%02X", static_cast<unsigned>(static_cast<unsigned char>(c)));
        name += plain ? std::string(1, c) : escape;
    }
    return name;
}

std::string state_folder()
{
    if (const char* folder = std::getenv("XDG_STATE_HOME"); folder != nullptr && *folder == '/')
        return std::string(folder) + "/velorin";
    if (const char* home = std::getenv("HOME"); home != nullptr && *home != '\0')
        return std::string(home) + "/.local/state/velorin";
    return std::string();
}

// Makes a folder and those it is in.
bool make_folders(const std::string& path)
{
    for (std::size_t slash = path.find('/', 1);; slash = path.find('/', slash + 1)) {
        const std::string folder = path.substr(0, slash);
        if (::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) return false;
        if (slash == std::string::npos) return true;
    }
}

}  // namespace

bool SeenState::open(const std::string& file, const Account& account, Failure& failure)
{
    account_ = account.pop_user + "@" + account.pop_server + ":" + std::to_string(account.pop_port);
    file_ = file;
    if (file.empty()) {
        const std::string folder = state_folder();
        if (folder.empty())
            return fail(failure, kExitConfig, kStep, "there is no place for it, give --state FILE");
        if (!make_folders(folder))
            return fail_with_file(failure, kExitIo, folder,
                                  std::string("the folder cannot be made: ") + std::strerror(errno));
        file_ = folder + "/" + name_of(account_);
    }
    return find_file(failure) && lock(failure) && load(failure);
}

// A link would be replaced by the file that takes its place, and two names of one list would have two locks.
bool SeenState::find_file(Failure& failure)
{
    struct stat facts = {};
    if (::lstat(file_.c_str(), &facts) == 0 && S_ISLNK(facts.st_mode)) {
        const std::unique_ptr<char, decltype(&std::free)> path(::realpath(file_.c_str(), nullptr),
                                                               &std::free);
        if (path != nullptr) file_ = path.get();
    }
    if (::stat(file_.c_str(), &facts) != 0 || S_ISREG(facts.st_mode))
        return true;  // not yet there, or a file
    return fail_with_file(failure, kExitData, file_,
                          "this is no file that can be written, give another --state FILE");
}

// A file of its own is locked: the list itself is another one after every change.
bool SeenState::lock(Failure& failure)
{
    const std::string name = file_ + ".lock";
    lock_ = Descriptor(::open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!lock_.valid())
        return fail_with_file(failure, kExitIo, name,
                              std::string("cannot be opened: ") + std::strerror(errno));
    if (::flock(lock_.get(), LOCK_EX | LOCK_NB) == 0) return true;
    if (errno == EWOULDBLOCK)
        return fail_with_file(failure, kExitTemporary, file_, "another velorin-mail is working with it");
    return fail_with_file(failure, kExitIo, name, std::string("cannot be locked: ") + std::strerror(errno));
}

bool SeenState::load(Failure& failure)
{
    const Descriptor file(::open(file_.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
    if (!file.valid() && errno == ENOENT) return true;
    struct stat facts = {};
    if (!file.valid() || ::fstat(file.get(), &facts) != 0)
        return fail_with_file(failure, kExitIo, file_,
                              std::string("cannot be read: ") + std::strerror(errno));
    std::string text;
    if (S_ISREG(facts.st_mode) && facts.st_size >= 0 &&
        static_cast<std::uint64_t>(facts.st_size) <= kMaxFile) {
        text.resize(static_cast<std::size_t>(facts.st_size));
        std::size_t count = 0;
        if (!read_fully(file.get(), &text[0], text.size(), count))
            return fail_with_file(failure, kExitIo, file_,
                                  std::string("cannot be read: ") + std::strerror(errno));
        text.resize(count);
    }
    std::string account;
    if (!read_seen(text, account, mails_))
        return fail_with_file(failure, kExitData, file_,
                              "it is damaged; nothing was fetched or deleted, and the file is left as it is");
    if (account != account_)
        return fail_with_file(failure, kExitConfig, file_, "it is that of another account, " + account);
    return true;
}

bool SeenState::is_fetched(const std::string& key) const
{
    return mails_.count(key) != 0;
}

void SeenState::listed(const std::vector<MailEntry>& mails)
{
    const auto now = static_cast<std::int64_t>(std::time(nullptr));
    std::set<std::string> there;
    for (const MailEntry& mail : mails)
        there.insert(mail.key);
    for (auto next = mails_.begin(); next != mails_.end();) {
        const auto mail = next++;
        SeenMail& seen = mail->second;
        if (seen.place == SeenMail::Place::kPending) continue;
        if (there.count(mail->first) != 0)
            seen.seen = now;
        else if (seen.fate == SeenMail::Fate::kDeleted || seen.seen < now - kForgetAfter)
            mails_.erase(mail);
        else if (seen.fate == SeenMail::Fate::kDelete)
            seen.fate = SeenMail::Fate::kDeleted;  // the verdict did not arrive
    }
}

bool SeenState::save(Failure& failure)
{
    const std::string aside = file_ + ".new";
    const std::string text = write_seen(account_, mails_);
    ::unlink(aside.c_str());  // of a run that was ended; the lock says that nobody writes it now
    NewFile file;
    if (!file.open(AT_FDCWD, aside) || !file.write(text.data(), text.size()) || !file.sync() ||
        !file.close()) {
        const int why = errno;
        ::unlink(aside.c_str());
        return fail_with_file(failure, kExitIo, file_, writing_failed(why));
    }
    const std::size_t slash = file_.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : file_.substr(0, slash + 1);
    if (::rename(aside.c_str(), file_.c_str()) != 0) {
        const int why = errno;
        ::unlink(aside.c_str());
        return fail_with_file(failure, kExitIo, file_, writing_failed(why));
    }
    const Descriptor opened(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (opened.valid() && ::fsync(opened.get()) == 0) return true;
    return fail_with_file(failure, kExitIo, file_, writing_failed(errno));
}

std::string SeenState::identity() const
{
    struct stat facts = {};
    ::fstat(lock_.get(), &facts);
    return std::to_string(static_cast<unsigned long long>(facts.st_dev)) + "-" +
           std::to_string(static_cast<unsigned long long>(facts.st_ino));
}

}  // namespace velorin::cli
