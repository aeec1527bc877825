#include "domain.h"

#include "error.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace itc {

namespace {

constexpr char kControlFile[] = "domain";

std::string octal(mode_t mode) {
    char text[16];
    std::snprintf(text, sizeof(text), "%04o", static_cast<unsigned>(mode & 07777));
    return text;
}

// How every control file begins, whatever its version.
struct ControlHead {
    std::uint64_t magic = 0;
    std::uint32_t version = 0;
};

// Its magic is another one if it is no control file of this library.
ControlHead readHead(const Descriptor& control) {
    ControlHead head;
    const ssize_t count = pread(control.get(), &head, sizeof(head), 0);
    return count == static_cast<ssize_t>(sizeof(head)) ? head : ControlHead();
}

std::string defaultPath() {
    return "/dev/shm/itc-" + std::to_string(geteuid());
}

}  // namespace

std::string Domain::path() {
    const char* wanted = secure_getenv("ITC_DOMAIN");
    std::string path = wanted != nullptr ? wanted : "";
    // A slash at the end would follow a symbolic link.
    while (path.size() > 1 && path.back() == '/') {
        path.pop_back();
    }
    return path.empty() ? defaultPath() : path;
}

std::uint32_t Domain::versionAt(const std::string& path) {
    const Folder folder(
        Descriptor(::open(path.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)));
    const Descriptor control = folder ? folder.open(kControlFile, O_RDONLY) : Descriptor();
    const ControlHead head = control ? readHead(control) : ControlHead();
    return head.magic == kControlMagic ? head.version : 0;
}

std::unique_ptr<Domain> Domain::open(const std::string& path) {
    // It would be another folder for each working directory.
    if (path.front() != '/') {
        fail("the mailbox domain must be an absolute path, not " + path);
        return nullptr;
    }
    std::unique_ptr<Domain> domain(new Domain);
    if (!domain->openFolder(path) || !domain->openControl() || !domain->makeFolder("names")) {
        return nullptr;
    }
    if (!domain->folder_.keepOpen("names")) {
        fail("can't open the names in the mailbox domain", errno);
        return nullptr;
    }
    return domain;
}

bool Domain::openFolder(const std::string& path) {
    const auto openIt = [this, &path] {
        folder_ = Folder(
            Descriptor(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)));
        return static_cast<bool>(folder_);
    };
    if (!openIt() && errno == ENOENT) {
        if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) {
            return fail("can't make the mailbox domain " + path, errno);
        }
        openIt();
    }
    if (!folder_) {
        const char* hint =
            errno == ENOTDIR || errno == ELOOP ? " (a symbolic link is not followed)" : "";
        return fail("can't open the mailbox domain " + path + hint, errno);
    }
    struct stat status = {};
    if (fstat(folder_.descriptor(), &status) != 0) {
        return fail("can't examine the mailbox domain " + path, errno);
    }
    if ((status.st_mode & S_IRWXO) != 0) {
        return fail("the mailbox domain " + path + " is open to everyone (mode " +
                    octal(status.st_mode) + "); " +
                    (mayBeADomain() ? "close it with chmod o= or name another one"
                                    : "name a folder of its own (a missing one is made)"));
    }
    // Anyone may make the default folder of a user before that user does, so it must be the user's.
    isShared_ = (status.st_mode & S_IRWXG) == S_IRWXG;
    if (status.st_uid != geteuid() && (!isShared_ || path == defaultPath())) {
        return fail("the mailbox domain " + path + " belongs to user " +
                    std::to_string(status.st_uid) + ", not to " + std::to_string(geteuid()));
    }
    if (isShared_) {
        group_ = status.st_gid;
        fileMode_ = 0660;
        folderMode_ = 0770;
    }
    return true;
}

// What has other things in it, such as /tmp, nobody should be told to close.
bool Domain::mayBeADomain() const {
    bool isEmpty = true;
    bool hasControl = false;
    folder_.list(".", [&](const char* entry) {
        isEmpty = false;
        hasControl = hasControl || std::strcmp(entry, kControlFile) == 0;
    });
    return isEmpty || hasControl;
}

