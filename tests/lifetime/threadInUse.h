// threadInUse.h: threads on which all six instances that exist once per thread are in use.
//
// Test support.
//
// An instance is known by its letter: the event (l)oop, the (t)imer manager, the message
// (s)ubscription, the mailbox l(o)cator, the mailbox (m)onitor and the server of remote (c)ommands.
#ifndef THREADINUSE_H
#define THREADINUSE_H

#include <quoria/timer/timeoutReceiverIf.h>

#include <atomic>
#include <cstddef>
#include <memory>
#include <string>

namespace QuoriaTest {

using Order = std::string;

// The one from which std::next_permutation() reaches all others.
Order firstOrder();

// What tells afterwards how a thread has ended.
struct Traces : Quoria::Timer::V1::TimeoutReceiverIf {
    void handleTimeout(unsigned int) override { ++calls; }

    // Every callback that the thread has handed over shares it.
    std::shared_ptr<int> kept = std::make_shared<int>(0);
    // How many of them, and of the timers, have come to a call.
    std::atomic<int> calls{0};
};

// Gives the calling thread, the process's main one, a mailbox, for the others to watch.
void prepareProcess();
// Makes the keys of the instances, for the whole process and in that order, but no instance.
void makeKeys(const Order& order);
// Has all descriptors opened that outlast a thread, those of the command registry among them.
void openWhatStays();

// Makes the calling thread's instances in that order, has each of them deliver something or watch
// a descriptor, and leaves callbacks of every kind pending.
void useThread(const Order& order, Traces& traces);

// Of this process, open.
std::size_t countDescriptors();

}  // namespace QuoriaTest

#endif
