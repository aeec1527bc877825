// nthCall.h: one call of an active object's life fails, whichever it is that the test wants.
//
// The test program defines epoll_create1, epoll_ctl, epoll_wait, read and write itself. A test arms
// a failure while no active object exists; the calls may then come from any thread. Those that are
// not to fail are the real ones.
#ifndef QUORIA_ACTIVEOBJECT_TEST_NTHCALL_H
#define QUORIA_ACTIVEOBJECT_TEST_NTHCALL_H

namespace NthCall {

// The n-th call of that function from now on, from 1, fails with that errno. Of read and write only
// those of eight bytes count. A write that fails has an effect all the same: a wake-up that is lost
// for good would leave whoever releases the active object waiting. So has the removal of a
// descriptor from epoll, which fails only where that is out already.
void fail(const char* function, int n, int error);
// Ends that, and tells whether the call has come.
bool disarm();
// What epoll said to the last removal of a descriptor.
int lastRemoval();

}  // namespace NthCall

#endif
