// runService.h: what every service process does: a mailbox, its components, the loop, an end.
//
// Components live until the process ends, since the start-up registry keeps them. So a callback
// that is called on this thread may capture `this` of a component.
#ifndef LOADMONITOR_RUNSERVICE_H
#define LOADMONITOR_RUNSERVICE_H

namespace LoadMonitor {

// Starts the components that are linked into this program and serves until SIGTERM. Returns the
// exit code of the process. To be called by main() and before there is any other thread.
int runService(const char* processName);

}  // namespace LoadMonitor

#endif
