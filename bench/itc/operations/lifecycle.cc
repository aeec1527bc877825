// What happens to mailboxes rather than in them, in nanoseconds.
//
//   lifecycle pinned|free <count>
//
// prints the cost of itc_create_mailbox with a name and itc_delete_mailbox, and of itc_monitor of
// another process's mailbox and itc_unmonitor.

#include "crew.h"
#include "operation.h"

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

using namespace Bench;

void createAndDelete() {
    itc_delete_mailbox(createMailbox("short-lived"));
}

void monitorAndUnmonitor(itc_mbox_id_t watched) {
    itc_msg* gone = itc_alloc(sizeof(itc_msg), kMsgNo);
    itc_unmonitor(itc_monitor(watched, &gone));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        fail("usage: lifecycle pinned|free COUNT");
    }
    const Setting setting(std::string(argv[1]) == "pinned");
    const std::size_t count = std::stoul(argv[2]);
    Gate mailboxIsThere;
    Crew holder(1, false, [&] {
        const itc_mbox_id_t mailbox = createMailbox("watched");
        mailboxIsThere.letThrough(1);
        // The watched mailbox keeps the list of its watchers up to date when it receives.
        itc_msg* end = itc_receive(nullptr, ITC_WAIT_FOREVER, ITC_ANY_SENDER);
        itc_free(&end);
        itc_delete_mailbox(mailbox);
    });
    mailboxIsThere.pass();
    std::printf("%.1f\n", timeOf(count, createAndDelete));
    const itc_mbox_id_t mailbox = createMailbox("");
    const itc_mbox_id_t watched = itc_locate("watched");
    std::printf("%.1f\n", timeOf(count, [watched] { monitorAndUnmonitor(watched); }));
    itc_msg* end = itc_alloc(sizeof(itc_msg), kMsgNo);
    itc_send(&end, watched, ITC_OWN_MAILBOX);
    holder.join();
    itc_delete_mailbox(mailbox);
    return EXIT_SUCCESS;
}
