// folder.h: the folder of a domain and what is in it.
//
// Private header of platform/itc.
//
// Paths are relative to the folder. No symbolic link is followed, neither at the end of a path nor
// on the way: other members of the domain may have put it there. Failures set errno.
// Thread: any.
#ifndef ITC_FOLDER_H
#define ITC_FOLDER_H

#include "descriptor.h"

#include <functional>
#include <string>

#include <sys/stat.h>
#include <sys/types.h>

namespace itc {

class Folder {
public:
    Folder() = default;
    explicit Folder(Descriptor folder) : folder_(std::move(folder)) {}

    explicit operator bool() const { return static_cast<bool>(folder_); }
    int descriptor() const { return folder_.get(); }
    // From now on paths through `folder` begin there, which saves looking it up.
    bool keepOpen(const std::string& folder);

    // Never waits for the other end of a FIFO. `mode` is for a file that is made.
    Descriptor open(const std::string& path, int flags, mode_t mode = 0) const;
    bool examine(const std::string& path, struct stat& status) const;
    bool has(const std::string& path) const;
    // The target of a symbolic link, "" if there is none.
    std::string readLink(const std::string& path) const;
    // Calls `visit` with the name of each entry. False when there is no such folder.
    bool list(const std::string& path, const std::function<void(const char* name)>& visit) const;

    bool makeFolder(const std::string& path, mode_t mode) const;
    bool makeFifo(const std::string& path, mode_t mode) const;
    bool makeLink(const std::string& path, const std::string& target) const;
    bool setGroup(const std::string& path, gid_t group) const;
    bool setMode(const std::string& path, mode_t mode) const;
    // Fails with EEXIST if there is something else than an empty folder under the new path, or,
    // for one that `isNew`, anything.
    bool rename(const std::string& from, const std::string& to, bool isNew) const;
    bool remove(const std::string& path) const;
    bool removeFolder(const std::string& path) const;

private:
    class Place;

    Descriptor folder_;
    std::string keptPath_;  // ends with a slash
    Descriptor kept_;
};

}  // namespace itc

#endif
