// The fields of the records of the event loop, the active object and the timer manager.

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include "activeObjectImpl.h"
#include "activeObjectThread.h"
#include "eventLoopImpl.h"
#include "fields.h"
#include "timerData.h"
#include "timerManagerImpl.h"

namespace EventLoop = Quoria::EventLoop::V1;
namespace Timer = Quoria::Timer::V1;
using Quoria::ActiveObject::Backend::ActiveObjectThread;
using Quoria::ActiveObject::V1::ActiveObjectImpl;
using Function = std::function<void()>;

struct FdHandlerFields {
    friend Places placesOf(FdHandlerFields);
};
template struct Fields<
    FdHandlerFields, Nothing, Field<int, &EventLoop::EventLoopImpl::FdHandler::fd>,
    Field<std::uint32_t, &EventLoop::EventLoopImpl::FdHandler::events>,
    Field<std::function<void(int, unsigned int)>, &EventLoop::EventLoopImpl::FdHandler::callback>>;

struct EventLoopFields {
    friend Places placesOf(EventLoopFields);
};
template struct Fields<
    EventLoopFields, Table, Field<int, &EventLoop::EventLoopImpl::epollFd>,
    Field<pthread_t, &EventLoop::EventLoopImpl::ownerThread>,
    Field<std::shared_ptr<EventLoopOsWrapper>, &EventLoop::EventLoopImpl::osWrapper>,
    Field<bool, &EventLoop::EventLoopImpl::running>,
    Field<std::unordered_map<int, std::shared_ptr<EventLoop::EventLoopImpl::FdHandler>>,
          &EventLoop::EventLoopImpl::fdHandlers>,
    Field<std::unordered_map<int, std::shared_ptr<EventLoop::EventLoopImpl::FdHandler>>,
          &EventLoop::EventLoopImpl::removedFdHandlers>,
    Field<std::vector<Function>, &EventLoop::EventLoopImpl::scheduledEvents>>;

struct ActiveObjectFields {
    friend Places placesOf(ActiveObjectFields);
};
template struct Fields<
    ActiveObjectFields, Table,
    Field<std::shared_ptr<ActiveObjectThread>, &ActiveObjectImpl::activeObjectThread>>;

struct ActiveObjectThreadFields {
    friend Places placesOf(ActiveObjectThreadFields);
};
template struct Fields<
    ActiveObjectThreadFields, Nothing, Field<std::string, &ActiveObjectThread::name>,
    Field<std::thread, &ActiveObjectThread::thread>, Field<int, &ActiveObjectThread::eventFd>,
    Field<std::mutex, &ActiveObjectThread::queueMutex>,
    Field<std::vector<Function>, &ActiveObjectThread::functionQueue>>;

struct TimerDataFields {
    friend Places placesOf(TimerDataFields);
};
template struct Fields<
    TimerDataFields, Nothing, Field<Timer::TimeoutReceiverIf*, &Timer::TimerData::receiver>,
    Field<unsigned int, &Timer::TimerData::timerId>, Field<bool, &Timer::TimerData::periodical>,
    Field<std::chrono::milliseconds, &Timer::TimerData::period>>;

struct TimerManagerFields {
    friend Places placesOf(TimerManagerFields);
};
template struct Fields<
    TimerManagerFields, Table, Field<pthread_t, &Timer::TimerManagerImpl::ownerThread_>,
    Field<int, &Timer::TimerManagerImpl::timerFd_>,
    Field<std::shared_ptr<Timer::TimerManagerOsWrapper>, &Timer::TimerManagerImpl::osWrapper_>,
    Field<std::multimap<std::chrono::steady_clock::time_point, Timer::TimerData>,
          &Timer::TimerManagerImpl::timers_>>;

namespace {

TEST(EventLoopRecords, HaveTheirFieldsInOrder) {
    expectInOrderAndNoMore(placesOf(FdHandlerFields()));
    expectInOrder(placesOf(EventLoopFields()));
}

TEST(ActiveObjectRecords, HaveTheirFieldsInOrder) {
    expectInOrderAndNoMore(placesOf(ActiveObjectFields()));
    expectInOrder(placesOf(ActiveObjectThreadFields()));
}

TEST(TimerRecords, HaveTheirFieldsInOrder) {
    expectInOrderAndNoMore(placesOf(TimerDataFields()));
    expectInOrder(placesOf(TimerManagerFields()));
}

}  // namespace
