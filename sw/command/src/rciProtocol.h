// rciProtocol.h: the messages between the client and the server of a remote command.
//
// Private header of command.
//
// Plain values; any thread.
//
//   client                                              server
//     locate "RCI:" + command name
//     RciConnectReq      ------------------------------>  looks the command up, monitors the client
//                        <----  RciConnectCfm or RciConnectRej
//     monitors the server
//     RciExecuteReq      ------------------------------>
//                        <----  RciExecuteCfm
//                        <----  RciOutputInd, as often as the handler writes
//                        <----  RciExecuteResultInd
//     RciDisconnectReq   ------------------------------>  forgets the connection
//                        <----  RciDisconnectCfm
//
// Every field is an unsigned 32-bit word in host byte order. The second word of each message is
// the request's clientRef. The third addresses the connection by the receiver's own reference,
// except that RciConnectCfm tells the server's. A layout is the part of its message that has a
// fixed place; what is said to follow it need not be aligned.
#ifndef QUORIA_COMMAND_RCIPROTOCOL_H
#define QUORIA_COMMAND_RCIPROTOCOL_H

#include <cstddef>
#include <cstdint>

namespace Quoria::Command::Backend {

constexpr const char* kRciMailboxPrefix = "RCI:";

// The only protocol revision so far.
constexpr std::uint32_t kRciRevision = 1;

constexpr std::uint32_t kRciConnectReqMsgNo = 0x017070A0;
constexpr std::uint32_t kRciConnectCfmMsgNo = 0x017070A1;
constexpr std::uint32_t kRciConnectRejMsgNo = 0x017070A2;
constexpr std::uint32_t kRciExecuteReqMsgNo = 0x017070A3;
constexpr std::uint32_t kRciExecuteCfmMsgNo = 0x017070A4;
constexpr std::uint32_t kRciExecuteResultIndMsgNo = 0x017070A5;
constexpr std::uint32_t kRciOutputIndMsgNo = 0x017070A6;
constexpr std::uint32_t kRciDisconnectReqMsgNo = 0x017070A7;
constexpr std::uint32_t kRciDisconnectCfmMsgNo = 0x017070A8;
constexpr std::uint32_t kRciServerDownIndMsgNo = 0x017070A9;

// The messages of variable length are this much longer than what they hold.
constexpr std::size_t kRciSpareBytes = 4;

// Followed by revisionCount words, the revisions that the client speaks; the length of the
// command's name in bytes, one word; the name, without a NUL; spare bytes.
struct RciConnectReq {
    std::uint32_t msgno;
    std::uint32_t clientRef;
    std::uint32_t clientConnectionRef;
    std::uint32_t revisionCount;
};
static_assert(offsetof(RciConnectReq, clientRef) == 4);
static_assert(offsetof(RciConnectReq, clientConnectionRef) == 8);
static_assert(offsetof(RciConnectReq, revisionCount) == 12);
static_assert(sizeof(RciConnectReq) == 16);

struct RciConnectCfm {
    std::uint32_t msgno;
    std::uint32_t clientRef;
    std::uint32_t connectionRef;  // the server's
    std::uint32_t revision;       // the one that the server chose
};
static_assert(offsetof(RciConnectCfm, clientRef) == 4);
static_assert(offsetof(RciConnectCfm, connectionRef) == 8);
static_assert(offsetof(RciConnectCfm, revision) == 12);
static_assert(sizeof(RciConnectCfm) == 16);

struct RciConnectRej {
    std::uint32_t msgno;
    std::uint32_t clientRef;
    std::uint32_t connectionRef;  // 0: there is none
};
static_assert(offsetof(RciConnectRej, clientRef) == 4);
static_assert(offsetof(RciConnectRej, connectionRef) == 8);
static_assert(sizeof(RciConnectRej) == 12);

// Followed by argCount arguments, each as its bytes and one NUL, and spare bytes.
struct RciExecuteReq {
    std::uint32_t msgno;
    std::uint32_t clientRef;
    std::uint32_t connectionRef;
    std::uint32_t argCount;
};
static_assert(offsetof(RciExecuteReq, clientRef) == 4);
static_assert(offsetof(RciExecuteReq, connectionRef) == 8);
static_assert(offsetof(RciExecuteReq, argCount) == 12);
static_assert(sizeof(RciExecuteReq) == 16);

struct RciExecuteCfm {
    std::uint32_t msgno;
    std::uint32_t clientRef;
    std::uint32_t clientConnectionRef;
};
static_assert(offsetof(RciExecuteCfm, clientRef) == 4);
static_assert(offsetof(RciExecuteCfm, clientConnectionRef) == 8);
static_assert(sizeof(RciExecuteCfm) == 12);

enum RciResult : std::uint32_t {
    kRciResultSuccess = 1,
    kRciResultInvalidArguments = 2,
    kRciResultFailed = 3,
};

struct RciExecuteResultInd {
    std::uint32_t msgno;
    std::uint32_t clientRef;
    std::uint32_t clientConnectionRef;
    std::uint32_t result;  // an RciResult; any other value means kRciResultFailed
};
static_assert(offsetof(RciExecuteResultInd, clientRef) == 4);
static_assert(offsetof(RciExecuteResultInd, clientConnectionRef) == 8);
static_assert(offsetof(RciExecuteResultInd, result) == 12);
static_assert(sizeof(RciExecuteResultInd) == 16);

// Followed by textLength bytes of any value, without a NUL, and spare bytes.
struct RciOutputInd {
    std::uint32_t msgno;
    std::uint32_t clientRef;
    std::uint32_t clientConnectionRef;
    std::uint32_t textLength;
};
static_assert(offsetof(RciOutputInd, clientRef) == 4);
static_assert(offsetof(RciOutputInd, clientConnectionRef) == 8);
static_assert(offsetof(RciOutputInd, textLength) == 12);
static_assert(sizeof(RciOutputInd) == 16);

struct RciDisconnectReq {
    std::uint32_t msgno;
    std::uint32_t clientRef;
    std::uint32_t connectionRef;
};
static_assert(offsetof(RciDisconnectReq, clientRef) == 4);
static_assert(offsetof(RciDisconnectReq, connectionRef) == 8);
static_assert(sizeof(RciDisconnectReq) == 12);

struct RciDisconnectCfm {
    std::uint32_t msgno;
    std::uint32_t clientRef;
    std::uint32_t clientConnectionRef;
};
static_assert(offsetof(RciDisconnectCfm, clientRef) == 4);
static_assert(offsetof(RciDisconnectCfm, clientConnectionRef) == 8);
static_assert(sizeof(RciDisconnectCfm) == 12);

// Nobody sends it: the client gives it to itc to be told when the server's mailbox goes away.
struct RciServerDownInd {
    std::uint32_t msgno;
};
static_assert(sizeof(RciServerDownInd) == 4);

}  // namespace Quoria::Command::Backend

#endif
