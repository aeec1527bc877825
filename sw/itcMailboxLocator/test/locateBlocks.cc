#include "locateBlocks.h"

#include <itc.h>
#include <quoria/itc/itcMessages.h>
#include <quoriaTest/fakeItc.h>

#include <deque>
#include <map>
#include <utility>

namespace {

using Quoria::Itc::kLocateIndMsgNo;
using Quoria::Itc::LocateIndMsg;

struct Indication {
    std::uint32_t identity;
    std::size_t size;
};

std::vector<std::uint32_t> identities;
std::deque<Indication> queued;
std::map<const itc_msg*, std::size_t> sizes;

}  // namespace

namespace QuoriaTest::LocateBlocks {

void reset() {
    identities.clear();
    queued.clear();
    sizes.clear();
}

std::vector<std::uint32_t> takeIdentities() {
    return std::exchange(identities, {});
}

void queueIndication(std::uint32_t identity, std::uint32_t mailbox, std::size_t size) {
    queued.push_back({identity, size});
    FakeItc::queueMessage(kLocateIndMsgNo, mailbox, size);
}

}  // namespace QuoriaTest::LocateBlocks

extern "C" {

// The linker turns calls of an operation to __wrap_ and its name, and __real_ and its name to the
// fake's.
void __real___itc_locate_async(const char* name, itc_msg** msg, itc_mbox_id_t receiver,
                               const char* file, int line);
itc_msg* __real___itc_receive(const uint32_t* filter, uint32_t timeout, itc_mbox_id_t from,
                              const char* file, int line);

void __wrap___itc_locate_async(const char* name, itc_msg** msg, itc_mbox_id_t receiver,
                               const char* file, int line) {
    identities.push_back(reinterpret_cast<const LocateIndMsg*>(*msg)->identity);
    __real___itc_locate_async(name, msg, receiver, file, line);
}

itc_msg* __wrap___itc_receive(const uint32_t* filter, uint32_t timeout, itc_mbox_id_t from,
                              const char* file, int line) {
    itc_msg* msg = __real___itc_receive(filter, timeout, from, file, line);
    if (msg != nullptr && msg->msgno == kLocateIndMsgNo && !queued.empty()) {
        const Indication indication = queued.front();
        queued.pop_front();
        sizes[msg] = indication.size;
        if (indication.size >= sizeof(LocateIndMsg)) {
            reinterpret_cast<LocateIndMsg*>(msg)->identity = indication.identity;
        }
    }
    return msg;
}

uint32_t __itc_size(const itc_msg* msg, const char*, int) {
    return static_cast<uint32_t>(sizes.at(msg));
}

}  // extern "C"
