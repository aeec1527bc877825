// store.cc: keeps the newest samples and shows them to who asks.
//
// Its components register themselves:
//
//   intake.cc            takes the samples that collectors send
//   sampleCommands.cc    commands to read, follow and forget them
//   archive.cc           a command that writes them to a file, on a thread of its own

#include "runService.h"

int main() {
    return LoadMonitor::runService("store");
}
