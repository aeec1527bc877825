// threadLocalLinux.h: one instance of a class per thread, made on first use.
//
// Public header.
//
// Any thread may call; each reaches only its own instance, so no lock guards it. The thread owns
// the instance: it is deleted by resetInstance() or when the thread ends. T needs a default
// constructor and is deleted as a T, through its virtual destructor where it has one.
#ifndef QUORIA_THREADLOCAL_THREADLOCALLINUX_H
#define QUORIA_THREADLOCAL_THREADLOCALLINUX_H

#include <pthread.h>
#include <quoria/util/export.h>

#include <atomic>

namespace Quoria::ThreadLocal::V1::detail {

// The operations expand into whatever calls them, while the three variables must be the same ones
// in every module of the process: they alone are exported, as far as T itself is.
template <typename T, int Slot>
class ThreadLocalLinux {
public:
    ThreadLocalLinux() = delete;

    // The calling thread's instance, made now if there is none; never null. It stays valid until
    // resetInstance() or the end of the thread. What T's constructor throws passes through, and
    // nothing is kept then.
    // Thread: any
    static T* getInstance() {
        T* instance = peekInstance();
        if (instance == nullptr) {
            instance = new T;
            setValue(instance);
        }
        return instance;
    }

    // The calling thread's instance, or null; makes none.
    // Thread: any
    static T* peekInstance() {
        createKeyOnce();
        return static_cast<T*>(pthread_getspecific(_tlsKey));
    }

    // Deletes the calling thread's instance, if any. Code that runs in its destructor still finds
    // the dying instance and must not reset it again. Thread: any
    static void resetInstance() {
        T* instance = peekInstance();
        if (instance != nullptr) {
            delete instance;
            setValue(nullptr);
        }
    }

private:
    static void createKeyOnce() {
        // The flag only saves the call. A thread that finds it true has to see the key as well,
        // hence release and acquire; one that finds it false too late calls pthread_once to no
        // effect.
        if (!_keyCreated.load(std::memory_order_acquire)) {
            // Results of the key's calls are not used, here and below: they fail only for want of
            // memory or keys, and the instance of this moment serves its caller all the same.
            pthread_once(&_tlsKeyOnce, &createKey);
            _keyCreated.store(true, std::memory_order_release);
        }
    }

    static void createKey() { pthread_key_create(&_tlsKey, &deleteInstance); }

    // The threads library clears the thread's value first and skips null ones. A destructor that
    // asks for the instance again gets a new one, and the threads library comes round once more for
    // it.
    static void deleteInstance(void* instance) { delete static_cast<T*>(instance); }

    static void setValue(T* instance) { pthread_setspecific(_tlsKey, instance); }

    QUORIA_EXPORT static std::atomic<bool> _keyCreated;
    QUORIA_EXPORT static pthread_once_t _tlsKeyOnce;
    QUORIA_EXPORT static pthread_key_t _tlsKey;

    static_assert(sizeof(std::atomic<bool>) == sizeof(bool));
    static_assert(std::atomic<bool>::is_always_lock_free);
};

template <typename T, int Slot>
std::atomic<bool> ThreadLocalLinux<T, Slot>::_keyCreated{false};
template <typename T, int Slot>
pthread_once_t ThreadLocalLinux<T, Slot>::_tlsKeyOnce = PTHREAD_ONCE_INIT;
// No key at all, so that a key that could not be made is not taken for somebody else's: nothing is
// found under it and nothing stored.
template <typename T, int Slot>
pthread_key_t ThreadLocalLinux<T, Slot>::_tlsKey = static_cast<pthread_key_t>(-1);

}  // namespace Quoria::ThreadLocal::V1::detail

#endif
