// virtualTable.h: calls virtual operations by their place in an object's table, as a program that
// was built before does, and notes what is reached.
#ifndef VIRTUALTABLE_H
#define VIRTUALTABLE_H

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <new>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

// What the operations of a Recorder were called with, the oldest first.
using Calls = std::vector<std::string>;
Calls takeCalls();
void addCall(const std::string& call);

// Adds "operation(argument, ...)".
template <typename... Arguments>
void note(const char* operation, const Arguments&... arguments) {
    std::ostringstream text;
    [[maybe_unused]] const char* separator = "";
    text << operation << '(';
    ((text << std::exchange(separator, ", ") << arguments), ...);
    text << ')';
    addCall(text.str());
}

class VirtualTable : public testing::Test {
protected:
    VirtualTable() { takeCalls(); }
};

// A class of an interface whose operations note their names; its end and the release of its block
// are noted as "destroyed()" and "freed()".
template <typename Interface>
class Recorder : public Interface {
public:
    Recorder() = default;
    ~Recorder() override { note("destroyed"); }
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    static void* operator new(std::size_t size) { return ::operator new(size); }
    static void operator delete(void* block) {
        note("freed");
        ::operator delete(block);
    }
};

// The operations of a table begin at place 0.
inline void* operationAt(const void* object, std::size_t place) {
    void* const* table = nullptr;
    std::memcpy(&table, object, sizeof table);
    return table[place];
}

// Calls the operation at `place` of the object's table. `Signature` is that of the operation,
// without its object: Result(Arguments...).
template <typename Signature>
struct Operation;
template <typename Result, typename... Arguments>
struct Operation<Result(Arguments...)> {
    static Result callAt(std::size_t place, void* object, Arguments... arguments) {
        using Function = Result (*)(void*, Arguments...);
        const auto function = reinterpret_cast<Function>(operationAt(object, place));
        return function(object, std::forward<Arguments>(arguments)...);
    }
};

// What the two destructors at `place` and behind it do to an object: the one ends it, the other
// frees it as well.
template <typename Recorded>
Calls destroyThroughTable(std::size_t place) {
    auto* const ended = ::new Recorded;
    Operation<void()>::callAt(place, ended);
    ::operator delete(ended);
    addCall("-");
    Operation<void()>::callAt(place + 1, new Recorded);
    return takeCalls();
}

#endif
