// eventLoopFixture.h: the event loop of the test's thread, with system calls that can be scripted.
//
// Only the test's own thread uses it. The loop is a fresh one for every test.
#ifndef QUORIA_EVENTLOOP_TEST_EVENTLOOPFIXTURE_H
#define QUORIA_EVENTLOOP_TEST_EVENTLOOPFIXTURE_H

#include <gtest/gtest.h>
#include <quoria/eventLoop/eventLoopIf.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "doorbell.h"
#include "eventLoopImpl.h"
#include "scriptedOsWrapper.h"

namespace Quoria::EventLoop::V1 {

class EventLoopTestPeer {
public:
    static void replaceOsWrapper(EventLoopImpl& loop,
                                 const std::shared_ptr<EventLoopOsWrapper>& osWrapper) {
        loop.osWrapper = osWrapper;
    }
    static std::weak_ptr<EventLoopOsWrapper> osWrapper(const EventLoopImpl& loop) {
        return loop.osWrapper;
    }
    static int epollFd(const EventLoopImpl& loop) { return loop.epollFd; }
    static bool running(const EventLoopImpl& loop) { return loop.running; }
    static std::size_t queueLength(const EventLoopImpl& loop) {
        return loop.scheduledEvents.size();
    }
};

}  // namespace Quoria::EventLoop::V1

// Something for a callback to capture: it tells the test when the last copy of the callback is
// gone.
class Captured {
public:
    explicit Captured(std::function<void()> onDestruction = {})
        : token_(new int(1),
                 [action = std::move(onDestruction)](const int* token) {
                     delete token;
                     if (action) {
                         action();
                     }
                 }),
          watch_(token_) {}

    // For the callback to hold.
    std::shared_ptr<int> release() { return std::exchange(token_, nullptr); }
    bool alive() const { return !watch_.expired(); }

private:
    std::shared_ptr<int> token_;
    std::weak_ptr<int> watch_;
};

class EventLoopFixture : public testing::Test {
protected:
    using EventLoopIf = Quoria::EventLoop::V1::EventLoopIf;
    using EventLoopImpl = Quoria::EventLoop::V1::EventLoopImpl;
    using Peer = Quoria::EventLoop::V1::EventLoopTestPeer;
    static constexpr auto IN = EventLoopIf::EVENT_IN;
    static constexpr auto OUT = EventLoopIf::EVENT_OUT;

    EventLoopFixture()
        : loop(*EventLoopImpl::getInstance()), os(std::make_shared<ScriptedOsWrapper>()) {
        Peer::replaceOsWrapper(loop, os);
    }
    ~EventLoopFixture() override {
        os->onWait = nullptr;
        EventLoopImpl::reset();
    }

    // A handler that notes `name` in `log`.
    std::function<void(int, unsigned int)> note(const std::string& name) {
        return [this, name](int, unsigned int) { log.push_back(name); };
    }
    std::function<void()> noteDeferred(const std::string& name) {
        return [this, name] { log.push_back(name); };
    }
    void add(const Doorbell& bell, const std::function<void(int, unsigned int)>& handler) {
        ASSERT_EQ(loop.addFdHandler(bell.fd(), IN, handler), EventLoopIf::OK);
    }
    // Runs the loop through the waits scripted so far and stops it in the one after.
    EventLoopIf::ReturnCode runScript() {
        os->interrupt([this] { loop.stop(); });
        return loop.run();
    }

    EventLoopImpl& loop;
    const std::shared_ptr<ScriptedOsWrapper> os;
    std::vector<std::string> log;
    Doorbell a;
    Doorbell b;
    Doorbell c;
};

#endif
