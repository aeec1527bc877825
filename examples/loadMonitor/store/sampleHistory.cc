#include "sampleHistory.h"

namespace LoadMonitor {

namespace {

constexpr std::size_t kMostSamples = 1000;

}  // namespace

void SampleHistory::add(const Sample& sample) {
    if (samples_.size() == kMostSamples) {
        samples_.pop_front();
    }
    samples_.push_back(sample);
    if (observer_) {
        observer_(sample);
    }
}

void SampleHistory::clear() {
    samples_.clear();
}

void SampleHistory::setObserver(const Observer& observer) {
    observer_ = observer;
}

std::shared_ptr<SampleHistory> sampleHistory() {
    static const auto history = std::make_shared<SampleHistory>();
    return history;
}

}  // namespace LoadMonitor
