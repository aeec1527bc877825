// itcOperations.h: the mailbox operations as this library calls them.
//
// Public header.
//
// Each function calls the entry point of the same name in libitc, in its two-underscore form
// without a source position. Effects, threads, ownership and failures are those that itc.h
// documents.
#ifndef QUORIA_ITC_ITCOPERATIONS_H
#define QUORIA_ITC_ITCOPERATIONS_H

#include <itc.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>

// Not every libitc can tell the size of a block; one that can't leaves this reference null.
extern "C" std::uint32_t __itc_size(const itc_msg* msg, const char* file, int line)
    __attribute__((weak));

namespace Quoria::Itc {

constexpr std::uint32_t kItcNoMailbox = 0xFFFFFFFF;
constexpr std::uint32_t kItcOwnMailbox = 0xFFF00000;
constexpr std::uint32_t kItcAnySender = 0xFFF11111;
constexpr std::uint32_t kItcNoWait = 0;
constexpr std::uint32_t kItcWaitForever = 0xFFFFFFFF;

// What blockSize() returns when the libitc in use can't tell.
constexpr std::size_t kUnknownSize = static_cast<std::size_t>(-1);

inline std::uint32_t createMailbox(const char* name) {
    return __itc_create_mailbox(name, 0, "", 0);
}
inline void deleteMailbox(std::uint32_t mailbox) {
    __itc_delete_mailbox(mailbox, "", 0);
}
inline std::uint32_t currentMailbox() {
    return __itc_current_mbox("", 0);
}
inline int getFd() {
    return __itc_get_fd("", 0);
}
inline void addName(std::uint32_t mailbox, const char* name) {
    __itc_add_name(mailbox, name, "", 0);
}
// A size that does not fit the argument must not become a block that is too small: the largest
// number is refused like every other size beyond maxSize().
inline itc_msg* alloc(std::size_t size, std::uint32_t msgNo) {
    constexpr std::size_t largest = 0xFFFFFFFF;
    return __itc_alloc(static_cast<std::uint32_t>(std::min(size, largest)), msgNo, "", 0);
}
inline void free(itc_msg** msg) {
    __itc_free(msg, "", 0);
}
inline void send(itc_msg** msg, std::uint32_t receiver, std::uint32_t sender) {
    __itc_send(msg, receiver, sender, "", 0);
}
inline itc_msg* receive(const std::uint32_t* filter, std::uint32_t timeout) {
    return __itc_receive(filter, timeout, kItcAnySender, "", 0);
}
inline std::uint32_t sender(const itc_msg* msg) {
    return __itc_sender(msg, "", 0);
}
inline bool getName(std::uint32_t mailbox, char* buffer, std::uint32_t size) {
    return __itc_get_name(mailbox, buffer, size, "", 0);
}
inline std::uint32_t locate(const char* name) {
    return __itc_locate(name, "", 0);
}
inline void locateAsync(const char* name, itc_msg** msg) {
    __itc_locate_async(name, msg, kItcOwnMailbox, "", 0);
}
inline std::uint32_t monitor(std::uint32_t mailbox, itc_msg** msg) {
    return __itc_monitor(mailbox, msg, "", 0);
}
inline void unmonitor(std::uint32_t monitorId) {
    __itc_unmonitor(monitorId, "", 0);
}
inline std::size_t maxSize() {
    return itc_get_max_size();
}
// The size in bytes of a block, its message number included, or kUnknownSize.
inline std::size_t blockSize(const itc_msg* msg) {
    return __itc_size != nullptr ? __itc_size(msg, "", 0) : kUnknownSize;
}

// Frees a received block when the last std::shared_ptr to it goes.
struct ItcMsgDeleter {
    void operator()(itc_msg* msg) const { Itc::free(&msg); }
};

// Takes over a received block, so that it is freed on every path from here on.
inline std::shared_ptr<itc_msg> wrap(itc_msg* msg) {
    return std::shared_ptr<itc_msg>(msg, ItcMsgDeleter());
}

}  // namespace Quoria::Itc

#endif
