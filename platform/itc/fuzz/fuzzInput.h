// fuzzInput.h: the bytes of a fuzzer, read as numbers and choices.
//
// Private header of platform/itc's fuzz targets.
#ifndef ITC_FUZZ_FUZZINPUT_H
#define ITC_FUZZ_FUZZINPUT_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace ItcFuzz {

class FuzzInput {
public:
    FuzzInput(const std::uint8_t* data, std::size_t size) : data_(data), left_(size) {}
    bool isAtEnd() const { return left_ == 0; }
    // Zeros once the input is at its end.
    template <typename Number>
    Number take() {
        Number number = 0;
        const std::size_t count = left_ < sizeof(number) ? left_ : sizeof(number);
        if (count > 0) {
            std::memcpy(&number, data_, count);
        }
        data_ += count;
        left_ -= count;
        return number;
    }
    std::uint32_t below(std::uint32_t limit) { return take<std::uint32_t>() % limit; }
    std::string text(std::size_t longest) {
        std::string bytes(take<std::uint8_t>() % (longest + 1), '\0');
        for (char& byte : bytes) {
            byte = take<char>();
        }
        return bytes;
    }

private:
    const std::uint8_t* data_;
    std::size_t left_;
};

// A folder for domains that goes when the program does.
class Playground {
public:
    Playground();
    ~Playground();
    Playground(const Playground&) = delete;
    Playground& operator=(const Playground&) = delete;
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

}  // namespace ItcFuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

#endif
