// watches.h: the mailboxes that one mailbox monitors.
//
// Private header of platform/itc.
//
// Belongs to the thread of the mailbox. A mailbox of another process is watched twice over: it
// keeps a note of its watchers and tells them when it is deleted, and the FIFO "life" of its
// process, which that process alone holds open for writing, hangs up when the process ends or
// executes something else. Whichever comes first ends the watch.
#ifndef ITC_WATCHES_H
#define ITC_WATCHES_H

#include "descriptor.h"
#include "domain.h"
#include "itc.h"
#include "outcome.h"

#include <cstdint>
#include <unordered_map>
#include <vector>

namespace itc {

class Watches {
public:
    struct Watch {
        std::uint32_t mailbox;
        itc_msg* indication;
    };
    using Numbered = std::pair<std::uint32_t, Watch>;

    // From now on `epoll` reports the end of each followed process, with its slot as data.
    void reportTo(int epoll) { epoll_ = epoll; }

    // Keeps `indication` for the end of `mailbox`. Returns the new watch's number. If memory is
    // short, throws and keeps nothing.
    std::uint32_t add(std::uint32_t mailbox, itc_msg* indication);
    // Ends the watch; its indication is null if there is no such watch.
    Watch take(std::uint32_t number);
    std::vector<Numbered> takeAll();

    // Follows the process in `slot` for as long as there are watches of mailboxes of it, and a
    // little longer: who has watched it is likely to do so again soon.
    Outcome followProcess(Domain& domain, std::uint32_t slot);
    bool followsProcesses() const { return !lives_.empty(); }
    // Whether the process that is followed in `slot` has a successor already.
    bool followsPredecessor(const Domain& domain, std::uint32_t slot) const;
    // How many watches there are of mailboxes of the process in `slot`.
    std::size_t count(std::uint32_t slot) const;
    // The process that was followed in `slot` has ended: ends all watches of its mailboxes. If
    // memory is short, throws and changes nothing.
    std::vector<Watch> takeAllOfDead(Domain& domain, std::uint32_t slot);

private:
    struct Life {
        Descriptor fifo;
        std::uint32_t incarnation;
    };

    static constexpr std::size_t kMostIdle = 4;

    void keepIdle(std::uint32_t slot);
    void unfollow(std::unordered_map<std::uint32_t, Life>::iterator life);

    int epoll_ = -1;
    std::uint32_t lastNumber_ = 0;
    std::unordered_map<std::uint32_t, Watch> watches_;
    std::unordered_map<std::uint32_t, Life> lives_;               // by slot
    std::unordered_map<std::uint32_t, std::uint32_t> watchesOf_;  // how many, by slot
    std::vector<std::uint32_t> idle_;  // slots in lives_ without a watch, the oldest first
};

}  // namespace itc

#endif
