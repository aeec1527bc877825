// failingNew.h: memory that runs out when a test says so.
//
// The test program replaces operator new and delete. A FailingNew acts on the thread that makes it.
#ifndef QUORIA_TIMER_TEST_FAILINGNEW_H
#define QUORIA_TIMER_TEST_FAILINGNEW_H

// While it exists, so many more allocations succeed and the one after them throws std::bad_alloc;
// those that follow succeed again.
class FailingNew {
public:
    explicit FailingNew(int successes);
    ~FailingNew();
    FailingNew(const FailingNew&) = delete;
    FailingNew& operator=(const FailingNew&) = delete;
};

#endif
