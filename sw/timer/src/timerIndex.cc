#include "timerIndex.h"

#include <algorithm>
#include <cstdint>

namespace Quoria::Timer::V1 {

namespace {

constexpr unsigned int kFirstBits = 4;
constexpr unsigned int kMarkBits = 64;

}  // namespace

TimerIndex::TimerIndex() : slots_(std::size_t{1} << kFirstBits), shift_(kMarkBits - kFirstBits) {}

void TimerIndex::makeRoom() {
    if (count_ < slots_.size() / 2) {
        return;
    }
    std::vector<Slot> former(2 * slots_.size());
    former.swap(slots_);
    --shift_;
    for (const Slot& slot : former) {
        if (slot.mark != 0) {
            put(slot);
        }
    }
}

void TimerIndex::add(Timers::iterator timer) noexcept {
    put({markOf(keyOf(timer->second)), timer});
    ++count_;
}

bool TimerIndex::contains(const TimerKey& key) const {
    return slots_[placeOf(key)].mark != 0;
}

std::optional<Timers::iterator> TimerIndex::take(const TimerKey& key) {
    const std::size_t place = placeOf(key);
    if (slots_[place].mark == 0) {
        return std::nullopt;
    }
    const auto timer = slots_[place].timer;
    vacate(place);
    --count_;
    return timer;
}

// The upper bits decide the place. Ids and addresses are spaced evenly as a rule, and a mark that
// was a linear function of them would be so too, in rows for some of the spacings. Hence the
// shifts, which fold the upper bits into the lower ones between multiplications by odd numbers.
std::size_t TimerIndex::markOf(const TimerKey& key) {
    std::size_t mark = reinterpret_cast<std::uintptr_t>(key.receiver) * 0xD1342543DE82EF95U;
    mark += key.timerId;
    mark ^= mark >> 32;
    mark *= 0x9E3779B97F4A7C15U;
    mark ^= mark >> 29;
    mark *= 0xBF58476D1CE4E5B9U;
    return mark | 1U;
}

std::size_t TimerIndex::longestWay() const {
    std::size_t longest = 0;
    for (std::size_t place = 0; place < slots_.size(); ++place) {
        if (slots_[place].mark != 0) {
            longest = std::max(longest, (place - home(slots_[place].mark)) & (slots_.size() - 1));
        }
    }
    return longest;
}

std::size_t TimerIndex::placeOf(const TimerKey& key) const {
    const std::size_t mark = markOf(key);
    std::size_t place = home(mark);
    while (slots_[place].mark != 0 &&
           (slots_[place].mark != mark || !(keyOf(slots_[place].timer->second) == key))) {
        place = after(place);
    }
    return place;
}

void TimerIndex::put(const Slot& slot) noexcept {
    std::size_t place = home(slot.mark);
    while (slots_[place].mark != 0) {
        place = after(place);
    }
    slots_[place] = slot;
}

// Between a timer's home and its place there is no free slot. So each of those that follow in the
// row moves into the gap unless its home lies behind the gap, and leaves a gap itself.
void TimerIndex::vacate(std::size_t place) {
    const std::size_t mask = slots_.size() - 1;
    std::size_t gap = place;
    for (std::size_t next = after(gap); slots_[next].mark != 0; next = after(next)) {
        const std::size_t way = (next - home(slots_[next].mark)) & mask;
        if (way >= ((next - gap) & mask)) {
            slots_[gap] = slots_[next];
            gap = next;
        }
    }
    slots_[gap].mark = 0;
}

}  // namespace Quoria::Timer::V1
