// domain.h: the folder that all processes of a domain share, its control file and its slots.
//
// Private header of platform/itc.
//
//   <domain>/domain            control file; its locks tell which slots are taken
//   <domain>/names/<name>/     who has a name and who waits for it (names.h)
//   <domain>/process-<slot>/   what one process owns (inbox.h); gone when it is
//   <domain>/new-...           any of these while it is made
//
// A process is alive as long as the kernel holds its lock on its slot: the lock goes with the last
// descriptor, however the process ends. Process numbers prove nothing and are never asked.
#ifndef ITC_DOMAIN_H
#define ITC_DOMAIN_H

#include "descriptor.h"
#include "folder.h"
#include "layout.h"
#include "mapping.h"
#include "zeroedArray.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <string>

#include <sys/types.h>

namespace itc {

class Domain {
public:
    // The path that the environment asks for, or the default.
    static std::string path();

    // The layout version of the domain at `path`, 0 if there is none that can be read.
    static std::uint32_t versionAt(const std::string& path);

    // Opens the domain at `path`, making what is missing. Null on failure.
    static std::unique_ptr<Domain> open(const std::string& path);

    const Folder& folder() const { return folder_; }
    ControlSlot& slot(std::uint32_t slot) const { return control().slots[slot]; }
    std::uint64_t nextNameSequence() const { return control().nameSequence.fetch_add(1); }

    // Takes a free slot for this process and cleans it of its predecessor. 0 on failure.
    std::uint32_t claimSlot();
    void releaseSlot();
    // Whether a process has `slot` now. This process's own slot is always alive to itself.
    bool isAlive(std::uint32_t slot) const;
    // From now on the process that has or had `slot` as its `incarnation` is dead to this process.
    // It may still hold its lock for the moment that the kernel needs to close its descriptors.
    void markDead(std::uint32_t slot, std::uint32_t incarnation);

    // Removes what dead processes left, as far as nobody else is doing so already.
    void sweepDead();
    void sweepIfDead(std::uint32_t slot);
    // Removes all that the process in `slot`, which is the caller's, has in the domain. False if
    // something stays.
    bool removeTraces(std::uint32_t slot) const;

    static std::string processFolder(std::uint32_t slot);

    // What is made in the domain is open to its members, whatever the process's umask says.
    bool makeFolder(const std::string& name) const;  // true also when it is there already
    bool makeFifo(const std::string& name) const;
    Descriptor makeFile(const std::string& name) const;

    // A domain that was inherited by a fork is kept and not used.
    void keepInherited(Domain* inherited) { inherited_ = inherited; }

private:
    Domain() = default;
    bool openFolder(const std::string& path);
    bool mayBeADomain() const;
    bool openControl();
    bool createControl();
    bool openToMembers(const std::string& name, mode_t mode) const;
    bool openToMembers(const Descriptor& file) const;
    bool lock(off_t byte) const;
    void unlock(off_t byte) const;
    bool isLocked(off_t byte) const;
    bool removeDead(std::uint32_t slot) const;
    Control& control() const { return *control_.as<Control>(); }

    Folder folder_;
    Descriptor controlFile_;
    Mapping control_;
    bool isShared_ = false;  // by the members of a group
    gid_t group_ = 0;
    mode_t fileMode_ = 0600;
    mode_t folderMode_ = 0700;
    std::atomic<std::uint32_t> ownSlot_{0};
    ZeroedArray<std::atomic<std::uint32_t>> deadIncarnations_{kSlotTableSize};
    // The kernel's locks belong to the process, not to one of its threads.
    std::mutex upkeepMutex_;
    Domain* inherited_ = nullptr;
};

}  // namespace itc

#endif
