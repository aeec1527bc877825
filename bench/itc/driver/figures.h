// figures.h: what has been measured.
//
// Private header of the benchmark.
#ifndef QUORIA_BENCH_FIGURES_H
#define QUORIA_BENCH_FIGURES_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace Bench {

constexpr char kPinned[] = "pinned";
constexpr char kFree[] = "free";

struct Key {
    std::string measure;
    std::string contender;
    std::size_t parameter;  // bytes of a payload, senders, names; 0 where there is none
    std::string mode;       // kPinned, kFree, "" where it makes no difference
};

bool operator==(const Key& left, const Key& right);

struct Figure {
    Key key;
    std::string unit;  // "ns" or "bytes"
    std::vector<double> runs;
};

class Figures {
public:
    void add(const Key& key, const std::string& unit, double value);
    // In the order in which they came first.
    const std::vector<Figure>& all() const { return all_; }
    // Of the runs so far; nothing if there is none.
    std::optional<double> median(const Key& key) const;
    // The median of what each round had as the ratio of the two. A machine that is slow for a
    // minute is so for both, which the ratio of two medians would not show. Nothing if one of the
    // two is missing in a round.
    std::optional<double> medianRatio(const Key& key, const Key& toKey) const;

private:
    std::vector<double> runs(const Key& key) const;

    std::vector<Figure> all_;
};

double medianOf(std::vector<double> runs);

}  // namespace Bench

#endif
