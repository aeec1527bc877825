#include "ownMailbox.h"
#include "walk.h"

#include <quoria/itc/itcMessages.h>
#include <quoria/itcMailboxLocator/itcMailboxLocatorIf.h>

#include <future>

namespace TraceWalk {

void walkMessages() {
    using Quoria::Itc::kLocateIndMsgNo;
    OwnMailbox mailbox("walker");
    tell("walker", mailbox.idInHex());
    mailbox.handle({0x7ABC});
    std::async(std::launch::async, [] { OwnMailbox("").handle({0x7ABD}); }).get();

    Quoria::ItcMailboxLocator::V1::ItcMailboxLocatorIf::getInstance();
    mailbox.handle({kLocateIndMsgNo, 4711});
    mailbox.handle({kLocateIndMsgNo});
}

}  // namespace TraceWalk
