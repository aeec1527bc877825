#include "childProcess.h"
#include "itcFixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include <fcntl.h>
#include <unistd.h>

using namespace ItcTest;

namespace {

TEST(Fork, GivesTheChildNoMailbox) {
    const OwnMailbox mine("parent's");
    const int fd = itc_get_fd();
    sendNumber(mine.id(), 1);
    ChildProcess child([&mine, fd](Channel&) {
        CHILD_CHECK(itc_current_mbox() == ITC_NO_MAILBOX);
        CHILD_CHECK(itc_get_fd() == -1);
        CHILD_CHECK(itc_receive(nullptr, ITC_NO_WAIT, ITC_ANY_SENDER) == nullptr);
        CHILD_CHECK(!itc_add_name(mine.id(), "stolen"));
        itc_delete_mailbox(mine.id());
        CHILD_CHECK(fcntl(fd, F_GETFD) == -1);
        return kDone;
    });
    EXPECT_EQ(child.wait(), kDone);
    EXPECT_EQ(itc_locate("parent's"), mine.id());
    EXPECT_EQ(queuedNumbers(), std::vector<std::uint32_t>{1});
}

TEST(Fork, LetsTheChildCreateItsOwn) {
    const OwnMailbox mine("parent's");
    ChildProcess child([&mine](Channel&) {
        const OwnMailbox its("child's");
        CHILD_CHECK(its.id() != ITC_NO_MAILBOX && its.id() != mine.id());
        CHILD_CHECK(itc_locate("parent's") == mine.id());
        CHILD_CHECK(itc_locate("child's") == its.id());
        sendNumber(mine.id(), 3);
        CHILD_CHECK(nextNumber(kLong) == 4);
        return kDone;
    });
    const Message message = receive();
    EXPECT_EQ(numberOf(message), 3U);
    sendNumber(senderOf(message), 4);
    EXPECT_EQ(child.wait(), kDone);
}

TEST(Fork, OfAForkedChildIsNoDifferent) {
    const OwnMailbox mine;
    ChildProcess child([&mine](Channel&) {
        const OwnMailbox its;
        ChildProcess grandchild([&](Channel&) {
            CHILD_CHECK(itc_current_mbox() == ITC_NO_MAILBOX);
            const OwnMailbox grandchilds;
            sendNumber(mine.id(), 1);
            sendNumber(its.id(), 2);
            return kDone;
        });
        CHILD_CHECK(grandchild.wait() == kDone);
        CHILD_CHECK(nextNumber(kLong) == 2);
        return kDone;
    });
    EXPECT_EQ(nextNumber(kLong), 1U);
    EXPECT_EQ(child.wait(), kDone);
}

TEST(Fork, KeepsNoDescriptorInTheChild) {
    const std::size_t before = openDescriptors();
    const OwnMailbox mine;
    ChildProcess peer([](Channel& test) {
        const OwnMailbox its("peer");
        test.put(its.id());
        test.get();
        return kDone;
    });
    const itc_mbox_id_t its = peer.get();
    sendNumber(its, 1);
    monitor(its);
    ChildProcess child([before](Channel&) {
        // Its own end of the channel, and the test's end of that to the peer.
        CHILD_CHECK(openDescriptors() == before + 2);
        return kDone;
    });
    EXPECT_EQ(child.wait(), kDone);
}

// The parent dies, its child lives on, and whoever watches the parent is told.
TEST(Fork, LetsTheDeathOfTheParentBeNoticedWhileTheChildLives) {
    const OwnMailbox mine;
    ChildProcess parent([](Channel& test) {
        const OwnMailbox its("parent's");
        ChildProcess child([&test](Channel&) {
            const OwnMailbox childs("child's");
            test.put(childs.id());
            receive(ITC_WAIT_FOREVER);
            return kDone;
        });
        test.put(its.id());
        pause();
        return kDone;
    });
    parent.get();
    parent.get();
    const itc_mbox_id_t parents = itc_locate("parent's");
    const itc_mbox_id_t childs = itc_locate("child's");
    ASSERT_NE(childs, ITC_NO_MAILBOX);
    monitor(parents, 1);
    monitor(childs, 2);
    parent.kill();
    EXPECT_EQ(senderOf(receive()), parents);
    EXPECT_EQ(itc_locate("parent's"), ITC_NO_MAILBOX);
    EXPECT_EQ(itc_locate("child's"), childs);
    EXPECT_EQ(receive(ITC_NO_WAIT), nullptr);
    sendNumber(childs, 0);
    EXPECT_EQ(senderOf(receive()), childs);
}

class InheritedMessage : public testing::Test {
protected:
    InheritedMessage()
        : sender_([receiver = mine_.id()](Channel& test) {
              const OwnMailbox its;
              sendNumber(receiver, 42);
              for (;;) {
                  test.get();
                  sendNumber(receiver, 43);
              }
              return kDone;
          }) {
        received_ = receive().release();
        onHeap_ = newNumber(kMsgNo, 44);
    }
    ~InheritedMessage() override {
        EXPECT_EQ(reinterpret_cast<NumberMsg*>(received_)->number, 42U);
        EXPECT_NE(itc_sender(received_), ITC_NO_MAILBOX);
        const itc_mbox_id_t sender = itc_sender(received_);
        itc_free(&received_);
        itc_free(&onHeap_);
        for (int round = 0; round < 200; ++round) {
            sender_.put(0);
            const Message next = receive();
            EXPECT_EQ(numberOf(next), 43U);
            EXPECT_EQ(senderOf(next), sender);
        }
    }

