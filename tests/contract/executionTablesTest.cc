// The places of the virtual operations of the event loop, the active object and the timer manager,
// and of what they call.

#include <quoria/activeObject/activeObjectIf.h>
#include <quoria/eventLoop/eventLoopIf.h>
#include <quoria/timer/timerManagerIf.h>

#include <gmock/gmock.h>

#include <chrono>
#include <functional>

#include "eventLoopOsWrapper.h"
#include "timerManagerOsWrapper.h"
#include "virtualTable.h"

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

using Function = std::function<void()>;

class RecordedEventLoop : public Recorder<Quoria::EventLoop::V1::EventLoopIf> {
public:
    using FdHandler = std::function<void(int, unsigned int)>;

    ReturnCode addFdHandler(int fd, unsigned int events, const FdHandler& handler) override {
        note("addFdHandler", fd, events);
        handler(fd, events);
        return ALREADY_EXISTS;
    }
    ReturnCode updateFdEvents(int fd, unsigned int events) override {
        note("updateFdEvents", fd, events);
        return NOT_FOUND;
    }
    ReturnCode removeFdHandler(int fd) override {
        note("removeFdHandler", fd);
        return INVALID_EVENTS;
    }
    ReturnCode run() override {
        note("run");
        return WRONG_THREAD;
    }
    ReturnCode scheduleEvent(const Function& event) override {
        note("scheduleEvent");
        event();
        return OS_ERROR;
    }
    ReturnCode stop() override {
        note("stop");
        return OK;
    }
};

using EventLoopTable = VirtualTable;

TEST_F(EventLoopTable, HasSixOperationsInTheirOrder) {
    RecordedEventLoop loop;
    const RecordedEventLoop::FdHandler handler = [](int fd, unsigned int events) {
        note("handler", fd, events);
    };

    EXPECT_EQ((Operation<unsigned int(int, unsigned int, decltype(handler)&)>::callAt(0, &loop, 7,
                                                                                      3, handler)),
              1U);
    EXPECT_EQ((Operation<unsigned int(int, unsigned int)>::callAt(1, &loop, 7, 2)), 2U);
    EXPECT_EQ(Operation<unsigned int(int)>::callAt(2, &loop, 7), 3U);
    EXPECT_EQ(Operation<unsigned int()>::callAt(3, &loop), 4U);
    EXPECT_EQ(Operation<unsigned int(const Function&)>::callAt(4, &loop, [] { note("event"); }),
              5U);
    EXPECT_EQ(Operation<unsigned int()>::callAt(5, &loop), 0U);

    EXPECT_THAT(takeCalls(),
                ElementsAre("addFdHandler(7, 3)", "handler(7, 3)", "updateFdEvents(7, 2)",
                            "removeFdHandler(7)", "run()", "scheduleEvent()", "event()", "stop()"));
}

TEST_F(EventLoopTable, EndsWithTheDestructors) {
    EXPECT_THAT(destroyThroughTable<RecordedEventLoop>(6),
                ElementsAre("destroyed()", "-", "destroyed()", "freed()"));
}

class RecordedEventLoopOsWrapper : public Recorder<EventLoopOsWrapper> {
public:
    int epollCreate1(int flags) override {
        note("epollCreate1", flags);
        return 11;
    }
    int epollCtl(int epfd, int op, int fd, epoll_event* event) override {
        note("epollCtl", epfd, op, fd, event->events);
        return 12;
    }
    int epollWait(int epfd, epoll_event* events, int maxevents, int timeout) override {
        note("epollWait", epfd, events->events, maxevents, timeout);
        return 13;
    }
};

using EventLoopOsWrapperTable = VirtualTable;

TEST_F(EventLoopOsWrapperTable, BeginsWithTheDestructors) {
    EXPECT_THAT(destroyThroughTable<RecordedEventLoopOsWrapper>(0),
                ElementsAre("destroyed()", "-", "destroyed()", "freed()"));
}

TEST_F(EventLoopOsWrapperTable, HasThreeCallsInTheirOrderBehindTheDestructors) {
    RecordedEventLoopOsWrapper wrapper;
    epoll_event event = {};
    event.events = 5;

    EXPECT_EQ(Operation<int(int)>::callAt(2, &wrapper, 9), 11);
    EXPECT_EQ((Operation<int(int, int, int, epoll_event*)>::callAt(3, &wrapper, 1, 2, 3, &event)),
              12);
    EXPECT_EQ((Operation<int(int, epoll_event*, int, int)>::callAt(4, &wrapper, 1, &event, 3, -1)),
              13);

    EXPECT_THAT(takeCalls(),
                ElementsAre("epollCreate1(9)", "epollCtl(1, 2, 3, 5)", "epollWait(1, 5, 3, -1)"));
}

class RecordedActiveObject : public Recorder<Quoria::ActiveObject::V1::ActiveObjectIf> {
public:
    void executeFunction(const Function& function) override {
        note("executeFunction");
        function();
    }
};

using ActiveObjectTable = VirtualTable;

