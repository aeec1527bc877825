// A process with a mailbox for a test to locate.
//
// Started with the mailbox's name. It writes the mailbox's id and a newline to standard output. For
// each line on standard input that holds a mailbox and a number, it sends that mailbox a locate
// indication with the number as its identity and writes a newline; any other line ends it.

#include <itc.h>

#include <quoria/itc/itcMessages.h>

#include <cstdint>
#include <iostream>
#include <sstream>
#include <string>

namespace {

enum ExitCode { DONE = 0, WRONG_ARGUMENTS = 81, NO_MAILBOX = 82, NO_OUTPUT = 83 };

void indicate(itc_mbox_id_t receiver, std::uint32_t identity) {
    using Quoria::Itc::LocateIndMsg;
    itc_msg* msg = itc_alloc(sizeof(LocateIndMsg), Quoria::Itc::kLocateIndMsgNo);
    reinterpret_cast<LocateIndMsg*>(msg)->identity = identity;
    itc_send(&msg, receiver, ITC_OWN_MAILBOX);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        return WRONG_ARGUMENTS;
    }
    const itc_mbox_id_t mailbox = itc_create_mailbox(argv[1], 0);
    if (mailbox == ITC_NO_MAILBOX) {
        return NO_MAILBOX;
    }
    std::cout << mailbox << std::endl;
    for (std::string line; std::getline(std::cin, line);) {
        std::istringstream words(line);
        itc_mbox_id_t receiver = ITC_NO_MAILBOX;
        std::uint32_t identity = 0;
        if (!(words >> receiver >> identity)) {
            break;
        }
        indicate(receiver, identity);
        std::cout << std::endl;
    }
    return std::cout ? DONE : NO_OUTPUT;
}
