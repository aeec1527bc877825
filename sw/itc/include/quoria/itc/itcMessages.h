// itcMessages.h: the numbers and layouts of the indications that itc delivers for this library.
//
// Public header.
//
// The message numbers 0x01707090 to 0x017070A9 belong to the library; applications that register
// handlers or send messages of their own choose others. Every field is in host byte order.
#ifndef QUORIA_ITC_ITCMESSAGES_H
#define QUORIA_ITC_ITCMESSAGES_H

#include <cstdint>

namespace Quoria::Itc {

constexpr std::uint32_t kLocateIndMsgNo = 0x01707090;
constexpr std::uint32_t kMonitorIndMsgNo = 0x01707091;

// A mailbox that was asked for exists; its id is the sender of the message.
struct LocateIndMsg {
    std::uint32_t msgno;
    std::uint32_t identity;  // that of the request
};
static_assert(sizeof(LocateIndMsg) == 8);

// A monitored mailbox is gone; its id is the sender of the message.
struct MonitorIndMsg {
    std::uint32_t msgno;
};
static_assert(sizeof(MonitorIndMsg) == 4);

}  // namespace Quoria::Itc

#endif
