// The owner's side of a mailbox: fetching, choosing, waiting.
//
// The bell must hold a byte whenever receive() returns with messages left, and must not hold one
// for long otherwise. So a receive that empties the queue silences the bell and then looks once
// more, and one that leaves messages behind makes sure that the bell holds a byte. While receive()
// itself waits, messages that its filter leaves out are in the queue and the bell is silent.
//
// Without memory to note what has arrived, an operation takes nothing and rings the bell itself:
// its owner is to look again.

#include "bell.h"
#include "error.h"
#include "mailbox.h"
#include "names.h"
#include "process.h"

#include <algorithm>
#include <cerrno>
#include <chrono>

#include <sys/epoll.h>

namespace itc {

namespace {

// A mailbox that never runs empty still looks for deaths now and then,
constexpr std::uint32_t kLooksPerDeathCheck = 64;
// and frees memory when so many bytes have gone through it.
constexpr std::uint32_t kBytesPerReclaim = 4U << 20;
constexpr int kWaitForever = -1;
// The memory for a batch of that size is not kept for the next.
constexpr std::size_t kManyFetched = 65536;

class Deadline {
public:
    explicit Deadline(std::uint32_t timeout) : timeout_(timeout) {
        if (timeout != ITC_NO_WAIT && timeout != ITC_WAIT_FOREVER) {
            end_ = Clock::now() + std::chrono::milliseconds(timeout);
        }
    }
    bool isOver() const { return left() == 0; }
    // Milliseconds for epoll_wait, rounded up: 0 when the time is over.
    int left() const {
        if (timeout_ == ITC_WAIT_FOREVER) {
            return kWaitForever;
        }
        if (timeout_ == ITC_NO_WAIT) {
            return 0;
        }
        const auto rest = std::chrono::ceil<std::chrono::milliseconds>(end_ - Clock::now()).count();
        return static_cast<int>(std::clamp<long long>(rest, 0, 0x7FFFFFFF));
    }

private:
    using Clock = std::chrono::steady_clock;
    std::uint32_t timeout_;
    Clock::time_point end_;
};

bool admits(const std::uint32_t* filter, std::uint32_t msgno) {
    return filter == nullptr ||
           std::find(filter + 1, filter + 1 + filter[0], msgno) != filter + 1 + filter[0];
}

}  // namespace

itc_msg* Mailbox::receive(const std::uint32_t* filter, std::uint32_t timeout, std::uint32_t from) {
    if (watches_.followsProcesses() && ++looksSinceDeathCheck_ >= kLooksPerDeathCheck) {
        awaitEvents(0);
    }
    std::size_t seen = 0;
    itc_msg* message = takeMatching(filter, from, seen);
    if (message == nullptr) {
        try {
            message = receiveNew(filter, timeout, from, seen);
        } catch (...) {
            ring();
            throw;
        }
    }
    settle();
    if (highMark_.messages != 0) {
        noticeBacklog();
    }
    return message;
}

void Mailbox::setHighMark(const HighMark& mark) {
    highMark_ = mark;
    isBelowMark_ = true;
}

// The callback may use the mailbox in every way: nothing of this is touched after it.
void Mailbox::noticeBacklog() {
    if (queue_.size() <= highMark_.messages / 2) {
        isBelowMark_ = true;
    } else if (queue_.size() >= highMark_.messages && isBelowMark_) {
        isBelowMark_ = false;
        highMark_.callback(id(), queue_.size(), highMark_.context);
    }
}

itc_msg* Mailbox::receiveNew(const std::uint32_t* filter, std::uint32_t timeout, std::uint32_t from,
                             std::size_t seen) {
    const Deadline deadline(timeout);
    for (bool isLastLook = false; !isLastLook;) {
        if (fetch() || (mayRing() && lookAfterSilence())) {
            // Those who send without end must not keep a wait from ending.
            isLastLook = deadline.isOver();
        } else {
            const int left = deadline.left();
            if (awaitEvents(left)) {
                lookAfterSilence();
            }
            isLastLook = left == 0;
        }
        if (itc_msg* message = takeMatching(filter, from, seen); message != nullptr) {
            return message;
        }
    }
    return nullptr;
}

// The first `seen` messages of the queue are known not to match.
itc_msg* Mailbox::takeMatching(const std::uint32_t* filter, std::uint32_t from, std::size_t& seen) {
    for (; seen < queue_.size(); ++seen) {
        if (admits(filter, queue_[seen]->msgno) &&
            (from == ITC_ANY_SENDER || blockOf(queue_[seen])->sender == from)) {
            itc_msg* message = queue_.take(seen);
            countTaken(*blockOf(message));
            bytesSinceReclaim_ += blockOf(message)->size + kCuts[1];
            if (bytesSinceReclaim_ >= kBytesPerReclaim) {
                bytesSinceReclaim_ = 0;
                process_.reclaim(process_.inbox().isLarge());
            }
            return message;
        }
    }
    return nullptr;
}

void Mailbox::countTaken(const Block& block) {
    const auto relaxed = std::memory_order_relaxed;
    record_->taken.store(record_->taken.load(relaxed) + 1, relaxed);
    record_->takenBytes.store(record_->takenBytes.load(relaxed) + block.size, relaxed);
}

// Leaves the bell as the rest of the queue needs it. Throws nothing: what it is called after is
// done.
void Mailbox::settle() {
    if (queue_.empty() && mayRing()) {
        guarded([this] { lookAfterSilence(); });
    }
    if (!queue_.empty() && !isRinging()) {
        ring();
    }
}

void Mailbox::ring() {
    strikeBell(bell_.get());
    isRinging_ = true;
}

// Whether the bell is known to hold a byte. It may hold one all the same, if its sender has yet to
// mark it, or was killed before.
bool Mailbox::isRinging() {
    isRinging_ = isRinging_ || isBellKnownToRing(*record_);
    return isRinging_;
}

// Whether it is worth a system call to silence the bell.
bool Mailbox::mayRing() {
    return isRinging_ || mayBellRing(*record_);
}

bool Mailbox::lookAfterSilence() {
    silenceBell(*record_, bell_.get());
    isRinging_ = false;
    process_.reclaim(false);  // a sender that waits for room rings as well
    try {
        return fetch();
    } catch (...) {
        ring();
        throw;
    }
}

// Moves what has arrived into the queue. Returns whether that changed it.
bool Mailbox::fetch() {
    if (record_->stack.load(std::memory_order_seq_cst) == kEmptyStack &&
        !posted_.load(std::memory_order_relaxed)) {
        return false;
    }
    const std::size_t before = queue_.size();
    fetched_.clear();
    Block* posted = nullptr;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        const std::uint64_t stack = takeStack();
        posted = firstPosted_;
        firstPosted_ = nullptr;
        lastPosted_ = nullptr;
        postedCount_ = 0;
        posted_.store(false, std::memory_order_relaxed);
        isWoken_ = false;
        fetchStack(stack, fetched_);
    }
    std::size_t accepted = 0;
    const auto acceptPushed = [&](std::uint64_t until) {
        for (; accepted < fetched_.size() && accepted < until; ++accepted) {
            guarded([&] { accept(fetched_[accepted], id()); });
        }
    };
    while (posted != nullptr) {
        acceptPushed(posted->pushedBefore);
        Block* next = posted->next;
        guarded([&] { accept(posted, id()); });
        posted = next;
    }
    acceptPushed(fetched_.size());
    if (fetched_.capacity() > kManyFetched) {
        fetched_ = {};
    }
    process_.reclaim(false);
    return queue_.size() != before;
}

