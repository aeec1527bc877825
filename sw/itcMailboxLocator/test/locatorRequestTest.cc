#include "locatorFixture.h"

#include <quoriaTest/traceCapture.h>

#include <limits>
#include <memory>
#include <stdexcept>
#include <thread>
#include <utility>

namespace {

namespace FakeItc = QuoriaTest::FakeItc;
namespace LocateBlocks = QuoriaTest::LocateBlocks;

using Quoria::ItcMailboxLocator::V1::ItcMailboxLocatorIf;
using Quoria::ItcMailboxLocator::V1::ItcMailboxLocatorImpl;
using QuoriaTest::kFound;
using QuoriaTest::TraceCapture;
using testing::ElementsAre;
using testing::IsEmpty;

// Reaches the counter of identities, whose end is too far for requests.
template <unsigned int ItcMailboxLocatorImpl::*Counter>
struct CounterAccess {
    friend unsigned int& lastIdentityOf(ItcMailboxLocatorImpl& locator) { return locator.*Counter; }
};
unsigned int& lastIdentityOf(ItcMailboxLocatorImpl& locator);
template struct CounterAccess<&ItcMailboxLocatorImpl::lastIdentity_>;

// Something to be called that can't be copied once it is told so.
class ThrowingCopy {
public:
    explicit ThrowingCopy(std::shared_ptr<const bool> refuses) : refuses_(std::move(refuses)) {}
    ThrowingCopy(const ThrowingCopy& other) : refuses_(other.refuses_) {
        if (*refuses_) {
            throw std::runtime_error("no copy");
        }
    }
    ThrowingCopy& operator=(const ThrowingCopy&) = delete;
    void operator()(unsigned int) const {}

private:
    const std::shared_ptr<const bool> refuses_;
};

class LocatorRequest : public QuoriaTest::LocatorFixture {};

TEST_F(LocatorRequest, AThreadHasOneLocator) {
    ItcMailboxLocatorIf& first = ItcMailboxLocatorIf::getInstance();

    EXPECT_EQ(&ItcMailboxLocatorIf::getInstance(), &first);
    EXPECT_EQ(&Locator::getInstance(), &first);
}

TEST_F(LocatorRequest, EveryThreadHasItsOwn) {
    ItcMailboxLocatorIf& own = ItcMailboxLocatorIf::getInstance();

    std::thread([&own] { EXPECT_NE(&ItcMailboxLocatorIf::getInstance(), &own); }).join();
}

TEST_F(LocatorRequest, ItcIsHandedAnIndicationOfEightBytesForTheOwnMailbox) {
    locate("server");

    EXPECT_THAT(FakeItc::takeCalls(),
                ElementsAre("itc_alloc(8, 0x1707090)",
                            "itc_locate_async(\"server\", 0x1707090, 0xfff00000)"));
}

TEST_F(LocatorRequest, TheBlockIsItcsFromThenOn) {
    locate("server");

    EXPECT_THAT(FakeItc::takeCallsOf("itc_free"), IsEmpty());
    EXPECT_EQ(FakeItc::blocksInUse(), 0U);
}

TEST_F(LocatorRequest, IdentitiesCountFromOne) {
    locate("first");
    locate("second");
    locate("first");

    EXPECT_THAT(LocateBlocks::takeIdentities(), ElementsAre(1U, 2U, 3U));
}

TEST_F(LocatorRequest, AnAnswerDoesNotFreeItsIdentityForTheNextRequest) {
    locate("first");
    indicate(1, kFound);

    locate("second");

    EXPECT_THAT(LocateBlocks::takeIdentities(), ElementsAre(1U, 2U));
}

TEST_F(LocatorRequest, IdentitiesAreCountedForEachThreadAlone) {
    locate("here");

    std::thread([] { locator().locate("there", [](unsigned int) {}); }).join();

    EXPECT_THAT(LocateBlocks::takeIdentities(), ElementsAre(1U, 1U));
}

TEST_F(LocatorRequest, IdentitiesStartAgainAtZeroAfterTheLargest) {
    lastIdentityOf(locator()) = std::numeric_limits<unsigned int>::max() - 1;

    locate("largest");
    locate("zero");
    locate("one");

    EXPECT_THAT(LocateBlocks::takeIdentities(), ElementsAre(0xFFFFFFFFU, 0U, 1U));
    indicate(0, kFound);
    EXPECT_THAT(answers_, ElementsAre(Answer("zero", kFound)));
}

TEST_F(LocatorRequest, ARequestThatComesRoundToAPendingIdentityReplacesTheOldOne) {
    locate("old");
    lastIdentityOf(locator()) = 0;

    locate("new");
    indicate(1, kFound);

    EXPECT_THAT(answers_, ElementsAre(Answer("new", kFound)));
}

TEST_F(LocatorRequest, TheCallbackIsACopy) {
    int calls = 0;
    std::function<void(unsigned int)> callback = [&calls](unsigned int) { ++calls; };
    locator().locate("server", callback);

    callback = nullptr;
    indicate(1, kFound);

    EXPECT_EQ(calls, 1);
}

TEST_F(LocatorRequest, ACallbackThatCannotBeCopiedLeavesNoRequestBehind) {
    const auto refusesCopies = std::make_shared<bool>(false);
    const std::function<void(unsigned int)> callback = ThrowingCopy(refusesCopies);
    *refusesCopies = true;

    EXPECT_THROW(locator().locate("server", callback), std::runtime_error);

    EXPECT_THAT(FakeItc::takeCalls(), IsEmpty());
    const TraceCapture trace;
    indicate(1, kFound);
    EXPECT_THAT(trace.messages("ERROR"),
                ElementsAre("Received locate indication with unexpected identity: 1"));
    locate("next");
    EXPECT_THAT(LocateBlocks::takeIdentities(), ElementsAre(2U)) << "the first was counted";
}

TEST_F(LocatorRequest, NoAnswerComesFromInsideTheRequest) {
    locate("server");

    EXPECT_THAT(answers_, IsEmpty());
}

}  // namespace
