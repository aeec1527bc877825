#include "figures.h"

#include <algorithm>
#include <functional>

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

std::vector<double> Figures::runs(const Key& key) const {
    const auto found = std::find_if(all_.begin(), all_.end(),
                                    [&key](const Figure& figure) { return figure.key == key; });
    return found == all_.end() ? std::vector<double>{} : found->runs;
}

std::optional<double> Figures::median(const Key& key) const {
    const std::vector<double> found = runs(key);
    return found.empty() ? std::nullopt : std::make_optional(medianOf(found));
}

std::optional<double> Figures::medianRatio(const Key& key, const Key& toKey) const {
    std::vector<double> ratios = runs(key);
    const std::vector<double> divisors = runs(toKey);
    if (ratios.empty() || ratios.size() != divisors.size()) {
        return std::nullopt;
    }
    std::transform(ratios.begin(), ratios.end(), divisors.begin(), ratios.begin(),
                   std::divides<>());
    return medianOf(ratios);
}

double medianOf(std::vector<double> runs) {
    const auto middle = runs.begin() + static_cast<std::ptrdiff_t>(runs.size() / 2);
    std::nth_element(runs.begin(), middle, runs.end());
    return *middle;
}

}  // namespace Bench
