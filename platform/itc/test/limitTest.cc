// As many of everything as there can be.

#include "childProcess.h"
#include "itcFixture.h"

#include "layout.h"

#include <gtest/gtest.h>
#include <quoriaTest/sanitizers.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

using namespace ItcTest;

namespace {

// Takes slots as processes would: by locks on the control file.
class TakenSlots {
public:
    TakenSlots(std::uint32_t first, std::uint32_t last)
        : file_(open((domainPath() + "/domain").c_str(), O_RDWR | O_CLOEXEC)) {
        lock(F_WRLCK, first, last);
    }
    ~TakenSlots() { close(file_); }
    TakenSlots(const TakenSlots&) = delete;
    TakenSlots& operator=(const TakenSlots&) = delete;
    void release(std::uint32_t slot) { lock(F_UNLCK, slot, slot); }

private:
    void lock(short type, std::uint32_t first, std::uint32_t last) {
        struct flock range = {};
        range.l_type = type;
        range.l_whence = SEEK_SET;
        range.l_start = static_cast<off_t>(first) * 2;
        range.l_len = static_cast<off_t>(last - first + 1) * 2;
        EXPECT_EQ(fcntl(file_, F_OFD_SETLK, &range), 0);
    }
    int file_;
};

TEST(Limit, OfProcessesIsToldAndTheLastPlaceCanBeHad) {
    const OwnMailbox mine("first");
    TakenSlots others(2, itc::kLastSlot);
    ChildProcess refused([](Channel&) {
        CHILD_CHECK(itc_create_mailbox(nullptr, 0) == ITC_NO_MAILBOX);
        CHILD_CHECK(std::string(itc_error_text()).find("all 4094 process slots") !=
                    std::string::npos);
        CHILD_CHECK(itc_locate("first") != ITC_NO_MAILBOX);  // that takes no place
        return kDone;
    });
    EXPECT_EQ(refused.wait(), kDone);
    others.release(itc::kLastSlot);
    ChildProcess last([receiver = mine.id()](Channel&) {
        const OwnMailbox its;
        CHILD_CHECK(its.id() >> itc::kCounterBits == itc::kLastSlot);
        sendNumber(receiver, 1);
        CHILD_CHECK(nextNumber(kLong) == 2);
        return kDone;
    });
    const Message message = receive();
    EXPECT_EQ(numberOf(message), 1U);
    sendNumber(senderOf(message), 2);
    EXPECT_EQ(last.wait(), kDone);
}

// The counter in an id begins anew after a million; whoever lives keeps his.
TEST(Limit, OfIdsIsPassedWithoutMeetingTheLiving) {
    constexpr std::uint32_t kIds = (1U << itc::kCounterBits) + 50'000;
    const OwnMailbox mine("here");
    std::thread([&mine] {
        std::uint32_t wrong = 0;
        for (std::uint32_t made = 0; made < kIds; ++made) {
            const OwnMailbox passing;
            wrong += passing.id() == mine.id() || (passing.id() >> itc::kCounterBits) != 1 ? 1 : 0;
        }
        EXPECT_EQ(wrong, 0U);
        const OwnMailbox after;
        ChildProcess other([id = after.id()](Channel&) {
            sendNumber(id, 3);
            return kDone;
        });
        EXPECT_EQ(nextNumber(kLong), 3U);
    }).join();
    sendNumber(itc_locate("here"), 4);
    EXPECT_EQ(nextNumber(), 4U);
}

// Threads of one process that each have a mailbox and answer one message.
class Crowd {
public:
    Crowd(itc_mbox_id_t receiver, unsigned process, unsigned threads)
        : receiver_(receiver), process_(process) {
        pthread_attr_t small;
        CHILD_CHECK(pthread_attr_init(&small) == 0);
        // The least that there may be is more than that on some processors.
        const std::size_t stack =
            std::max(std::size_t{64} * 1024, static_cast<std::size_t>(PTHREAD_STACK_MIN));
        CHILD_CHECK(pthread_attr_setstacksize(&small, stack) == 0);
        threads_.resize(threads);
        for (pthread_t& thread : threads_) {
            CHILD_CHECK(pthread_create(&thread, &small, answerOne, this) == 0);
        }
    }
    void waitForTheEnd() {
        for (const pthread_t thread : threads_) {
            CHILD_CHECK(pthread_join(thread, nullptr) == 0);
        }
    }

private:
    static void* answerOne(void* crowd) {
        auto* self = static_cast<Crowd*>(crowd);
        const unsigned number = self->next_++;
        const std::string name =
            "one of many " + std::to_string(self->process_) + " " + std::to_string(number);
        const OwnMailbox its(name.c_str());
        CHILD_CHECK(its.id() != ITC_NO_MAILBOX);
        sendNumber(self->receiver_, number);
        const Message message = receive(ITC_WAIT_FOREVER);
        sendNumber(senderOf(message), numberOf(message));
        return nullptr;
    }

    const itc_mbox_id_t receiver_;
    const unsigned process_;
    std::atomic<unsigned> next_{0};
    std::vector<pthread_t> threads_;
};

TEST(Limit, OfMailboxesIsFarAboveTenThousand) {
    if (QuoriaTest::kThreadSanitizer) {
        GTEST_SKIP() << "ThreadSanitizer takes too much memory for each thread";
    }
    constexpr unsigned kProcesses = 20;
    constexpr unsigned kThreads = 500;
    rlimit descriptors = {};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &descriptors), 0);
    descriptors.rlim_cur = descriptors.rlim_max;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &descriptors), 0);
    const OwnMailbox mine;
    std::vector<std::unique_ptr<ChildProcess>> processes;
    for (unsigned process = 0; process < kProcesses; ++process) {
        processes.push_back(std::make_unique<ChildProcess>([&mine, process](Channel&) {
            Crowd(mine.id(), process, kThreads).waitForTheEnd();
            return kDone;
        }));
    }
    for (unsigned message = 0; message < kProcesses * kThreads; ++message) {
        ASSERT_NE(receive(), nullptr);
    }
    const auto visit = [](const itc_mailbox_info*, void*) { return true; };
    EXPECT_EQ(itc_list_mailboxes(visit, nullptr), static_cast<int>(kProcesses * kThreads + 1));
    for (unsigned process = 0; process < kProcesses; ++process) {
        for (unsigned thread = 0; thread < kThreads; ++thread) {
            const std::string name =
                "one of many " + std::to_string(process) + " " + std::to_string(thread);
            const itc_mbox_id_t found = itc_locate(name.c_str());
            ASSERT_NE(found, ITC_NO_MAILBOX) << name;
            sendNumber(found, process * kThreads + thread);
        }
    }
    std::vector<bool> answered(kProcesses * kThreads, false);
    for (unsigned message = 0; message < kProcesses * kThreads; ++message) {
        const std::uint32_t number = nextNumber(kLong);
        ASSERT_LT(number, answered.size());
        ASSERT_FALSE(answered[number]);
        answered[number] = true;
    }
    for (const auto& process : processes) {
        EXPECT_EQ(process->wait(), kDone);
    }
}

}  // namespace
