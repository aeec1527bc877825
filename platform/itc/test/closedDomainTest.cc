// A domain that someone else can't use, that has no room, or in which others were half-way or speak
// another language.

#include "childProcess.h"
#include "itcFixture.h"

#include "layout.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <grp.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace ItcTest;

namespace {

bool saysError(const std::string& words) {
    return std::string(itc_error_text()).find(words) != std::string::npos;
}

TEST(ClosedDomain, RefusesAnotherUserAndStaysAsItIs) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can act as another user";
    }
    const OwnMailbox mine("mine");
    const std::vector<std::string> before = domainEntries();
    ChildProcess stranger([&mine](Channel&) {
        CHILD_CHECK(setgroups(0, nullptr) == 0);
        CHILD_CHECK(setgid(44444) == 0 && setuid(44444) == 0);
        CHILD_CHECK(itc_create_mailbox("mine", 0) == ITC_NO_MAILBOX);
        CHILD_CHECK(saysError("can't open the mailbox domain") && saysError("Permission denied"));
        CHILD_CHECK(itc_locate("mine") == ITC_NO_MAILBOX);
        sendNumber(mine.id(), 1);
        const auto visit = [](const itc_mailbox_info*, void*) { return true; };
        CHILD_CHECK(itc_list_mailboxes(visit, nullptr) == -1);
        return kDone;
    });
    EXPECT_EQ(stranger.wait(), kDone);
    EXPECT_EQ(domainEntries(), before);
    EXPECT_EQ(nextNumber(), kNoNumber);
}

TEST(HalfMade, ThingsOfTheDeadAreSwept) {
    { const OwnMailbox makesTheDomain; }
    const std::string path = domainPath();
    ASSERT_EQ(mkdir((path + "/new-process-0007").c_str(), 0700), 0);
    ASSERT_EQ(mkfifo((path + "/new-process-0007/life").c_str(), 0600), 0);
    std::ofstream(path + "/new-process-0007/inbox") << "the beginning of";
    ASSERT_EQ(mkdir((path + "/new-folder-77").c_str(), 0700), 0);
    ASSERT_EQ(mkdir((path + "/names/cut short").c_str(), 0700), 0);
    ASSERT_EQ(mkdir((path + "/process-0008").c_str(), 0700), 0);
    ASSERT_EQ(symlink("names/cut short/0000000000000009-00800001",
                      (path + "/process-0008/name-00800001-0").c_str()),
              0);
    letSomeoneElseJoin();
    const std::vector<std::string> traces = tracesInDomain();
    EXPECT_TRUE(std::all_of(traces.begin(), traces.end(), [](const std::string& trace) {
        return trace.rfind("process-0001", 0) == 0;
    })) << testing::PrintToString(traces);
}

// The inbox of a living process, and who sends to it.
class StrangeInbox : public testing::Test {
protected:
    StrangeInbox()
        : file_(open((domainPath() + "/process-0001/inbox").c_str(), O_RDWR | O_CLOEXEC)) {}
    ~StrangeInbox() override { close(file_); }

    template <typename Word>
    void write(std::size_t offset, Word word) const {
        ASSERT_EQ(pwrite(file_, &word, sizeof(word), static_cast<off_t>(offset)),
                  static_cast<ssize_t>(sizeof(word)));
    }
    void expectRefusal(const char* words) const {
        ChildProcess sender([this, words](Channel&) {
            sendNumber(mine_.id(), 1);
            CHILD_CHECK(saysError(words));
            CHILD_CHECK(monitor(mine_.id()) == ITC_NO_MAILBOX);
            return kDone;
        });
        EXPECT_EQ(sender.wait(), kDone);
        EXPECT_EQ(nextNumber(), kNoNumber);
    }

    const OwnMailbox mine_;
    const int file_;
};

