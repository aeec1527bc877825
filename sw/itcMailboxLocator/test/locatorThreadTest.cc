#include "itcMailboxLocatorImpl.h"
#include "locatorContractFixture.h"

#include <quoriaTest/traceCapture.h>

#include <functional>
#include <future>
#include <map>
#include <sstream>
#include <string>
#include <thread>

namespace {

namespace Itc = Quoria::Itc;

using Quoria::ItcMailboxLocator::V1::ItcMailboxLocatorImpl;
using QuoriaTest::TraceCapture;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

// A thread that owns a mailbox from open() to its end.
class PeerThread {
public:
    PeerThread() : thread_([this] { run(); }) {}
    ~PeerThread() {
        if (!opened_) {
            name_.set_value("");
        }
        mayEnd_.set_value();
        thread_.join();
    }
    PeerThread(const PeerThread&) = delete;
    PeerThread& operator=(const PeerThread&) = delete;

    // Returns when the mailbox has the name.
    std::uint32_t open(const std::string& name) {
        opened_ = true;
        name_.set_value(name);
        return mailbox_.get_future().get();
    }
    // Opens a mailbox which then sends `stopMsgNo` to `receiver`, behind its indications.
    std::uint32_t openAndStop(const std::string& name, std::uint32_t receiver,
                              unsigned int stopMsgNo) {
        afterwards_ = [receiver, stopMsgNo] {
            itc_msg* msg = Itc::alloc(4, stopMsgNo);
            Itc::send(&msg, receiver, Itc::kItcOwnMailbox);
        };
        return open(name);
    }

private:
    void run() {
        const std::string name = name_.get_future().get();
        if (opened_) {
            const std::uint32_t mailbox = Itc::createMailbox(name.c_str());
            if (afterwards_) {
                afterwards_();
            }
            mailbox_.set_value(mailbox);
        }
        mayEnd_.get_future().wait();
    }

