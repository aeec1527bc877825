#include "ownMailbox.h"

#include <itc.h>
#include <itc_admin.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

namespace Rci {

void createOwnMailbox() {
    const std::string name = "rci:" + std::to_string(getpid());
    if (itc_create_mailbox(name.c_str(), 0) == ITC_NO_MAILBOX) {
        throw std::runtime_error(std::string("can't create a mailbox: ") + itc_error_text());
    }
}

}  // namespace Rci
