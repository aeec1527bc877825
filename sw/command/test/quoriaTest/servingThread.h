// servingThread.h: a thread that can serve synchronous and asynchronous commands.
//
// Test support.
//
// It owns a mailbox that feeds its message subscription, and runs its event loop until it is
// destroyed. Any thread may call it.
#ifndef QUORIATEST_SERVINGTHREAD_H
#define QUORIATEST_SERVINGTHREAD_H

#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <string>

namespace Quoria::ActiveObject::V1 {
class ActiveObjectIf;
}

namespace QuoriaTest {

class ServingThread {
public:
    ServingThread();

    // Runs the function on the thread and waits for it.
    void call(const std::function<void()>& function);
    // Lets the function run on the thread some time.
    void post(const std::function<void()>& function);

    std::uint32_t mailbox() const { return mailbox_; }

    // The thread does nothing from now on until a message is in its mailbox, which the future
    // tells; then it handles that one.
    std::future<void> holdUntilAMessageComes();

    // Waits until the thread has dealt with the end of that mailbox.
    void awaitEndOf(std::uint32_t mailbox);

private:
    std::uint32_t mailbox_ = 0;
    // The last member, so that its end comes first.
    std::shared_ptr<Quoria::ActiveObject::V1::ActiveObjectIf> thread_;
};

// Waits until a mailbox has that name; returns the mailbox. The calling thread must own one.
std::uint32_t awaitMailbox(const std::string& name);

}  // namespace QuoriaTest

#endif
