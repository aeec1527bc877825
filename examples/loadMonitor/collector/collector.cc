// collector.cc: samples this machine's load and delivers it to the store, wherever that is.
//
// Its components register themselves:
//
//   sampler.cc      takes the samples, on a timer
//   storeLink.cc    finds the store, delivers to it, and finds the next one when that dies
//   cpuWatch.cc     a command that looks at the processors more closely

#include "runService.h"

int main() {
    return LoadMonitor::runService("collector");
}
