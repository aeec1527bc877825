// tracedStatements.h: the trace statements in the library's sources.
#ifndef TRACEDSTATEMENTS_H
#define TRACEDSTATEMENTS_H

#include <string>
#include <vector>

struct TracedStatement {
    std::string event;  // as in "ERROR"
    std::string file;   // without its folder
    unsigned int firstLine;
    unsigned int lastLine;
};

// All statements in the sources of the modules below `folder`, the library's own sw/.
std::vector<TracedStatement> findTracedStatements(const std::string& folder);

#endif
