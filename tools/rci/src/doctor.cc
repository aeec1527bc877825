#include "doctor.h"

#include "domainFolder.h"
#include "domainTraffic.h"
#include "exitCodes.h"
#include "finding.h"
#include "standardStreams.h"
#include "surroundings.h"
#include "table.h"
#include "text.h"

#include <itc_admin.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <optional>
#include <set>
#include <system_error>

namespace Rci {

namespace {

constexpr char kUse[] = "use";

void append(Findings& all, Findings more) {
    std::move(more.begin(), more.end(), std::back_inserter(all));
}

std::uint64_t limitOf(decltype(RLIMIT_FSIZE) resource) {
    rlimit limit = {};
    if (getrlimit(resource, &limit) != 0) {
        throw std::system_error(errno, std::generic_category(), "can't read a limit");
    }
    return limit.rlim_cur;
}

// What is in `slots` and not a living process's.
std::size_t countDead(std::set<std::uint32_t> slots, const std::vector<ProcessEntry>& living) {
    for (const ProcessEntry& process : living) {
        slots.erase(process.slot);
    }
    return slots.size();
}

Finding remains(std::size_t found, std::size_t left) {
    const JsonObject details = JsonObject()
                                   .add("found", static_cast<std::int64_t>(found))
                                   .add("left", static_cast<std::int64_t>(left));
    if (left > 0) {
        return {Level::kProblem, "remains",
                "dead processes whose entries can't be removed: " + std::to_string(left), details};
    }
    if (found > 0) {
        return {Level::kNote, "remains",
                "processes that were killed or crashed, whose entries are removed now: " +
                    std::to_string(found),
                details};
    }
    return {Level::kOk, "remains", "no dead process has left anything", details};
}

// The first call of it sweeps, and all before that see the domain as it was.
Findings lookInside(const DomainFolder& folder) {
    const std::set<std::uint32_t> before = folder.slots();
    std::vector<ProcessEntry> processes;
    std::vector<MailboxEntry> mailboxes;
    try {
        processes = livingProcesses();
        mailboxes = livingMailboxes();
    } catch (const std::runtime_error& failure) {
        return {{Level::kProblem, kUse, failure.what(), JsonObject()}};
    }
    Findings findings{population(processes, mailboxes)};
    // Those that come meanwhile have nothing to do with what was found before.
    std::set<std::uint32_t> left;
    const std::set<std::uint32_t> after = folder.slots();
    std::set_intersection(before.begin(), before.end(), after.begin(), after.end(),
                          std::inserter(left, left.end()));
    findings.push_back(remains(countDead(before, processes), countDead(left, processes)));
    append(findings, backlogs(mailboxes));
    append(findings, undelivered(processes));
    append(findings, stopped(processes));
    return findings;
}

// Whether the domain could not be looked into.
bool isUseless(const Findings& inside) {
    return inside.front().topic == kUse;
}

// Why another version can't be used, itc says when it is asked.
Finding versionOf(const itc_layout_info& layout) {
    return {Level::kOk, "version", "its layout version is " + std::to_string(layout.domain_version),
            JsonObject().add("version", layout.domain_version)};
}

const char* nameOf(Level level) {
    switch (level) {
        case Level::kOk:
            return "ok";
        case Level::kNote:
            return "note";
        case Level::kProblem:
            break;
    }
    return "problem";
}

std::string asTable(const Findings& findings) {
    std::vector<Row> rows;
    for (const Finding& finding : findings) {
        rows.push_back({nameOf(finding.level), printable(finding.text)});
    }
    return table(rows);
}

std::string asArray(const Findings& findings) {
    std::vector<JsonObject> objects;
    for (const Finding& finding : findings) {
        objects.push_back(JsonObject()
                              .add("level", nameOf(finding.level))
                              .add("topic", finding.topic)
                              .add("text", finding.text)
                              .addAll(finding.details));
    }
    return jsonArray(objects);
}

}  // namespace

int examineDomain(bool asJson) {
    const std::string path = itc_domain_path();
    const DomainFolder folder(path);
    Findings findings;
    // A relative path is refused whatever is there.
    const bool isAbsolute = !path.empty() && path.front() == '/';
    // Before anything is done that makes the folder or sweeps in it.
    const itc_layout_info layout = *itc_layout();
    if (isAbsolute) {
        findings = folder.look();
        if (layout.domain_version != 0) {
            findings.push_back(versionOf(layout));
        }
    }
    if (!isAbsolute || !folder.isMissing()) {
        Findings inside = lookInside(folder);
        if (isUseless(inside) && !findings.empty()) {
            findings.front().level = Level::kNote;  // true, but nothing that would be well
        }
        append(findings, std::move(inside));
    }
    findings.push_back(fileSizeLimit(limitOf(RLIMIT_FSIZE), layout.inbox_size));
    findings.push_back(descriptorLimit(limitOf(RLIMIT_NOFILE)));
    append(findings, loginManagerHint(path, geteuid()));
    writeOutput(asJson ? asArray(findings) : asTable(findings));
    const bool isWell = std::none_of(findings.begin(), findings.end(), [](const Finding& finding) {
        return finding.level == Level::kProblem;
    });
    return isWell ? 0 : kExitProblemFound;
}

}  // namespace Rci
