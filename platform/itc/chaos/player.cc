#include "player.h"

#include <itc_admin.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <iterator>
#include <sstream>
#include <vector>

#include <poll.h>

namespace ItcChaos {

namespace {

using Clock = std::chrono::steady_clock;

enum Kind : std::uint32_t { kData = 1, kSync, kEcho, kGone, kFound };

constexpr std::uint32_t kNumberMask = 0xFFFFFF;
constexpr std::uint32_t kBurst = 64;        // messages to one receiver without a sync
constexpr int kNeverMilliseconds = 60'000;  // whoever waits that long waits for ever

std::uint32_t msgno(Kind kind, std::uint32_t number) {
    return (static_cast<std::uint32_t>(kind) << 24) | (number & kNumberMask);
}

// Every size is met, small ones more often.
std::uint32_t sizeOf(itc_mbox_id_t sender, std::uint32_t number) {
    const std::uint64_t any = Decisions::mix((std::uint64_t{sender} << 32) | number);
    const std::uint64_t rank = any % 1000;
    const std::uint64_t limit = rank < 600   ? 256
                                : rank < 880 ? 4096
                                : rank < 990 ? 40'000
                                             : itc_get_max_size();
    return static_cast<std::uint32_t>(sizeof(itc_msg) +
                                      (any >> 16) % (limit - sizeof(itc_msg) + 1));
}

// Bytes of which no two stretches are alike.
const std::vector<char>& pattern() {
    static const std::vector<char> bytes = [] {
        std::vector<char> made(itc_get_max_size() + 65'536);
        Decisions any(1);
        std::generate(made.begin(), made.end(), [&any] { return static_cast<char>(any.next()); });
        return made;
    }();
    return bytes;
}

const char* payload(itc_mbox_id_t sender, std::uint32_t number) {
    return pattern().data() + (sender * 31 + number * 7) % 65'536;
}

}  // namespace

std::unordered_set<itc_mbox_id_t> livingMailboxes() {
    std::unordered_set<itc_mbox_id_t> ids;
    const auto visit = [](const itc_mailbox_info* info, void* context) {
        static_cast<std::unordered_set<itc_mbox_id_t>*>(context)->insert(info->id);
        return true;
    };
    if (itc_list_mailboxes(visit, &ids) < 0) {
        failed("the mailboxes can't be listed");
    }
    return ids;
}

Player::Player(const World& world, unsigned worker, unsigned player, unsigned life)
    : world_(world),
      worker_(worker),
      player_(player),
      life_(life),
      decisions_(Decisions::mix(world.seed) + std::uint64_t{1'000'003} * worker +
                 std::uint64_t{10'007} * player + std::uint64_t{life} * 1'000'000'007) {}

void Player::fail(const std::string& what) const {
    failed(playerName(worker_, player_) + " of life " + std::to_string(life_) + ": " + what);
}

void Player::run() {
    openMailbox();
    while (world_.board->phase == kPlay) {
        const std::uint64_t decision = decisions_.next();
        act(decision);
        serve(decision % 5 == 0 ? 1 : 1000);
        pollfd polled = {itc_get_fd(), POLLIN, 0};
        poll(&polled, 1, static_cast<int>(decision >> 8 & 3));  // a pause, however it ends
    }
    drain();
    closeMailbox();
}

void Player::openMailbox() {
    id_ = itc_create_mailbox(playerName(worker_, player_).c_str(), 0);
    if (id_ == ITC_NO_MAILBOX) {
        fail("no mailbox is made");
    }
    if (player_ == 0 && !itc_add_name(id_, lifeName(worker_, life_).c_str())) {
        fail("a name is not given");
    }
    ++world_.board->figures.mailboxes;
}

void Player::closeMailbox() {
    itc_delete_mailbox(id_);
    outgoing_.clear();
    incoming_.clear();
    monitors_.clear();
    requests_.clear();
}

void Player::act(std::uint64_t decision) {
    const std::uint64_t detail = decision >> 16;
    const std::uint64_t action = decision % 100;
    if (action < 45) {
        send(someone(detail), 1 + (detail >> 20) % 40);
    } else if (action < 60) {
        ping(someone(detail), detail >> 20);
    } else if (action < 72) {
        if (const itc_mbox_id_t target = someone(detail); target != ITC_NO_MAILBOX) {
            watch(target);
        }
    } else if (action < 76) {
        unwatchOne(detail);
    } else if (action < 86) {
        askFor(someName(detail));
    } else if (action < 92) {
        if (!itc_add_name(id_, ("shared " + std::to_string(detail % 5)).c_str())) {
            fail("a name is not given");
        }
        ++world_.board->figures.names;
    } else if (action < 96) {
        closeMailbox();
        openMailbox();
    } else {
        char name[ITC_MAX_NAME_LENGTH + 1];
        const itc_mbox_id_t holder = itc_locate(("shared " + std::to_string(detail % 5)).c_str());
        if (itc_get_name(holder, name, sizeof(name)) && std::strncmp(name, "player-", 7) != 0) {
            fail("a mailbox has the wrong name");
        }
    }
}

std::string Player::someName(std::uint64_t decision) const {
    return playerName(static_cast<unsigned>(decision % world_.workers),
                      static_cast<unsigned>((decision >> 8) % world_.players));
}

// May well be this mailbox itself.
itc_mbox_id_t Player::someone(std::uint64_t decision) const {
    return itc_locate(someName(decision).c_str());
}

void Player::send(itc_mbox_id_t receiver, std::uint64_t count) {
    if (receiver == ITC_NO_MAILBOX) {
        return;
    }
    Outgoing& outgoing = outgoing_[receiver];
    for (; count > 0 && !outgoing.awaitsEcho; --count) {
        const std::uint32_t number = outgoing.sent++;
        const std::uint32_t size = sizeOf(id_, number);
        itc_msg* message = itc_alloc(size, msgno(kData, number));
        if (message == nullptr) {
            fail("no message is made");
        }
        std::memcpy(message + 1, payload(id_, number), size - sizeof(itc_msg));
        itc_send(&message, receiver, ITC_OWN_MAILBOX);
        if (++outgoing.sinceSync == kBurst) {
            sync(receiver, outgoing);
        }
    }
}

void Player::sync(itc_mbox_id_t receiver, Outgoing& outgoing) {
    outgoing.sinceSync = 0;
    outgoing.awaitsEcho = true;
    itc_msg* message = itc_alloc(sizeof(itc_msg), msgno(kSync, outgoing.sent));
    itc_send(&message, receiver, ITC_OWN_MAILBOX);
}

std::uint32_t Player::watch(itc_mbox_id_t target) {
    const std::uint32_t number = ++lastNumber_ & kNumberMask;
    itc_msg* indication = itc_alloc(sizeof(itc_msg), msgno(kGone, number));
    Monitor& monitor = monitors_[number];
    monitor.target = target;
    monitor.isEnded = false;
    monitor.id = itc_monitor(target, &indication);
    if (monitor.id == ITC_NO_MAILBOX) {
        fail("a monitor is refused");
    }
    return number;
}

void Player::unwatchOne(std::uint64_t decision) {
    if (!monitors_.empty()) {
        auto chosen =
            std::next(monitors_.begin(), static_cast<std::ptrdiff_t>(decision % monitors_.size()));
        itc_unmonitor(chosen->second.id);  // may be too late
        chosen->second.isEnded = true;
    }
}

void Player::askFor(const std::string& name) {
    const std::uint32_t number = ++lastNumber_ & kNumberMask;
    requests_[number] = name;
    itc_msg* indication = itc_alloc(sizeof(itc_msg), msgno(kFound, number));
    itc_locate_async(name.c_str(), &indication, ITC_OWN_MAILBOX);
}

// Waits until the receiver has seen all that was sent to it, or is gone. However long that takes:
// if it never ends, somebody missed a wake-up, a message or a death.
void Player::ping(itc_mbox_id_t receiver, std::uint64_t decision) {
    if (receiver == ITC_NO_MAILBOX) {
        return;
    }
    const std::uint32_t number = watch(receiver);
    Outgoing& outgoing = outgoing_[receiver];
    if (!outgoing.awaitsEcho) {
        sync(receiver, outgoing);
    }
    if (decision % 4 == 0) {  // with a filter, while other messages collect before it
        const std::uint32_t filter[] = {1, msgno(kEcho, outgoing.sent)};
        if (itc_msg* message = itc_receive(filter, 5, receiver); message != nullptr) {
            check(message);
        }
    }
    while (outgoing.awaitsEcho && monitors_.count(number) != 0) {
        waitAndServe(decision, receiver);
    }
    ++world_.board->figures.waits;
    if (const auto monitor = monitors_.find(number); monitor != monitors_.end()) {
        itc_unmonitor(monitor->second.id);
        monitor->second.isEnded = true;
    }
}

void Player::waitAndServe(std::uint64_t decision, itc_mbox_id_t receiver) {
    if (decision % 3 == 0) {
        itc_msg* message = itc_receive(nullptr, kNeverMilliseconds, ITC_ANY_SENDER);
        if (message == nullptr) {
            failWaiting(receiver);
        }
        check(message);
        return;
    }
    const auto begin = Clock::now();
    pollfd polled = {itc_get_fd(), POLLIN, 0};
    if (poll(&polled, 1, kNeverMilliseconds) == 0) {
        failWaiting(receiver);
    }
    if (Clock::now() - begin > std::chrono::milliseconds(kNeverMilliseconds)) {
        fail("the descriptor became readable far too late");
    }
    serve(decision % 3 == 1 ? 1 : 1000);
}

// Says what it waited for, so that one can tell who missed what.
void Player::failWaiting(itc_mbox_id_t receiver) {
    std::ostringstream text;
    text << std::hex << id_ << " waited for ever for " << receiver << ", which has ";
    text << std::dec << outgoing_[receiver].sent << " messages of it. There are:";
    const auto visit = [](const itc_mailbox_info* info, void* context) {
        *static_cast<std::ostringstream*>(context)
            << "\n    " << std::hex << info->id << std::dec << " in " << info->pid << "/"
            << info->tid << ", " << info->queued << " queued, "
            << (info->name_count > 0 ? info->names[0] : "no name");
        return true;
    };
    itc_list_mailboxes(visit, &text);  // what can't be listed is not said
    itc_msg* message = itc_receive(nullptr, ITC_NO_WAIT, ITC_ANY_SENDER);
    text << (message != nullptr ? "\n    It has a message now." : "");
    fail(text.str());
}

void Player::serve(std::uint64_t most) {
    for (; most > 0; --most) {
        itc_msg* message = itc_receive(nullptr, ITC_NO_WAIT, ITC_ANY_SENDER);
        if (message == nullptr) {
            return;
        }
        check(message);
    }
}

void Player::check(itc_msg* message) {
    const itc_mbox_id_t sender = itc_sender(message);
    const std::uint32_t number = message->msgno & kNumberMask;
    Figures& figures = world_.board->figures;
    ++figures.messages;
    figures.bytes += itc_size(message);
    switch (message->msgno >> 24) {
        case kData:
            checkData(message, sender, number);
            break;
        case kSync: {
            Incoming& incoming = incoming_[sender];
            if (incoming.received != number || incoming.isGone) {
                fail("messages are lost: " + std::to_string(number) + " were sent, " +
                     std::to_string(incoming.received) + " came");
            }
            itc_msg* echo = itc_alloc(sizeof(itc_msg), msgno(kEcho, number));
            itc_send(&echo, sender, ITC_OWN_MAILBOX);
            break;
        }
        case kEcho: {
            Outgoing& outgoing = outgoing_[sender];
            if (!outgoing.awaitsEcho || outgoing.sent != number) {
                fail("an echo comes twice");
            }
            outgoing.awaitsEcho = false;
            break;
        }
        case kGone:
            checkGone(sender, number);
            break;
        case kFound:
            checkFound(number);
            break;
        default:
            fail("a message that nobody sent");
    }
    itc_free(&message);
}

void Player::checkData(const itc_msg* message, itc_mbox_id_t sender, std::uint32_t number) {
    Incoming& incoming = incoming_[sender];
    if (incoming.isGone) {
        fail("a message comes after the news of its sender's end");
    }
    if (number != incoming.received) {
        fail("message " + std::to_string(number) + " comes instead of " +
             std::to_string(incoming.received));
    }
    ++incoming.received;
    const std::uint32_t size = sizeOf(sender, number);
    if (itc_size(message) != size ||
        std::memcmp(message + 1, payload(sender, number), size - sizeof(itc_msg)) != 0) {
        fail("a message has changed on its way");
    }
}

void Player::checkGone(itc_mbox_id_t sender, std::uint32_t number) {
    const auto monitor = monitors_.find(number);
    if (monitor == monitors_.end() || monitor->second.target != sender) {
        fail("a monitor fires twice or for another mailbox");
    }
    monitors_.erase(monitor);
    incoming_[sender].isGone = true;
    if (number % 8 == 0 && livingMailboxes().count(sender) != 0) {
        fail("a monitor fires although its mailbox lives");
    }
    ++world_.board->figures.monitors;
}

void Player::checkFound(std::uint32_t number) {
    if (requests_.erase(number) == 0) {
        fail("a request for a name is answered twice");
    }
    ++world_.board->figures.answers;
}

void Player::drain() {
    const auto end = Clock::now() + std::chrono::milliseconds(2 * kNeverMilliseconds);
    std::unordered_set<itc_mbox_id_t> living = livingMailboxes();
    for (auto& [receiver, outgoing] : outgoing_) {
        if (!outgoing.awaitsEcho && living.count(receiver) != 0) {
            sync(receiver, outgoing);
        }
    }
    bool done = false;
    while (world_.board->phase == kPlay || world_.board->phase == kDrain) {
        pollfd polled = {itc_get_fd(), POLLIN, 0};
        poll(&polled, 1, 20);  // the loop looks by itself, however it ends
        serve(1000);
        if (!done) {
            done = isDrained(livingMailboxes());
            world_.board->isDrained[worker_][player_] = done;
        }
        if (!done && Clock::now() > end) {
            fail(std::to_string(requests_.size()) + " requests, " +
                 std::to_string(monitors_.size()) + " monitors or an echo never came to an end");
        }
    }
}

// Everything that was begun has come to its end, except for what waits for those who live.
bool Player::isDrained(const std::unordered_set<itc_mbox_id_t>& living) {
    const bool isAnswered =
        std::none_of(outgoing_.begin(), outgoing_.end(), [&living](const auto& entry) {
            return entry.second.awaitsEcho && living.count(entry.first) != 0;
        });
    const bool isTold =
        std::none_of(monitors_.begin(), monitors_.end(), [&living](const auto& entry) {
            return !entry.second.isEnded && living.count(entry.second.target) == 0;
        });
    return isAnswered && isTold && requests_.empty();
}

}  // namespace ItcChaos
