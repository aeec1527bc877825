// zeroedArray.h: a fixed array that begins as all zeros and costs memory only where it is touched.
//
// Private header of platform/itc.
#ifndef ITC_ZEROEDARRAY_H
#define ITC_ZEROEDARRAY_H

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>

namespace itc {

// `Element` must be valid as zeros and need no destruction: a number or an atomic number or
// pointer.
template <typename Element>
class ZeroedArray {
public:
    explicit ZeroedArray(std::size_t count)
        : elements_(static_cast<Element*>(std::calloc(count, sizeof(Element)))) {
        if (elements_ == nullptr) {
            throw std::bad_alloc();
        }
    }

    Element& operator[](std::size_t index) const { return elements_.get()[index]; }

private:
    struct Free {
        void operator()(Element* elements) const { std::free(elements); }
    };
    std::unique_ptr<Element, Free> elements_;
};

}  // namespace itc

#endif
