// What a tool may ask about the layout of the shared memory.

#include "domain.h"
#include "error.h"
#include "itc_admin.h"
#include "layout.h"
#include "process.h"

namespace {

thread_local itc_layout_info info_;

}  // namespace

extern "C" __attribute__((visibility("default"))) const itc_layout_info* itc_layout(void) {
    info_ = {itc::kLayoutVersion, 0, itc::kInboxSize, itc::kLastSlot, itc::kRecordCount};
    itc::guarded([] { info_.domain_version = itc::Domain::versionAt(itc::Process::domainPath()); });
    return &info_;
}
