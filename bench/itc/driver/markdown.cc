// The report for people: tables that read well as they stand.

#include "plan.h"
#include "report.h"

#include <algorithm>
#include <cstdio>
#include <map>

namespace Bench {

namespace {

using Row = std::vector<std::string>;

std::string formatted(const char* format, double number) {
    char text[64];
    std::snprintf(text, sizeof text, format, number);
    return text;
}

// With three digits.
std::string threeDigits(double number, const char* unit) {
    const char* format = number < 10 ? "%.2f " : number < 100 ? "%.1f " : "%.0f ";
    return formatted(format, number) + unit;
}

std::string textOf(double value, const std::string& unit) {
    if (unit == "bytes") {
        return value < 1024 ? formatted("%.0f B", value) : threeDigits(value / 1024, "KiB");
    }
    if (value < 1000) {
        return formatted("%.0f ns", value);
    }
    return value < 1e6 ? threeDigits(value / 1e3, "us") : threeDigits(value / 1e6, "ms");
}

std::string timeOr(const std::optional<double>& value, const std::string& otherwise) {
    return value ? textOf(*value, "ns") : otherwise;
}

void writeTable(std::ostream& out, const std::vector<Row>& rows) {
    std::vector<std::size_t> widths(rows.front().size());
    for (const Row& row : rows) {
        for (std::size_t column = 0; column < row.size(); ++column) {
            widths[column] = std::max(widths[column], row[column].size());
        }
    }
    bool isHead = true;
    for (const Row& row : rows) {
        for (std::size_t column = 0; column < row.size(); ++column) {
            out << "| " << row[column] << std::string(widths[column] - row[column].size() + 1, ' ');
        }
        out << "|\n";
        if (isHead) {
            for (const std::size_t width : widths) {
                out << '|' << std::string(width + 2, '-');
            }
            out << "|\n";
            isHead = false;
        }
    }
    out << '\n';
}

std::string parameterOf(const Key& key) {
    if (key.measure == kLocate) {
        return std::to_string(key.parameter) + " names";
    }
    if (key.measure == kManySenders) {
        return std::to_string(key.parameter) + (key.parameter == 1 ? " sender" : " senders");
    }
    return key.parameter < 1024 ? std::to_string(key.parameter) + " B"
                                : std::to_string(key.parameter / 1024) + " KiB";
}

std::string columnOf(const Key& key) {
    return parameterOf(key) + ", " + key.mode;
}

// One measure: a row for each contender, a column for each parameter and mode.
void writeMeasure(std::ostream& out, const Figures& figures, const std::string& measure) {
    Row head{""};
    std::vector<Row> rows;
    std::map<std::string, std::size_t> rowOf;
    for (const Figure& figure : figures.all()) {
        if (figure.key.measure != measure) {
            continue;
        }
        if (rowOf.try_emplace(figure.key.contender, rows.size()).second) {
            rows.push_back({figure.key.contender});
        }
        Row& row = rows[rowOf[figure.key.contender]];
        auto column = std::find(head.begin(), head.end(), columnOf(figure.key));
        if (column == head.end()) {
            column = head.insert(column, columnOf(figure.key));
        }
        row.resize(std::max(row.size(), static_cast<std::size_t>(column - head.begin()) + 1));
        row[static_cast<std::size_t>(column - head.begin())] =
            textOf(medianOf(figure.runs), figure.unit);
    }
    for (Row& row : rows) {
        row.resize(head.size());
    }
    rows.insert(rows.begin(), head);
    out << "**" << measure << "**\n\n";
    writeTable(out, rows);
}

bool hasParameter(const std::string& measure, const Figures& figures) {
    return std::any_of(figures.all().begin(), figures.all().end(), [&](const Figure& figure) {
        return figure.key.measure == measure && figure.key.parameter != 0;
    });
}

// Those without a parameter share one table.
void writeOthers(std::ostream& out, const Figures& figures) {
    std::vector<Row> rows{{"", "", kPinned, kFree}};
    for (const Figure& figure : figures.all()) {
        if (figure.key.parameter != 0 || figure.key.mode == kFree) {
            continue;
        }
        Key free = figure.key;
        free.mode = kFree;
        const auto median = figures.median(free);
        rows.push_back({figure.key.measure, figure.key.contender,
                        textOf(medianOf(figure.runs), figure.unit),
                        median ? textOf(*median, figure.unit) : "the same"});
    }
    out << "**single operations**\n\n";
    writeTable(out, rows);
}

void writeTargets(std::ostream& out, const std::vector<Outcome>& outcomes) {
    std::vector<Row> rows{{"must reach", "CPU", "ours", "peer", "peer's", "ratio", "target", ""}};
    for (const Outcome& outcome : outcomes) {
        rows.push_back({outcome.what, outcome.mode, timeOr(outcome.ours, "left out"),
                        outcome.peerName,
                        outcome.peerName.empty() ? "" : timeOr(outcome.peers, "left out"),
                        outcome.ratio ? formatted("%.2f", *outcome.ratio) : "", outcome.target,
                        !outcome.reached   ? "unknown"
                        : *outcome.reached ? "reached"
                                           : "NOT REACHED"});
    }
    writeTable(out, rows);
}

}  // namespace

void writeMarkdown(std::ostream& out, const Figures& figures, const std::vector<Outcome>& outcomes,
                   const Circumstances& circumstances) {
    out << circumstances.cpus << " CPUs (" << circumstances.cpu << "), Linux "
        << circumstances.kernel << ", load " << circumstances.loadBefore << " before and "
        << circumstances.loadAfter << " after; medians of " << circumstances.rounds
        << " interleaved runs. A ratio is the median of the rounds' ratios.\n\n";
    for (const std::string& program : circumstances.leftOut) {
        out << program << " is left out: its package was not there when this was built.\n\n";
    }
    std::vector<std::string> measures;
    for (const Figure& figure : figures.all()) {
        const std::string& measure = figure.key.measure;
        if (hasParameter(measure, figures) &&
            std::find(measures.begin(), measures.end(), measure) == measures.end()) {
            measures.push_back(measure);
            writeMeasure(out, figures, measure);
        }
    }
    writeOthers(out, figures);
    writeTargets(out, outcomes);
}

}  // namespace Bench