    const OwnMailbox mine_;
    ChildProcess sender_;
    itc_msg* received_ = nullptr;  // from the other process
    itc_msg* onHeap_ = nullptr;
};

TEST_F(InheritedMessage, CanBeFreedByTheChild) {
    ChildProcess child([this](Channel&) {
        CHILD_CHECK(itc_size(received_) == sizeof(NumberMsg));
        itc_free(&received_);
        itc_free(&onHeap_);
        CHILD_CHECK(received_ == nullptr);
        return kDone;
    });
    EXPECT_EQ(child.wait(), kDone);
}

TEST_F(InheritedMessage, CanBeFreedByAChildThatHasAMailboxItself) {
    ChildProcess child([this](Channel&) {
        const OwnMailbox its;
        itc_free(&received_);
        itc_free(&onHeap_);
        return kDone;
    });
    EXPECT_EQ(child.wait(), kDone);
}

TEST_F(InheritedMessage, CanBeFreedByTheChildOfTheChild) {
    ChildProcess child([this](Channel&) {
        const OwnMailbox its;
        ChildProcess grandchild([this](Channel&) {
            itc_free(&received_);
            itc_free(&onHeap_);
            const OwnMailbox grandchilds;
            return kDone;
        });
        CHILD_CHECK(grandchild.wait() == kDone);
        return kDone;
    });
    EXPECT_EQ(child.wait(), kDone);
}

TEST_F(InheritedMessage, CanBeSentByTheChild) {
    ChildProcess child([this](Channel&) {
        const OwnMailbox its;
        itc_send(&received_, its.id(), ITC_OWN_MAILBOX);
        const Message message = receive();
        CHILD_CHECK(numberOf(message) == 42);
        CHILD_CHECK(senderOf(message) == its.id());
        return kDone;
    });
    EXPECT_EQ(child.wait(), kDone);
}

TEST_F(InheritedMessage, CanBecomeAnIndicationInTheChild) {
    ChildProcess child([this](Channel&) {
        const OwnMailbox its;
        itc_monitor(its.id() + 1, &received_);
        CHILD_CHECK(senderOf(receive()) == its.id() + 1);
        return kDone;
    });
    EXPECT_EQ(child.wait(), kDone);
}

TEST(Fork, LeavesTheChildsEndToTheChild) {
    const OwnMailbox mine("parent's");
    ChildProcess child([](Channel&) -> int { exit(kDone); });
    EXPECT_EQ(child.wait(), kDone);
    EXPECT_EQ(itc_locate("parent's"), mine.id());
    sendNumber(mine.id(), 1);
    EXPECT_EQ(nextNumber(), 1U);
}

TEST(Fork, LetsTheChildChooseAnotherDomain) {
    const OwnMailbox mine("here");
    ChildProcess child([](Channel&) {
        const std::string other = domainPath() + "/names/other-domain";
        setenv("ITC_DOMAIN", other.c_str(), 1);
        const OwnMailbox its("there");
        CHILD_CHECK(its.id() != ITC_NO_MAILBOX);
        CHILD_CHECK(itc_domain_path() == other);
        CHILD_CHECK(itc_locate("here") == ITC_NO_MAILBOX);
        CHILD_CHECK(itc_locate("there") == its.id());
        return kDone;
    });
    EXPECT_EQ(child.wait(), kDone);
    EXPECT_EQ(itc_locate("there"), ITC_NO_MAILBOX);
}

}  // namespace
