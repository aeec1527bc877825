#include "peerProcess.h"

#include <gtest/gtest.h>
#include <signal.h>

namespace QuoriaTest {

PeerProcess::PeerProcess(const std::string& mailboxName)
    : child_({PEER_ITCMAILBOXLOCATORPEER, mailboxName}),
      mailbox_(static_cast<unsigned int>(std::stoul(child_.readLine()))) {}

PeerProcess::~PeerProcess() {
    if (!killed_) {
        child_.write("\n");
        EXPECT_EQ(child_.wait(), 0);
    }
}

void PeerProcess::indicate(unsigned int receiver, unsigned int identity) {
    child_.write(std::to_string(receiver) + ' ' + std::to_string(identity) + '\n');
    EXPECT_EQ(child_.readLine(), "\n");
}

void PeerProcess::kill() {
    killed_ = true;
    child_.sendSignal(SIGKILL);
    EXPECT_EQ(child_.wait(), -SIGKILL);
}

}  // namespace QuoriaTest
