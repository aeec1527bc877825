// player.h: a thread that does everything one can do with mailboxes, and checks what it gets.
//
// Private header of platform/itc's chaos test.
//
// What it does next follows from its seed; only whom it finds and what arrives does not. All
// members are used by its own thread.
//
// The high byte of a message number says what the message is, the rest is a number: for data how
// many the sender has sent to this mailbox before, so that a gap, a message that comes twice and
// one that overtakes another show at once. A sync carries how many there were by then, and is
// echoed.
#ifndef ITC_CHAOS_PLAYER_H
#define ITC_CHAOS_PLAYER_H

#include "board.h"

#include <itc.h>

#include <cstdint>
#include <string>
#include <unordered_map>
#include <unordered_set>

namespace ItcChaos {

class Player {
public:
    Player(const World& world, unsigned worker, unsigned player, unsigned life);
    void run();

private:
    struct Outgoing {
        std::uint32_t sent = 0;
        std::uint32_t sinceSync = 0;
        bool awaitsEcho = false;
    };
    struct Incoming {
        std::uint32_t received = 0;
        bool isGone = false;
    };
    struct Monitor {
        itc_mbox_id_t target;
        itc_monitor_id_t id;
        bool isEnded;
    };

    void openMailbox();
    void closeMailbox();
    void act(std::uint64_t decision);
    std::string someName(std::uint64_t decision) const;
    itc_mbox_id_t someone(std::uint64_t decision) const;
    void send(itc_mbox_id_t receiver, std::uint64_t count);
    void sync(itc_mbox_id_t receiver, Outgoing& outgoing);
    std::uint32_t watch(itc_mbox_id_t target);
    void unwatchOne(std::uint64_t decision);
    void askFor(const std::string& name);
    void ping(itc_mbox_id_t receiver, std::uint64_t decision);

    // Receives up to `most` messages that are there.
    void serve(std::uint64_t most);
    // Waits for at least one, in one of several ways. Fails when none comes.
    void waitAndServe(std::uint64_t decision, itc_mbox_id_t receiver);
    [[noreturn]] void failWaiting(itc_mbox_id_t receiver);
    void check(itc_msg* message);
    void checkData(const itc_msg* message, itc_mbox_id_t sender, std::uint32_t number);
    void checkGone(itc_mbox_id_t sender, std::uint32_t number);
    void checkFound(std::uint32_t number);
    void drain();
    bool isDrained(const std::unordered_set<itc_mbox_id_t>& living);
    [[noreturn]] void fail(const std::string& what) const;

    const World& world_;
    const unsigned worker_;
    const unsigned player_;
    const unsigned life_;
    Decisions decisions_;

    itc_mbox_id_t id_ = ITC_NO_MAILBOX;
    std::uint32_t lastNumber_ = 0;
    std::unordered_map<itc_mbox_id_t, Outgoing> outgoing_;
    std::unordered_map<itc_mbox_id_t, Incoming> incoming_;
    std::unordered_map<std::uint32_t, Monitor> monitors_;      // by the number of the indication
    std::unordered_map<std::uint32_t, std::string> requests_;  // likewise
};

// The ids of all mailboxes of the domain.
std::unordered_set<itc_mbox_id_t> livingMailboxes();

}  // namespace ItcChaos

#endif
