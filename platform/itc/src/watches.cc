#include "watches.h"

#include "error.h"

#include <algorithm>
#include <cerrno>
#include <string>
#include <utility>

#include <fcntl.h>
#include <sys/epoll.h>
#include <unistd.h>

namespace itc {

std::uint32_t Watches::add(std::uint32_t mailbox, itc_msg* indication) {
    do {
        ++lastNumber_;
    } while (lastNumber_ == 0 || lastNumber_ == ITC_NO_MAILBOX || watches_.count(lastNumber_) != 0);
    std::uint32_t& count = watchesOf_[slotOf(mailbox)];
    watches_.emplace(lastNumber_, Watch{mailbox, indication});
    ++count;
    return lastNumber_;
}

Watches::Watch Watches::take(std::uint32_t number) {
    const auto found = watches_.find(number);
    if (found == watches_.end()) {
        return Watch{0, nullptr};
    }
    const Watch watch = found->second;
    watches_.erase(found);
    const auto count = watchesOf_.find(slotOf(watch.mailbox));
    if (--count->second == 0) {
        watchesOf_.erase(count);
        keepIdle(slotOf(watch.mailbox));
    }
    return watch;
}

void Watches::keepIdle(std::uint32_t slot) {
    if (lives_.count(slot) == 0) {
        return;
    }
    idle_.push_back(slot);
    if (idle_.size() > kMostIdle) {
        unfollow(lives_.find(idle_.front()));
    }
}

std::vector<Watches::Numbered> Watches::takeAll() {
    std::vector<Numbered> taken(watches_.begin(), watches_.end());
    watches_.clear();
    watchesOf_.clear();
    while (!lives_.empty()) {
        unfollow(lives_.begin());
    }
    return taken;
}

Outcome Watches::followProcess(Domain& domain, std::uint32_t slot) {
    if (lives_.count(slot) != 0) {
        idle_.erase(std::remove(idle_.begin(), idle_.end(), slot), idle_.end());
        return domain.isAlive(slot) ? Outcome::kDone : Outcome::kGone;
    }
    idle_.reserve(kMostIdle + 1);  // a watch can be taken without memory
    const std::string what = "can't follow the life of process slot " + std::to_string(slot);
    const std::uint32_t incarnation = domain.slot(slot).incarnation.load();
    Descriptor fifo = domain.folder().open(Domain::processFolder(slot) + "/life", O_RDONLY);
    if (!fifo) {
        if (errno == ENOENT) {
            return Outcome::kGone;
        }
        fail(what, errno);
        return Outcome::kFailed;
    }
    // Only a FIFO that was opened while its process lived hangs up when it ends.
    if (!domain.isAlive(slot) || domain.slot(slot).incarnation.load() != incarnation) {
        return Outcome::kGone;
    }
    // The kernel closes one descriptor after the other: a process that ends may have lost its life
    // and hold its lock still. A FIFO that nobody writes to is at its end, others are just empty.
    char nothing = 0;
    if (read(fifo.get(), &nothing, 1) == 0) {
        domain.markDead(slot, incarnation);
        return Outcome::kGone;
    }
    epoll_event event = {};
    event.data.u32 = slot;  // a hang-up is reported unasked
    if (epoll_ctl(epoll_, EPOLL_CTL_ADD, fifo.get(), &event) != 0) {
        fail(what, errno);
        return Outcome::kFailed;
    }
    lives_.emplace(slot, Life{std::move(fifo), incarnation});
    return Outcome::kDone;
}

bool Watches::followsPredecessor(const Domain& domain, std::uint32_t slot) const {
    const auto life = lives_.find(slot);
    return life != lives_.end() && life->second.incarnation != domain.slot(slot).incarnation.load();
}

std::size_t Watches::count(std::uint32_t slot) const {
    const auto found = watchesOf_.find(slot);
    return found != watchesOf_.end() ? found->second : 0;
}

std::vector<Watches::Watch> Watches::takeAllOfDead(Domain& domain, std::uint32_t slot) {
    std::vector<Watch> taken;
    taken.reserve(count(slot));
    const auto life = lives_.find(slot);
    if (life == lives_.end()) {
        return taken;
    }
    domain.markDead(slot, life->second.incarnation);
    unfollow(life);
    for (auto at = watches_.begin(); at != watches_.end();) {
        if (slotOf(at->second.mailbox) == slot) {
            taken.push_back(at->second);
            at = watches_.erase(at);
        } else {
            ++at;
        }
    }
    watchesOf_.erase(slot);
    return taken;
}

void Watches::unfollow(std::unordered_map<std::uint32_t, Life>::iterator life) {
    if (life != lives_.end()) {
        idle_.erase(std::remove(idle_.begin(), idle_.end(), life->first), idle_.end());
        // It was added and is open: nothing can be wrong with that.
        epoll_ctl(epoll_, EPOLL_CTL_DEL, life->second.fifo.get(), nullptr);
        lives_.erase(life);
    }
}

}  // namespace itc
