// Which domain directories a process uses and which it refuses, and why.

#include "childProcess.h"
#include "itcFixture.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <ostream>

#include <fcntl.h>
#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace ItcTest;

namespace {

class DomainDirectory : public testing::Test {
protected:
    // A place for domains next to nothing else; the test's own domain is its parent.
    DomainDirectory() : path_(domainPath() + "/it") { use(path_); }

    static void use(const std::string& path) { setenv("ITC_DOMAIN", path.c_str(), 1); }
    static void makeFolder(const std::string& path, mode_t mode) {
        ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
        ASSERT_EQ(chmod(path.c_str(), mode), 0);
    }
    static mode_t modeOf(const std::string& path) {
        struct stat status = {};
        EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
        return status.st_mode & 07777;
    }
    // Nothing works, and the reason contains `words`.
    static void expectRefusal(const std::string& words) {
        EXPECT_EQ(itc_create_mailbox("refused", 0), ITC_NO_MAILBOX);
        EXPECT_NE(std::string(itc_error_text()).find(words), std::string::npos) << itc_error_text();
        EXPECT_EQ(itc_locate("refused"), ITC_NO_MAILBOX);
        itc_msg* message = newNumber(kMsgNo, 1);
        itc_send(&message, 0x00100001, ITC_OWN_MAILBOX);
        EXPECT_EQ(message, nullptr);
        const auto visit = [](const itc_mailbox_info*, void*) { return true; };
        EXPECT_EQ(itc_list_mailboxes(visit, nullptr), -1);
    }
    void expectEmpty() { EXPECT_TRUE(std::filesystem::is_empty(path_)); }
    void writeControl(const std::string& content) {
        makeFolder(path_, 0700);
        std::ofstream(path_ + "/domain") << content;
    }

    const std::string path_;
};

TEST_F(DomainDirectory, IsMadeForThisUserAloneWhenItIsMissing) {
    const mode_t before = umask(0);
    const OwnMailbox mailbox("one");
    umask(before);
    EXPECT_NE(mailbox.id(), ITC_NO_MAILBOX);
    EXPECT_EQ(modeOf(path_), 0700U);
    for (const auto& entry : std::filesystem::recursive_directory_iterator(path_)) {
        if (!entry.is_symlink()) {
            EXPECT_EQ(modeOf(entry.path()) & 077, 0U) << entry.path();
        }
    }
}

TEST_F(DomainDirectory, IsUsableWhateverTheUmaskIs) {
    makeFolder(path_, 0700);
    const mode_t before = umask(0377);
    const OwnMailbox mailbox("one");
    EXPECT_EQ(umask(before), 0377U);
    EXPECT_EQ(itc_locate("one"), mailbox.id());
    EXPECT_EQ(modeOf(path_ + "/domain"), 0600U);
    EXPECT_EQ(modeOf(path_ + "/names/one"), 0700U);
    ChildProcess other([&mailbox](Channel&) {
        sendNumber(mailbox.id(), 1);
        return kDone;
    });
    EXPECT_EQ(nextNumber(kLong), 1U);
}

TEST_F(DomainDirectory, ThatIsOpenToEveryoneIsRefused) {
    for (const mode_t mode : {0777U, 0701U, 0704U, 01777U}) {
        makeFolder(path_, mode);
        expectRefusal("is open to everyone (mode ");
        expectEmpty();
        rmdir(path_.c_str());
    }
}

TEST_F(DomainDirectory, ThatIsOpenAndHoldsOtherThingsNobodyIsToldToClose) {
    makeFolder(path_, 01777);
    expectRefusal("; close it with chmod o= or name another one");
    std::ofstream(path_ + "/other thing") << "of others";
    expectRefusal("; name a folder of its own (a missing one is made)");
    std::ofstream(path_ + "/domain") << "a domain that was opened to others";
    expectRefusal("; close it with chmod o= or name another one");
}

TEST_F(DomainDirectory, ThatIsASymbolicLinkIsRefused) {
    makeFolder(path_ + "-real", 0700);
    ASSERT_EQ(symlink((path_ + "-real").c_str(), path_.c_str()), 0);
    expectRefusal("a symbolic link is not followed");
    use(path_ + "/");
    expectRefusal("a symbolic link is not followed");
    expectEmpty();
}

TEST_F(DomainDirectory, OfARelativePathIsRefused) {
    std::filesystem::current_path(std::filesystem::path(path_).parent_path());
    use("it");
    expectRefusal("must be an absolute path, not it");
    EXPECT_FALSE(std::filesystem::exists(path_));
}

TEST_F(DomainDirectory, ThatIsAFileIsRefused) {
    std::ofstream(path_) << "a file";
    expectRefusal("can't open the mailbox domain");
}

TEST_F(DomainDirectory, WhoseParentIsMissingIsRefused) {
    use(path_ + "/deeper");
    expectRefusal("can't make the mailbox domain");
}

TEST_F(DomainDirectory, ThatBelongsToAnotherUserIsRefused) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can give a directory away";
    }
    makeFolder(path_, 0700);
    ASSERT_EQ(chown(path_.c_str(), 12345, 12345), 0);
    expectRefusal("belongs to user 12345, not to 0");
    expectEmpty();
}

