// Nanoseconds per itc_locate of a name that another process holds, among so many names.
//
//   locate pinned|free <names> <count>

#include "crew.h"
#include "operation.h"

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

using namespace Bench;

std::string nameOf(std::size_t index) {
    return "service-" + std::to_string(index);
}

void takeNames(std::size_t names) {
    const itc_mbox_id_t mailbox = createMailbox("");
    for (std::size_t index = 0; index < names; ++index) {
        if (!itc_add_name(mailbox, nameOf(index).c_str())) {
            fail("a name is refused");
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        fail("usage: locate pinned|free NAMES COUNT");
    }
    const Setting setting(std::string(argv[1]) == "pinned");
    const std::size_t names = std::stoul(argv[2]);
    const std::size_t count = std::stoul(argv[3]);
    Gate namesAreTaken;
    Gate done;
    Crew holder(1, false, [&] {
        takeNames(names);
        namesAreTaken.letThrough(1);
        done.pass();
    });
    namesAreTaken.pass();
    const std::string name = nameOf(names / 2);
    std::printf("%.1f\n", timeOf(count, [&name] {
                    if (itc_locate(name.c_str()) == ITC_NO_MAILBOX) {
                        fail("the name is not found");
                    }
                }));
    done.letThrough(1);
    holder.join();
    return EXIT_SUCCESS;
}
