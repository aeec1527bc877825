// unixSocket.h: stream or packet sockets in the file system, for the contenders that bring none.
//
// Private header of the benchmark.
#ifndef QUORIA_BENCH_UNIXSOCKET_H
#define QUORIA_BENCH_UNIXSOCKET_H

#include <string>

namespace Bench {

// Both return a descriptor that is the caller's. `type` is SOCK_STREAM or SOCK_SEQPACKET.
int listenAt(const std::string& path, int type);
int connectTo(const std::string& path, int type);

}  // namespace Bench

#endif
