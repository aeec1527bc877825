#include "listMailboxes.h"

#include "domainEntries.h"
#include "json.h"
#include "quantity.h"
#include "standardStreams.h"
#include "table.h"
#include "text.h"

#include <itc_admin.h>

#include <string>
#include <vector>

namespace Rci {

namespace {

std::string asTable(const std::vector<MailboxEntry>& mailboxes) {
    std::vector<Row> rows{
        {"MAILBOX", "PID", "PROCESS", "TID", "THREAD", "QUEUED", "BYTES", "MOST", "AGE", "NAMES"}};
    for (const MailboxEntry& mailbox : mailboxes) {
        rows.push_back({std::to_string(mailbox.id), std::to_string(mailbox.pid),
                        printable(mailbox.process), std::to_string(mailbox.tid),
                        printable(mailbox.thread), std::to_string(mailbox.queued),
                        sizeText(mailbox.queuedBytes), std::to_string(mailbox.mostQueued),
                        durationText(mailbox.ageMs),
                        mailbox.names.empty() ? "-" : printable(joinedNames(mailbox))});
    }
    return table(rows);
}

std::string asArray(const std::vector<MailboxEntry>& mailboxes) {
    std::vector<JsonObject> objects;
    objects.reserve(mailboxes.size());
    for (const MailboxEntry& mailbox : mailboxes) {
        objects.push_back(jsonOf(mailbox));
    }
    return jsonArray(objects);
}

}  // namespace

int listMailboxes(bool asJson) {
    const std::vector<MailboxEntry> mailboxes = livingMailboxes();
    writeOutput(asJson ? asArray(mailboxes) : asTable(mailboxes));
    // Whoever sees none may have looked in the wrong place.
    if (mailboxes.empty() && !asJson) {
        complain(std::string("no mailbox in mailbox domain ") + itc_domain_path());
    }
    return 0;
}

}  // namespace Rci
