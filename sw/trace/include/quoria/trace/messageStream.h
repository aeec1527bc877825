// messageStream.h: the text of one trace event while it is put together.
//
// Public header.
//
// A MessageStream belongs to the one trace statement that makes it. It takes whatever a
// std::ostream takes, manipulators included, and writes it the same way. What a std::ostream does
// not take but can be iterated over comes out as "{a,b}", its elements written by these same rules.
#ifndef QUORIA_TRACE_MESSAGESTREAM_H
#define QUORIA_TRACE_MESSAGESTREAM_H

#include <iterator>
#include <ostream>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>

namespace Quoria::Trace {

class MessageStream {
public:
    // By value, so that the name of a constant that no unit defines can be inserted.
    template <typename T, std::enable_if_t<std::is_scalar_v<T>, int> = 0>
    MessageStream& operator<<(T value) {
        insert(value);
        return *this;
    }

    template <typename T, std::enable_if_t<std::is_class_v<T> || std::is_union_v<T>, int> = 0>
    MessageStream& operator<<(const T& value) {
        insert(value);
        return *this;
    }

    // std::endl and its like are templates: only a parameter of their exact type selects one.
    MessageStream& operator<<(std::ostream& (*manipulator)(std::ostream&)) {
        stream_ << manipulator;
        return *this;
    }

    // What has been inserted so far.
    std::string str() const { return stream_.str(); }

private:
    template <typename T, typename = void>
    struct IsStreamable : std::false_type {};
    template <typename T>
    struct IsStreamable<
        T, std::void_t<decltype(std::declval<std::ostream&>() << std::declval<const T&>())>>
        : std::true_type {};

    template <typename T, typename = void>
    struct IsIterable : std::false_type {};
    template <typename T>
    struct IsIterable<T, std::void_t<decltype(std::begin(std::declval<const T&>())),
                                     decltype(std::end(std::declval<const T&>()))>>
        : std::true_type {};

    template <typename T>
    void insert(const T& value) {
        if constexpr (IsStreamable<T>::value) {
            stream_ << value;
        } else {
            static_assert(IsIterable<T>::value,
                          "a trace message takes what a std::ostream takes, and containers of it");
            insertElements(value);
        }
    }

    template <typename T>
    void insertElements(const T& container) {
        const char* delimiter = "";
        stream_ << '{';
        for (const auto& element : container) {
            stream_ << delimiter;
            insert(element);
            delimiter = ",";
        }
        stream_ << '}';
    }

    std::ostringstream stream_;
};

}  // namespace Quoria::Trace

#endif