TEST_F(ActiveObjectTable, HasOneOperation) {
    RecordedActiveObject object;

    Operation<void(const Function&)>::callAt(0, &object, [] { note("function"); });

    EXPECT_THAT(takeCalls(), ElementsAre("executeFunction()", "function()"));
}

TEST_F(ActiveObjectTable, EndsWithTheDestructors) {
    EXPECT_THAT(destroyThroughTable<RecordedActiveObject>(1),
                ElementsAre("destroyed()", "-", "destroyed()", "freed()"));
}

using Quoria::Timer::V1::TimeoutReceiverIf;
using Milliseconds = std::chrono::milliseconds;

class RecordedReceiver : public Recorder<TimeoutReceiverIf> {
public:
    void handleTimeout(unsigned int timerId) override { note("handleTimeout", timerId); }
};

using TimeoutReceiverTable = VirtualTable;

TEST_F(TimeoutReceiverTable, HasOneOperation) {
    RecordedReceiver receiver;

    Operation<void(unsigned int)>::callAt(0, &receiver, 8);

    EXPECT_THAT(takeCalls(), ElementsAre("handleTimeout(8)"));
}

TEST_F(TimeoutReceiverTable, EndsWithTheDestructors) {
    EXPECT_THAT(destroyThroughTable<RecordedReceiver>(1),
                ElementsAre("destroyed()", "-", "destroyed()", "freed()"));
}

class RecordedTimerManager : public Recorder<Quoria::Timer::V1::TimerManagerIf> {
public:
    ReturnCode startTimer(const Milliseconds& timeout, TimeoutReceiverIf* receiver,
                          unsigned int timerId) override {
        note("startTimer", timeout.count(), receiver != nullptr, timerId);
        return ALREADY_EXISTS;
    }
    ReturnCode startPeriodicalTimer(const Milliseconds& period, TimeoutReceiverIf* receiver,
                                    unsigned int timerId) override {
        note("startPeriodicalTimer", period.count(), receiver != nullptr, timerId);
        return NOT_FOUND;
    }
    ReturnCode cancelTimer(TimeoutReceiverIf* receiver, unsigned int timerId) override {
        note("cancelTimer", receiver != nullptr, timerId);
        return WRONG_THREAD;
    }
};

using TimerManagerTable = VirtualTable;

TEST_F(TimerManagerTable, HasThreeOperationsInTheirOrder) {
    RecordedTimerManager manager;
    RecordedReceiver receiver;
    using Start = Operation<unsigned int(const Milliseconds&, TimeoutReceiverIf*, unsigned int)>;

    EXPECT_EQ(Start::callAt(0, &manager, 20ms, &receiver, 8), 1U);
    EXPECT_EQ(Start::callAt(1, &manager, 30ms, nullptr, 9), 2U);
    EXPECT_EQ((Operation<unsigned int(TimeoutReceiverIf*, unsigned int)>::callAt(2, &manager,
                                                                                 nullptr, 9)),
              3U);

    EXPECT_THAT(takeCalls(), ElementsAre("startTimer(20, 1, 8)", "startPeriodicalTimer(30, 0, 9)",
                                         "cancelTimer(0, 9)"));
}

TEST_F(TimerManagerTable, EndsWithTheDestructors) {
    EXPECT_THAT(destroyThroughTable<RecordedTimerManager>(3),
                ElementsAre("destroyed()", "-", "destroyed()", "freed()"));
}

class RecordedTimerManagerOsWrapper : public Recorder<Quoria::Timer::V1::TimerManagerOsWrapper> {
public:
    int timerfdCreate(int clockid, int flags) override {
        note("timerfdCreate", clockid, flags);
        return 11;
    }
    int timerfdSettime(int fd, int flags, const itimerspec* newValue,
                       itimerspec* oldValue) override {
        note("timerfdSettime", fd, flags, newValue->it_value.tv_sec, oldValue->it_value.tv_sec);
        return 12;
    }
};

using TimerManagerOsWrapperTable = VirtualTable;

TEST_F(TimerManagerOsWrapperTable, BeginsWithTheDestructors) {
    EXPECT_THAT(destroyThroughTable<RecordedTimerManagerOsWrapper>(0),
                ElementsAre("destroyed()", "-", "destroyed()", "freed()"));
}

TEST_F(TimerManagerOsWrapperTable, HasTwoCallsInTheirOrderBehindTheDestructors) {
    RecordedTimerManagerOsWrapper wrapper;
    const itimerspec newValue = {{0, 0}, {5, 0}};
    itimerspec oldValue = {{0, 0}, {6, 0}};

    EXPECT_EQ((Operation<int(int, int)>::callAt(2, &wrapper, 1, 2)), 11);
    EXPECT_EQ((Operation<int(int, int, const itimerspec*, itimerspec*)>::callAt(
                  3, &wrapper, 3, 4, &newValue, &oldValue)),
              12);

    EXPECT_THAT(takeCalls(), ElementsAre("timerfdCreate(1, 2)", "timerfdSettime(3, 4, 5, 6)"));
}

}  // namespace