// With mutex_ held. Makes room for all that has arrived before it takes anything: without memory,
// the messages stay where they are.
std::uint64_t Mailbox::takeStack() {
    std::uint64_t stack = record_->stack.load(std::memory_order_seq_cst);
    do {
        const std::size_t pushed =
            std::min<std::size_t>(stack >> 32, process_.inbox().mostBlocks());
        fetched_.reserve(pushed);
        queue_.reserve(queue_.size() + pushed + postedCount_);
    } while (!record_->stack.compare_exchange_weak(stack, kEmptyStack, std::memory_order_seq_cst,
                                                   std::memory_order_relaxed));
    return stack;
}

// Walks a stack that no one else can reach any more, newest first, and appends it oldest first.
// What can't be a block ends the walk: the memory it leads to is not ours to guess about.
void Mailbox::fetchStack(std::uint64_t stack, std::vector<Block*>& fetched) {
    if (stack == kClosedStack) {
        return;
    }
    Inbox& inbox = process_.inbox();
    const std::size_t before = fetched.size();
    std::uint64_t unit = stack & 0xFFFFFFFF;
    std::uint32_t messages = 0;
    std::uint64_t bytes = 0;
    for (std::uint64_t left = std::min(stack >> 32, kMaxBlocks); left > 0 && unit != 0; --left) {
        Block* block = inbox.block(unit);
        if (block == nullptr) {
            fail("the inbox holds garbage: messages from other processes are lost");
            break;
        }
        inbox.hold(block);
        fetched.push_back(block);
        if (block->kind == kMessage) {
            ++messages;
            bytes += block->size;
        }
        unit = block->link;
    }
    std::reverse(fetched.begin() + static_cast<std::ptrdiff_t>(before), fetched.end());
    countFetched(messages, bytes);
}

