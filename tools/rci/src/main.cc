#include "commandLine.h"
#include "doctor.h"
#include "exitCodes.h"
#include "listCommands.h"
#include "listMailboxes.h"
#include "runCommand.h"
#include "standardStreams.h"
#include "watchMailbox.h"

#include <cerrno>
#include <exception>
#include <string>

namespace {

using namespace Rci;

int serve(const RunRequest& request) {
    return runCommand(request.name, request.args);
}

int serve(const ListRequest& request) {
    return listCommands(request.asJson);
}

int serve(const MailboxesRequest& request) {
    return listMailboxes(request.asJson);
}

int serve(const WatchRequest& request) {
    return watchMailbox(request.name, request.asJson);
}

int serve(const DoctorRequest& request) {
    return examineDomain(request.asJson);
}

int serve(const Answer& answer) {
    writeOutput(answer.output);
    if (!answer.complaint.empty()) {
        complain(answer.complaint);
    }
    return answer.exitCode;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        prepareStandardStreams();
        const Request request = parseCommandLine({argv + (argc > 0 ? 1 : 0), argv + argc});
        return std::visit([](const auto& one) { return serve(one); }, request);
    } catch (const OutputFailed& failure) {
        // A reader that wants no more, as in `rci run log | head`, needs no message.
        if (failure.code() != std::errc::broken_pipe) {
            complain(std::string("rci: ") + failure.what());
        }
    } catch (const std::exception& failure) {
        complain(std::string("rci: ") + failure.what());
    }
    return kExitToolError;
}
