#include "roles.h"

#include <quoria/itc/itcOperations.h>

#include <signal.h>

#include <cstdint>
#include <cstdlib>
#include <initializer_list>

namespace QuoriaTest {

namespace {

namespace Itc = Quoria::Itc;

// The protocol in so many words, apart from the library's own server.
constexpr std::uint32_t kConnectReq = 0x017070A0;
constexpr std::uint32_t kConnectCfm = 0x017070A1;
constexpr std::uint32_t kExecuteReq = 0x017070A3;
constexpr std::uint32_t kExecuteCfm = 0x017070A4;

constexpr std::uint32_t kClientRef = 1;
constexpr std::uint32_t kConnectionRef = 1;
constexpr std::uint32_t kRevision = 1;

std::uint32_t awaitRequest(std::uint32_t msgNo) {
    const std::uint32_t filter[] = {1, msgNo};
    return Itc::sender(Itc::wrap(Itc::receive(filter, Itc::kItcWaitForever)).get());
}

void answer(std::uint32_t client, std::initializer_list<std::uint32_t> words) {
    itc_msg* msg = Itc::alloc(static_cast<std::uint32_t>(4 * words.size()), *words.begin());
    std::uint32_t* at = reinterpret_cast<std::uint32_t*>(msg);
    for (const std::uint32_t word : words) {
        *at++ = word;
    }
    Itc::send(&msg, client, Itc::kItcOwnMailbox);
}

void connectClient() {
    Itc::createMailbox("RCI:dying");
    tell("ready");
    const std::uint32_t client = awaitRequest(kConnectReq);
    answer(client, {kConnectCfm, kClientRef, kConnectionRef, kRevision});
}

int die() {
    raise(SIGKILL);
    return EXIT_FAILURE;
}

}  // namespace

int dieAfterConnectCfm() {
    connectClient();
    return die();
}

int dieBeforeExecuteCfm() {
    connectClient();
    awaitRequest(kExecuteReq);
    return die();
}

int dieAfterExecuteCfm() {
    connectClient();
    const std::uint32_t client = awaitRequest(kExecuteReq);
    answer(client, {kExecuteCfm, kClientRef, kConnectionRef});
    return die();
}

}  // namespace QuoriaTest
