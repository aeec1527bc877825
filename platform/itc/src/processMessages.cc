// Messages of this process: where they lie, and how they get to other mailboxes.

#include "error.h"
#include "heapBlocks.h"
#include "process.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <string>

namespace itc {

std::atomic<Process*> Process::youngestInherited_{nullptr};

Process::PeerEntry& Process::peerEntry(std::uint32_t slot) {
    std::atomic<PeerEntry*>& entry = peers_[slot];
    if (PeerEntry* known = entry.load(std::memory_order_acquire); known != nullptr) {
        return *known;
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    if (entry.load() == nullptr) {
        entry.store(new PeerEntry, std::memory_order_release);
    }
    return *entry.load();
}

// With entry.mutex held. Puts the process that now is in `slot` into `entry`.
Outcome Process::attachPeer(PeerEntry& entry, std::uint32_t slot) {
    entry.peer.reset();
    return Peer::attach(domain_, slot, slot_, entry.peer);
}

// Gives up the inboxes of processes that are gone. Done when there is a new one, which is rare and
// takes its time anyway.
void Process::dropDeadPeers() {
    for (std::uint32_t slot = kFirstSlot; slot <= kLastSlot; ++slot) {
        PeerEntry* entry = peers_[slot].load(std::memory_order_acquire);
        if (entry != nullptr) {
            const std::lock_guard<std::mutex> lock(entry->mutex);
            if (entry->peer != nullptr && !entry->peer->isAlive()) {
                entry->peer.reset();
            }
        }
    }
}

Outcome Process::sendToPeer(std::uint32_t kind, std::uint32_t sender, std::uint32_t receiver,
                            const void* message, std::uint32_t size, bool quiet) {
    if (!isSlot(slotOf(receiver)) || size < sizeof(itc_msg)) {
        return Outcome::kGone;
    }
    PeerEntry& entry = peerEntry(slotOf(receiver));
    std::unique_lock<std::mutex> lock(entry.mutex);
    if (entry.peer == nullptr || !entry.peer->isCurrent()) {
        const Outcome outcome = attachPeer(entry, slotOf(receiver));
        if (outcome != Outcome::kDone) {
            return outcome;
        }
        lock.unlock();
        dropDeadPeers();
        lock.lock();
        if (entry.peer == nullptr) {
            return Outcome::kGone;
        }
    }
    return entry.peer->send(lock, {kind, sender, receiver, message, size}, quiet);
}

void Process::send(itc_msg* message, std::uint32_t receiver, std::uint32_t sender) {
    if (!owns(receiver)) {
        if (sendToPeer(kMessage, sender, receiver, message, sizeOf(message), false) !=
            Outcome::kDone) {
            countUndelivered();
        }
        free(message);
        return;
    }
    message = ownedAlone(message);
    if (message == nullptr) {
        countUndelivered();
        return;
    }
    Block* block = blockOf(message);
    block->sender = sender;
    block->receiver = receiver;
    Mailbox* target = candidate(receiver);
    if (target == nullptr || !target->post(block, receiver, false)) {
        countUndelivered();
        free(message);
    }
}

Outcome Process::sendNotice(BlockKind kind, std::uint32_t number, std::uint32_t receiver,
                            std::uint32_t sender, bool quiet) {
    if (!owns(receiver)) {
        const Notice notice = {0, number};
        return sendToPeer(kind, sender, receiver, &notice, sizeof(notice), quiet);
    }
    itc_msg* message = allocate(sizeof(Notice), 0);
    if (message == nullptr) {
        return Outcome::kFailed;
    }
    reinterpret_cast<Notice*>(message)->number = number;
    Block* block = blockOf(message);
    block->kind = kind;
    block->sender = sender;
    block->receiver = receiver;
    Mailbox* target = candidate(receiver);
    if (target != nullptr && target->post(block, receiver, quiet)) {
        return Outcome::kDone;
    }
    free(message);
    return Outcome::kGone;
}

itc_msg* Process::allocate(std::uint32_t size, std::uint32_t msgno) {
    if (size < sizeof(itc_msg) || size > kMaxMessageSize) {
        fail("a message can't have " + std::to_string(size) + " bytes");
        return nullptr;
    }
    Block* block = takeHeapBlock(size);
    if (block == nullptr) {
        fail("no memory for a message of " + std::to_string(size) + " bytes");
        return nullptr;
    }
    new (block) Block;
    block->next = nullptr;
    block->size = size;
    block->sender = ITC_NO_MAILBOX;
    block->receiver = ITC_NO_MAILBOX;
    block->kind = kMessage;
    itc_msg* message = messageOf(block);
    message->msgno = msgno;
    return message;
}

const Inbox* Process::inboxOf(const itc_msg* message) {
    if (Process* process = joined(); process != nullptr && process->inbox_->contains(message)) {
        return process->inbox_.get();
    }
    for (Process* inherited = youngestInherited_.load(std::memory_order_acquire);
         inherited != nullptr; inherited = inherited->olderInherited_) {
        if (inherited->inbox_->contains(message)) {
            return inherited->inbox_.get();
        }
    }
    return nullptr;
}

void Process::free(itc_msg* message) {
    if (message == nullptr) {
        return;
    }
    const Inbox* inbox = inboxOf(message);
    if (inbox == nullptr) {
        giveHeapBlock(blockOf(message));
    } else if (Process* process = joined(); process != nullptr && inbox == process->inbox_.get()) {
        process->inbox_->release(blockOf(message));
    }
    // What a forked child has of its parent's inbox is its parent's to free.
}

std::uint32_t Process::sizeOf(const itc_msg* message) {
    const Block* block = blockOf(message);
    const Inbox* inbox = inboxOf(message);
    return inbox == nullptr ? block->size : std::min(block->size, inbox->capacity(block));
}

itc_msg* Process::ownedAlone(itc_msg* message) {
    if (inboxOf(message) == nullptr) {
        return message;
    }
    const std::uint32_t size = sizeOf(message);
    itc_msg* copy = allocate(size, message->msgno);
    if (copy != nullptr) {
        std::memcpy(copy, message, size);
    }
    free(message);
    return copy;
}

}  // namespace itc
