// finding.h: what `rci doctor` has to say.
//
// Private header of rci.
#ifndef RCI_FINDING_H
#define RCI_FINDING_H

#include "json.h"

#include <string>
#include <vector>

namespace Rci {

enum class Level { kOk, kNote, kProblem };

struct Finding {
    Level level;
    std::string topic;   // what it is about, for programs
    std::string text;    // for people; may hold any byte
    JsonObject details;  // for programs
};

using Findings = std::vector<Finding>;

}  // namespace Rci

#endif
