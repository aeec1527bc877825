// What another member of a shared domain may put in the place of what the library has there, to
// have it read, written, opened or removed elsewhere. This program puts its own function between
// the library and the C library.

#include "childProcess.h"
#include "itcFixture.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <utility>

#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace ItcTest;
namespace fs = std::filesystem;

namespace {

// Called once, before something new is given to the group.
std::function<void(const std::string& name)> beforeChown_;

}  // namespace

extern "C" __attribute__((visibility("default"))) int fchownat(int folder, const char* name,
                                                               uid_t user, gid_t group, int flags) {
    static auto* const next = reinterpret_cast<int (*)(int, const char*, uid_t, gid_t, int)>(
        dlsym(RTLD_NEXT, "fchownat"));
    if (const auto before = std::exchange(beforeChown_, nullptr); before) {
        before(name);
    }
    return next(folder, name, user, group, flags);
}

namespace {

// A shared domain, and a folder beside it with something in it that is nobody's business.
class Planted : public testing::Test {
protected:
    Planted() {
        mkdir(domain_.c_str(), 0700);
        chmod(domain_.c_str(), 0770);
        mkdir(outside_.c_str(), 0700);
        std::ofstream(precious_) << kText;
        setenv("ITC_DOMAIN", domain_.c_str(), 1);
    }
    void TearDown() override {
        std::ifstream file(precious_);
        EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), kText);
        EXPECT_EQ(std::distance(fs::directory_iterator(outside_), {}), expectedOutside_);
    }

    std::string inDomain(const std::string& entry) const { return domain_ + "/" + entry; }
    // Moves the entry out of the domain and leaves a link to it.
    void moveOut(const std::string& entry) {
        fs::rename(inDomain(entry), outside_ + "/moved");
        fs::create_symlink(outside_ + "/moved", inDomain(entry));
        ++expectedOutside_;
    }
    void replaceByLink(const std::string& entry, const std::string& target) const {
        fs::remove_all(inDomain(entry));
        fs::create_symlink(target, inDomain(entry));
    }
    // Another process finds nobody at the other end, and lives.
    static void expectNobody(itc_mbox_id_t mailbox) {
        ChildProcess sender([mailbox](Channel&) {
            const OwnMailbox its("sender");
            CHILD_CHECK(its.id() != ITC_NO_MAILBOX);
            sendNumber(mailbox, 1);
            itc_msg* large = itc_alloc(100'000, kMsgNo);
            itc_send(&large, mailbox, ITC_OWN_MAILBOX);
            const itc_monitor_id_t watch = monitor(mailbox);
            CHILD_CHECK(watch == ITC_NO_MAILBOX || msgNoOf(receive(ITC_NO_WAIT)) == kGoneMsgNo);
            const auto visit = [](const itc_mailbox_info*, void*) { return true; };
            CHILD_CHECK(itc_list_mailboxes(visit, nullptr) >= 1);
            sendNumber(its.id(), 2);
            CHILD_CHECK(nextNumber() == 2);
            return kDone;
        });
        EXPECT_EQ(sender.wait(), kDone);
        EXPECT_EQ(receive(ITC_NO_WAIT), nullptr);
    }

    static constexpr const char* kText = "precious";
    const std::string domain_ = domainPath() + "/shared";
    const std::string outside_ = domainPath() + "/outside";
    const std::string precious_ = outside_ + "/precious";
    long expectedOutside_ = 1;
};

TEST_F(Planted, LinkInPlaceOfAnInboxIsNotFollowed) {
    const OwnMailbox mine;
    moveOut("process-0001/inbox");
    expectNobody(mine.id());
}

TEST_F(Planted, LinkInPlaceOfAProcessIsNotFollowed) {
    const OwnMailbox mine;
    moveOut("process-0001");
    expectNobody(mine.id());
    EXPECT_FALSE(itc_add_name(mine.id(), "mine"));
    EXPECT_EQ(std::distance(fs::directory_iterator(outside_ + "/moved"), {}), 3);
}

TEST_F(Planted, LinkInPlaceOfALifeIsNotFollowed) {
    const OwnMailbox mine;
    moveOut("process-0001/life");
    ChildProcess watcher([&mine](Channel&) {
        const OwnMailbox its;
        CHILD_CHECK(monitor(mine.id()) == ITC_NO_MAILBOX);
        return kDone;
    });
    EXPECT_EQ(watcher.wait(), kDone);
}

