// Which environment variables the library asks for: none of its own.
#include <quoria/activeObject/activeObjectIf.h>
#include <quoria/command/commandIf.h>
#include <quoria/command/commandRegistryIf.h>
#include <quoria/eventLoop/eventLoopIf.h>
#include <quoria/itcMailboxLocator/itcMailboxLocatorIf.h>
#include <quoria/itcMailboxMonitor/itcMailboxMonitorIf.h>
#include <quoria/itcMessageSubscription/itcMessageSubscriptionIf.h>
#include <quoria/startup/startupRegistryIf.h>
#include <quoria/timer/timeoutReceiverIf.h>
#include <quoria/timer/timerManagerIf.h>

#include <gtest/gtest.h>
#include <itc.h>

#include <dlfcn.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <sstream>

namespace {

std::atomic<bool> isMoreAskedFor{false};

}  // namespace

// Stands before the one of the C library for the whole process, from its first constructor on.
extern "C" __attribute__((visibility("default"))) char* getenv(const char* name) noexcept {
    Dl_info caller = {};
    if (dladdr(__builtin_return_address(0), &caller) != 0 && caller.dli_fname != nullptr &&
        std::strstr(caller.dli_fname, "libquoria") != nullptr) {
        // That one the tracepoint headers ask for, in each module that has events.
        if (std::strcmp(name, "LTTNG_UST_DEBUG") != 0) {
            isMoreAskedFor = true;
        }
    }
    const std::size_t length = std::strlen(name);
    for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
        if (std::strncmp(*entry, name, length) == 0 && (*entry)[length] == '=') {
            return *entry + length + 1;
        }
    }
    return nullptr;
}

namespace {

using Quoria::ActiveObject::V1::ActiveObjectIf;
using Quoria::EventLoop::V1::EventLoopIf;

class StopsTheLoop : public Quoria::Timer::V1::TimeoutReceiverIf {
public:
    void handleTimeout(unsigned int) override { EventLoopIf::getInstance()->stop(); }
};

TEST(Environment, IsNotAskedForAnythingByTheLibrary) {
    ASSERT_EQ(dlsym(RTLD_DEFAULT, "getenv"), reinterpret_cast<void*>(&getenv));
    void* const library = dlopen("libquoria.so.0", RTLD_NOLOAD | RTLD_LAZY);
    ASSERT_NE(library, nullptr);
    ASSERT_EQ(dlclose(library), 0);

    const itc_mbox_id_t mailbox = itc_create_mailbox("user", 0);
    auto* const subscription =
        &Quoria::ItcMessageSubscription::V1::ItcMessageSubscriptionIf::getInstance();
    subscription->monitorItcFd(itc_get_fd());
    Quoria::ItcMailboxLocator::V1::ItcMailboxLocatorIf::getInstance().locate("nobody",
                                                                             [](unsigned int) {});
    Quoria::ItcMailboxMonitor::V1::ItcMailboxMonitorIf::getInstance().monitor(mailbox,
                                                                              [](unsigned int) {});
    ActiveObjectIf::SchedulingPolicy policy{};
    ActiveObjectIf::create(
        "worker", [] {}, policy)
        ->executeFunction([] {});
    const auto say = [](const auto&, std::ostream& out) {
        out << "said";
        return Quoria::CommandTypes::Success;
    };
    auto* const registry = Quoria::CommandRegistry::V1::CommandRegistryIf::getInstance();
    registry->registerCommandHandler("say", say, true);
    registry->registerCommandHandler("sayHere", say, false);
    std::ostringstream out;
    Quoria::Command::V1::CommandIf::create("nobody's")->execute({}, out);
    StopsTheLoop receiver;
    Quoria::Timer::V1::TimerManagerIf::getInstance().startTimer(std::chrono::milliseconds(1),
                                                                &receiver, 1);
    EventLoopIf::getInstance()->run();

    EXPECT_FALSE(isMoreAskedFor);
    itc_delete_mailbox(mailbox);
}

}  // namespace
