// process.h: this process as a member of the domain.
//
// Private header of platform/itc.
//
// Joined at the first call that needs it and left at exit. A forked child starts anew; what it
// inherited is never changed again, so that nothing of its parent's is disturbed, and is not freed,
// since another thread may have been in the middle of changing it.
#ifndef ITC_PROCESS_H
#define ITC_PROCESS_H

#include "descriptor.h"
#include "domain.h"
#include "inbox.h"
#include "itc.h"
#include "mailbox.h"
#include "outcome.h"
#include "peer.h"
#include "zeroedArray.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <vector>

namespace itc {

class Process {
public:
    // The path of the domain of this process, chosen at first use.
    static const char* domainPath();
    // The domain of this process; opened at first use. Null on failure.
    static Domain* domain();
    // This process with a slot and an inbox; joins at first use. Null on failure.
    static Process* join();
    // The same if it has joined, else null.
    static Process* joined();
    // The calling thread's mailbox, null if it has none.
    static Mailbox* threadMailbox();

    Domain& home() const { return domain_; }
    Inbox& inbox() const { return *inbox_; }
    std::uint32_t slot() const { return slot_; }
    std::string folder() const { return Domain::processFolder(slot_); }

    // Makes the calling thread's mailbox. Null on failure.
    Mailbox* createMailbox(const char* name);
    void deleteMailbox(Mailbox* mailbox);
    // The object that may hold a mailbox of this process; it checks the id itself.
    Mailbox* candidate(std::uint32_t mailbox) const;
    bool owns(std::uint32_t mailbox) const { return slotOf(mailbox) == slot_; }

    // Takes over a message in any memory and brings it to its receiver, or frees it.
    void send(itc_msg* message, std::uint32_t receiver, std::uint32_t sender);
    Outcome sendNotice(BlockKind kind, std::uint32_t number, std::uint32_t receiver,
                       std::uint32_t sender, bool quiet);

    static itc_msg* allocate(std::uint32_t size, std::uint32_t msgno);
    static void free(itc_msg* message);
    static std::uint32_t sizeOf(const itc_msg* message);
    // Takes over a message in any memory and returns it, or a copy, in memory of this process
    // alone. Null on failure.
    static itc_msg* ownedAlone(itc_msg* message);

    // Counts a message that nobody will receive.
    void countUndelivered() { inbox_->countUndelivered(); }

    // Frees memory of the inbox if that is due or `wanted`.
    void reclaim(bool wanted) {
        if (wanted || inbox_->reclaimIsDue()) {
            reclaimNow();
        }
    }
    // In a forked child: `inherited` is what its parent was.
    static void keepInherited(Process* inherited);
    // Held by whoever makes something in the domain, so that nothing of it is half-made when the
    // process leaves; owns nothing once it has left.
    std::shared_lock<std::shared_mutex> stayInDomain();
    // At exit: leaves nothing in the domain, whatever other threads are doing.
    void leave();

private:
    struct PeerEntry {
        std::mutex mutex;  // guards the peer itself as well, see there
        std::shared_ptr<Peer> peer;
    };

    Process(Domain& domain, std::uint32_t slot) : domain_(domain), slot_(slot) {}
    static Process* tryJoin(Domain& domain);
    // The inbox of this process or of one that it was forked from that has `message`; null for the
    // heap.
    static const Inbox* inboxOf(const itc_msg* message);
    bool build();
    Mailbox* takeFromPool();
    bool giveRecord(Mailbox& mailbox);
    void reclaimNow();
    PeerEntry& peerEntry(std::uint32_t slot);
    Outcome attachPeer(PeerEntry& entry, std::uint32_t slot);
    void dropDeadPeers();
    Outcome sendToPeer(std::uint32_t kind, std::uint32_t sender, std::uint32_t receiver,
                       const void* message, std::uint32_t size, bool quiet);

    Domain& domain_;
    const std::uint32_t slot_;
    Descriptor life_;  // hangs up for those who watch this process when it ends
    std::unique_ptr<Inbox> inbox_;

    std::shared_mutex presenceMutex_;
    bool hasLeft_ = false;  // guarded by presenceMutex_

    std::mutex mutex_;  // guards what follows, the table against writers only
    std::vector<std::unique_ptr<Mailbox>> mailboxes_;
    std::vector<Mailbox*> pool_;
    ZeroedArray<std::atomic<Mailbox*>> table_{kRecordCount};  // by record
    // By slot. Entries stay until the process ends.
    ZeroedArray<std::atomic<PeerEntry*>> peers_{kSlotTableSize};

    static std::atomic<Process*> youngestInherited_;
    Process* olderInherited_ = nullptr;
};

// The header in front of a message.
inline Block* blockOf(const itc_msg* message) {
    return reinterpret_cast<Block*>(const_cast<itc_msg*>(message)) - 1;
}
inline itc_msg* messageOf(Block* block) {
    return reinterpret_cast<itc_msg*>(block + 1);
}

}  // namespace itc

#endif
