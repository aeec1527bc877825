#include "roles.h"

#include <quoria/command/commandIf.h>
#include <quoria/itc/itcOperations.h>

#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <sstream>

namespace QuoriaTest {

namespace {

namespace Itc = Quoria::Itc;

// The protocol in so many words, apart from the library's own client.
constexpr std::uint32_t kConnectReq = 0x017070A0;
constexpr std::uint32_t kConnectCfm = 0x017070A1;
constexpr std::uint32_t kExecuteReq = 0x017070A3;
constexpr std::uint32_t kExecuteResultInd = 0x017070A5;
constexpr std::uint32_t kOutputInd = 0x017070A6;

std::uint32_t* wordsOf(itc_msg* msg) {
    return reinterpret_cast<std::uint32_t*>(msg);
}

std::uint32_t sendConnectReq() {
    Itc::createMailbox("");
    const std::uint32_t server = Itc::locate("RCI:later");
    itc_msg* request = Itc::alloc(28 + 5, kConnectReq);
    std::uint32_t* words = wordsOf(request);
    words[1] = 1;
    words[2] = 1;
    words[3] = 1;
    words[4] = 1;
    words[5] = 5;
    std::string("later").copy(reinterpret_cast<char*>(words + 6), 5);
    Itc::send(&request, server, Itc::kItcOwnMailbox);
    return server;
}

std::shared_ptr<itc_msg> receive(std::uint32_t msgNo) {
    const std::uint32_t filter[] = {1, msgNo};
    return Itc::wrap(Itc::receive(filter, Itc::kItcWaitForever));
}

void connectAndExecute() {
    const std::uint32_t server = sendConnectReq();
    const auto confirm = receive(kConnectCfm);
    itc_msg* request = Itc::alloc(20, kExecuteReq);
    std::uint32_t* words = wordsOf(request);
    words[1] = 1;
    words[2] = wordsOf(confirm.get())[2];
    words[3] = 0;
    Itc::send(&request, server, Itc::kItcOwnMailbox);
}

void connect() {
    sendConnectReq();
    receive(kConnectCfm);
}

void tellMailbox() {
    tell(std::to_string(Itc::currentMailbox()));
}

}  // namespace

int askToConnect() {
    sendConnectReq();
    tellMailbox();
    waitToBeKilled();
}

int connectAndWait() {
    connect();
    tellMailbox();
    waitToBeKilled();
}

int executeUntilOutput() {
    connectAndExecute();
    receive(kOutputInd);
    tellMailbox();
    waitToBeKilled();
}

int executeUntilResult() {
    connectAndExecute();
    receive(kExecuteResultInd);
    tellMailbox();
    waitToBeKilled();
}

int connectAndExit() {
    connect();
    tellMailbox();
    readLine();
    return EXIT_SUCCESS;
}

int connectAndExec() {
    connect();
    tellMailbox();
    readLine();
    execl("/bin/cat", "cat", static_cast<char*>(nullptr));
    return EXIT_FAILURE;
}

int runCommand() {
    Itc::createMailbox("");
    std::ostringstream out;
    const auto result =
        Quoria::Command::V1::CommandIf::create("later")->execute({"on", "off"}, out);
    tell(out.str() + std::to_string(result));
    return EXIT_SUCCESS;
}

}  // namespace QuoriaTest
