#include "activeObjectImpl.h"

#include "activeObjectThread.h"

namespace Quoria::ActiveObject::V1 {

ActiveObjectImpl::ActiveObjectImpl() = default;

ActiveObjectImpl::~ActiveObjectImpl() = default;

bool ActiveObjectImpl::createThread(const std::string& name, const SchedulingPolicy& policy,
                                    const std::function<void()>& startFunction) {
    activeObjectThread = std::make_shared<Backend::ActiveObjectThread>(name);
    return activeObjectThread->start(policy.policy == SchedulingPolicy::FIFO, startFunction);
}

void ActiveObjectImpl::executeFunction(const std::function<void()>& function) {
    activeObjectThread->scheduleFunction(function);
}

}  // namespace Quoria::ActiveObject::V1
