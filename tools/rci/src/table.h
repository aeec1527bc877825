// table.h: rows whose cells stand below each other.
//
// Private header of rci.
#ifndef RCI_TABLE_H
#define RCI_TABLE_H

#include <string>
#include <vector>

namespace Rci {

using Row = std::vector<std::string>;

// `rows` have the same number of printable cells, at least one. Each row is a line.
std::string table(const std::vector<Row>& rows);

}  // namespace Rci

#endif
