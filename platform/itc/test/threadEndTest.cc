// The end of a thread among the destructors of its other thread-specific values: they run in an
// order that nobody promises, some before and some after the library's own, in up to four rounds.

#include "itcFixture.h"

#include <gtest/gtest.h>
#include <quoriaTest/sanitizers.h>

#include <climits>
#include <cstddef>
#include <thread>
#include <vector>

#include <malloc.h>
#include <pthread.h>

using namespace ItcTest;

namespace {

// A thread-specific value whose destructor sends a message, and comes again in the next round.
class Sending {
public:
    Sending(itc_mbox_id_t receiver, int rounds) : receiver_(receiver), rounds_(rounds) {
        EXPECT_EQ(pthread_key_create(&key_, destroy), 0);
    }
    ~Sending() { EXPECT_EQ(pthread_key_delete(key_), 0); }
    Sending(const Sending&) = delete;
    Sending& operator=(const Sending&) = delete;
    void setInThisThread() { EXPECT_EQ(pthread_setspecific(key_, this), 0); }

private:
    static void destroy(void* value) {
        auto* self = static_cast<Sending*>(value);
        sendNumber(self->receiver_, 7);
        if (--self->rounds_ > 0) {
            self->setInThisThread();
        }
    }

    const itc_mbox_id_t receiver_;
    int rounds_;
    pthread_key_t key_ = 0;
};

// The first key is made before the library makes its own, the second one after that.
TEST(ThreadEnd, LeavesTheMailboxToDestructorsInAnyOrder) {
    Sending before(0x00100000, 2);
    const OwnMailbox mine;
    ASSERT_EQ(mine.id(), 0x00100000U);
    Sending after(mine.id(), 2);
    itc_mbox_id_t its = ITC_NO_MAILBOX;
    std::thread([&] {
        before.setInThisThread();
        its = itc_create_mailbox("thread's", 0);
        after.setInThisThread();
    }).join();
    for (int message = 0; message < 4; ++message) {
        EXPECT_EQ(senderOf(receive(ITC_NO_WAIT)), its);
    }
    EXPECT_EQ(receive(ITC_NO_WAIT), nullptr);
    EXPECT_EQ(itc_locate("thread's"), ITC_NO_MAILBOX);
}

// Destructors of thread_local objects run before all of them.
struct SendsAtItsEnd {
    itc_mbox_id_t receiver = ITC_NO_MAILBOX;
    ~SendsAtItsEnd() { sendNumber(receiver, 8); }
};

TEST(ThreadEnd, LeavesTheMailboxToThreadLocalObjects) {
    const OwnMailbox mine;
    itc_mbox_id_t its = ITC_NO_MAILBOX;
    std::thread([&] {
        thread_local SendsAtItsEnd object;
        object.receiver = mine.id();
        its = itc_create_mailbox(nullptr, 0);
    }).join();
    EXPECT_EQ(senderOf(receive(ITC_NO_WAIT)), its);
}

// A thread-specific value whose destructor makes a mailbox in one of the rounds, from 1.
class Creating {
public:
    explicit Creating(int round) : round_(round) {
        EXPECT_EQ(pthread_key_create(&key_, destroy), 0);
    }
    ~Creating() { EXPECT_EQ(pthread_key_delete(key_), 0); }
    Creating(const Creating&) = delete;
    Creating& operator=(const Creating&) = delete;

    void setInThisThread() {
        left_ = round_;
        EXPECT_EQ(pthread_setspecific(key_, this), 0);
    }
    itc_mbox_id_t made() const { return made_; }

private:
    static void destroy(void* value) {
        auto* self = static_cast<Creating*>(value);
        if (--self->left_ > 0) {
            EXPECT_EQ(pthread_setspecific(self->key_, self), 0);
        } else {
            self->made_ = itc_create_mailbox("late", 0);
            sendNumber(self->made_, 1);
        }
    }

    const int round_;
    int left_ = 0;
    itc_mbox_id_t made_ = ITC_NO_MAILBOX;
    pthread_key_t key_ = 0;
};

class ThreadEndInRound : public testing::TestWithParam<int> {
protected:
    void SetUp() override {
        if (QuoriaTest::kThreadSanitizer && GetParam() > 2) {
            GTEST_SKIP() << "the sanitizer has forgotten the thread by the time its mailbox ends";
        }
    }
    // The thread has ended, after all that its mailbox has done.
    static void expectEnded(const Creating& creating) {
        EXPECT_NE(creating.made(), ITC_NO_MAILBOX);
        EXPECT_EQ(itc_locate("late"), ITC_NO_MAILBOX);
        const auto visit = [](const itc_mailbox_info*, void*) { return true; };
        EXPECT_EQ(itc_list_mailboxes(visit, nullptr), 1);
        monitor(creating.made());
        EXPECT_EQ(msgNoOf(receive(ITC_NO_WAIT)), kGoneMsgNo);
    }
};

// The key is made before the library makes its own, and after it.
TEST_P(ThreadEndInRound, EndsAMailboxThatADestructorHasMade) {
    Creating before(GetParam());
    const OwnMailbox mine;
    std::thread([&before] { before.setInThisThread(); }).join();
    expectEnded(before);
    Creating after(GetParam());
    std::thread([&after] { after.setInThisThread(); }).join();
    expectEnded(after);
}

TEST_P(ThreadEndInRound, EndsTheSecondMailboxOfAThread) {
    Creating before(GetParam());
    const OwnMailbox mine;
    Creating after(GetParam());
    for (Creating* creating : {&before, &after}) {
        std::thread([creating] {
            itc_delete_mailbox(itc_create_mailbox("first", 0));
            creating->setInThisThread();
        }).join();
        expectEnded(*creating);
    }
}

TEST_P(ThreadEndInRound, LeavesNothingOfLateMessages) {
    if (QuoriaTest::kAnySanitizer) {
        GTEST_SKIP() << "a sanitizer has its own memory, and looks for leaks itself";
    }
    const OwnMailbox mine;
    Creating creating(GetParam());
    const auto run = [&creating](int threads) {
        for (int thread = 0; thread < threads; ++thread) {
            std::thread([&creating] { creating.setInThisThread(); }).join();
        }
        return mallinfo2().uordblks;
    };
    constexpr int kThreads = 100;
    const std::size_t before = run(kThreads);
    EXPECT_LT(run(kThreads), before + kThreads * sizeof(NumberMsg));
}

INSTANTIATE_TEST_SUITE_P(, ThreadEndInRound, testing::Range(1, PTHREAD_DESTRUCTOR_ITERATIONS + 1),
                         testing::PrintToStringParamName());

}  // namespace
