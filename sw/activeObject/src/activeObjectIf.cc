#include <quoria/activeObject/activeObjectIf.h>

#include "activeObjectImpl.h"

namespace Quoria::ActiveObject::V1 {

std::shared_ptr<ActiveObjectIf> ActiveObjectIf::create(const std::string& name,
                                                       const std::function<void()>& startFunction,
                                                       const SchedulingPolicy& policy) {
    const auto activeObject = std::make_shared<ActiveObjectImpl>();
    if (!activeObject->createThread(name, policy, startFunction)) {
        return nullptr;
    }
    return activeObject;
}

std::shared_ptr<ActiveObjectIf> ActiveObjectIf::create(const std::function<void()>& startFunction,
                                                       const SchedulingPolicy& policy) {
    return create("ActiveObject", startFunction, policy);
}

ActiveObjectIf::~ActiveObjectIf() = default;

}  // namespace Quoria::ActiveObject::V1
