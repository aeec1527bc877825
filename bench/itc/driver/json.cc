// The report for programs.

#include "report.h"

namespace Bench {

namespace {

std::string quoted(const std::string& text) {
    std::string result = "\"";
    for (const char character : text) {
        if (character == '"' || character == '\\') {
            result += '\\';
        }
        result += character;
    }
    return result + '"';
}

std::string orNull(const std::optional<double>& number) {
    return number ? std::to_string(*number) : "null";
}

void writeFigure(std::ostream& out, const Figure& figure) {
    out << "{\"measure\": " << quoted(figure.key.measure)
        << ", \"contender\": " << quoted(figure.key.contender)
        << ", \"parameter\": " << figure.key.parameter << ", \"mode\": " << quoted(figure.key.mode)
        << ", \"unit\": " << quoted(figure.unit) << ", \"median\": " << medianOf(figure.runs)
        << ", \"runs\": [";
    const char* separator = "";
    for (const double run : figure.runs) {
        out << separator << run;
        separator = ", ";
    }
    out << "]}";
}

void writeOutcome(std::ostream& out, const Outcome& outcome) {
    out << "{\"what\": " << quoted(outcome.what) << ", \"mode\": " << quoted(outcome.mode)
        << ", \"ours\": " << orNull(outcome.ours) << ", \"peer\": " << quoted(outcome.peerName)
        << ", \"peers\": " << orNull(outcome.peers) << ", \"ratio\": " << orNull(outcome.ratio)
        << ", \"target\": " << quoted(outcome.target) << ", \"reached\": "
        << (!outcome.reached   ? "null"
            : *outcome.reached ? "true"
                               : "false")
        << "}";
}

template <typename Items, typename Write>
void writeList(std::ostream& out, const char* name, const Items& items, const Write& write) {
    out << "  " << quoted(name) << ": [";
    const char* separator = "\n    ";
    for (const auto& item : items) {
        out << separator;
        write(item);
        separator = ",\n    ";
    }
    out << "\n  ]";
}

}  // namespace

void writeJson(std::ostream& out, const Figures& figures, const std::vector<Outcome>& outcomes,
               const Circumstances& circumstances) {
    out << "{\n  \"cpu\": " << quoted(circumstances.cpu) << ",\n  \"cpus\": " << circumstances.cpus
        << ",\n  \"kernel\": " << quoted(circumstances.kernel)
        << ",\n  \"loadBefore\": " << quoted(circumstances.loadBefore)
        << ",\n  \"loadAfter\": " << quoted(circumstances.loadAfter)
        << ",\n  \"rounds\": " << circumstances.rounds << ",\n";
    writeList(out, "leftOut", circumstances.leftOut,
              [&out](const std::string& program) { out << quoted(program); });
    out << ",\n";
    writeList(out, "figures", figures.all(),
              [&out](const Figure& figure) { writeFigure(out, figure); });
    out << ",\n";
    writeList(out, "targets", outcomes,
              [&out](const Outcome& outcome) { writeOutcome(out, outcome); });
    out << "\n}\n";
}

void writePlotData(std::ostream& out, const Figures& figures) {
    for (const Figure& figure : figures.all()) {
        out << figure.key.measure << '\t' << figure.key.contender << '\t' << figure.key.parameter
            << '\t' << figure.key.mode << '\t' << medianOf(figure.runs) << '\n';
    }
}

}  // namespace Bench