bool Domain::openControl() {
    do {
        controlFile_ = folder_.open(kControlFile, O_RDWR);
        if (!controlFile_ && errno != ENOENT) {
            return fail("can't open the control file of the mailbox domain", errno);
        }
    } while (!controlFile_ && createControl());
    if (!controlFile_) {
        return false;
    }
    struct stat status = {};
    if (fstat(controlFile_.get(), &status) != 0) {
        return fail("can't examine the control file of the mailbox domain", errno);
    }
    const ControlHead head = readHead(controlFile_);
    if (head.magic != kControlMagic) {
        return fail("the control file of the mailbox domain is not one of this library");
    }
    if (head.version != kLayoutVersion) {
        return fail("the mailbox domain has layout version " + std::to_string(head.version) +
                    ", this library speaks " + std::to_string(kLayoutVersion) +
                    ": let its processes end first, or use another ITC_DOMAIN");
    }
    if (static_cast<std::size_t>(status.st_size) != sizeof(Control)) {
        return fail("the control file of the mailbox domain has the wrong size");
    }
    control_ = Mapping::shared(controlFile_.get(), sizeof(Control), true);
    if (!control_) {
        return fail("can't map the control file of the mailbox domain", errno);
    }
    return true;
}

// Fills the file before it has a name, so that it is never seen half-made.
bool Domain::createControl() {
    const Descriptor file = folder_.open(".", O_TMPFILE | O_RDWR, fileMode_);
    if (!file) {
        return fail("can't make the control file of the mailbox domain", errno);
    }
    if (!openToMembers(file)) {
        return fail("can't open the control file of the mailbox domain to its members", errno);
    }
    if (!reserveSpace(file.get(), 0, sizeof(Control))) {
        return fail("no room for the control file of the mailbox domain", errno);
    }
    const std::unique_ptr<Control> control(new Control{});
    control->magic = kControlMagic;
    control->version = kLayoutVersion;
    control->nameSequence = 1;
    const ssize_t count = pwrite(file.get(), control.get(), sizeof(Control), 0);
    if (count != static_cast<ssize_t>(sizeof(Control))) {
        return fail("can't write the control file of the mailbox domain", count < 0 ? errno : EIO);
    }
    const std::string self = "/proc/self/fd/" + std::to_string(file.get());
    if (linkat(AT_FDCWD, self.c_str(), folder_.descriptor(), kControlFile, AT_SYMLINK_FOLLOW) !=
            0 &&
        errno != EEXIST) {
        return fail("can't name the control file of the mailbox domain", errno);
    }
    return true;
}

bool Domain::openToMembers(const std::string& name, mode_t mode) const {
    return (!isShared_ || folder_.setGroup(name, group_)) && folder_.setMode(name, mode);
}

bool Domain::openToMembers(const Descriptor& file) const {
    return (!isShared_ || fchown(file.get(), static_cast<uid_t>(-1), group_) == 0) &&
           fchmod(file.get(), fileMode_) == 0;
}

// Made under another name, so that other members never meet it closed to them.
bool Domain::makeFolder(const std::string& name) const {
    constexpr int kAttempts = 10;  // a sweep may take the half-made folder for one of the dead
    for (int attempt = 1;; ++attempt) {
        if (folder_.has(name)) {
            return true;
        }
        const std::string halfMade = "new-folder-" + std::to_string(nextNameSequence());
        if (folder_.makeFolder(halfMade, folderMode_) && openToMembers(halfMade, folderMode_) &&
            folder_.rename(halfMade, name, true)) {
            return true;
        }
        const int error = errno;
        folder_.removeFolder(halfMade);  // what stays is swept
        if (error == EEXIST) {
            return true;
        }
        if (error != ENOENT || attempt == kAttempts) {
            return fail("can't make " + name + " in the mailbox domain", error);
        }
    }
}

bool Domain::makeFifo(const std::string& name) const {
    if (!folder_.makeFifo(name, fileMode_) || !openToMembers(name, fileMode_)) {
        return fail("can't make " + name + " in the mailbox domain", errno);
    }
    return true;
}

Descriptor Domain::makeFile(const std::string& name) const {
    Descriptor file = folder_.open(name, O_RDWR | O_CREAT | O_EXCL, fileMode_);
    if (!file || !openToMembers(file)) {
        const int error = errno;
        fail("can't make " + name + " in the mailbox domain", error);
        file.close();
        errno = error;
    }
    return file;
}

}  // namespace itc
