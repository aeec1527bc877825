#include "figures.h"

#include <algorithm>

namespace Bench {

bool operator==(const Key& left, const Key& right) {
    return left.measure == right.measure && left.contender == right.contender &&
           left.parameter == right.parameter && left.mode == right.mode;
}

void Figures::add(const Key& key, const std::string& unit, double value) {
    auto found = std::find_if(all_.begin(), all_.end(),
                              [&key](const Figure& figure) { return figure.key == key; });
    if (found == all_.end()) {
        found = all_.insert(found, Figure{key, unit, {}});
    }
    found->runs.push_back(value);
}

std::optional<double> Figures::median(const Key& key) const {
    for (const Figure& figure : all_) {
        if (figure.key == key) {
            return medianOf(figure.runs);
        }
    }
    return std::nullopt;
}

double medianOf(std::vector<double> runs) {
    const auto middle = runs.begin() + static_cast<std::ptrdiff_t>(runs.size() / 2);
    std::nth_element(runs.begin(), middle, runs.end());
    return *middle;
}

}  // namespace Bench
