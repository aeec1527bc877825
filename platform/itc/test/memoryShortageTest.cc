// What happens when there is no memory in the middle of an operation: nothing is lost, and the
// descriptor says that there is something to do.

#include "childProcess.h"
#include "itcFixture.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <new>
#include <thread>
#include <utility>

#include <dlfcn.h>
#include <unistd.h>

using namespace ItcTest;

namespace {

thread_local bool isMemoryShort = false;
std::function<void()> afterRead_;

void* allocate(std::size_t size) {
    void* const memory = isMemoryShort ? nullptr : std::malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

}  // namespace

__attribute__((visibility("default"))) void* operator new(std::size_t size) {
    return allocate(size);
}
__attribute__((visibility("default"))) void operator delete(void* memory) noexcept {
    std::free(memory);
}
__attribute__((visibility("default"))) void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

// libitc empties its bell by this one.
extern "C" __attribute__((visibility("default"))) ssize_t read(int fd, void* bytes, size_t count) {
    static const auto original =
        reinterpret_cast<ssize_t (*)(int, void*, size_t)>(dlsym(RTLD_NEXT, "read"));
    const ssize_t result = original(fd, bytes, count);
    if (const std::function<void()> after = std::exchange(afterRead_, nullptr); after) {
        after();
    }
    return result;
}

namespace {

class NoMemory : public testing::Test {
protected:
    ~NoMemory() override { isMemoryShort = false; }

    const OwnMailbox mine_;
};

// More than the queue has room for without growing.
constexpr std::uint32_t kMany = 1000;

TEST_F(NoMemory, ForWhatComesLateLeavesItAndDeliversWhatIsThere) {
    sendNumber(mine_.id(), 0);
    afterRead_ = [this] {
        std::thread([this] {
            for (std::uint32_t number = 1; number <= kMany; ++number) {
                sendNumber(mine_.id(), number);
            }
        }).join();
        isMemoryShort = true;
    };
    const Message first = receive(ITC_NO_WAIT);
    EXPECT_TRUE(isMemoryShort);
    isMemoryShort = false;

    EXPECT_EQ(numberOf(first), 0U);
    EXPECT_TRUE(isReadable(itc_get_fd()));
    for (std::uint32_t number = 1; number <= kMany; ++number) {
        ASSERT_EQ(nextNumber(ITC_NO_WAIT), number);
    }
    EXPECT_FALSE(isReadable(itc_get_fd()));
}

TEST_F(NoMemory, ForAWaitWithAFilterLeavesTheDescriptorReadable) {
    sendNumber(mine_.id(), 0, kOtherMsgNo);
    afterRead_ = [this] {
        std::thread([this] {
            for (std::uint32_t number = 1; number <= kMany; ++number) {
                sendNumber(mine_.id(), number, kOtherMsgNo);
            }
        }).join();
        isMemoryShort = true;
    };
    EXPECT_EQ(receiveOnly({kMsgNo}, 1), nullptr);
    EXPECT_TRUE(isMemoryShort);
    isMemoryShort = false;

    EXPECT_TRUE(isReadable(itc_get_fd()));
    for (std::uint32_t number = 0; number <= kMany; ++number) {
        ASSERT_EQ(nextNumber(ITC_NO_WAIT), number);
    }
}

TEST_F(NoMemory, ForTheNewsOfADeathLetsItBeToldLater) {
    ChildProcess other([](Channel& test) {
        test.put(itc_create_mailbox(nullptr, 0));
        test.get();
        return kDone;
    });
    const itc_mbox_id_t its = other.get();
    itc_msg* indication = newNumber(kMsgNo, 7);
    ASSERT_NE(itc_monitor(its, &indication), ITC_NO_MAILBOX);
    other.kill();
    while (!isReadable(itc_get_fd())) {
    }

    isMemoryShort = true;
    EXPECT_EQ(receive(ITC_NO_WAIT), nullptr);
    isMemoryShort = false;

    EXPECT_TRUE(isReadable(itc_get_fd()));
    const Message told = receive();
    EXPECT_EQ(numberOf(told), 7U);
    EXPECT_EQ(senderOf(told), its);
}

TEST_F(NoMemory, ForAMonitorIsAnErrorAndLeavesNothing) {
    itc_mbox_id_t gone = ITC_NO_MAILBOX;
    std::thread([&gone] { gone = OwnMailbox().id(); }).join();
    itc_msg* indication = newNumber(kMsgNo, 7);

    isMemoryShort = true;
    EXPECT_EQ(itc_monitor(gone, &indication), ITC_NO_MAILBOX);
    isMemoryShort = false;

    EXPECT_EQ(indication, nullptr);
    EXPECT_EQ(receive(ITC_NO_WAIT), nullptr);
    indication = newNumber(kMsgNo, 8);
    EXPECT_NE(itc_monitor(gone, &indication), ITC_NO_MAILBOX);
    EXPECT_EQ(nextNumber(), 8U);
}

TEST_F(NoMemory, ForALocateLeavesNothing) {
    itc_msg* indication = newNumber(kMsgNo, 7);

    isMemoryShort = true;
    itc_locate_async("a name that is long enough to need memory", &indication, ITC_OWN_MAILBOX);
    isMemoryShort = false;

    EXPECT_EQ(indication, nullptr);
    EXPECT_EQ(receive(ITC_NO_WAIT), nullptr);
}

}  // namespace
