#include "initResponderImpl.h"

namespace Quoria::Startup::V2 {

InitResponderImpl::InitResponderImpl(const std::string& name,
                                     const std::chrono::steady_clock::time_point& deadline)
    : name_(name), deadline_(deadline), future_(promise_.get_future()), taken_(false) {}

void InitResponderImpl::ready(bool success) {
    if (!taken_) {
        // The value may be taken from here on; then this is a second answer, which set_value()
        // refuses.
        promise_.set_value(success);
    }
}

bool InitResponderImpl::wait(bool& success) {
    // A value that is there already counts, however late it is.
    if (!future_.valid() || future_.wait_until(deadline_) != std::future_status::ready) {
        return false;
    }
    success = future_.get();
    taken_ = true;
    return true;
}

}  // namespace Quoria::Startup::V2
