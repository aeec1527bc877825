// folder.h: looking into the folders of a domain.
//
// Private header of platform/itc.
#ifndef ITC_FOLDER_H
#define ITC_FOLDER_H

#include <functional>
#include <string>

namespace itc {

// Calls `visit` with the name of each entry of `folder` (below `parent`). Returns false when there
// is no such folder.
bool listFolder(int parent, const std::string& folder,
                const std::function<void(const char* name)>& visit);

// The target of the symbolic link `name` below `folder`, "" if there is none.
std::string readLink(int folder, const std::string& name);

}  // namespace itc

#endif
