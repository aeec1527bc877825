#include "commandName.h"

#include <itc.h>

#include <algorithm>

namespace Rci {

namespace {

// What itc reckons as three characters wherever it stands; it documents the rule beside
// ITC_MAX_NAME_LENGTH.
bool countsThree(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte <= 0x20 || byte == 0x7F || c == '/' || c == '%';
}

}  // namespace

std::string mailboxNameOf(const std::string& name) {
    return std::string(kMailboxPrefix) + name;
}

bool isMailboxName(const std::string& mailboxName) {
    const bool hasLeadingDot = !mailboxName.empty() && mailboxName.front() == '.';
    const auto threes = std::count_if(mailboxName.begin(), mailboxName.end(), countsThree) +
                        (hasLeadingDot ? 1 : 0);
    return mailboxName.size() + 2 * static_cast<std::size_t>(threes) <= ITC_MAX_NAME_LENGTH;
}

}  // namespace Rci
