// The end of a thread among the destructors of its other thread-specific values: they run in an
// order that nobody promises, some before and some after the library's own, in up to four rounds.

#include "itcFixture.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

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

TEST(ThreadEnd, EndsAMailboxThatADestructorHasMade) {
    if (kThreadSanitizer) {
        GTEST_SKIP() << "the sanitizer has forgotten the thread by the time its mailbox ends";
    }
    static pthread_key_t key;
    const OwnMailbox mine;
    ASSERT_EQ(pthread_key_create(&key, [](void*) { itc_create_mailbox("late", 0); }), 0);
    std::thread([] { EXPECT_EQ(pthread_setspecific(key, &key), 0); }).join();
    EXPECT_EQ(itc_locate("late"), ITC_NO_MAILBOX);
    EXPECT_EQ(pthread_key_delete(key), 0);
}

}  // namespace
