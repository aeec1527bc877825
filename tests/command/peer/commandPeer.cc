#include "roles.h"

#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <iostream>
#include <map>

namespace QuoriaTest {

void tell(const std::string& line) {
    std::cout << line << std::endl;
}

std::string readLine() {
    std::string line;
    std::getline(std::cin, line);
    return line;
}

void waitToBeKilled() {
    for (;;) {
        pause();
    }
}

}  // namespace QuoriaTest

int main(int argc, char** argv) {
    using namespace QuoriaTest;
    const std::map<std::string, std::function<int()>> roles{
        {"askToConnect", askToConnect},
        {"connectAndWait", connectAndWait},
        {"executeUntilOutput", executeUntilOutput},
        {"executeUntilResult", executeUntilResult},
        {"connectAndExit", connectAndExit},
        {"connectAndExec", connectAndExec},
        {"runCommand", runCommand},
        {"dieAfterConnectCfm", dieAfterConnectCfm},
        {"dieBeforeExecuteCfm", dieBeforeExecuteCfm},
        {"dieAfterExecuteCfm", dieAfterExecuteCfm},
        {"serve", serve},
        {"registerAndFork", registerAndFork},
        {"registerAndLeave", registerAndLeave},
    };
    const auto role = roles.find(argc == 2 ? argv[1] : "");
    if (role == roles.end()) {
        std::cerr << "no such role" << std::endl;
        return EXIT_FAILURE;
    }
    return role->second();
}
