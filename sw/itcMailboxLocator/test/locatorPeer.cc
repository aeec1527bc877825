// A process with a mailbox for a test to locate.
//
// Started with the mailbox's name. It writes the mailbox's id and a newline to standard output, and
// ends when it reads anything from standard input.

#include <itc.h>

#include <cstdio>

namespace {

enum ExitCode { DONE = 0, WRONG_ARGUMENTS = 81, NO_MAILBOX = 82, NO_OUTPUT = 83 };

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        return WRONG_ARGUMENTS;
    }
    const itc_mbox_id_t mailbox = itc_create_mailbox(argv[1], 0);
    if (mailbox == ITC_NO_MAILBOX) {
        return NO_MAILBOX;
    }
    if (std::printf("%u\n", mailbox) < 0 || std::fflush(stdout) != 0) {
        return NO_OUTPUT;
    }
    static_cast<void>(std::getchar());  // the end of the input is as good
    return DONE;
}
