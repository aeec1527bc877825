// surroundings.h: what the machine and the caller's shell set for processes of the domain.
//
// Private header of rci.
#ifndef RCI_SURROUNDINGS_H
#define RCI_SURROUNDINGS_H

#include "finding.h"

#include <sys/types.h>

#include <cstdint>
#include <string>

namespace Rci {

// The limits that a process started from here would have.
Finding fileSizeLimit(std::uint64_t bytes, std::uint64_t inboxSize);
Finding descriptorLimit(std::uint64_t descriptors);

// A hint if the login manager may empty the folder `path` when `user` logs out; else nothing.
Findings loginManagerHint(const std::string& path, uid_t user);

}  // namespace Rci

#endif
