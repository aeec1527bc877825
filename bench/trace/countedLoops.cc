// Runs each of the loops a thousand times round, for countStatement.sh to count what they execute.

#include "loops.h"

int main() {
    constexpr long kRounds = 1000;
    loopWithStatement(kRounds);
    loopWithoutStatement(kRounds);
    return 0;
}
