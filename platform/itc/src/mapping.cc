#include "mapping.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/mman.h>

namespace itc {

Mapping& Mapping::operator=(Mapping&& other) noexcept {
    std::swap(address_, other.address_);
    std::swap(size_, other.size_);
    return *this;
}

Mapping::~Mapping() {
    if (address_ != nullptr) {
        munmap(address_, size_);  // can only fail for arguments that mmap did not return
    }
}

// In a process that locks its future memory (mlockall) a mapping would get memory for every hole of
// the file. So it begins inaccessible, which populates nothing, and is unlocked before it is
// opened.
Mapping Mapping::shared(int fd, std::size_t size, bool writable) {
    void* address = mmap(nullptr, size, PROT_NONE, MAP_SHARED | MAP_NORESERVE, fd, 0);
    Mapping mapping;
    if (address == MAP_FAILED) {
        return mapping;
    }
    mapping.address_ = address;
    mapping.size_ = size;
    const int protection = writable ? PROT_READ | PROT_WRITE : PROT_READ;
    if (munlock(address, size) != 0 || mprotect(address, size, protection) != 0) {
        const int error = errno;
        mapping = Mapping();
        errno = error;
    }
    return mapping;
}

void Mapping::keepFromChildren() {
    madvise(address_, size_,
            MADV_DONTFORK);  // if it fails, children merely hold more address space
}

bool reserveSpace(int fd, std::size_t offset, std::size_t length) {
    int result = 0;
    do {
        // Any signal that is pending interrupts it.
        result = fallocate(fd, 0, static_cast<off_t>(offset), static_cast<off_t>(length));
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

void returnSpace(int fd, std::size_t offset, std::size_t length) {
    fallocate(fd, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, static_cast<off_t>(offset),
              static_cast<off_t>(length));
}

}  // namespace itc
