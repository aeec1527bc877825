// Bytes of memory that one more mailbox and one more process take: what lies in the domain, and
// what the process allocates. The few kernel objects of each (descriptors, FIFOs, folders) do not
// count, nobody tells their size.
//
//   memory <mailboxes>

#include "crew.h"
#include "operation.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include <sys/stat.h>

namespace {

using namespace Bench;

double bytesInDomain(const std::string& folder) {
    double bytes = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        struct stat status {};
        if (lstat(entry.path().c_str(), &status) == 0) {
            bytes += static_cast<double>(status.st_blocks) * 512;
        }
    }
    return bytes;
}

// What this process alone has; mapped files are counted where they lie.
double bytesAllocated() {
    std::ifstream status("/proc/self/smaps_rollup");
    std::string word;
    while (status >> word) {
        if (word == "Anonymous:") {
            double kilobytes = 0;
            status >> kilobytes;
            return kilobytes * 1024;
        }
    }
    fail("/proc/self/smaps_rollup does not tell");
}

double bytesInUse(const std::string& folder) {
    return bytesInDomain(folder) + bytesAllocated();
}

// The memory that so many threads add, with a mailbox each or without.
double bytesOfThreads(unsigned threads, bool withMailbox, const std::string& folder) {
    Gate ready;
    Gate done;
    const double before = bytesInUse(folder);
    Crew crew(threads, true, [&] {
        if (withMailbox) {
            createMailbox("");
            itc_get_fd();
        }
        ready.letThrough(1);
        done.pass();
    });
    for (unsigned left = threads; left > 0; --left) {
        ready.pass();
    }
    const double after = bytesInUse(folder);
    done.letThrough(threads);
    crew.join();
    return after - before;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        fail("usage: memory MAILBOXES");
    }
    const Setting setting(false);
    const auto mailboxes = static_cast<unsigned>(std::stoul(argv[1]));
    // The domain itself is there already when a process comes, as a rule.
    Crew first(1, false, [] { itc_delete_mailbox(createMailbox("")); });
    first.join();
    const double before = bytesInUse(setting.folder());
    itc_delete_mailbox(createMailbox(""));
    const double ofProcess = bytesInUse(setting.folder()) - before;

    // The first threads of a process make stacks and arenas that later ones find.
    bytesOfThreads(mailboxes, false, setting.folder());
    const double withoutMailbox = bytesOfThreads(mailboxes, false, setting.folder());
    const double withMailbox = bytesOfThreads(mailboxes, true, setting.folder());
    std::printf("%.1f\n%.1f\n", (withMailbox - withoutMailbox) / mailboxes, ofProcess);
    return EXIT_SUCCESS;
}