    bool opened_ = false;
    std::function<void()> afterwards_;
    std::promise<std::string> name_;
    std::promise<std::uint32_t> mailbox_;
    std::promise<void> mayEnd_;
    std::thread thread_;
};

void sendIndication(std::uint32_t receiver, std::uint32_t identity, std::size_t size = 8) {
    itc_msg* msg = Itc::alloc(size, Itc::kLocateIndMsgNo);
    if (size >= sizeof(Itc::LocateIndMsg)) {
        reinterpret_cast<Itc::LocateIndMsg*>(msg)->identity = identity;
    }
    Itc::send(&msg, receiver, Itc::kItcOwnMailbox);
}

class LocatorThread : public QuoriaTest::LocatorContractFixture {};

TEST_F(LocatorThread, AMailboxThatExistsIsFoundButOnlyThroughTheLoop) {
    PeerThread peer;
    const std::uint32_t mailbox = peer.open("server");

    locate("server");
    EXPECT_THAT(found_, IsEmpty());
    runUntilFound(1);

    EXPECT_THAT(found_, ElementsAre(mailbox));
}

TEST_F(LocatorThread, AMailboxThatComesLaterIsFoundThen) {
    PeerThread peer;
    locate("server");
    runUntilIdle();
    EXPECT_THAT(found_, IsEmpty());

    const std::uint32_t mailbox = peer.open("server");
    runUntilFound(1);

    EXPECT_THAT(found_, ElementsAre(mailbox));
}

TEST_F(LocatorThread, AMailboxThatComesWhileTheLoopWaitsIsFoundToo) {
    PeerThread peer;
    locate("server");
    auto opened = std::async(std::launch::async, [&peer] { return peer.open("server"); });

    runUntilFound(1);

    EXPECT_THAT(found_, ElementsAre(opened.get()));
}

TEST_F(LocatorThread, AMailboxIsFoundUnderAnAdditionalName) {
    locate("alias");
    runUntilIdle();

    Itc::addName(mailbox_, "alias");
    runUntilFound(1);

    EXPECT_THAT(found_, ElementsAre(mailbox_));
}

TEST_F(LocatorThread, AThreadFindsItsOwnMailbox) {
    locate("asker");
    runUntilFound(1);

    EXPECT_THAT(found_, ElementsAre(mailbox_));
}

TEST_F(LocatorThread, ManyRequestsForOneNameAreEachAnsweredOnce) {
    PeerThread peer;
    for (int request = 0; request < 200; ++request) {
        locate("server");
    }

    const std::uint32_t mailbox = peer.open("server");
    runUntilFound(200);
    runUntilIdle();

    EXPECT_EQ(found_.size(), 200U);
    EXPECT_THAT(found_, Each(mailbox));
}

TEST_F(LocatorThread, EachRequestIsAnsweredWithTheMailboxOfItsOwnName) {
    PeerThread first;
    PeerThread second;
    std::map<std::string, unsigned int> foundByName;
    for (const std::string name : {"second", "first"}) {
        locator().locate(name, [this, &foundByName, name](unsigned int mailbox) {
            foundByName[name] = mailbox;
            note(mailbox);
        });
    }

    const std::uint32_t firstMailbox = first.open("first");
    const std::uint32_t secondMailbox = second.open("second");
    runUntilFound(2);

    EXPECT_THAT(foundByName,
                ElementsAre(Pair("first", firstMailbox), Pair("second", secondMailbox)));
}

TEST_F(LocatorThread, ARequestForANameThatNobodyTakesStaysWithoutAnswer) {
    PeerThread peer;
    locate("nobody");

    const std::uint32_t mailbox = peer.open("somebody");
    locate("somebody");
    runUntilFound(1);
    runUntilIdle();

    EXPECT_THAT(found_, ElementsAre(mailbox));
}

TEST_F(LocatorThread, ThreadsThatAskForTheSameNameAreEachAnsweredOnTheirOwn) {
    PeerThread peer;
    std::promise<void> asked;
    std::thread::id answeredOn;
    unsigned int foundThere = Itc::kItcNoMailbox;
    std::thread other([&] {
        Itc::createMailbox("other asker");
        Subscription::getInstance().monitorItcFd(Itc::getFd());
        locator().locate("server", [&](unsigned int mailbox) {
            foundThere = mailbox;
            answeredOn = std::this_thread::get_id();
            stop();
        });
        asked.set_value();
        runUntilStopped();
    });
    const std::thread::id otherId = other.get_id();
    asked.get_future().wait();
    locate("server");

    const std::uint32_t mailbox = peer.open("server");
    runUntilFound(1);
    other.join();

    EXPECT_EQ(answeredOn, otherId);
    EXPECT_EQ(foundThere, mailbox);
    EXPECT_THAT(found_, ElementsAre(mailbox));
}

TEST_F(LocatorThread, ACallbackMayLocateAgainAndIsAnsweredThroughTheLoop) {
    bool returned = false;
    locator().locate("asker", [this, &returned](unsigned int) {
        locator().locate("asker", [this, &returned](unsigned int mailbox) {
            EXPECT_TRUE(returned);
            note(mailbox);
        });
        returned = true;
    });

    runUntilFound(1);

    EXPECT_THAT(found_, ElementsAre(mailbox_));
}

TEST_F(LocatorThread, ACallbackMayReplaceTheLocator) {
    locator().locate("asker", [this](unsigned int) {
        ItcMailboxLocatorImpl::reset();
        locate("asker");
    });
    runUntilFound(1);

    EXPECT_THAT(found_, ElementsAre(mailbox_));
}

TEST_F(LocatorThread, IndicationsAfterAResetAreUnhandledMessages) {
    PeerThread peer;
    locate("server");
    locate("server");
    const TraceCapture trace({"ERROR"});

    ItcMailboxLocatorImpl::reset();
    peer.openAndStop("server", mailbox_, kStopMsgNo);
    runUntilStopped();

    const std::string text =
        "Unhandled ITC message 0x1707090 from 'server' received in mailbox 'asker'";
    EXPECT_THAT(trace.messages("ERROR"), ElementsAre(text, text));
    EXPECT_THAT(found_, IsEmpty());
}

TEST_F(LocatorThread, AStaleIndicationIsUnexpectedToTheNextLocator) {
    PeerThread peer;
    locate("server");
    locate("server");
    ItcMailboxLocatorImpl::reset();
    locator();
    const TraceCapture trace({"ERROR"});

    peer.openAndStop("server", mailbox_, kStopMsgNo);
    runUntilStopped();

    EXPECT_THAT(
        trace.messages("ERROR"),
        testing::UnorderedElementsAre("Received locate indication with unexpected identity: 1",
                                      "Received locate indication with unexpected identity: 2"));
    EXPECT_THAT(found_, IsEmpty());
}

TEST_F(LocatorThread, AStaleIndicationAnswersTheRequestThatHasItsIdentityNow) {
    PeerThread peer;
    locate("server");
    ItcMailboxLocatorImpl::reset();
    locate("nobody");

    const std::uint32_t mailbox = peer.openAndStop("server", mailbox_, kStopMsgNo);
    runUntilStopped();

    EXPECT_THAT(found_, ElementsAre(mailbox));
}

TEST_F(LocatorThread, AHandMadeIndicationWithIdentityZeroIsUnexpected) {
    locate("nobody");
    const TraceCapture trace({"ERROR"});

    sendIndication(mailbox_, 0);
    runUntilIdle();

    EXPECT_THAT(trace.messages("ERROR"),
                ElementsAre("Received locate indication with unexpected identity: 0"));
    EXPECT_THAT(found_, IsEmpty());
}

TEST_F(LocatorThread, AHandMadeIndicationAnswersTheRequestWhoseIdentityItHas) {
    locate("nobody");

    sendIndication(mailbox_, 1);
    runUntilIdle();

    EXPECT_THAT(found_, ElementsAre(mailbox_));
}

TEST_F(LocatorThread, AHandMadeIndicationWithoutAnIdentityIsReported) {
    std::ostringstream text;
    text << "Ignoring malformed locate indication from mailbox: 0x" << std::hex << mailbox_;
    locate("nobody");
    const TraceCapture trace({"ERROR"});

    sendIndication(mailbox_, 1, 4);
    sendIndication(mailbox_, 1, 6);
    runUntilIdle();

    EXPECT_THAT(trace.messages("ERROR"), ElementsAre(text.str(), text.str()));
    EXPECT_THAT(found_, IsEmpty());
}

}  // namespace
