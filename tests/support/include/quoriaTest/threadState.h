// threadState.h: what a thread of this process is doing.
#ifndef QUORIATEST_THREADSTATE_H
#define QUORIATEST_THREADSTATE_H

#include <sys/types.h>

#include <fstream>
#include <string>

namespace QuoriaTest {

// Whether the thread waits for something in the kernel.
inline bool isAsleep(pid_t thread) {
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
    std::string stat;
    std::getline(file, stat);
    const std::size_t endOfName = stat.rfind(") ");
    return endOfName != std::string::npos && stat.compare(endOfName, 3, ") S") == 0;
}

}  // namespace QuoriaTest

#endif
