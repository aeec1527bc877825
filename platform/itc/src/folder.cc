#include "folder.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

namespace itc {

namespace {

bool isPlain(const std::string& part) {
    return !part.empty() && part != "." && part != "..";
}

bool isFolder(int parent, const std::string& path) {
    struct stat status = {};
    return fstatat(parent, path.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
           S_ISDIR(status.st_mode);
}

}  // namespace

// The last part of a path in the folder that it is in.
class Folder::Place {
public:
    Place(const Folder& root, const std::string& path) : parent_(root.folder_.get()), name_(path) {
        if (root.kept_ && path.compare(0, root.keptPath_.size(), root.keptPath_) == 0) {
            parent_ = root.kept_.get();
            name_.erase(0, root.keptPath_.size());
        }
        const int begin = parent_;
        const std::string rest = name_;
        for (std::size_t slash = 0; (slash = name_.find('/')) != std::string::npos;) {
            const std::string part = name_.substr(0, slash);
            Descriptor next;
            if (isPlain(part)) {
                next = Descriptor(
                    openat(parent_, part.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
            } else {
                errno = EINVAL;
            }
            if (!next) {
                lookOnly(begin, rest);
                return;
            }
            folder_ = std::move(next);
            parent_ = folder_.get();
            name_.erase(0, slash + 1);
        }
    }

    explicit operator bool() const { return parent_ >= 0; }
    int parent() const { return parent_; }
    const char* name() const { return name_.c_str(); }

private:
    // A process that is out of descriptors must be able to remove what it has. Then each part of
    // the path is looked at instead of opened.
    void lookOnly(int begin, const std::string& path) {
        const int error = errno;
        bool isSafe = error == EMFILE || error == ENFILE;
        for (std::size_t slash = path.find('/'); isSafe && slash != std::string::npos;
             slash = path.find('/', slash + 1)) {
            isSafe = isFolder(begin, path.substr(0, slash));
        }
        folder_.close();
        parent_ = isSafe ? begin : -1;
        name_ = path;
        errno = error;
    }

    Descriptor folder_;
    int parent_;
    std::string name_;
};

bool Folder::keepOpen(const std::string& folder) {
    keptPath_ = folder + "/";
    kept_ = open(folder, O_PATH | O_DIRECTORY);
    return static_cast<bool>(kept_);
}

Descriptor Folder::open(const std::string& path, int flags, mode_t mode) const {
    const Place place(*this, path);
    return place ? Descriptor(openat(place.parent(), place.name(),
                                     flags | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, mode))
                 : Descriptor();
}

bool Folder::examine(const std::string& path, struct stat& status) const {
    const Place place(*this, path);
    return place && fstatat(place.parent(), place.name(), &status, AT_SYMLINK_NOFOLLOW) == 0;
}

bool Folder::has(const std::string& path) const {
    struct stat status = {};
    return examine(path, status);
}

std::string Folder::readLink(const std::string& path) const {
    char target[512];
    const Place place(*this, path);
    const ssize_t length =
        place ? readlinkat(place.parent(), place.name(), target, sizeof(target)) : -1;
    if (length <= 0 || static_cast<std::size_t>(length) == sizeof(target)) {
        return std::string();
    }
    return std::string(target, static_cast<std::size_t>(length));
}

bool Folder::list(const std::string& path,
                  const std::function<void(const char* name)>& visit) const {
    const Descriptor descriptor = open(path, O_RDONLY | O_DIRECTORY);
    if (!descriptor) {
        return false;
    }
    alignas(dirent64) char buffer[4096];
    for (;;) {
        const ssize_t length = getdents64(descriptor.get(), buffer, sizeof(buffer));
        if (length <= 0) {
            return length == 0;
        }
        for (ssize_t offset = 0; offset < length;) {
            const auto* entry = reinterpret_cast<const dirent64*>(buffer + offset);
            if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0) {
                visit(entry->d_name);
            }
            offset += entry->d_reclen;
        }
    }
}

bool Folder::makeFolder(const std::string& path, mode_t mode) const {
    const Place place(*this, path);
    return place && mkdirat(place.parent(), place.name(), mode) == 0;
}

bool Folder::makeFifo(const std::string& path, mode_t mode) const {
    const Place place(*this, path);
    return place && mkfifoat(place.parent(), place.name(), mode) == 0;
}

bool Folder::makeLink(const std::string& path, const std::string& target) const {
    const Place place(*this, path);
    return place && symlinkat(target.c_str(), place.parent(), place.name()) == 0;
}

bool Folder::setGroup(const std::string& path, gid_t group) const {
    const Place place(*this, path);
    return place && fchownat(place.parent(), place.name(), static_cast<uid_t>(-1), group,
                             AT_SYMLINK_NOFOLLOW) == 0;
}

// Most often the mode is right already, and where it is not, it takes a descriptor to set it.
bool Folder::setMode(const std::string& path, mode_t mode) const {
    const Place place(*this, path);
    struct stat status = {};
    if (!place || fstatat(place.parent(), place.name(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
        return false;
    }
    return (status.st_mode & 07777) == mode ||
           fchmodat(place.parent(), place.name(), mode, AT_SYMLINK_NOFOLLOW) == 0;
}

bool Folder::rename(const std::string& from, const std::string& to, bool isNew) const {
    const Place source(*this, from);
    if (!source) {
        return false;
    }
    const Place target(*this, to);
    return target && renameat2(source.parent(), source.name(), target.parent(), target.name(),
                               isNew ? RENAME_NOREPLACE : 0) == 0;
}

bool Folder::remove(const std::string& path) const {
    const Place place(*this, path);
    return place && unlinkat(place.parent(), place.name(), 0) == 0;
}

bool Folder::removeFolder(const std::string& path) const {
    const Place place(*this, path);
    return place && unlinkat(place.parent(), place.name(), AT_REMOVEDIR) == 0;
}

}  // namespace itc
