#include <quoria/eventLoop/eventLoopIf.h>

#include "eventLoopImpl.h"

namespace Quoria::EventLoop::V1 {

EventLoopIf* EventLoopIf::getInstance() {
    return EventLoopImpl::getInstance();
}

EventLoopIf::~EventLoopIf() = default;

}  // namespace Quoria::EventLoop::V1
