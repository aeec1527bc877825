// Senders that are stopped on their way until the mailbox is gone and its record is another's. This
// program puts its own function between the library and the C library.

#include "childProcess.h"
#include "itcFixture.h"

#include "layout.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstring>
#include <functional>
#include <thread>
#include <utility>

#include <dlfcn.h>
#include <fcntl.h>

using namespace ItcTest;

namespace {

// Called once, before a bell is opened.
std::function<void()> beforeBell_;

}  // namespace

extern "C" __attribute__((visibility("default"))) int openat(int folder, const char* path,
                                                             int flags, ...) {
    static auto* const next =
        reinterpret_cast<int (*)(int, const char*, int, ...)>(dlsym(RTLD_NEXT, "openat"));
    if (std::strncmp(path, "bell-", 5) == 0) {
        if (const std::function<void()> before = std::exchange(beforeBell_, nullptr); before) {
            before();
        }
    }
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    return next(folder, path, flags, mode);
}

namespace {

// Uses up ids until the next one has the record of `id`, whose mailbox is gone.
void comeRoundTo(itc_mbox_id_t id) {
    itc_mbox_id_t last = 0;
    do {
        const OwnMailbox passing;
        last = passing.id();
    } while ((last - id) % itc::kRecordCount != itc::kRecordCount - 1);
}

// The sender has found the first mailbox and its bell when it is stopped. When it goes on, it
// pushes on the stack of the next one, which has another bell: it must not mark that one as rung.
TEST(LateSender, ForAnEarlierMailboxCostsTheNextOneNoWakeUp) {
    ChildProcess sender([](Channel& test) {
        const itc_mbox_id_t first = test.get();
        beforeBell_ = [&test] {
            test.put(0);
            test.get();
        };
        sendNumber(first, 1);
        test.put(0);
        sendNumber(test.get(), 2);
        test.put(0);
        test.get();
        return kDone;
    });
    const itc_mbox_id_t first = itc_create_mailbox(nullptr, 0);
    sender.put(first);
    sender.get();
    itc_delete_mailbox(first);
    const OwnMailbox mine;  // has the bell of the first one now
    std::thread([&sender, first] {
        comeRoundTo(first);
        const OwnMailbox next;
        ASSERT_EQ((next.id() - first) % itc::kRecordCount, 0U);
        sender.put(0);
        sender.get();
        sender.put(next.id());
        sender.get();
        EXPECT_TRUE(isReadable(itc_get_fd()));
        EXPECT_EQ(queuedNumbers(), std::vector<std::uint32_t>{2});
    }).join();
}

}  // namespace
