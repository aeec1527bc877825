// sampleHistory.h: the newest samples. Belongs to the main thread.
#ifndef LOADMONITOR_SAMPLEHISTORY_H
#define LOADMONITOR_SAMPLEHISTORY_H

#include <deque>
#include <functional>
#include <memory>

#include "sample.h"

namespace LoadMonitor {

class SampleHistory {
public:
    // Called with each sample as it is added.
    using Observer = std::function<void(const Sample&)>;

    void add(const Sample& sample);
    void clear();
    const std::deque<Sample>& samples() const { return samples_; }  // the oldest first

    void setObserver(const Observer& observer);

private:
    std::deque<Sample> samples_;
    Observer observer_;
};

// The one of this process, which its components share.
std::shared_ptr<SampleHistory> sampleHistory();

}  // namespace LoadMonitor

#endif