TEST_F(Planted, LinkInPlaceOfABellIsNotFollowed) {
    const OwnMailbox mine;
    replaceByLink("process-0001/bell-0", precious_);
    expectNobody(mine.id());
}

TEST_F(Planted, FileInPlaceOfABellIsNotWrittenTo) {
    const OwnMailbox mine;
    fs::remove(inDomain("process-0001/bell-0"));
    fs::create_hard_link(precious_, inDomain("process-0001/bell-0"));
    expectNobody(mine.id());
}

TEST_F(Planted, PipeInPlaceOfAnInboxHoldsNobodyUp) {
    const OwnMailbox mine;
    fs::remove(inDomain("process-0001/inbox"));
    ASSERT_EQ(mkfifo(inDomain("process-0001/inbox").c_str(), 0660), 0);
    expectNobody(mine.id());
}

TEST_F(Planted, LinkInPlaceOfTheControlFileIsRefused) {
    fs::create_symlink(precious_, inDomain("domain"));
    EXPECT_EQ(itc_create_mailbox("x", 0), ITC_NO_MAILBOX);
    EXPECT_NE(std::string(itc_error_text()).find("control file"), std::string::npos);
}

TEST_F(Planted, LinkInPlaceOfAllNamesIsRefused) {
    fs::create_symlink(outside_, inDomain("names"));
    EXPECT_EQ(itc_create_mailbox("x", 0), ITC_NO_MAILBOX);
    EXPECT_NE(std::string(itc_error_text()).find("names"), std::string::npos);
}

TEST_F(Planted, LinkInPlaceOfANameIsNotFollowed) {
    const OwnMailbox mine;
    std::ofstream(outside_ + "/0000000000000001-00100000");
    ++expectedOutside_;
    fs::create_symlink(outside_, inDomain("names/service"));
    EXPECT_EQ(itc_locate("service"), ITC_NO_MAILBOX);
    EXPECT_FALSE(itc_add_name(mine.id(), "service"));
    locateAsync("service");
    EXPECT_EQ(receive(ITC_NO_WAIT), nullptr);
}

// Whoever sweeps it must not remove what its links lead to.
TEST_F(Planted, LinksOfTheDeadToOtherPlacesAreNotFollowed) {
    { const OwnMailbox makesTheDomain; }
    fs::create_directory(inDomain("process-0005"));
    fs::create_symlink(outside_, inDomain("names/evil"));
    int number = 0;
    for (const std::string& target :
         {std::string("names/evil/precious"), precious_, std::string("../outside/precious"),
          std::string("names/../../outside/precious"), std::string("names/evil"),
          std::string("names/"), std::string("names//precious")}) {
        fs::create_symlink(target, inDomain("process-0005/" + std::to_string(number++)));
    }
    letSomeoneElseJoin();
    EXPECT_FALSE(fs::exists(fs::symlink_status(inDomain("process-0005"))));
    EXPECT_TRUE(fs::is_directory(inDomain("names")));
}

TEST_F(Planted, LinkInPlaceOfOnesOwnNameIsNotFollowedAtItsEnd) {
    {
        const OwnMailbox mine("first");
        replaceByLink("process-0001/name-00100000-0", precious_);
    }
    {
        const OwnMailbox mine("second");
        fs::create_symlink(outside_, inDomain("names/evil"));
        replaceByLink("process-0001/name-00100001-0", "names/evil/precious");
    }
}

TEST_F(Planted, LinkInPlaceOfANoteIsNotFollowed) {
    const OwnMailbox mine;
    locateAsync("later");
    replaceByLink("names/later/note-00100000-00000001", precious_);
    replaceByLink("process-0001/note-00100000-00000001", precious_);
    EXPECT_TRUE(itc_add_name(mine.id(), "later"));
    EXPECT_EQ(msgNoOf(receive()), kFoundMsgNo);
}

// Between its making and its opening to the members.
TEST_F(Planted, LinkInPlaceOfANewFolderOpensNothing) {
    const OwnMailbox mine;
    beforeChown_ = [this](const std::string& name) {
        ASSERT_EQ(name.rfind("new-folder-", 0), 0U) << name;
        replaceByLink(name, outside_);
    };
    umask(0077);
    itc_add_name(mine.id(), "new");
    EXPECT_FALSE(beforeChown_);
    struct stat status = {};
    ASSERT_EQ(stat(outside_.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0700U);
}

}  // namespace
