#include "table.h"

#include "text.h"

#include <algorithm>

namespace Rci {

std::string table(const std::vector<Row>& rows) {
    std::vector<std::size_t> widths;
    for (const Row& row : rows) {
        widths.resize(row.size());
        for (std::size_t column = 0; column < row.size(); ++column) {
            widths[column] = std::max(widths[column], width(row[column]));
        }
    }
    std::string text;
    for (const Row& row : rows) {
        for (std::size_t column = 0; column + 1 < row.size(); ++column) {
            text += row[column] + std::string(widths[column] - width(row[column]) + 2, ' ');
        }
        text += row.back() + "\n";
    }
    return text;
}

}  // namespace Rci
