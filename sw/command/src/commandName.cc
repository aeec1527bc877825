#include "commandName.h"

#include "rciProtocol.h"

#include <itc.h>

#include <cstddef>

namespace Quoria::Command::Backend {

namespace {

bool isBlankOrControlCharacter(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte <= 0x20 || byte == 0x7F;
}

// What itc reckons for a character; it documents the rule beside ITC_MAX_NAME_LENGTH.
std::size_t lengthOf(char c, bool isFirst) {
    return c == '/' || c == '%' || isBlankOrControlCharacter(c) || (c == '.' && isFirst) ? 3 : 1;
}

}  // namespace

std::string mailboxNameOf(const std::string& commandName) {
    return kRciMailboxPrefix + commandName;
}

bool isMailboxName(const std::string& name) {
    std::size_t length = 0;
    for (std::size_t i = 0; i < name.size(); ++i) {
        if (name[i] == '\0') {
            return false;
        }
        length += lengthOf(name[i], i == 0);
    }
    return length > 0 && length <= ITC_MAX_NAME_LENGTH;
}

}  // namespace Quoria::Command::Backend
