// Another process writes garbage into shared memory: whoever reads it goes on living.

#include "childProcess.h"
#include "itcFixture.h"

#include "layout.h"

#include <gtest/gtest.h>
#include <itc_admin.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <ostream>
#include <random>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace ItcTest;

namespace {

// The inbox of the process in the first slot, as someone else sees it.
class StrangersView {
public:
    StrangersView()
        : file_(open((domainPath() + "/process-0001/inbox").c_str(), O_RDWR | O_CLOEXEC)),
          memory_(mmap(nullptr, itc::kInboxSize, PROT_READ | PROT_WRITE, MAP_SHARED, file_, 0)) {}
    ~StrangersView() {
        munmap(memory_, itc::kInboxSize);
        close(file_);
    }
    StrangersView(const StrangersView&) = delete;
    StrangersView& operator=(const StrangersView&) = delete;

    bool isThere() const { return file_ >= 0 && memory_ != MAP_FAILED; }
    template <typename T>
    T* at(std::size_t offset) const {
        return reinterpret_cast<T*>(static_cast<char*>(memory_) + offset);
    }
    itc::MailboxRecord& record(std::size_t index) const {
        return at<itc::MailboxRecord>(itc::kRecordsOffset)[index];
    }

    // Writes `word()` over words between two offsets, one of `every`, wherever there is memory.
    template <typename Word>
    void scribble(std::size_t begin, std::size_t end, std::size_t every, Word word) const {
        for (std::size_t at = begin; at < end;) {
            const off_t data = lseek(file_, static_cast<off_t>(at), SEEK_DATA);
            if (data < 0 || static_cast<std::size_t>(data) >= end) {
                return;
            }
            const off_t hole = lseek(file_, data, SEEK_HOLE);
            const std::size_t stop = std::min(static_cast<std::size_t>(hole), end);
            for (at = static_cast<std::size_t>(data) & ~std::size_t{7}; at + 8 <= stop;
                 at += 8 * every) {
                this->at<std::atomic<std::uint64_t>>(at)->store(word(), std::memory_order_relaxed);
            }
            at = stop;
        }
    }

private:
    int file_;
    void* memory_;
};

struct Region {
    const char* name;
    std::size_t begin;
    std::size_t end;
};

void PrintTo(const Region& region, std::ostream* out) {
    *out << region.name;
}

constexpr std::size_t kScribbled = itc::kChunksOffset + 200 * itc::kChunkSize;
const Region kRegions[] = {
    {"Header", 0, itc::kPage},
    {"Lanes", itc::kLanesOffset, itc::kRecordsOffset},
    {"Records", itc::kRecordsOffset, itc::kStampsOffset},
    {"Stamps", itc::kStampsOffset, itc::kChunksOffset},
    {"Blocks", itc::kChunksOffset, kScribbled},
    {"Everything", 0, kScribbled},
};

class Garbage : public testing::TestWithParam<Region> {};

// Words as they may well stand there, in the wrong places, and any others.
class WordSource {
public:
    explicit WordSource(unsigned seed) : random_(seed) {}
    std::uint64_t operator()() {
        const std::uint64_t any = random_();
        const auto below = [any](std::uint32_t limit) {
            return static_cast<std::uint32_t>(any % limit);
        };
        switch (any >> 60) {
            case 0:
                return 0;
            case 1:
                return ~std::uint64_t{0};
            case 2:
                return itc::kClosedStack;
            case 3:  // a stack or lane that leads somewhere into the chunks
                return (any & 0xFFFFFFFF00000000) | (itc::unitOfChunk(0) + below(5000));
            case 4:
                return itc::unitOfChunk(below(70'000));
            case 5:
                return itc::makeStamp(1 + below(4), below(8), below(itc::kCutCount), 1);
            case 6:
                return itc::makeStamp(1 + below(4), below(8), itc::kSpanHead, below(200));
            case 7:  // the size and sender of a block
                return below(70'000);
            case 8:
                return std::uint64_t{below(8)} << 32 | (itc::unitOfChunk(0) + below(5000));
            default:
                return any;
        }
    }

private:
    std::mt19937_64 random_;
};

TEST_P(Garbage, InAnInboxHarmsNeitherOwnerNorSenders) {
    constexpr unsigned kRounds = 6;
    for (unsigned round = 0; round < kRounds; ++round) {
        ChildProcess owner([round](Channel& test) {
            itc_mbox_id_t id = itc_create_mailbox("owner", 0);
            test.put(id);
            const StrangersView view;
            CHILD_CHECK(view.isThere());
            WordSource words(round);
            test.get();  // the senders are at work
            std::vector<Message> held;
            for (std::size_t turn = 0; turn < 30; ++turn) {
                for (int message = 0; message < 50; ++message) {
                    held.push_back(receive(ITC_NO_WAIT));
                }
                view.scribble(GetParam().begin, GetParam().end, 1 + turn % 7, words);
                for (Message& message : held) {
                    if (message != nullptr && message->msgno % 3 == 0) {
                        itc_msg* passedOn = message.release();
                        itc_send(&passedOn, message == nullptr ? id : 0, ITC_OWN_MAILBOX);
                    }
                }
                held.clear();
                monitor(itc_locate("sender"));
                sendNumber(itc_locate("sender"), 1);
                sendNumber(id, 1);
                if (turn % 10 == 9) {
                    itc_delete_mailbox(id);
                    id = itc_create_mailbox("owner", 0);
                }
            }
            return kDone;
        });
        const itc_mbox_id_t receiver = owner.get();
        const auto sendForEver = [receiver](Channel& test) {
            const OwnMailbox its("sender");
            test.put(0);
            for (std::uint32_t number = 0;; ++number) {
                for (const itc_mbox_id_t next : {receiver, itc_locate("owner")}) {
                    itc_msg* message = itc_alloc(8 + number * 37 % 40'000, number);
                    itc_send(&message, next, ITC_OWN_MAILBOX);
                }
                if (number % 50 == 49) {
                    receive(20);  // the owner sends one when it wants more
                }
            }
            return kDone;
        };
        ChildProcess first(sendForEver);
        ChildProcess second(sendForEver);
        first.get();
        second.get();
        owner.put(0);
        ASSERT_EQ(owner.wait(), kDone) << "round " << round;
        // The senders may wait for room in what is left of the inbox, but they live.
        for (const ChildProcess* sender : {&first, &second}) {
            ASSERT_EQ(::kill(sender->pid(), 0), 0);
            ASSERT_EQ(waitpid(sender->pid(), nullptr, WNOHANG), 0) << "round " << round;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(In, Garbage, testing::ValuesIn(kRegions),
                         [](const auto& instance) { return std::string(instance.param.name); });

// The counts of an owner that takes messages while they are read.
TEST(BacklogInTheList, IsNoneWhereMoreHasBeenTakenThanWasSeenToCome) {
    const OwnMailbox mine;
    const StrangersView view;
    ASSERT_TRUE(view.isThere());
    sendNumber(mine.id(), 1);
    ASSERT_EQ(view.record(0).posted, 1U);
    view.record(0).taken = 2;
    view.record(0).takenBytes = 1000;
    itc_mailbox_info listed = {};
    const auto keep = [](const itc_mailbox_info* info, void* context) {
        *static_cast<itc_mailbox_info*>(context) = *info;
        return true;
    };
    ASSERT_EQ(itc_list_mailboxes(keep, &listed), 1);
    EXPECT_EQ(listed.queued, 0U);
    EXPECT_EQ(listed.queued_bytes, 0U);
    EXPECT_EQ(listed.most_queued, 1U);
}

class CorruptStack : public testing::Test {
protected:
    CorruptStack()
        : mine_(), sender_([id = mine_.id()](Channel& test) {
              for (;;) {
                  sendNumber(id, test.get());
                  test.put(0);
              }
              return kDone;
          }) {}

    void send(std::uint32_t number) {
        sender_.put(number);
        sender_.get();
    }
    static bool saysGarbage() {
        return std::string(itc_error_text()).find("garbage") != std::string::npos;
    }

    const OwnMailbox mine_;
    ChildProcess sender_;
    const StrangersView view_;
};

TEST_F(CorruptStack, ThatLeadsOutOfTheInboxIsReportedAndTheMailboxGoesOn) {
    for (const std::uint64_t unit :
         {std::uint64_t{1}, itc::unitOfChunk(0) - 1, itc::unitOfChunk(itc::kChunkCount),
          std::uint64_t{0xFFFFFFFE}, itc::unitOfChunk(100)}) {
        view_.record(0).stack = (std::uint64_t{5} << 32) | unit;
        EXPECT_EQ(receive(ITC_NO_WAIT), nullptr);
        EXPECT_TRUE(saysGarbage());
        send(1);
        EXPECT_EQ(nextNumber(kLong), 1U);
    }
}

TEST_F(CorruptStack, ThatIsACircleEnds) {
    send(1);
    const std::uint64_t unit = view_.record(0).stack & 0xFFFFFFFF;
    view_.at<itc::Block>(unit * itc::kUnit)->link = unit;
    view_.record(0).stack = (std::uint64_t{100'000} << 32) | unit;
    std::uint32_t received = 0;
    while (receive(ITC_NO_WAIT) != nullptr) {
        ++received;
    }
    EXPECT_EQ(received, 100'000U);
    send(2);
    EXPECT_EQ(nextNumber(kLong), 2U);
}

TEST_F(CorruptStack, WithABlockOfTheWrongSizeIsReported) {
    for (const std::uint32_t size : {0U, 3U, 97U, 1U << 20, 0xFFFFFFFFU}) {
        send(1);
        const std::uint64_t unit = view_.record(0).stack & 0xFFFFFFFF;
        view_.at<itc::Block>(unit * itc::kUnit)->size = size;
        EXPECT_EQ(receive(ITC_NO_WAIT), nullptr);
        EXPECT_TRUE(saysGarbage());
    }
}

TEST_F(CorruptStack, OfAMessageThatGrowsWhileItIsHeldStaysWithinItsBlock) {
    send(1);
    const std::uint64_t unit = view_.record(0).stack & 0xFFFFFFFF;
    itc_msg* message = receive().release();
    view_.at<itc::Block>(unit * itc::kUnit)->size = 0xFFFFFFFF;
    EXPECT_EQ(itc_size(message), 96U);
    itc_send(&message, mine_.id(), ITC_OWN_MAILBOX);
    EXPECT_EQ(itc_size(receive().get()), 96U);
}

}  // namespace
