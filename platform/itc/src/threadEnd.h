// threadEnd.h: what is left to do when a thread ends.
//
// Private header of platform/itc.
//
// A thread lets its thread-specific values go in rounds, PTHREAD_DESTRUCTOR_ITERATIONS at most:
// what a destructor sets again comes up in the next one. Nothing is done after the last round, and
// nobody says which one that is. So the library has a single key, whose turn comes after those of
// all others, and it counts the rounds from the first that it sees.
#ifndef ITC_THREADEND_H
#define ITC_THREADEND_H

namespace itc {

// Something to do, in memory of the thread.
struct ThreadEndTask {
    // Called at the end of a round; `isLast` if no destructor will run after it, or it is not sure
    // that there will be another call. Returns whether it is to be called in the next one again.
    bool (*run)(bool isLast);
    bool isExpected = false;  // will be run
    ThreadEndTask* next = nullptr;
};

// Has the task done at the end of the calling thread, once. Returns 0, or the error for which that
// is not possible.
int doAtThreadEnd(ThreadEndTask& task);

// Around a fork, so that the child finds nothing half-made.
void lockThreadEnds();
void unlockThreadEnds();

}  // namespace itc

#endif
