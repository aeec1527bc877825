#include <quoria/activeObject/activeObjectIf.h>

#include <gtest/gtest.h>
#include <quoriaTest/traceCapture.h>
#include <sys/eventfd.h>

#include <cerrno>
#include <cstddef>
#include <future>
#include <memory>
#include <sstream>
#include <string>
#include <thread>

#include "activeObjectFixture.h"
#include "activeObjectThreadPeer.h"
#include "nthCall.h"
#include "osFaults.h"

namespace {

using Quoria::ActiveObject::Backend::ActiveObjectThread;
using Peer = Quoria::ActiveObject::Backend::ActiveObjectThreadTestPeer;
using QuoriaTest::TraceCapture;

class ActiveObjectTrace : public ActiveObjectFixture {
protected:
    template <typename T>
    static std::string text(const T& value) {
        std::ostringstream stream;
        stream << value;
        return stream.str();
    }
    static std::string text(const ActiveObjectThread& thread) {
        return "ActiveObjectThread(" + text(static_cast<const void*>(&thread)) + ")";
    }
    static std::string here() { return text(std::this_thread::get_id()); }

    // Starts `thread` and returns its id as text.
    static std::string startAndIdentify(ActiveObjectThread& thread) {
        const auto id = std::make_shared<std::promise<std::string>>();
        EXPECT_TRUE(thread.start(false, [id] { id->set_value(here()); }));
        return id->get_future().get();
    }

    // Of all the events, TRACE1 ones only are expected in these tests.
    const TraceCapture trace;
};

TEST_F(ActiveObjectTrace, CreationNamesTheObject) {
    const ActiveObjectThread thread("test");
    EXPECT_EQ(trace.messages("TRACE1"), Notes{text(thread) + " created"});
}

TEST_F(ActiveObjectTrace, AnObjectThatWasNeverStartedGoesSilently) {
    { const ActiveObjectThread thread("test"); }
    EXPECT_EQ(trace.events().size(), 1U);
}

TEST_F(ActiveObjectTrace, TheThreadNamesItselfAndItsDescriptor) {
    ActiveObjectThread thread("test");
    const std::string id = startAndIdentify(thread);
    EXPECT_EQ(trace.count("TRACE1", "ActiveObjectThread started; thread=" + id +
                                        ", eventFd=" + text(Peer::eventFd(thread))),
              1U);
}

TEST_F(ActiveObjectTrace, TheThreadNamesItselfInTheTraceBeforeAnythingElse) {
    const std::string firstWords = "ActiveObjectThread started; thread=";
    bool hasSpoken = false;
    OsFaults::whenHeldThreadIsNamed([&] {
        for (const std::string& message : trace.messages("TRACE1")) {
            hasSpoken = hasSpoken || message.rfind(firstWords, 0) == 0;
        }
    });
    finish(*ActiveObjectIf::create(OsFaults::kHeldThread, {}, Policy{}));
    EXPECT_TRUE(hasSpoken);
}

TEST_F(ActiveObjectTrace, PostingNamesBothThreads) {
    ActiveObjectThread thread("test");
    const std::string id = startAndIdentify(thread);
    thread.scheduleFunction([] {});
    EXPECT_EQ(trace.count("TRACE1", text(thread) + " scheduling function call, bound for thread: " +
                                        id + ". Current thread is: " + here()),
              1U);
}

TEST_F(ActiveObjectTrace, PostingBeforeTheStartIsBoundForNoThread) {
    ActiveObjectThread thread("test");
    Peer::giveEventFd(thread, eventfd(0, EFD_CLOEXEC));
    thread.scheduleFunction([] {});
    EXPECT_EQ(trace.messages("TRACE1").back(),
              text(thread) +
                  " scheduling function call, bound for thread: thread::id of a non-executing "
                  "thread. Current thread is: " +
                  here());
}

TEST_F(ActiveObjectTrace, ACallNamesItsThread) {
    ActiveObjectThread thread("test");
    const std::string id = startAndIdentify(thread);
    const Gate called;
    thread.scheduleFunction([called] { called.open(); });
    called.pass();
    EXPECT_EQ(
        trace.count("TRACE1", text(thread) + " invoking application function in AO thread: " + id),
        1U);
}

TEST_F(ActiveObjectTrace, ReleasingOnAnotherThreadNamesBothAndEndsWithTheThreadsLastWords) {
    auto thread = std::make_unique<ActiveObjectThread>("test");
    const std::string name = text(*thread);
    const std::string id = startAndIdentify(*thread);
    const std::size_t before = trace.events().size();
    thread.reset();
    Notes messages = trace.messages("TRACE1");
    messages.erase(messages.begin(), messages.begin() + static_cast<std::ptrdiff_t>(before));
    EXPECT_EQ(messages, (Notes{name + " terminating AO thread=" + id + " from thread: " + here(),
                               name + " scheduling function call, bound for thread: " + id +
                                   ". Current thread is: " + here(),
                               name + " invoking application function in AO thread: " + id,
                               "Active object thread " + id + " finished"}));
}

TEST_F(ActiveObjectTrace, AThreadWhoseLoopFailsHasItsLastWordsToo) {
    NthCall::fail("epoll_wait", 1, EIO);
    auto thread = std::make_unique<ActiveObjectThread>("test");
    const std::string id = startAndIdentify(*thread);
    thread.reset();
    EXPECT_TRUE(NthCall::disarm());
    EXPECT_EQ(trace.count("TRACE1", "Active object thread " + id + " finished"), 1U);
}

TEST_F(ActiveObjectTrace, ReleasingOnTheOwnThreadNamesItTwiceAndPostsNothing) {
    const Gate ended;
    const Gate posted;
    auto thread = std::make_shared<ActiveObjectThread>("test");
    const std::string name = text(*thread);
    std::promise<std::string> identified;
    ASSERT_TRUE(thread->start(false, [&, ended] {
        openWhenThisThreadEnds(ended);
        identified.set_value(here());
    }));
    const std::string id = identified.get_future().get();
    thread->scheduleFunction([&thread, posted] {
        posted.pass();
        thread.reset();
    });
    const std::size_t before =
        trace.count("TRACE1", name + " scheduling function call, bound for thread: " + id +
                                  ". Current thread is: " + here());
    posted.open();
    ended.pass();
    EXPECT_EQ(before, 1U);
    const Notes messages = trace.messages("TRACE1");
    ASSERT_GE(messages.size(), 2U);
    EXPECT_EQ(Notes(messages.end() - 2, messages.end()),
              (Notes{name + " terminating AO thread=" + id + " from thread: " + id,
                     "Active object thread " + id + " finished"}));
}

TEST_F(ActiveObjectTrace, LifeCycleAndFlowGoOutAsTrace1WithoutAnObject) {
    create()->executeFunction([] {});
    const auto events = trace.events();
    EXPECT_EQ(events.size(), 8U);
    for (const auto& event : events) {
        EXPECT_EQ(event.name, "TRACE1");
        EXPECT_EQ(event.obj, "-");
        EXPECT_EQ(event.file, "activeObjectThread.cc");
    }
}

TEST_F(ActiveObjectTrace, AMissingDescriptorIsTracedAsInfo) {
    OsFaults::failEventFd(EMFILE);
    ActiveObjectThread thread("test");
    EXPECT_FALSE(thread.start(false, {}));
    EXPECT_EQ(trace.messages("INFO"), Notes{"ABN: eventfd failed: Too many open files (24)"});
    EXPECT_TRUE(trace.messages("ERROR").empty());
}

}  // namespace
