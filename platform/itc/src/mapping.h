// mapping.h: a piece of a file in memory, shared with other processes, and the space behind it.
//
// Private header of platform/itc.
#ifndef ITC_MAPPING_H
#define ITC_MAPPING_H

#include <cstddef>
#include <utility>

namespace itc {

class Mapping {
public:
    Mapping() = default;
    Mapping(Mapping&& other) noexcept
        : address_(std::exchange(other.address_, nullptr)), size_(std::exchange(other.size_, 0)) {}
    Mapping& operator=(Mapping&& other) noexcept;
    ~Mapping();

    // Maps the first `size` bytes of `fd`. Returns an empty mapping on failure, with errno set.
    static Mapping shared(int fd, std::size_t size, bool writable);

    // Leaves the mapping out of processes that this one forks.
    void keepFromChildren();

    explicit operator bool() const { return address_ != nullptr; }
    std::size_t size() const { return size_; }
    char* at(std::size_t offset) const { return static_cast<char*>(address_) + offset; }
    template <typename T>
    T* as(std::size_t offset = 0) const {
        return reinterpret_cast<T*>(at(offset));
    }
    bool contains(const void* pointer) const {
        return pointer >= address_ && pointer < static_cast<const char*>(address_) + size_;
    }

private:
    void* address_ = nullptr;
    std::size_t size_ = 0;
};

// Puts memory behind a part of a sparse file, so that a full file system is an error here and not a
// signal where the mapping is touched. False on failure, with errno set.
bool reserveSpace(int fd, std::size_t offset, std::size_t length);

// Gives it back; the part reads as zeros from then on. Failure costs only the memory.
void returnSpace(int fd, std::size_t offset, std::size_t length);

}  // namespace itc

#endif
