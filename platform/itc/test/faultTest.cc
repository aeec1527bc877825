// System calls that fail or come at a bad time. This program puts its own functions between the
// library and the C library.

#include "childProcess.h"
#include "itcFixture.h"

#include <gtest/gtest.h>
#include <quoriaTest/sanitizers.h>

#include <cerrno>
#include <fstream>
#include <functional>
#include <utility>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <unistd.h>

using namespace ItcTest;

namespace {

// Called before a fallocate that puts memory behind a file; what it returns is the error, or 0.
std::function<int()> beforeReserve_;
// Called once, before the next read, before the next wait, and when the next write is done.
std::function<void()> beforeRead_;
std::function<void()> beforeWait_;
std::function<void()> afterWrite_;

template <typename Function>
Function* real(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int fallocate(int fd, int mode, off_t offset,
                                                                off_t length) {
    static auto* const next = real<int(int, int, off_t, off_t)>("fallocate");
    if (mode == 0 && beforeReserve_) {
        if (const int error = beforeReserve_(); error != 0) {
            errno = error;
            return -1;
        }
    }
    return next(fd, mode, offset, length);
}

extern "C" __attribute__((visibility("default"))) ssize_t read(int fd, void* buffer,
                                                               size_t length) {
    static auto* const next = real<ssize_t(int, void*, size_t)>("read");
    if (const std::function<void()> before = std::exchange(beforeRead_, nullptr); before) {
        before();
    }
    return next(fd, buffer, length);
}

extern "C" __attribute__((visibility("default"))) ssize_t write(int fd, const void* buffer,
                                                                size_t length) {
    static auto* const next = real<ssize_t(int, const void*, size_t)>("write");
    const std::function<void()> after = std::exchange(afterWrite_, nullptr);
    const ssize_t written = next(fd, buffer, length);
    if (after) {
        after();
    }
    return written;
}

extern "C" __attribute__((visibility("default"))) int epoll_wait(int epfd, epoll_event* events,
                                                                 int maxevents, int timeout) {
    static auto* const next = real<int(int, epoll_event*, int, int)>("epoll_wait");
    if (const std::function<void()> before = std::exchange(beforeWait_, nullptr); before) {
        before();
    }
    return next(epfd, events, maxevents, timeout);
}

namespace {

// A message rings while the bell is emptied, and its stroke goes with the old ones.
TEST(BadTiming, OfAStrokeLeavesTheDescriptorReadable) {
    const OwnMailbox mine;
    sendNumber(mine.id(), 0);
    beforeRead_ = [&mine] {
        sendNumber(mine.id(), 1);
        sendNumber(mine.id(), 2);
    };
    EXPECT_EQ(nextNumber(), 0U);
    EXPECT_TRUE(isReadable(itc_get_fd()));
    EXPECT_EQ(nextNumber(), 1U);
    EXPECT_TRUE(isReadable(itc_get_fd()));
    EXPECT_EQ(nextNumber(), 2U);
    EXPECT_FALSE(isReadable(itc_get_fd()));
    sendNumber(mine.id(), 3);
    EXPECT_TRUE(isReadable(itc_get_fd()));
}

TEST(BadTiming, OfAStrokeOfAnotherProcessLeavesTheDescriptorReadable) {
    const OwnMailbox mine;
    ChildProcess other([&mine](Channel& test) {
        for (;;) {
            sendNumber(mine.id(), test.get());
            test.put(0);
        }
        return kDone;
    });
    const auto sendByOther = [&other](std::uint32_t number) {
        other.put(number);
        other.get();
    };
    sendByOther(1);
    beforeRead_ = [&sendByOther] {
        sendByOther(2);
        sendByOther(3);
    };
    EXPECT_EQ(nextNumber(), 1U);
    EXPECT_TRUE(isReadable(itc_get_fd()));
    EXPECT_EQ(nextNumber(), 2U);
    EXPECT_TRUE(isReadable(itc_get_fd()));
    EXPECT_EQ(nextNumber(), 3U);
    EXPECT_FALSE(isReadable(itc_get_fd()));
    sendByOther(4);
    EXPECT_TRUE(isReadable(itc_get_fd()));
}

// A receiver that is woken by the stroke often runs before its sender has come back from it.
TEST(BadTiming, OfTheSendersReturnFromItsStrokeWakesTheReceiverNoSecondTime) {
    const OwnMailbox mine;
    std::uint32_t received = 0;
    bool isReadableAfterIt = true;
    afterWrite_ = [&] {
        received = nextNumber();
        isReadableAfterIt = isReadable(itc_get_fd());
    };
    sendNumber(mine.id(), 5);
    EXPECT_EQ(received, 5U);
    EXPECT_FALSE(isReadableAfterIt);
    EXPECT_FALSE(isReadable(itc_get_fd()));
    sendNumber(mine.id(), 6);
    EXPECT_TRUE(isReadable(itc_get_fd()));
    EXPECT_EQ(nextNumber(), 6U);
}

// Whenever the receiver looks, one more message has come that it does not want.
TEST(BadTiming, OfOtherMessagesDoesNotKeepAWaitFromEnding) {
    const OwnMailbox mine;
    constexpr std::uint32_t kTooMany = 200'000;
    std::uint32_t sent = 0;
    std::function<void()> sendOneMore = [&] {
        if (sent < kTooMany) {
            beforeWait_ = sendOneMore;
            sendNumber(mine.id(), sent++, kOtherMsgNo);
        }
    };
    beforeWait_ = sendOneMore;
    EXPECT_EQ(receiveOnly({kMsgNo}, ITC_NO_WAIT), nullptr);
    EXPECT_LT(sent, 10U);
    EXPECT_EQ(receiveOnly({kMsgNo}, 10), nullptr);
    EXPECT_LT(sent, kTooMany);
    EXPECT_GT(sent, 1U);
    beforeWait_ = nullptr;
    EXPECT_EQ(queuedNumbers().size(), sent);
}

// What arrives is nothing for the user, and the wait for the next message begins.
TEST(BadTiming, OfAStrokeThatBringsNoMessageLeavesTheBellAlive) {
    const OwnMailbox mine;
    ChildProcess dying([](Channel& test) {
        test.put(itc_create_mailbox("first", 0));
        test.get();
        itc_delete_mailbox(itc_current_mbox());
        test.put(0);
        test.get();
        return kDone;
    });
    const itc_monitor_id_t id = monitor(dying.get());
    ChildProcess sender([&mine](Channel& test) {
        test.get();
        sendNumber(mine.id(), 7);
        test.get();  // it may be told twice
        return kDone;
    });
    sendNumber(mine.id(), 6);
    beforeRead_ = [&] {
        dying.put(0);
        dying.get();  // has told of its deletion
        itc_unmonitor(id);
    };
    EXPECT_EQ(nextNumber(), 6U);
    beforeWait_ = [&sender] { sender.put(0); };
    EXPECT_EQ(nextNumber(kLong), 7U);
}

TEST(Interruption, OfEachReservationChangesNothing) {
    bool isSecond = false;
    beforeReserve_ = [&isSecond] {
        isSecond = !isSecond;
        return isSecond ? EINTR
                        : 0;  // as if a signal were pending, which the retry then finds gone
    };
    const OwnMailbox mine;
    ASSERT_NE(mine.id(), ITC_NO_MAILBOX) << itc_error_text();
    ChildProcess other([&mine](Channel&) {
        for (std::uint32_t number = 0; number < 1000; ++number) {
            sendNumber(mine.id(), number);
            itc_msg* large = itc_alloc(100'000, kOtherMsgNo);
            itc_send(&large, mine.id(), ITC_OWN_MAILBOX);
        }
        return kDone;
    });
    for (std::uint32_t number = 0; number < 1000; ++number) {
        ASSERT_EQ(nextNumber(kLong), number);
        ASSERT_EQ(msgNoOf(receive()), kOtherMsgNo);
    }
    EXPECT_EQ(other.wait(), kDone);
}

// The n-th reservation fails, for every n that there is.
TEST(FullFileSystem, IsAnErrorOfTheCreationAndLeavesNothing) {
    bool made = false;
    for (int fails = 0; !made && fails < 20; ++fails) {
        int left = fails;
        beforeReserve_ = [&left] { return left-- == 0 ? ENOSPC : 0; };
        const itc_mbox_id_t id = itc_create_mailbox("full", 0);
        beforeReserve_ = nullptr;
        made = left >= 0;
        if (!made) {
            EXPECT_EQ(id, ITC_NO_MAILBOX);
            EXPECT_NE(std::string(itc_error_text()).find("No space left"), std::string::npos);
            EXPECT_EQ(itc_locate("full"), ITC_NO_MAILBOX);
        }
    }
    EXPECT_TRUE(made);
    EXPECT_EQ(itc_locate("full"), itc_current_mbox());
}

TEST(FullFileSystem, LetsASenderWaitUntilThereIsRoom) {
    const OwnMailbox mine;
    ChildProcess other([&mine](Channel&) {
        sendNumber(mine.id(), 1);
        int left = 5;
        beforeReserve_ = [&left] { return left-- > 0 ? ENOSPC : 0; };
        itc_msg* large = itc_alloc(100'000, kOtherMsgNo);
        itc_send(&large, mine.id(), ITC_OWN_MAILBOX);
        CHILD_CHECK(left < 0);
        return kDone;
    });
    EXPECT_EQ(nextNumber(kLong), 1U);
    EXPECT_EQ(msgNoOf(receive()), kOtherMsgNo);
    EXPECT_EQ(other.wait(), kDone);
}

class NoDescriptors {
public:
    NoDescriptors() {
        getrlimit(RLIMIT_NOFILE, &usual_);
        rlimit none = usual_;
        none.rlim_cur = 0;
        EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    }
    ~NoDescriptors() { setrlimit(RLIMIT_NOFILE, &usual_); }
    NoDescriptors(const NoDescriptors&) = delete;
    NoDescriptors& operator=(const NoDescriptors&) = delete;

private:
    rlimit usual_ = {};
};

// The receiver can't even note what has arrived; it gets all of it later.
TEST(MemoryShortage, OfAReceiverLosesNothing) {
    if (QuoriaTest::kAnySanitizer) {
        GTEST_SKIP() << "a sanitizer needs all the addresses that there are";
    }
    constexpr std::uint32_t kMessages = 100'000;
    const OwnMailbox mine;
    ChildProcess sender([&mine](Channel&) {
        for (std::uint32_t number = 0; number < kMessages; ++number) {
            sendNumber(mine.id(), number);
        }
        return kDone;
    });
    ASSERT_EQ(sender.wait(), kDone);
    sendNumber(mine.id(), kMessages);
    std::size_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    rlimit limit = {};
    ASSERT_EQ(getrlimit(RLIMIT_AS, &limit), 0);
    const rlim_t usual = std::exchange(limit.rlim_cur, pages * 4096);
    ASSERT_EQ(setrlimit(RLIMIT_AS, &limit), 0);
    EXPECT_EQ(receive(ITC_NO_WAIT), nullptr);
    EXPECT_TRUE(isReadable(itc_get_fd()));
    limit.rlim_cur = usual;
    ASSERT_EQ(setrlimit(RLIMIT_AS, &limit), 0);
    for (std::uint32_t number = 0; number <= kMessages; ++number) {
        ASSERT_EQ(nextNumber(), number);
    }
    EXPECT_EQ(receive(ITC_NO_WAIT), nullptr);
}

TEST(DescriptorShortage, MakesNoMonitorAndTellsOfNoDeath) {
    const OwnMailbox mine;
    ChildProcess other([](Channel& test) {
        const OwnMailbox its("other");
        test.put(its.id());
        test.get();
        return kDone;
    });
    const itc_mbox_id_t its = other.get();
    {
        const NoDescriptors shortage;
        EXPECT_EQ(monitor(its), ITC_NO_MAILBOX);
        EXPECT_NE(std::string(itc_error_text()).find("Too many open files"), std::string::npos);
    }
    EXPECT_EQ(receive(ITC_NO_WAIT), nullptr);
    EXPECT_NE(monitor(its, 5), ITC_NO_MAILBOX);
    EXPECT_EQ(receive(ITC_NO_WAIT), nullptr);
    other.kill();
    EXPECT_EQ(numberOf(receive()), 5U);
    EXPECT_EQ(receive(ITC_NO_WAIT), nullptr);
}

TEST(DescriptorShortage, LeavesNoNameAndNoNoteBehind) {
    itc_create_mailbox("brief", 0);
    locateAsync("never there");
    {
        const NoDescriptors shortage;
        itc_delete_mailbox(itc_current_mbox());
    }
    EXPECT_EQ(namesInDomain(), std::vector<std::string>());
}

TEST(DescriptorShortage, DoesNotHinderWhoHasExchangedMessages) {
    const OwnMailbox mine;
    ChildProcess other([](Channel& test) {
        const OwnMailbox its;
        test.put(its.id());
        for (;;) {
            const Message message = receive(ITC_WAIT_FOREVER);
            sendNumber(senderOf(message), numberOf(message));
        }
        return kDone;
    });
    const itc_mbox_id_t its = other.get();
    sendNumber(its, 1);
    EXPECT_EQ(nextNumber(kLong), 1U);
    const NoDescriptors shortage;
    sendNumber(its, 2);
    EXPECT_EQ(nextNumber(kLong), 2U);
    sendNumber(mine.id(), 3);
    EXPECT_EQ(nextNumber(), 3U);
}

}  // namespace
