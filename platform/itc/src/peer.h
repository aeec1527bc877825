// peer.h: another process of the domain, seen from one that sends to it.
//
// Private header of platform/itc.
//
// Everything here that is not the inbox itself is private memory of this process under one lock,
// which is the caller's: a sender that is killed holds up nobody outside its own process.
#ifndef ITC_PEER_H
#define ITC_PEER_H

#include "blockPool.h"
#include "descriptor.h"
#include "domain.h"
#include "layout.h"
#include "mapping.h"
#include "outcome.h"

#include <memory>
#include <mutex>
#include <vector>

namespace itc {

// A message on its way to another process.
struct Parcel {
    std::uint32_t kind;  // a BlockKind
    std::uint32_t sender;
    std::uint32_t receiver;
    const void* message;
    std::uint32_t size;
};

class Peer : public std::enable_shared_from_this<Peer> {
public:
    // Maps the inbox of the process in `slot` for the sender in `ownSlot` and puts it into `peer`,
    // which is null unless that is done.
    static Outcome attach(const Domain& domain, std::uint32_t slot, std::uint32_t ownSlot,
                          std::shared_ptr<Peer>& peer);

    // Whether its process still has its slot, as far as anyone has noticed.
    bool isCurrent() const { return domain_.slot(slot_).incarnation.load() == incarnation_; }
    // Whether its process lives. Asks the kernel.
    bool isAlive() const { return isCurrent() && domain_.isAlive(slot_); }

    // Copies a message into the inbox and publishes it to its receiver. Waits only while there is
    // no room. A quiet message does not wake the receiver. `lock` holds the lock of this peer; it
    // is given up for what may take long.
    Outcome send(std::unique_lock<std::mutex>& lock, const Parcel& parcel, bool quiet);

private:
    Peer(const Domain& domain, std::uint32_t slot, std::uint32_t incarnation, Descriptor file,
         Mapping mapping, std::uint32_t ownSlot);
    InboxHeader& header() const { return *mapping_.as<InboxHeader>(); }
    MailboxRecord* find(std::uint32_t mailbox) const;
    // Both with the lock held.
    Outcome openBell(std::uint32_t number, int& bell);
    std::uint64_t takeBlock(std::uint32_t size);
    bool waitForRoom(const MailboxRecord& record, int bell);
    static std::uint64_t publish(MailboxRecord& record, Block& block, std::uint64_t unit);

    const Domain& domain_;
    const std::uint32_t slot_;
    const std::uint32_t incarnation_;
    const Descriptor file_;
    const Mapping mapping_;

    // Guarded by the lock.
    std::vector<Descriptor> bells_;  // by number; most are not open
    BlockPool blocks_;
};

}  // namespace itc

#endif
