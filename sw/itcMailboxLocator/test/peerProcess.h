// peerProcess.h: another process that owns a mailbox, from the end of the constructor on.
//
// Test support.
//
// One thread may use an object.
#ifndef QUORIA_ITCMAILBOXLOCATOR_TEST_PEERPROCESS_H
#define QUORIA_ITCMAILBOXLOCATOR_TEST_PEERPROCESS_H

#include <quoriaTest/childProcess.h>

#include <string>

namespace QuoriaTest {

class PeerProcess {
public:
    explicit PeerProcess(const std::string& mailboxName);
    // Lets it end by itself.
    ~PeerProcess();
    PeerProcess(const PeerProcess&) = delete;
    PeerProcess& operator=(const PeerProcess&) = delete;

    unsigned int mailbox() const { return mailbox_; }

    // Returns when it has sent `receiver` a locate indication of its own making.
    void indicate(unsigned int receiver, unsigned int identity);
    void kill();

private:
    ChildProcess child_;
    const unsigned int mailbox_;
    bool killed_ = false;
};

}  // namespace QuoriaTest

#endif
