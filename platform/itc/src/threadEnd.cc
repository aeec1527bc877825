#include "threadEnd.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <climits>
#include <cstddef>
#include <mutex>
#include <utility>

#include <pthread.h>

namespace itc {

namespace {

// So many rounds are sure to be seen whenever the thread has begun to use the library, the last one
// excepted.
constexpr int kSureRounds = 2;
// So many keys are left to those who make some while the last one is looked for.
constexpr std::size_t kSpareKeys = 64;

std::mutex keyMutex_;
pthread_key_t key_;  // guarded by keyMutex_ until isKeyMade_
std::atomic<bool> isKeyMade_{false};

thread_local ThreadEndTask* firstTask_ = nullptr;
thread_local int rounds_ = 0;

// Whether another value of the thread is still to be let go: a destructor has set it.
bool isAnyOtherValueSet() {
    for (pthread_key_t key = 0; key < PTHREAD_KEYS_MAX; ++key) {
        if (key != key_ && pthread_getspecific(key) != nullptr) {
            return true;
        }
    }
    return false;
}

// The value is set again even if there is nothing left to do, to go on counting.
void atRoundEnd(void* value) {
    ++rounds_;
    const bool isLast =
        rounds_ >= kSureRounds || pthread_setspecific(key_, value) != 0 || !isAnyOtherValueSet();
    ThreadEndTask* again = nullptr;
    while (firstTask_ != nullptr) {
        ThreadEndTask* const task = std::exchange(firstTask_, firstTask_->next);
        task->isExpected = false;
        if (task->run(isLast) && !isLast) {
            task->isExpected = true;
            task->next = std::exchange(again, task);
        }
    }
    firstTask_ = again;
    pthread_setspecific(key_, value);  // there is room for it, or it is of no use any more
}

// Values are let go in the order of their keys, and new keys get the lowest number that is free.
int makeLastKey(pthread_key_t& last) {
    std::array<pthread_key_t, PTHREAD_KEYS_MAX> made;
    std::size_t count = 0;
    int error = 0;
    while (count < made.size() - kSpareKeys && error == 0) {
        error = pthread_key_create(&made[count], atRoundEnd);
        count += error == 0 ? 1 : 0;
        if (error == 0 && made[count - 1] + kSpareKeys >= made.size()) {
            break;
        }
    }
    if (count == 0) {
        return error;
    }
    std::iter_swap(std::max_element(made.begin(), made.begin() + count), made.begin());
    last = made[0];
    for (std::size_t other = 1; other < count; ++other) {
        pthread_key_delete(made[other]);  // it exists
    }
    return 0;
}

int makeKeyOnce() {
    if (isKeyMade_.load(std::memory_order_acquire)) {
        return 0;
    }
    const std::lock_guard<std::mutex> lock(keyMutex_);
    if (!isKeyMade_.load(std::memory_order_relaxed)) {
        if (const int error = makeLastKey(key_); error != 0) {
            return error;
        }
        isKeyMade_.store(true, std::memory_order_release);
    }
    return 0;
}

}  // namespace

int doAtThreadEnd(ThreadEndTask& task) {
    if (task.isExpected) {
        return 0;
    }
    int error = makeKeyOnce();
    if (error == 0) {
        error = pthread_setspecific(key_, &firstTask_);
    }
    if (error == 0) {
        task.isExpected = true;
        task.next = std::exchange(firstTask_, &task);
    }
    return error;
}

void lockThreadEnds() {
    keyMutex_.lock();
}

void unlockThreadEnds() {
    keyMutex_.unlock();
}

}  // namespace itc
