#include "childProcess.h"
#include "itcFixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <future>
#include <thread>

using namespace ItcTest;

namespace {

// A process that takes the name when it is told to, and drops it when it is told again.
class HolderProcess {
public:
    explicit HolderProcess(const char* name)
        : process_([name](Channel& test) {
              for (;;) {
                  test.get();
                  const itc_mbox_id_t id = itc_create_mailbox(name, 0);
                  test.put(id);
                  test.get();
                  itc_delete_mailbox(id);
                  test.put(0);
              }
              return kDone;
          }) {}
    itc_mbox_id_t take() {
        process_.put(0);
        return process_.get();
    }
    void drop() {
        process_.put(0);
        process_.get();
    }
    void kill() { process_.kill(); }

private:
    ChildProcess process_;
};

TEST(Locate, NeedsNoMailbox) {
    EXPECT_EQ(itc_locate("nobody"), ITC_NO_MAILBOX);
    auto holder = std::async(std::launch::async, [] {
        const OwnMailbox mailbox("somebody");
        return itc_locate("somebody") == mailbox.id();
    });
    EXPECT_TRUE(holder.get());
    EXPECT_EQ(itc_current_mbox(), ITC_NO_MAILBOX);
}

TEST(Locate, FindsAMailboxOfAnotherProcess) {
    HolderProcess holder("there");
    EXPECT_EQ(itc_locate("there"), ITC_NO_MAILBOX);
    const itc_mbox_id_t id = holder.take();
    EXPECT_EQ(itc_locate("there"), id);
    holder.drop();
    EXPECT_EQ(itc_locate("there"), ITC_NO_MAILBOX);
}

TEST(AsyncLocate, AnswersAtOnceWhenTheNameIsTaken) {
    const OwnMailbox mine;
    HolderProcess holder("there");
    const itc_mbox_id_t id = holder.take();
    locateAsync("there", 12);
    const Message found = receive(ITC_NO_WAIT);
    EXPECT_EQ(msgNoOf(found), kFoundMsgNo);
    EXPECT_EQ(numberOf(found), 12U);
    EXPECT_EQ(senderOf(found), id);
}

TEST(AsyncLocate, FindsTheAskingMailboxItself) {
    const OwnMailbox mine("me");
    locateAsync("me");
    EXPECT_EQ(senderOf(receive(ITC_NO_WAIT)), mine.id());
}

TEST(AsyncLocate, AnswersWhenAThreadTakesTheNameLater) {
    const OwnMailbox mine;
    locateAsync("later");
    EXPECT_EQ(receive(ITC_NO_WAIT), nullptr);
    std::promise<void> seen;
    std::thread holder([&seen] {
        const OwnMailbox its("later");
        seen.get_future().wait();
    });
    const Message found = receive();
    EXPECT_EQ(senderOf(found), itc_locate("later"));
    seen.set_value();
    holder.join();
}

TEST(AsyncLocate, AnswersWhenAProcessThatStartsLaterTakesTheName) {
    const OwnMailbox mine;
    locateAsync("later", 3);
    HolderProcess holder("later");
    const itc_mbox_id_t id = holder.take();
    const Message found = receive();
    EXPECT_EQ(senderOf(found), id);
    EXPECT_EQ(numberOf(found), 3U);
}

TEST(AsyncLocate, AnswersWhenTheNameIsAdded) {
    const OwnMailbox mine("first");
    locateAsync("added");
    EXPECT_EQ(receive(ITC_NO_WAIT), nullptr);
    EXPECT_TRUE(itc_add_name(mine.id(), "added"));
    EXPECT_EQ(senderOf(receive(ITC_NO_WAIT)), mine.id());
}

TEST(AsyncLocate, AnswersEachRequestOnce) {
    const OwnMailbox mine;
    HolderProcess first("often");
    HolderProcess second("often");
    locateAsync("often");
    const itc_mbox_id_t id = first.take();
    second.take();
    EXPECT_EQ(senderOf(receive()), id);
    first.drop();
    first.take();
    letSomeoneElseJoin();
    EXPECT_EQ(receive(ITC_NO_WAIT), nullptr);
}

TEST(AsyncLocate, AnswersANewRequestWhenTheNameWasLostAndIsTakenAgain) {
    const OwnMailbox mine;
    HolderProcess holder("comes and goes");
    const itc_mbox_id_t first = holder.take();
    locateAsync("comes and goes", 1);
    EXPECT_EQ(senderOf(receive()), first);
    holder.drop();
    locateAsync("comes and goes", 2);
    EXPECT_EQ(receive(ITC_NO_WAIT), nullptr);
    const itc_mbox_id_t second = holder.take();
    const Message found = receive();
    EXPECT_EQ(numberOf(found), 2U);
    EXPECT_EQ(senderOf(found), second);
}

TEST(AsyncLocate, AnswersManyRequestsForOneName) {
    constexpr std::uint32_t kRequests = 50;
    const OwnMailbox mine;
    for (std::uint32_t number = 0; number < kRequests; ++number) {
        locateAsync("wanted", number);
    }
    HolderProcess holder("wanted");
    const itc_mbox_id_t id = holder.take();
    std::vector<std::uint32_t> numbers;
    for (std::uint32_t count = 0; count < kRequests; ++count) {
        const Message found = receive();
        EXPECT_EQ(senderOf(found), id);
        numbers.push_back(numberOf(found));
    }
    std::sort(numbers.begin(), numbers.end());
    EXPECT_EQ(std::unique(numbers.begin(), numbers.end()), numbers.end());
    EXPECT_EQ(numbers.back(), kRequests - 1);
    EXPECT_EQ(receive(ITC_NO_WAIT), nullptr);
}

TEST(AsyncLocate, AnswersRequestsOfManyMailboxes) {
    HolderProcess holder("wanted");
    std::vector<std::thread> threads;
    std::atomic<int> asked{0};
    std::promise<itc_mbox_id_t> taken;
    const auto holderId = taken.get_future().share();
    for (int thread = 0; thread < 8; ++thread) {
        threads.emplace_back([&asked, holderId] {
            const OwnMailbox its;
            locateAsync("wanted");
            ++asked;
            EXPECT_EQ(senderOf(receive()), holderId.get());
        });
    }
    while (asked < 8) {
        std::this_thread::yield();
    }
    taken.set_value(holder.take());
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST(AsyncLocate, EndsWithItsMailbox) {
    {
        const OwnMailbox mine;
        locateAsync("never", 1);
        locateAsync("never", 2);
    }
    EXPECT_EQ(namesInDomain(), std::vector<std::string>());
    const OwnMailbox next;
    HolderProcess holder("never");
    holder.take();
    EXPECT_EQ(receive(ITC_NO_WAIT), nullptr);
}

TEST(AsyncLocate, SkipsAHolderThatWasKilled) {
    const OwnMailbox mine;
    HolderProcess dead("risky");
    HolderProcess living("risky");
    dead.take();
    const itc_mbox_id_t id = living.take();
    dead.kill();
    EXPECT_EQ(itc_locate("risky"), id);
    locateAsync("risky");
    EXPECT_EQ(senderOf(receive()), id);
}

TEST(AsyncLocate, WaitsOnWhenTheOnlyHolderWasKilled) {
    const OwnMailbox mine;
    HolderProcess dead("risky");
    HolderProcess next("risky");
    dead.take();
    dead.kill();
    locateAsync("risky");
    EXPECT_EQ(receive(ITC_NO_WAIT), nullptr);
    const itc_mbox_id_t id = next.take();
    EXPECT_EQ(senderOf(receive()), id);
}

TEST(AsyncLocate, OfOneWhoWasKilledBothersNobody) {
    ChildProcess waiter([](Channel& test) {
        const OwnMailbox its;
        locateAsync("late");
        test.put(0);
        test.get();
        return kDone;
    });
    waiter.get();
    waiter.kill();
    const OwnMailbox mine("late");
    EXPECT_NE(mine.id(), ITC_NO_MAILBOX);
    EXPECT_EQ(itc_locate("late"), mine.id());
}

TEST(AsyncLocate, ThatCanNotBeMadeFreesItsMessage) {
    itc_msg* message = newNumber(kFoundMsgNo, 1);
    itc_locate_async("no mailbox", &message, ITC_OWN_MAILBOX);
    EXPECT_EQ(message, nullptr);

    const OwnMailbox mine;
    for (const char* name : {"", static_cast<const char*>(nullptr)}) {
        message = newNumber(kFoundMsgNo, 1);
        itc_locate_async(name, &message, ITC_OWN_MAILBOX);
        EXPECT_EQ(message, nullptr);
    }
    message = newNumber(kFoundMsgNo, 1);
    itc_locate_async(std::string(256, 'n').c_str(), &message, ITC_OWN_MAILBOX);
    EXPECT_EQ(message, nullptr);
    message = newNumber(kFoundMsgNo, 1);
    itc_locate_async("for someone else", &message, mine.id() + 1);
    EXPECT_EQ(message, nullptr);
    itc_locate_async("without a message", &message, ITC_OWN_MAILBOX);
    EXPECT_EQ(receive(ITC_NO_WAIT), nullptr);
    EXPECT_TRUE(isReadable(itc_get_fd()) == false);
}

TEST(AsyncLocate, TakesAReceivedMessageAsItsIndication) {
    const OwnMailbox mine;
    ChildProcess other([&mine](Channel&) { return sendNumber(mine.id(), 4), kDone; });
    itc_msg* received = receive().release();
    EXPECT_EQ(other.wait(), kDone);
    itc_locate_async("reused", &received, ITC_OWN_MAILBOX);
    EXPECT_TRUE(itc_add_name(mine.id(), "reused"));
    const Message found = receive();
    EXPECT_EQ(numberOf(found), 4U);
    EXPECT_EQ(senderOf(found), mine.id());
}

// Whoever is first, the one who asks or the one who takes the name, one of the two sees the other.
TEST(AsyncLocate, MissesNoHolderThatComesAtTheSameTime) {
    constexpr std::uint32_t kRounds = 500;
    const OwnMailbox mine;
    ChildProcess holder([](Channel& test) {
        for (std::uint32_t round = 0; round < kRounds; ++round) {
            test.get();
            {
                const OwnMailbox its("race");
                CHILD_CHECK(its.id() != ITC_NO_MAILBOX);
                test.put(its.id());
                test.get();
            }
            test.put(0);
        }
        return kDone;
    });
    for (std::uint32_t round = 0; round < kRounds; ++round) {
        holder.put(0);
        locateAsync("race", round);
        const Message found = receive();
        ASSERT_EQ(numberOf(found), round);
        ASSERT_EQ(senderOf(found), holder.get());
        holder.put(0);
        holder.get();
    }
    EXPECT_EQ(holder.wait(), kDone);
}

}  // namespace