TEST_F(DomainDirectory, OfAnotherLayoutVersionIsRefusedAndLeftAlone) {
    std::string content = "iqdomain";
    content += {'\x07', '\0', '\0', '\0'};
    content.resize(100'000);
    writeControl(content);
    expectRefusal("has layout version 7, this library speaks ");
    EXPECT_EQ(std::filesystem::file_size(path_ + "/domain"), 100'000U);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(path_), {}), 1);
}

struct Content {
    const char* name;
    std::string bytes;
};
void PrintTo(const Content& content, std::ostream* out) {
    *out << content.name;
}

class DomainControlFile : public DomainDirectory, public testing::WithParamInterface<Content> {};

TEST_P(DomainControlFile, OfGarbageIsRefusedAndLeftAlone) {
    writeControl(GetParam().bytes);
    expectRefusal("the control file of the mailbox domain is not one of this library");
    EXPECT_EQ(std::filesystem::file_size(path_ + "/domain"), GetParam().bytes.size());
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(path_), {}), 1);
}

INSTANTIATE_TEST_SUITE_P(, DomainControlFile,
                         testing::Values(Content{"Nothing", ""}, Content{"Beginning", "iqdomain"},
                                         Content{"Text", "something else entirely"},
                                         Content{"Zeros", std::string(40'000, '\0')},
                                         Content{"Ones", std::string(40'000, '\xff')}),
                         [](const auto& instance) { return std::string(instance.param.name); });

TEST_F(DomainDirectory, WhoseControlFileIsCutShortIsRefused) {
    { const OwnMailbox mailbox; }
    std::filesystem::resize_file(path_ + "/domain", 1000);
    ChildProcess other([](Channel&) {
        CHILD_CHECK(itc_create_mailbox(nullptr, 0) == ITC_NO_MAILBOX);
        CHILD_CHECK(std::string(itc_error_text()).find("wrong size") != std::string::npos);
        // This process has it mapped and must not touch it any more.
        return kDone;
    });
    EXPECT_EQ(other.wait(), kDone);
    std::filesystem::resize_file(path_ + "/domain", 64 + 4096 * 8);
}

TEST_F(DomainDirectory, WhoseControlFileIsSomethingElseIsRefused) {
    makeFolder(path_, 0700);
    ASSERT_EQ(mkdir((path_ + "/domain").c_str(), 0700), 0);
    expectRefusal("can't open the control file");
    ASSERT_EQ(rmdir((path_ + "/domain").c_str()), 0);
    ASSERT_EQ(symlink("/dev/null", (path_ + "/domain").c_str()), 0);
    expectRefusal("can't open the control file");
    ASSERT_EQ(unlink((path_ + "/domain").c_str()), 0);
    ASSERT_EQ(mkfifo((path_ + "/domain").c_str(), 0600), 0);
    expectRefusal("is not one of this library");
}

TEST_F(DomainDirectory, TellsItsLayoutAndIsLeftAlone) {
    EXPECT_EQ(itc_layout()->domain_version, 0U);
    EXPECT_FALSE(std::filesystem::exists(path_));
    const itc_layout_info ours = *itc_layout();
    EXPECT_EQ(ours.max_processes, 4094U);
    EXPECT_EQ(ours.max_mailboxes, 16384U);
    ChildProcess member([&ours, this](Channel& test) {
        const OwnMailbox its;
        CHILD_CHECK(itc_layout()->domain_version == ours.version);
        const auto inbox = std::filesystem::file_size(path_ + "/process-0001/inbox");
        CHILD_CHECK(inbox == ours.inbox_size);
        test.put(0);
        test.get();
        return kDone;
    });
    member.get();
    member.kill();
    EXPECT_EQ(itc_layout()->domain_version, ours.version);
    EXPECT_TRUE(std::filesystem::exists(path_ + "/process-0001"));
}

TEST_F(DomainDirectory, WhoseControlFileIsStrangeTellsNoLayout) {
    makeFolder(path_, 0700);
    ASSERT_EQ(mkfifo((path_ + "/domain").c_str(), 0600), 0);
    EXPECT_EQ(itc_layout()->domain_version, 0U);
    std::filesystem::remove(path_ + "/domain");
    std::ofstream(path_ + "/domain") << "something else that is long enough";
    EXPECT_EQ(itc_layout()->domain_version, 0U);
}

TEST_F(DomainDirectory, CanBeTriedAgainAfterARefusal) {
    makeFolder(path_, 0777);
    expectRefusal("is open to everyone");
    ASSERT_EQ(chmod(path_.c_str(), 0700), 0);
    const OwnMailbox mailbox;
    EXPECT_NE(mailbox.id(), ITC_NO_MAILBOX);
}

TEST_F(DomainDirectory, IsChosenOnceForAProcess) {
    EXPECT_EQ(itc_domain_path(), path_);
    use(path_ + "-other");
    EXPECT_EQ(itc_domain_path(), path_);
    const OwnMailbox mailbox;
    EXPECT_TRUE(std::filesystem::exists(path_ + "/domain"));
    EXPECT_FALSE(std::filesystem::exists(path_ + "-other"));
}

TEST_F(DomainDirectory, IsInSharedMemoryUnlessOneIsNamed) {
    const std::string usual = "/dev/shm/itc-" + std::to_string(geteuid());
    for (const char* none : {"", static_cast<const char*>(nullptr)}) {
        ChildProcess other([&](Channel&) {
            none != nullptr ? setenv("ITC_DOMAIN", none, 1) : unsetenv("ITC_DOMAIN");
            CHILD_CHECK(itc_domain_path() == usual);
            return kDone;
        });
        EXPECT_EQ(other.wait(), kDone);
    }
}

TEST_F(DomainDirectory, SeparatesItsProcessesFromThoseOfOthers) {
    const OwnMailbox mine("everywhere");
    ChildProcess other([this, &mine](Channel&) {
        use(path_ + "-other");
        CHILD_CHECK(itc_locate("everywhere") == ITC_NO_MAILBOX);
        const OwnMailbox its("everywhere");
        CHILD_CHECK(its.id() != ITC_NO_MAILBOX);
        sendNumber(mine.id(), 1);
        return kDone;
    });
    EXPECT_EQ(other.wait(), kDone);
    EXPECT_EQ(itc_locate("everywhere"), mine.id());
}

TEST_F(DomainDirectory, WithJunkInTheFirstPlacesIsUsedAllTheSame) {
    makeFolder(path_, 0700);
    makeFolder(path_ + "/process-0001", 0700);
    makeFolder(path_ + "/process-0001/junk", 0700);
    std::ofstream(path_ + "/process-0001/junk/file") << "junk";
    std::ofstream(path_ + "/process-0002") << "junk";
    makeFolder(path_ + "/process-0003", 0700);
    std::ofstream(path_ + "/process-0003/inbox") << "junk";
    ASSERT_EQ(symlink("names/../domain", (path_ + "/process-0003/name-0").c_str()), 0);
    ASSERT_EQ(mkfifo((path_ + "/process-0003/life").c_str(), 0600), 0);
    const OwnMailbox mine("here");
    EXPECT_EQ(itc_locate("here"), mine.id());
    EXPECT_EQ(mine.id() >> 20, 3U);
    EXPECT_TRUE(std::filesystem::exists(path_ + "/domain"));
    EXPECT_FALSE(std::filesystem::exists(path_ + "/process-0003/name-0"));
}

TEST_F(DomainDirectory, WithJunkAmongTheNamesIsUsedAllTheSame) {
    const OwnMailbox mine;
    makeFolder(path_ + "/names/popular", 0700);
    for (const char* junk : {"x", "0000000000000000-fff00001", "0000000000000000-00000000",
                             "0000000000000000-00500001", "note-00500001-00000001", "note-x"}) {
        std::ofstream(path_ + "/names/popular/" + junk) << junk;
    }
    ASSERT_EQ(symlink("nowhere", (path_ + "/names/dangling").c_str()), 0);
    EXPECT_EQ(itc_locate("popular"), ITC_NO_MAILBOX);
    EXPECT_TRUE(itc_add_name(mine.id(), "popular"));
    EXPECT_EQ(itc_locate("popular"), mine.id());
    EXPECT_FALSE(itc_add_name(mine.id(), "dangling"));
}

// Members have nothing in common but the group of the directory.
class GroupDomain : public DomainDirectory {
protected:
    static constexpr gid_t kGroup = 54321;
    void SetUp() override {
        if (geteuid() != 0) {
            GTEST_SKIP() << "only root can act as several users";
        }
        makeFolder(path_, 0770);
        ASSERT_EQ(chown(path_.c_str(), 11111, kGroup), 0);
        // The way to it is open to all.
        ASSERT_EQ(chmod(std::filesystem::path(path_).parent_path().c_str(), 0711), 0);
    }
    // Goes on as a user with a group of its own and a umask that shares nothing.
    static void become(uid_t user) {
        const gid_t groups[] = {kGroup};
        CHILD_CHECK(setgroups(1, groups) == 0);
        CHILD_CHECK(setgid(user) == 0);
        CHILD_CHECK(setuid(user) == 0);
        umask(0077);
    }
};

TEST_F(GroupDomain, ConnectsItsMembers) {
    ChildProcess server([](Channel& test) {
        become(22222);
        const OwnMailbox its("server");
        CHILD_CHECK(its.id() != ITC_NO_MAILBOX);
        test.put(0);
        const Message message = receive();
        CHILD_CHECK(numberOf(message) == 7);
        sendNumber(senderOf(message), 8);
        test.get();
        return kDone;
    });
    server.get();
    ChildProcess client([](Channel&) {
        become(33333);
        const OwnMailbox its("client");
        CHILD_CHECK(itc_add_name(its.id(), "server"));
        const itc_mbox_id_t found = itc_locate("server");
        CHILD_CHECK(found != ITC_NO_MAILBOX && found != its.id());
        CHILD_CHECK(monitor(found) != ITC_NO_MAILBOX);
        sendNumber(found, 7);
        CHILD_CHECK(nextNumber(kLong) == 8);
        CHILD_CHECK(msgNoOf(receive()) == kGoneMsgNo);
        CHILD_CHECK(itc_locate("server") == its.id());
        return kDone;
    });
    server.put(0);
    EXPECT_EQ(server.wait(), kDone);
    EXPECT_EQ(client.wait(), kDone);
}

TEST_F(GroupDomain, LetsAnyMemberSweepWhatAnotherLeft) {
    ChildProcess victim([](Channel& test) {
        become(22222);
        const OwnMailbox its("victim");
        test.put(its.id());
        test.get();
        return kDone;
    });
    EXPECT_NE(victim.get(), ITC_NO_MAILBOX);
    victim.kill();
    ChildProcess next([this](Channel&) {
        become(33333);
        { const OwnMailbox its("victim"); }
        CHILD_CHECK(!std::filesystem::exists(path_ + "/names/victim"));
        exit(kDone);
        return kDone;
    });
    EXPECT_EQ(next.wait(), kDone);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(path_), {}), 2);
}

TEST_F(GroupDomain, IsClosedToOthers) {
    ChildProcess stranger([](Channel&) {
        CHILD_CHECK(setgroups(0, nullptr) == 0);
        CHILD_CHECK(setgid(44444) == 0 && setuid(44444) == 0);
        CHILD_CHECK(itc_create_mailbox(nullptr, 0) == ITC_NO_MAILBOX);
        CHILD_CHECK(std::string(itc_error_text()).find("Permission denied") != std::string::npos);
        return kDone;
    });
    EXPECT_EQ(stranger.wait(), kDone);
}

// Whoever is first in /dev/shm could make the default directory of someone else.
TEST_F(GroupDomain, OfAnotherUserIsRefusedInTheDefaultPlace) {
    ChildProcess victim([](Channel&) {
        constexpr uid_t kVictim = 987654;
        const std::string usual = "/dev/shm/itc-" + std::to_string(kVictim);
        CHILD_CHECK(mkdir(usual.c_str(), 0700) == 0);
        const bool made =
            chown(usual.c_str(), 11111, kGroup) == 0 && chmod(usual.c_str(), 0770) == 0;
        unsetenv("ITC_DOMAIN");
        const gid_t groups[] = {kGroup};
        const bool became = setgroups(1, groups) == 0 && seteuid(kVictim) == 0;
        const itc_mbox_id_t id = itc_create_mailbox(nullptr, 0);
        const bool restored = seteuid(0) == 0;
        std::filesystem::remove_all(usual);
        CHILD_CHECK(made && became && restored);
        CHILD_CHECK(id == ITC_NO_MAILBOX);
        CHILD_CHECK(std::string(itc_error_text()).find("belongs to user 11111") !=
                    std::string::npos);
        return kDone;
    });
    EXPECT_EQ(victim.wait(), kDone);
}

}  // namespace
