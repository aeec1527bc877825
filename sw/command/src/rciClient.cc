#include "rciClient.h"

#include "commandName.h"
#include "rciMessage.h"

#include <algorithm>
#include <initializer_list>
#include <memory>

namespace Quoria::Command::Backend {

namespace {

using CommandTypes::CommandResultCode;

constexpr std::uint32_t kClientRef = 1;
constexpr std::uint32_t kClientConnectionRef = 1;
constexpr std::uint32_t kConnectTimeoutMs = 15000;
constexpr std::uint32_t kNoMonitor = 0xFFFFFFFF;

// Takes the first message with one of the numbers; all others stay in the mailbox. Null when none
// came in time or the thread has no mailbox any more.
std::shared_ptr<itc_msg> receive(std::initializer_list<std::uint32_t> msgNos,
                                 std::uint32_t timeout) {
    std::vector<std::uint32_t> filter{static_cast<std::uint32_t>(msgNos.size())};
    filter.insert(filter.end(), msgNos);
    itc_msg* msg = Itc::receive(filter.data(), timeout);
    return msg != nullptr ? Itc::wrap(msg) : nullptr;
}

// A message that is shorter than it says yields what there is of it.
void writeText(const itc_msg* msg, std::ostream& out) {
    RciMessageReader reader(msg);
    RciOutputInd output;
    if (reader.readLayout(output)) {
        out.write(reader.position(),
                  static_cast<std::streamsize>(reader.available(output.textLength)));
    }
}

CommandResultCode resultOf(const itc_msg* msg) {
    RciMessageReader reader(msg);
    RciExecuteResultInd indication;
    if (!reader.readLayout(indication)) {
        return CommandTypes::Failed;
    }
    switch (indication.result) {
        case kRciResultSuccess:
            return CommandTypes::Success;
        case kRciResultInvalidArguments:
            return CommandTypes::InvalidArguments;
        default:
            return CommandTypes::Failed;
    }
}

bool holdsNul(const std::string& text) {
    return text.find('\0') != std::string::npos;
}

}  // namespace

RciClient::RciClient(const std::string& name) : name_(name) {
    reset();
}

void RciClient::reset() {
    serverMailbox_ = Itc::kItcNoMailbox;
    revision_ = 0;
    connectionRef_ = 0;
    monitorId_ = kNoMonitor;
}

bool RciClient::isConnected() const {
    return serverMailbox_ != Itc::kItcNoMailbox;
}

bool RciClient::connectToServer(std::ostream& out) {
    // A name with a NUL in it would find the command that its first part names.
    serverMailbox_ =
        holdsNul(name_) ? Itc::kItcNoMailbox : Itc::locate(mailboxNameOf(name_).c_str());
    if (serverMailbox_ == Itc::kItcNoMailbox) {
        out << "No handler found for command: " << name_ << std::endl;
        return false;
    }
    if (Itc::currentMailbox() == Itc::kItcNoMailbox) {
        out << "The calling thread has no mailbox to run command: " << name_ << std::endl;
        reset();
        return false;
    }
    itc_msg* request = buildRciConnectReq(kClientRef, kClientConnectionRef, name_);
    if (request == nullptr) {
        out << "No memory left to run command: " << name_ << std::endl;
        reset();
        return false;
    }
    Itc::send(&request, serverMailbox_, Itc::kItcOwnMailbox);
    const auto answer = receive({kRciConnectCfmMsgNo, kRciConnectRejMsgNo}, kConnectTimeoutMs);
    if (answer == nullptr) {
        out << "Timeout when connecting to command handler: " << name_ << std::endl;
        return false;
    }
    if (answer->msgno == kRciConnectRejMsgNo) {
        out << "Connect rejected by server. Client's supported protocol revision is "
            << kRciRevision << std::endl;
        return false;
    }
    return handleConnectCfm(answer.get(), out);
}

bool RciClient::handleConnectCfm(const itc_msg* msg, std::ostream& out) {
    RciMessageReader reader(msg);
    RciConnectCfm confirm;
    if (!reader.readLayout(confirm)) {
        out << "Malformed answer from command handler: " << name_ << std::endl;
        reset();
        return false;
    }
    itc_msg* serverDown = buildRciMessage(RciServerDownInd{kRciServerDownIndMsgNo});
    if (serverDown == nullptr) {
        // Without it the death of the server would leave this thread waiting for ever.
        out << "No memory left to run command: " << name_ << std::endl;
        reset();
        return false;
    }
    connectionRef_ = confirm.connectionRef;
    revision_ = confirm.revision;
    monitorId_ = Itc::monitor(serverMailbox_, &serverDown);
    return true;
}

CommandResultCode RciClient::executeRemoteCmd(const std::vector<std::string>& args,
                                              std::ostream& out) {
    if (!sendExecuteReq(args, out)) {
        return CommandTypes::Failed;
    }
    for (;;) {
        const auto msg = receive({kRciExecuteCfmMsgNo, kRciOutputIndMsgNo,
                                  kRciExecuteResultIndMsgNo, kRciServerDownIndMsgNo},
                                 Itc::kItcWaitForever);
        if (msg == nullptr || msg->msgno == kRciServerDownIndMsgNo) {
            out << "Lost connection to server" << std::endl;
            reset();
            return CommandTypes::Failed;
        }
        if (msg->msgno == kRciOutputIndMsgNo) {
            writeText(msg.get(), out);
        } else if (msg->msgno == kRciExecuteResultIndMsgNo) {
            return resultOf(msg.get());
        }
    }
}

bool RciClient::sendExecuteReq(const std::vector<std::string>& args, std::ostream& out) {
    if (std::any_of(args.begin(), args.end(), holdsNul)) {
        out << "An argument holds a NUL byte, which can't be sent to command: " << name_
            << std::endl;
        return false;
    }
    itc_msg* request = buildRciExecuteReq(kClientRef, connectionRef_, args);
    if (request == nullptr) {
        if (sizeOfRciExecuteReq(args) > Itc::maxSize()) {
            out << "The arguments are too long to be sent to command: " << name_ << std::endl;
        } else {
            out << "No memory left to run command: " << name_ << std::endl;
        }
        return false;
    }
    Itc::send(&request, serverMailbox_, Itc::kItcOwnMailbox);
    return true;
}

void RciClient::disconnectFromServer() {
    if (!isConnected()) {
        return;
    }
    std::shared_ptr<itc_msg> answer;
    itc_msg* request =
        buildRciMessage(RciDisconnectReq{kRciDisconnectReqMsgNo, kClientRef, connectionRef_});
    if (request != nullptr) {
        Itc::send(&request, serverMailbox_, Itc::kItcOwnMailbox);
        answer = receive({kRciDisconnectCfmMsgNo, kRciServerDownIndMsgNo}, Itc::kItcWaitForever);
    }
    Itc::unmonitor(monitorId_);
    if (answer == nullptr || answer->msgno != kRciServerDownIndMsgNo) {
        // A server that has gone since its last message is in the mailbox already, where this
        // thread's next command would take it for the end of its own server.
        receive({kRciServerDownIndMsgNo}, Itc::kItcNoWait);
    }
    reset();
}

}  // namespace Quoria::Command::Backend
