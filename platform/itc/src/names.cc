#include "names.h"

#include "error.h"
#include "folder.h"
#include "itc.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace itc {

namespace {

std::string folderOf(const std::string& encoded) {
    return "names/" + encoded;
}

std::string holderEntry(std::uint64_t sequence, std::uint32_t mailbox) {
    char text[32];
    std::snprintf(text, sizeof(text), "%016llx-%08x", static_cast<unsigned long long>(sequence),
                  mailbox);
    return text;
}

std::string noteEntry(std::uint32_t mailbox, std::uint32_t request) {
    char text[32];
    std::snprintf(text, sizeof(text), "note-%08x-%08x", mailbox, request);
    return text;
}

std::string nameLink(std::uint32_t mailbox, std::uint32_t number) {
    char text[32];
    std::snprintf(text, sizeof(text), "/name-%08x-%u", mailbox, number);
    return Domain::processFolder(slotOf(mailbox)) + text;
}

std::string noteLink(std::uint32_t mailbox, std::uint32_t request) {
    return Domain::processFolder(slotOf(mailbox)) + "/" + noteEntry(mailbox, request);
}

// Reads what holderEntry() has written.
bool readHolder(const char* entry, std::uint64_t& sequence, std::uint32_t& mailbox) {
    const char* end = entry + std::strlen(entry);
    const auto first = std::from_chars(entry, end, sequence, 16);
    return first.ec == std::errc() && first.ptr != end && *first.ptr == '-' &&
           std::from_chars(first.ptr + 1, end, mailbox, 16).ec == std::errc();
}

bool makeEntry(const Domain& domain, const std::string& folder, const std::string& entry) {
    constexpr int kAttempts = 100;  // someone else may remove the folder because it is empty still
    const std::string path = folder + "/" + entry;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        if (!domain.makeFolder(folder)) {
            return false;
        }
        if (domain.makeFile(path)) {
            return true;
        }
        if (errno != ENOENT) {
            return false;
        }
    }
    return false;
}

bool makeLinkedEntry(const Domain& domain, const std::string& link, const Entry& entry) {
    const std::string folder = folderOf(entry.name);
    if (!domain.folder().makeLink(link, folder + "/" + entry.own)) {
        return fail("can't make " + link + " in the mailbox domain", errno);
    }
    if (!makeEntry(domain, folder, entry.own)) {
        removeEntry(domain, entry, link);
        return false;
    }
    return true;
}

}  // namespace

std::string encodeName(const char* name) {
    static const char digits[] = "0123456789abcdef";
    std::string encoded;
    for (const char* at = name; *at != '\0'; ++at) {
        const auto byte = static_cast<unsigned char>(*at);
        const bool plain = byte > 0x20 && byte != 0x7F && byte != '/' && byte != '%' &&
                           (byte != '.' || at != name);
        if (plain) {
            encoded += *at;
        } else {
            encoded += {'%', digits[byte >> 4], digits[byte & 0xF]};
        }
        if (encoded.size() > ITC_MAX_NAME_LENGTH) {
            fail("a mailbox name is longer than " + std::to_string(ITC_MAX_NAME_LENGTH) +
                 " bytes: " + std::string(name).substr(0, 40) + "...");
            return std::string();
        }
    }
    if (encoded.empty()) {
        fail("a mailbox name is empty");
    }
    return encoded;
}

std::string decodeName(const std::string& encoded) {
    std::string name;
    for (std::size_t at = 0; at < encoded.size(); ++at) {
        unsigned byte = 0;
        if (encoded[at] == '%' && std::sscanf(encoded.c_str() + at + 1, "%2x", &byte) == 1) {
            name += static_cast<char>(byte);
            at += 2;
        } else {
            name += encoded[at];
        }
    }
    return name;
}

Entry readEntry(const Domain& domain, const std::string& link) {
    const std::string target = domain.folder().readLink(link);
    const std::string names = folderOf("");
    const std::size_t slash = target.find('/', names.size());
    if (target.compare(0, names.size(), names) != 0 || slash == std::string::npos) {
        return {};
    }
    return {target.substr(names.size(), slash - names.size()), target.substr(slash + 1)};
}

void removeEntry(const Domain& domain, const Entry& entry, const std::string& link) {
    if (!entry.name.empty()) {
        domain.folder().remove(folderOf(entry.name) + "/" + entry.own);
        domain.folder().removeFolder(folderOf(entry.name));
    }
    domain.folder().remove(link);
}

bool takeName(const Domain& domain, std::uint32_t mailbox, const std::string& encoded,
              std::uint32_t number) {
    return makeLinkedEntry(domain, nameLink(mailbox, number),
                           {encoded, holderEntry(domain.nextNameSequence(), mailbox)});
}

void dropName(const Domain& domain, std::uint32_t mailbox, std::uint32_t number) {
    const std::string link = nameLink(mailbox, number);
    removeEntry(domain, readEntry(domain, link), link);
}

std::string nameOf(const Domain& domain, std::uint32_t mailbox, std::uint32_t number) {
    return readEntry(domain, nameLink(mailbox, number)).name;
}

std::uint32_t oldestHolder(Domain& domain, const std::string& encoded) {
    std::vector<std::pair<std::uint64_t, std::uint32_t>> holders;
    domain.folder().list(folderOf(encoded), [&holders](const char* entry) {
        std::uint64_t sequence = 0;
        std::uint32_t mailbox = 0;
        if (readHolder(entry, sequence, mailbox)) {
            holders.emplace_back(sequence, mailbox);
        }
    });
    std::sort(holders.begin(), holders.end());
    for (const auto& [sequence, mailbox] : holders) {
        if (!isSlot(slotOf(mailbox))) {
            continue;
        }
        if (domain.isAlive(slotOf(mailbox))) {
            return mailbox;
        }
        domain.sweepIfDead(slotOf(mailbox));
    }
    return 0;
}

bool leaveNote(const Domain& domain, const std::string& encoded, std::uint32_t mailbox,
               std::uint32_t request) {
    return makeLinkedEntry(domain, noteLink(mailbox, request),
                           {encoded, noteEntry(mailbox, request)});
}

void removeNote(const Domain& domain, const std::string& encoded, std::uint32_t mailbox,
                std::uint32_t request) {
    removeEntry(domain, {encoded, noteEntry(mailbox, request)}, noteLink(mailbox, request));
}

void forEachNote(const Domain& domain, const std::string& encoded,
                 const std::function<void(std::uint32_t mailbox, std::uint32_t request)>& visit) {
    std::vector<std::pair<unsigned, unsigned>> notes;
    domain.folder().list(folderOf(encoded), [&notes](const char* entry) {
        unsigned mailbox = 0;
        unsigned request = 0;
        if (std::sscanf(entry, "note-%8x-%8x", &mailbox, &request) == 2) {
            notes.emplace_back(mailbox, request);
        }
    });
    for (const auto& [mailbox, request] : notes) {
        visit(mailbox, request);
    }
}

}  // namespace itc