TEST_F(StrangeInbox, OfAnotherLayoutVersionIsRefused) {
    write(offsetof(itc::InboxHeader, version), itc::kLayoutVersion + 1);
    expectRefusal("no inbox of this library");
}

TEST_F(StrangeInbox, OfAnotherSizeIsRefused) {
    ASSERT_EQ(ftruncate(file_, static_cast<off_t>(itc::kInboxSize + 1)), 0);
    expectRefusal("wrong size of the inbox");
}

TEST_F(StrangeInbox, OfAnotherProcessIsRefused) {
    write(offsetof(itc::InboxHeader, slot), std::uint32_t{2});
    expectRefusal("no inbox of this library");
}

// In a file system of its own, `size` bytes large, that nobody else sees.
class Tmpfs {
public:
    explicit Tmpfs(std::size_t size) : path_(domainPath() + "/small") {
        const std::string options = "mode=0700,size=" + std::to_string(size);
        mkdir(path_.c_str(), 0700);  // is there already the second time
        isThere_ = unshare(CLONE_NEWNS) == 0 &&
                   mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                   mount("tmpfs", path_.c_str(), "tmpfs", 0, options.c_str()) == 0;
        setenv("ITC_DOMAIN", path_.c_str(), 1);
    }
    bool isThere() const { return isThere_; }
    std::string path() const { return path_; }
    // Takes what room is left.
    void fill() const {
        std::ofstream ballast(path_ + "/ballast");
        const std::string page(4096, 'b');
        while (ballast << page << std::flush) {
        }
    }
    void makeRoom() const { std::filesystem::remove(path_ + "/ballast"); }

private:
    const std::string path_;
    bool isThere_ = false;
};

constexpr int kNotAllowed = 90;

TEST(SmallFileSystem, OfAnySizeIsEnoughOrRefusedInWords) {
    int made = 0;
    for (std::size_t size = 4096; size <= 128 * 1024; size += 4096) {
        ChildProcess newcomer([size](Channel&) {
            const Tmpfs small(size);
            if (!small.isThere()) {
                return kNotAllowed;
            }
            const itc_mbox_id_t id = itc_create_mailbox("newcomer", 0);
            if (id == ITC_NO_MAILBOX) {
                CHILD_CHECK(saysError("No space left on device"));
                return static_cast<int>(kDone);
            }
            sendNumber(id, 1);
            CHILD_CHECK(nextNumber() == 1);
            return 1;
        });
        const int end = newcomer.wait();
        if (end == kNotAllowed) {
            GTEST_SKIP() << "only root can mount a file system";
        }
        ASSERT_TRUE(end == kDone || end == 1) << size;
        made += end;
    }
    EXPECT_GT(made, 0);
}

TEST(SmallFileSystem, ThatIsFullLetsASenderWaitUntilThereIsRoom) {
    ChildProcess receiver([](Channel&) {
        const Tmpfs small(std::size_t{4} << 20);
        if (!small.isThere()) {
            return kNotAllowed;
        }
        const OwnMailbox mine;
        ChildProcess sender([&mine](Channel& test) {
            sendNumber(mine.id(), 1);
            test.put(0);
            test.get();
            itc_msg* large = itc_alloc(500'000, kOtherMsgNo);
            fillPayload(large, 1);
            itc_send(&large, mine.id(), ITC_OWN_MAILBOX);
            return kDone;
        });
        sender.get();
        small.fill();
        sender.put(0);
        CHILD_CHECK(nextNumber(kLong) == 1);
        CHILD_CHECK(receive(50) == nullptr);
        small.makeRoom();
        CHILD_CHECK(hasPayload(receive().get(), 500'000, 1));
        CHILD_CHECK(sender.wait() == kDone);
        return static_cast<int>(kDone);
    });
    const int end = receiver.wait();
    if (end == kNotAllowed) {
        GTEST_SKIP() << "only root can mount a file system";
    }
    EXPECT_EQ(end, kDone);
}

}  // namespace
