// activeObjectFixture.h: what the tests of active objects share.
//
// Notes may be taken by any thread.
#ifndef QUORIA_ACTIVEOBJECT_TEST_ACTIVEOBJECTFIXTURE_H
#define QUORIA_ACTIVEOBJECT_TEST_ACTIVEOBJECTFIXTURE_H

#include <gtest/gtest.h>
#include <pthread.h>
#include <quoria/activeObject/activeObjectIf.h>
#include <quoria/eventLoop/eventLoopIf.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "osFaults.h"

// Closed until open() is called; the same for all who hold a copy.
class Gate {
public:
    Gate() : opened_(std::make_shared<std::promise<void>>()), future_(opened_->get_future()) {}
    void open() const { opened_->set_value(); }
    void pass() const { future_.wait(); }

private:
    std::shared_ptr<std::promise<void>> opened_;
    std::shared_future<void> future_;
};

// Opens a gate when the last copy of what has captured it is gone.
class OpensAtEnd {
public:
    explicit OpensAtEnd(Gate gate) : gate_(std::move(gate)) {}
    ~OpensAtEnd() { gate_.open(); }
    OpensAtEnd(const OpensAtEnd&) = delete;
    OpensAtEnd& operator=(const OpensAtEnd&) = delete;

private:
    const Gate gate_;
};

class ActiveObjectFixture : public testing::Test {
protected:
    using ActiveObjectIf = Quoria::ActiveObject::V1::ActiveObjectIf;
    using EventLoopIf = Quoria::EventLoop::V1::EventLoopIf;
    using Policy = ActiveObjectIf::SchedulingPolicy;
    using Notes = std::vector<std::string>;

    ActiveObjectFixture() { OsFaults::clear(); }
    ~ActiveObjectFixture() override {
        for (const int fd : descriptors_) {
            close(fd);
        }
    }

    static std::shared_ptr<ActiveObjectIf> create(const std::function<void()>& startFunction = {}) {
        return ActiveObjectIf::create("test", startFunction, Policy{});
    }

    void note(const std::string& text) {
        const std::lock_guard<std::mutex> lock(mutex_);
        notes_.push_back(text);
    }
    std::function<void()> noting(const std::string& text) {
        return [this, text] { note(text); };
    }
    Notes notes() {
        const std::lock_guard<std::mutex> lock(mutex_);
        return notes_;
    }

    // Posts `function` to run no earlier than this call is done with the active object, so that the
    // function may release it.
    static void post(ActiveObjectIf& object, const std::function<void()>& function) {
        const Gate done;
        object.executeFunction([done, function] {
            done.pass();
            function();
        });
        done.open();
    }
    // Runs `function` on the active object's thread and returns when it has run.
    static void call(ActiveObjectIf& object, const std::function<void()>& function) {
        const Gate done;
        object.executeFunction([&function, done] {
            function();
            done.open();
        });
        done.pass();
    }
    // Returns when everything posted before has run.
    static void finish(ActiveObjectIf& object) {
        call(object, [] {});
    }

    static std::string nameOfThisThread() {
        char name[16] = "";
        EXPECT_EQ(pthread_getname_np(pthread_self(), name, sizeof(name)), 0);
        return name;
    }

    // To be called on an active object's thread: the gate opens when that thread has left its body
    // and its loop is destroyed. It is held by the handler of a descriptor that never becomes
    // readable.
    void openWhenThisThreadEnds(const Gate& gate) {
        const int fd = newDescriptor();
        const auto held = std::make_shared<OpensAtEnd>(gate);
        EXPECT_EQ(EventLoopIf::getInstance()->addFdHandler(fd, EventLoopIf::EVENT_IN,
                                                           [held](int, unsigned int) {}),
                  EventLoopIf::OK);
    }
    // An eventfd that stays open until the end of the test.
    int newDescriptor() {
        const int fd = eventfd(0, EFD_CLOEXEC);
        EXPECT_NE(fd, -1);
        const std::lock_guard<std::mutex> lock(mutex_);
        descriptors_.push_back(fd);
        return fd;
    }

private:
    std::mutex mutex_;
    Notes notes_;
    std::vector<int> descriptors_;
};

#endif
