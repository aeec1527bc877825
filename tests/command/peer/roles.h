// roles.h: what the peer program can be told to be.
//
// Test support.
//
// Each role tells on standard output how far it has come, a line each. All but those of process
// ends wait then until they are killed.
#ifndef QUORIATEST_ROLES_H
#define QUORIATEST_ROLES_H

#include <string>

namespace QuoriaTest {

// Clients of the command "later" that go through the protocol step by step. They tell their mailbox
// when they have come as far as the role says.
int askToConnect();        // has sent the connect request
int connectAndWait();      // has got the confirm
int executeUntilOutput();  // has got the first output
int executeUntilResult();  // has got the result, and not disconnected
int connectAndExit();      // as connectAndWait(), but ends by itself when told to on standard input
int connectAndExec();      // likewise, but turns into another program
int runCommand();          // runs "later" in the ordinary way and tells its result

// Servers. They tell "ready" when their commands can be reached.
int serve();             // see there for its commands
int registerAndLeave();  // registers a command of each kind and returns
int registerAndFork();   // likewise, but returns what a forked child has exited with

// Servers of the command "dying" that go through the protocol step by step, tell "ready" when they
// can be reached, and kill themselves at the step that their name says.
int dieAfterConnectCfm();
int dieBeforeExecuteCfm();
int dieAfterExecuteCfm();

void tell(const std::string& line);
std::string readLine();
[[noreturn]] void waitToBeKilled();

}  // namespace QuoriaTest

#endif
