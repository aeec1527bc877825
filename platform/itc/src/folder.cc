#include "folder.h"

#include "descriptor.h"

#include <cstring>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

namespace itc {

bool listFolder(int parent, const std::string& folder,
                const std::function<void(const char* name)>& visit) {
    const Descriptor descriptor(
        openat(parent, folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!descriptor) {
        return false;
    }
    alignas(dirent64) char buffer[4096];
    for (;;) {
        const ssize_t length = getdents64(descriptor.get(), buffer, sizeof(buffer));
        if (length <= 0) {
            return length == 0;
        }
        for (ssize_t offset = 0; offset < length;) {
            const auto* entry = reinterpret_cast<const dirent64*>(buffer + offset);
            if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0) {
                visit(entry->d_name);
            }
            offset += entry->d_reclen;
        }
    }
}

std::string readLink(int folder, const std::string& name) {
    char target[512];
    const ssize_t length = readlinkat(folder, name.c_str(), target, sizeof(target));
    if (length <= 0 || static_cast<std::size_t>(length) == sizeof(target)) {
        return std::string();
    }
    return std::string(target, static_cast<std::size_t>(length));
}

}  // namespace itc
