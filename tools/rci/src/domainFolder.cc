#include "domainFolder.h"

#include "quantity.h"

#include <linux/magic.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>

namespace Rci {

namespace {

constexpr std::uint64_t kLittleSpace = 16U << 20;

std::string userName(uid_t user) {
    const passwd* entry = getpwuid(user);
    return entry != nullptr ? entry->pw_name : "user " + std::to_string(user);
}

std::string octal(mode_t mode) {
    char text[16];
    std::snprintf(text, sizeof text, "%04o", static_cast<unsigned>(mode & 07777));
    return text;
}

}  // namespace

Finding spaceFinding(std::uint64_t freeBytes, bool isTmpfs) {
    const JsonObject details = JsonObject()
                                   .addFlag("tmpfs", isTmpfs)
                                   .add("free_bytes", static_cast<std::int64_t>(freeBytes));
    const std::string left = sizeText(freeBytes) + " are free";
    if (freeBytes < kLittleSpace) {
        return {Level::kProblem, "space",
                "only " + left + " in its file system: senders may have to wait", details};
    }
    return isTmpfs ? Finding{Level::kOk, "space", "it lies in memory (tmpfs), " + left, details}
                   : Finding{Level::kNote, "space",
                             "it does not lie in memory (tmpfs), which may cost time; " + left,
                             details};
}

bool DomainFolder::isMissing() const {
    struct stat status = {};
    return lstat(path_.c_str(), &status) != 0 && errno == ENOENT;
}

Findings DomainFolder::look() const {
    if (isMissing()) {
        return {missing()};
    }
    Findings findings;
    lookAtOwner(findings);
    lookAtFileSystem(findings);
    return findings;
}

std::set<std::uint32_t> DomainFolder::slots() const {
    std::set<std::uint32_t> found;
    std::error_code error;
    std::filesystem::directory_iterator entries(path_, error);
    for (const std::filesystem::directory_iterator end; !error && entries != end;
         entries.increment(error)) {
        unsigned slot = 0;
        if (std::sscanf(entries->path().filename().c_str(), "process-%4u", &slot) == 1) {
            found.insert(slot);
        }
    }
    return found;
}

Finding DomainFolder::missing() const {
    const std::string parent = std::filesystem::path(path_).parent_path();
    if (access(parent.c_str(), W_OK | X_OK) != 0) {
        const std::string reason = std::generic_category().message(errno);
        return {Level::kProblem, "folder",
                "the domain " + path_ + " is missing and can't be made: " + reason,
                JsonObject().add("path", path_)};
    }
    return {Level::kNote, "folder",
            "the domain " + path_ + " is not there yet; the first process that needs it makes it",
            JsonObject().add("path", path_)};
}

void DomainFolder::lookAtOwner(Findings& findings) const {
    struct stat status = {};
    if (lstat(path_.c_str(), &status) != 0) {
        return;
    }
    const std::string mode = octal(status.st_mode);
    findings.push_back(
        {Level::kOk, "folder",
         "the domain is " + path_ + ", of " + userName(status.st_uid) + ", mode " + mode,
         JsonObject().add("path", path_).add("owner", status.st_uid).add("mode", mode)});
}

void DomainFolder::lookAtFileSystem(Findings& findings) const {
    struct statfs status = {};
    if (statfs(path_.c_str(), &status) != 0) {
        return;
    }
    const std::uint64_t space =
        static_cast<std::uint64_t>(status.f_bavail) * static_cast<std::uint64_t>(status.f_bsize);
    findings.push_back(spaceFinding(space, status.f_type == TMPFS_MAGIC));
}

}  // namespace Rci
