#include "surroundings.h"

#include "quantity.h"

#include <sys/resource.h>

namespace Rci {

namespace {

constexpr std::uint64_t kFewDescriptors = 1024;
constexpr uid_t kFirstOrdinaryUser = 1000;  // as the login manager reckons unless told otherwise
constexpr uid_t kNobody = 65534;

JsonObject limitDetails(std::uint64_t limit) {
    return limit == RLIM_INFINITY ? JsonObject().add("limit", "unlimited")
                                  : JsonObject().add("limit", static_cast<std::int64_t>(limit));
}

}  // namespace

Finding fileSizeLimit(std::uint64_t bytes, std::uint64_t inboxSize) {
    if (bytes < inboxSize) {
        return {Level::kProblem, "file size limit",
                "files may have " + sizeText(bytes) + " (ulimit -f), an inbox needs " +
                    sizeText(inboxSize) + ": processes started from here can't receive",
                limitDetails(bytes)};
    }
    return {Level::kOk, "file size limit", "files may be as large as an inbox (ulimit -f)",
            limitDetails(bytes)};
}

Finding descriptorLimit(std::uint64_t descriptors) {
    if (descriptors < kFewDescriptors) {
        return {Level::kNote, "descriptor limit",
                "a process may have only " + std::to_string(descriptors) +
                    " descriptors (ulimit -n); mailboxes and their watchers need some each",
                limitDetails(descriptors)};
    }
    return {Level::kOk, "descriptor limit", "a process may have enough descriptors (ulimit -n)",
            limitDetails(descriptors)};
}

Findings loginManagerHint(const std::string& path, uid_t user) {
    const bool isOrdinary = user >= kFirstOrdinaryUser && user != kNobody;
    if (!isOrdinary || path != "/dev/shm/itc-" + std::to_string(user)) {
        return {};
    }
    return {{Level::kNote, "login manager",
             "the login manager may empty /dev/shm when this user logs out: run services under a "
             "system account, or name another folder with ITC_DOMAIN",
             JsonObject()}};
}

}  // namespace Rci
