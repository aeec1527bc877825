#include "virtualTable.h"

namespace {

Calls calls;

}  // namespace

Calls takeCalls() {
    return std::exchange(calls, {});
}

void addCall(const std::string& call) {
    calls.push_back(call);
}
