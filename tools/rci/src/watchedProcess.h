// watchedProcess.h: how a process that is not a child of ours ends.
//
// Private header of rci.
#ifndef RCI_WATCHEDPROCESS_H
#define RCI_WATCHEDPROCESS_H

#include <sys/types.h>

#include <optional>

namespace Rci {

// Holds on to the process `pid`, so that its number can't pass to another one unnoticed.
class WatchedProcess {
public:
    explicit WatchedProcess(pid_t pid);
    ~WatchedProcess();
    WatchedProcess(const WatchedProcess&) = delete;
    WatchedProcess& operator=(const WatchedProcess&) = delete;

    // Of a process that is about to end: its status as waitpid() tells it. Nothing if it may not be
    // read, the process is not one that we see, or, before Linux 6.15, its parent has taken it.
    std::optional<int> endStatus() const;

private:
    bool awaitEnd() const;
    bool mayBeRead() const;
    std::optional<int> statusAfterwards() const;

    const pid_t pid_;
    const int descriptor_;
};

}  // namespace Rci

#endif
