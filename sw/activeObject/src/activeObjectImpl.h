// activeObjectImpl.h: an active object as its users hold it.
//
// Private header of activeObject.
//
// Any thread may call executeFunction(); createThread() is called once, before anybody else knows
// the object. It owns the thread: the last reference to it ends the thread.
#ifndef QUORIA_ACTIVEOBJECT_ACTIVEOBJECTIMPL_H
#define QUORIA_ACTIVEOBJECT_ACTIVEOBJECTIMPL_H

#include <quoria/activeObject/activeObjectIf.h>

#include <functional>
#include <memory>
#include <string>

namespace Quoria::ActiveObject::Backend {
class ActiveObjectThread;
}

namespace Quoria::ActiveObject::V1 {

class ActiveObjectImpl : public ActiveObjectIf {
public:
    ActiveObjectImpl();

    // False if the thread could not be made ready; the object is of no use then.
    bool createThread(const std::string& name, const SchedulingPolicy& policy,
                      const std::function<void()>& startFunction);

    void executeFunction(const std::function<void()>& function) override;

    ~ActiveObjectImpl() override;

private:
    std::shared_ptr<Backend::ActiveObjectThread> activeObjectThread;
};

}  // namespace Quoria::ActiveObject::V1

#endif
