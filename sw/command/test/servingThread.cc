#include <quoriaTest/servingThread.h>

#include <quoria/activeObject/activeObjectIf.h>
#include <quoria/itc/itcOperations.h>
#include <quoria/itcMailboxMonitor/itcMailboxMonitorIf.h>
#include <quoria/itcMessageSubscription/itcMessageSubscriptionIf.h>

#include <poll.h>

#include <future>

namespace QuoriaTest {

namespace Itc = Quoria::Itc;
using Quoria::ActiveObject::V1::ActiveObjectIf;
using Quoria::ItcMailboxMonitor::V1::ItcMailboxMonitorIf;
using Quoria::ItcMessageSubscription::V1::ItcMessageSubscriptionIf;

ServingThread::ServingThread() : thread_(ActiveObjectIf::create("serving", nullptr, {})) {
    call([this] {
        mailbox_ = Itc::createMailbox("serving");
        ItcMessageSubscriptionIf::getInstance().monitorItcFd(Itc::getFd());
    });
}

void ServingThread::call(const std::function<void()>& function) {
    // Shared, because this thread may go on while set_value() is still returning.
    const auto called = std::make_shared<std::promise<void>>();
    std::future<void> result = called->get_future();
    post([called, function] {
        function();
        called->set_value();
    });
    result.get();
}

void ServingThread::post(const std::function<void()>& function) {
    thread_->executeFunction(function);
}

std::future<void> ServingThread::holdUntilAMessageComes() {
    const auto holding = std::make_shared<std::promise<void>>();
    const auto came = std::make_shared<std::promise<void>>();
    std::future<void> held = holding->get_future();
    std::future<void> result = came->get_future();
    post([holding, came] {
        holding->set_value();
        pollfd mailbox{Itc::getFd(), POLLIN, 0};
        // The result is not used: without a signal handler the wait ends with a message only.
        ::poll(&mailbox, 1, -1);
        came->set_value();
    });
    held.get();
    return result;
}

void ServingThread::awaitEndOf(std::uint32_t mailbox) {
    const auto ended = std::make_shared<std::promise<void>>();
    std::future<void> result = ended->get_future();
    call([mailbox, ended] {
        ItcMailboxMonitorIf::getInstance().monitor(mailbox,
                                                   [ended](unsigned int) { ended->set_value(); });
    });
    result.get();
    // Others who monitor the mailbox may be told only after us.
    call([] {});
}

std::uint32_t awaitMailbox(const std::string& name) {
    constexpr std::uint32_t kFoundMsgNo = 0x7001;
    itc_msg* found = Itc::alloc(sizeof(std::uint32_t), kFoundMsgNo);
    Itc::locateAsync(name.c_str(), &found);
    const std::uint32_t filter[] = {1, kFoundMsgNo};
    return Itc::sender(Itc::wrap(Itc::receive(filter, Itc::kItcWaitForever)).get());
}

}  // namespace QuoriaTest
