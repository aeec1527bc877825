// One call of an active object's life fails, each in its turn, and everything around it goes on.
#include <quoria/activeObject/activeObjectIf.h>

#include <gmock/gmock.h>
#include <quoriaTest/noNewThreads.h>
#include <quoriaTest/traceCapture.h>

#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <system_error>

#include "activeObjectFixture.h"
#include "nthCall.h"
#include "osFaults.h"

namespace {

using QuoriaTest::TraceCapture;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

class ActiveObjectFault : public ActiveObjectFixture {
protected:
    ~ActiveObjectFault() override {
        NthCall::disarm();
        OsFaults::clear();
    }

    // What has run in the life of an active object that is given all that it can be given: in all
    // four wake-ups, the release being the last.
    Notes use() {
        Policy policy{};
        policy.policy = Policy::FIFO;
        Uses uses;
        std::shared_ptr<ActiveObjectIf> object =
            ActiveObjectIf::create("test", uses.noting("start"), policy);
        if (object == nullptr) {
            return {"none"};
        }
        for (const char* function : {"1", "2", "3"}) {
            object->executeFunction(uses.noting(function));
        }
        object.reset();
        return uses.notes;
    }

    // Lets each call of `function` fail in its turn, and expects that there are `count` of them.
    // `expect` is told which, what has run, and what has been traced.
    void failEach(const char* function, int count,
                  const std::function<void(int, const Notes&, const TraceCapture&)>& expect) {
        const auto before = openDescriptors();
        int n = 1;
        for (bool hasCome = true; hasCome; ++n) {
            SCOPED_TRACE(std::string(function) + ' ' + std::to_string(n));
            const TraceCapture trace({"ERROR", "INFO"});
            NthCall::fail(function, n, EIO);
            const Notes ran = use();
            hasCome = NthCall::disarm();
            if (hasCome) {
                expect(n, ran, trace);
            }
            EXPECT_EQ(openDescriptors(), before);
        }
        EXPECT_EQ(n - 2, count) << "calls of " << function;
    }

    static std::ptrdiff_t openDescriptors() {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    }
    static std::string failed(const std::string& call) {
        return call + " failed: Input/output error (5)";
    }

    const Notes everything_ = {"start", "1", "2", "3"};

private:
    // Only the thread of the active object takes notes, and only before the release returns.
    struct Uses {
        std::function<void()> noting(const std::string& text) {
            return [this, text] { notes.push_back(text); };
        }
        Notes notes;
    };
};

TEST_F(ActiveObjectFault, OfAnyOneWriteIsTracedAndEverythingRuns) {
    failEach("write", 4, [this](int, const Notes& ran, const TraceCapture& trace) {
        EXPECT_EQ(ran, everything_);
        EXPECT_THAT(trace.messages("ERROR"), ElementsAre(failed("write")));
        EXPECT_EQ(trace.events().size(), 1U);
    });
}

TEST_F(ActiveObjectFault, OfAnyOneReadIsTracedAndEverythingRuns) {
    failEach("read", 4, [this](int, const Notes& ran, const TraceCapture& trace) {
        EXPECT_EQ(ran, everything_);
        EXPECT_THAT(trace.messages("ERROR"), ElementsAre(failed("read")));
        EXPECT_EQ(trace.events().size(), 1U);
    });
}

TEST_F(ActiveObjectFault, OfAnyOneWaitEndsTheThreadThere) {
    failEach("epoll_wait", 4, [this](int n, const Notes& ran, const TraceCapture& trace) {
        EXPECT_EQ(ran, Notes(everything_.begin(), everything_.begin() + n));
        EXPECT_THAT(trace.messages("ERROR"), ElementsAre(failed("epoll_wait")));
        EXPECT_EQ(trace.events().size(), 1U);
    });
}

TEST_F(ActiveObjectFault, OfTheLoopsDescriptorEndsTheThreadBeforeAnythingRuns) {
    failEach("epoll_create1", 1, [](int, const Notes& ran, const TraceCapture& trace) {
        EXPECT_THAT(ran, IsEmpty());
        EXPECT_THAT(trace.messages("ERROR"),
                    ElementsAre(failed("epoll_create1"),
                                MatchesRegex("Failed to add fd=[0-9]+ to the event loop")));
        EXPECT_EQ(trace.events().size(), 2U);
    });
}

TEST_F(ActiveObjectFault, OfTheRegistrationEndsTheThreadAndOfTheRemovalIsIgnored) {
    failEach("epoll_ctl", 2, [this](int n, const Notes& ran, const TraceCapture& trace) {
        if (n == 1) {
            EXPECT_THAT(ran, IsEmpty());
            EXPECT_THAT(trace.messages("ERROR"),
                        ElementsAre(failed("epoll_ctl(ADD)"),
                                    MatchesRegex("Failed to add fd=[0-9]+ to the event loop")));
        } else {
            EXPECT_EQ(ran, everything_);
            EXPECT_THAT(trace.events(), IsEmpty());
        }
    });
}

TEST_F(ActiveObjectFault, OfTheThreadsNameAndSchedulingIsIgnored) {
    const auto before = openDescriptors();
    const std::function<void()> faults[] = {
        [] { OsFaults::failSetName(ERANGE); },
        [] { OsFaults::failGetSchedParam(ESRCH); },
        [] { OsFaults::answerSetSchedParam(EPERM); },
    };
    for (const auto& arm : faults) {
        OsFaults::clear();
        arm();
        const TraceCapture trace({"ERROR", "INFO"});
        EXPECT_EQ(use(), everything_);
        EXPECT_THAT(trace.events(), IsEmpty());
        EXPECT_EQ(openDescriptors(), before);
    }
}

TEST_F(ActiveObjectFault, OfTheWakeUpDescriptorOrOfTheThreadMakesNoActiveObject) {
    const auto before = openDescriptors();
    const TraceCapture trace({"ERROR", "INFO"});

    OsFaults::failEventFd(EIO);
    EXPECT_THAT(use(), ElementsAre("none"));
    EXPECT_THAT(trace.messages("INFO"), ElementsAre("ABN: " + failed("eventfd")));
    {
        const QuoriaTest::NoNewThreads none;
        EXPECT_THROW(use(), std::system_error);
    }

    EXPECT_EQ(trace.events().size(), 1U);
    EXPECT_EQ(openDescriptors(), before);
}

}  // namespace