void Mailbox::accept(Block* block, std::uint32_t self) {
    itc_msg* message = messageOf(block);
    if (block->kind == kMessage) {
        if (block->receiver == self) {
            queue_.push(message);
            return;
        }
        // One for an earlier holder of the record, by a sender that was late, has no receiver.
        countTaken(*block);
        process_.countUndelivered();
        Process::free(message);
        return;
    }
    if (Process::sizeOf(message) >= sizeof(Notice)) {
        acceptNotice(*block, *reinterpret_cast<const Notice*>(message), self);
    }
    Process::free(message);
}

void Mailbox::acceptNotice(const Block& block, const Notice& notice, std::uint32_t self) {
    if (block.receiver != self) {
        if (block.kind == kWatch) {
            process_.sendNotice(kGone, notice.number, block.sender, block.receiver, false);
        }
        return;
    }
    switch (block.kind) {
        case kWatch: {
            const std::lock_guard<std::mutex> lock(mutex_);
            keepWatcher(block.sender, notice.number);
            break;
        }
        case kUnwatch: {
            const std::lock_guard<std::mutex> lock(mutex_);
            forgetWatcher(block.sender, notice.number);
            break;
        }
        case kGone: {
            const Watches::Watch watch = watches_.take(notice.number);
            if (watch.indication != nullptr) {
                deliver(watch.indication, watch.mailbox);
            }
            break;
        }
        case kLocated: {
            // A second answer finds no request any more.
            const auto found = requests_.find(notice.number);
            if (found != requests_.end()) {
                removeNote(process_.home(), found->second.encodedName, self, notice.number);
                deliver(found->second.indication, block.sender);
                requests_.erase(found);
            }
            break;
        }
        default:
            break;
    }
}

void Mailbox::deliver(itc_msg* indication, std::uint32_t sender) {
    blockOf(indication)->sender = sender;
    queue_.push(indication);
    const std::lock_guard<std::mutex> lock(mutex_);
    countFetched(1, blockOf(indication)->size);
}

// Waits up to `timeout` milliseconds for the bell or a death, and takes up the deaths. Returns
// whether the bell rings.
bool Mailbox::awaitEvents(int timeout) {
    looksSinceDeathCheck_ = 0;
    epoll_event events[16];
    const int count = epoll_wait(epoll_.get(), events, 16, timeout);
    bool rings = false;
    for (int index = 0; index < count; ++index) {
        if (events[index].data.u32 == 0) {
            rings = true;
        } else {
            noticeDeath(events[index].data.u32);
        }
    }
    // A failure is a signal: who waits looks at the clock and comes back.
    return rings;
}

// What the dead had sent comes before the news of their death.
void Mailbox::noticeDeath(std::uint32_t slot) {
    fetch();
    // Without memory, the life goes on being followed, and says once more that it has ended.
    queue_.reserve(queue_.size() + watches_.count(slot));
    for (const Watches::Watch& watch : watches_.takeAllOfDead(process_.home(), slot)) {
        deliver(watch.indication, watch.mailbox);
    }
}

}  // namespace itc
