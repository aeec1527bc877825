#include "locatorFixture.h"

#include <quoria/threadLocal/threadLocalLinux.h>
#include <quoriaTest/traceCapture.h>

#include <memory>
#include <thread>

namespace {

namespace FakeItc = QuoriaTest::FakeItc;
namespace LocateBlocks = QuoriaTest::LocateBlocks;

using Quoria::ItcMailboxLocator::V1::ItcMailboxLocatorIf;
using Quoria::ItcMessageSubscription::V1::ItcMessageSubscriptionIf;
using Quoria::ThreadLocal::V1::detail::ThreadLocalLinux;
using QuoriaTest::kFound;
using QuoriaTest::kOtherFound;
using QuoriaTest::TraceCapture;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr unsigned int kLocateIndMsgNo = 0x01707090;

// When the last copy of it goes, asks for a mailbox, `repeats` times from within each other.
class LocateAtEnd {
public:
    explicit LocateAtEnd(int repeats) : repeats_(repeats) {}
    ~LocateAtEnd() {
        if (repeats_ > 0) {
            ItcMailboxLocatorIf::getInstance().locate(
                "late", [next = std::make_shared<LocateAtEnd>(repeats_ - 1)](unsigned int) {});
        }
    }
    LocateAtEnd(const LocateAtEnd&) = delete;
    LocateAtEnd& operator=(const LocateAtEnd&) = delete;

private:
    const int repeats_;
};

class LocatorLifetime : public QuoriaTest::LocatorFixture {
protected:
    static bool handlesIndications() {
        Quoria::ItcMessageSubscription::V1::MsgHandler handler;
        return Subscription::getInstance().getMsgHandler(kLocateIndMsgNo, handler) ==
               ItcMessageSubscriptionIf::OK;
    }
};

TEST_F(LocatorLifetime, ALocatorHandlesItsThreadsIndicationsFromTheStart) {
    EXPECT_FALSE(handlesIndications());

    locator();

    EXPECT_TRUE(handlesIndications());
}

TEST_F(LocatorLifetime, ANumberThatIsTakenStaysWithWhoHasItUntilTheLocatorGoes) {
    int taken = 0;
    Subscription::getInstance().addMsgHandler(kLocateIndMsgNo, [&taken](const auto&) { ++taken; });
    locate("server");

    indicate(1, kFound);

    EXPECT_EQ(taken, 1);
    EXPECT_THAT(answers_, IsEmpty());
    Locator::reset();
    EXPECT_FALSE(handlesIndications());
}

TEST_F(LocatorLifetime, AResetEndsTheHandlingBeforeItDropsTheCallbacks) {
    bool handledAtTheDrop = true;
    const auto noteAtEnd = [&handledAtTheDrop](const int* token) {
        handledAtTheDrop = handlesIndications();
        delete token;
    };
    locator().locate("server",
                     [held = std::shared_ptr<int>(new int(0), noteAtEnd)](unsigned int) {});

    Locator::reset();

    EXPECT_FALSE(handledAtTheDrop);
}

TEST_F(LocatorLifetime, AResetEndsTheHandlingAndForgetsAllRequestsSilently) {
    const auto owned = std::make_shared<int>();
    locator().locate("server", [owned](unsigned int) { FAIL() << "dropped"; });
    FakeItc::takeCalls();

    Locator::reset();

    EXPECT_FALSE(handlesIndications());
    EXPECT_THAT(FakeItc::takeCalls(), IsEmpty());
    EXPECT_EQ(owned.use_count(), 1);
}

TEST_F(LocatorLifetime, AnIndicationAfterAResetIsAnUnhandledMessage) {
    FakeItc::setName(kFound, "server");
    locate("server");
    Locator::reset();
    const TraceCapture trace;

    indicate(1, kFound);

    EXPECT_THAT(
        trace.messages("ERROR"),
        ElementsAre("Unhandled ITC message 0x1707090 from 'server' received in mailbox '-'"));
    EXPECT_THAT(answers_, IsEmpty());
}

TEST_F(LocatorLifetime, AnIndicationFromBeforeAResetIsUnexpectedToTheNextLocator) {
    locate("server");
    Locator::reset();
    locator();
    const TraceCapture trace;

    indicate(1, kFound);

    EXPECT_THAT(trace.messages("ERROR"),
                ElementsAre("Received locate indication with unexpected identity: 1"));
    EXPECT_THAT(answers_, IsEmpty());
}

TEST_F(LocatorLifetime, AnIndicationFromBeforeAResetAnswersTheRequestThatHasItsIdentityNow) {
    locate("old");
    Locator::reset();
    locate("new");
    EXPECT_THAT(LocateBlocks::takeIdentities(), ElementsAre(1U, 1U));
    const TraceCapture trace;

    indicate(1, kFound);
    indicate(1, kOtherFound);

    EXPECT_THAT(answers_, ElementsAre(Answer("new", kFound)));
    EXPECT_EQ(trace.messages("ERROR").size(), 1U) << "the answer to the new request comes too late";
}

TEST_F(LocatorLifetime, AResetLeavesOtherThreadsAlone) {
    locate("server");

    std::thread(&Locator::reset).join();
    indicate(1, kFound);

    EXPECT_THAT(answers_, ElementsAre(Answer("server", kFound)));
}

TEST_F(LocatorLifetime, AResetOnAThreadWithoutALocatorMakesNone) {
    std::thread([] {
        Locator::reset();

        using ThreadInstance = ThreadLocalLinux<Locator, 1>;
        EXPECT_EQ(ThreadInstance::peekInstance(), nullptr);
    }).join();
}

TEST_F(LocatorLifetime, ACallbackMayResetTheLocator) {
    int calls = 0;
    for (int request = 0; request < 3; ++request) {
        locator().locate("server", [&calls](unsigned int) {
            Locator::reset();
            ++calls;
        });
    }

    indicate(1, kFound);

    EXPECT_EQ(calls, 1);
    EXPECT_FALSE(handlesIndications());
}

TEST_F(LocatorLifetime, ACallbackMayReplaceTheLocator) {
    locator().locate("server", [this](unsigned int) {
        Locator::reset();
        locate("next");
    });
    indicate(1, kFound);
    EXPECT_THAT(answers_, IsEmpty());

    indicate(1, kOtherFound);

    EXPECT_THAT(answers_, ElementsAre(Answer("next", kOtherFound)));
}

TEST_F(LocatorLifetime, ACallbackMayResetTheSubscriptionAsWell) {
    locator().locate("server", [](unsigned int) {
        Subscription::reset();
        Locator::reset();
    });

    indicate(1, kFound);

    EXPECT_FALSE(handlesIndications());
}

TEST_F(LocatorLifetime, WhatACallbackOwnsMayUseTheLocatorAsItGoes) {
    for (int request = 0; request < 8; ++request) {
        locator().locate("server", [last = std::make_shared<LocateAtEnd>(2)](unsigned int) {});
    }

    Locator::reset();

    EXPECT_EQ(LocateBlocks::takeIdentities().size(), 8U * 3);
    EXPECT_FALSE(handlesIndications());
}

TEST_F(LocatorLifetime, ASubscriptionThatIsResetUnderTheLocatorLosesTheIndications) {
    locate("server");

    Subscription::reset();
    indicate(1, kFound);

    EXPECT_THAT(answers_, IsEmpty());
}

// The threads library destroys a thread's instances in the order in which their classes were first
// used in the process; CTest gives each of these tests a process of its own.
TEST_F(LocatorLifetime, AThreadMayEndWithItsSubscriptionGoneFirst) {
    std::thread([] {
        Subscription::getInstance();
        locator().locate("server", [](unsigned int) {});
    }).join();
}

TEST_F(LocatorLifetime, AThreadMayEndWithItsLocatorGoneFirst) {
    std::thread([] {
        ThreadLocalLinux<Locator, 1>::peekInstance();  // makes the key and no instance
        locator().locate("server", [](unsigned int) {});
    }).join();
}

TEST_F(LocatorLifetime, AThreadThatEndsDropsItsCallbacksWithoutACall) {
    const auto owned = std::make_shared<int>();

    std::thread([owned] {
        locator().locate("server", [owned](unsigned int) { FAIL() << "dropped"; });
    }).join();

    EXPECT_EQ(owned.use_count(), 1);
}

TEST_F(LocatorLifetime, WhatACallbackOwnsMayUseTheLocatorWhileItsThreadEnds) {
    std::thread([] {
        locator().locate("server", [last = std::make_shared<LocateAtEnd>(1)](unsigned int) {});
    }).join();

    EXPECT_THAT(LocateBlocks::takeIdentities(), ElementsAre(1U, 1U)) << "the second of a new one";
}

}  // namespace
