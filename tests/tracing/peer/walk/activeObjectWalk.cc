#include "failingCalls.h"
#include "walk.h"

#include <quoria/activeObject/activeObjectIf.h>

#include <fcntl.h>
#include <sys/eventfd.h>

#include <cerrno>
#include <functional>
#include <future>
#include <memory>
#include <sstream>
#include <thread>

namespace TraceWalk {

namespace {

using Quoria::ActiveObject::V1::ActiveObjectIf;

std::shared_ptr<ActiveObjectIf> create(const std::function<void()>& startFunction) {
    return ActiveObjectIf::create("walker", startFunction, ActiveObjectIf::SchedulingPolicy{});
}

std::string thisThread() {
    std::ostringstream text;
    text << std::this_thread::get_id();
    return text.str();
}

// Its thread ends at once, for want of a descriptor that can be waited for.
void walkUnwatchable() {
    const int fd = open("/dev/null", O_WRONLY | O_CLOEXEC);
    answerNextEventFd(fd);
    require(create({}) != nullptr, "no active object");
    tell("unwatchableFd", std::to_string(fd));
}

}  // namespace

void walkActiveObject() {
    failNext(Call::EVENTFD, EMFILE);
    require(create({}) == nullptr, "eventfd has not failed");
    walkUnwatchable();

    std::promise<std::string> id;
    std::shared_ptr<ActiveObjectIf> worker = create([&id] { id.set_value(thisThread()); });
    tell("workerThread", id.get_future().get());
    tell("workerFd", std::to_string(lastEventFd()));
    tell("posterThread", thisThread());

    failNext(Call::WRITE, EAGAIN);
    worker->executeFunction([] {});
    eventfd_write(lastEventFd(), 1);  // the wake-up that was lost
    worker->executeFunction([] { failNext(Call::READ, EIO); });
    worker->executeFunction([] {});
    worker.reset();
}

}  // namespace TraceWalk
