// domainFolder.h: the folder of the domain, looked at without the help of itc.
//
// Private header of rci.
//
// Any operation of itc makes the folder if it is missing and removes what the dead have left there.
#ifndef RCI_DOMAINFOLDER_H
#define RCI_DOMAINFOLDER_H

#include "finding.h"

#include <cstdint>
#include <set>
#include <string>

namespace Rci {

// About the file system of the domain.
Finding spaceFinding(std::uint64_t freeBytes, bool isTmpfs);

class DomainFolder {
public:
    explicit DomainFolder(std::string path) : path_(std::move(path)) {}

    bool isMissing() const;
    // Where it is, whose and on what: what can be seen of that. Why the rest
    // can't, itc says when it is asked.
    Findings look() const;
    // The slots that processes, dead or alive, have entries for. None if it can't be read.
    std::set<std::uint32_t> slots() const;

private:
    Finding missing() const;
    void lookAtOwner(Findings& findings) const;
    void lookAtFileSystem(Findings& findings) const;

    const std::string path_;
};

}  // namespace Rci

#endif
