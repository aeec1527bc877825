// domainTraffic.h: the processes of the domain and what waits in their mailboxes.
//
// Private header of rci.
#ifndef RCI_DOMAINTRAFFIC_H
#define RCI_DOMAINTRAFFIC_H

#include "domainEntries.h"
#include "finding.h"

namespace Rci {

Finding population(const std::vector<ProcessEntry>& processes,
                   const std::vector<MailboxEntry>& mailboxes);

// A finding for each mailbox in which much waits.
Findings backlogs(const std::vector<MailboxEntry>& mailboxes);

// A finding for each process that has sent messages to receivers that were gone.
Findings undelivered(const std::vector<ProcessEntry>& processes);

// A finding for each process that has been stopped, by SIGSTOP or a debugger, and answers nobody.
Findings stopped(const std::vector<ProcessEntry>& processes);

}  // namespace Rci

#endif
