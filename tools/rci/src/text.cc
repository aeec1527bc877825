#include "text.h"

#include <cstdint>

namespace Rci {

namespace {

constexpr char kHexDigits[] = "0123456789abcdef";

struct Character {
    std::string_view bytes;  // at least one; exactly one if they are not UTF-8
    char32_t code = 0;
    bool isValid = false;
};

std::uint8_t byteAt(std::string_view text, std::size_t index) {
    return static_cast<std::uint8_t>(text[index]);
}

std::size_t lengthByFirstByte(std::uint8_t first) {
    if (first < 0x80) {
        return 1;
    }
    if (first >= 0xC2 && first < 0xE0) {
        return 2;
    }
    if (first >= 0xE0 && first < 0xF0) {
        return 3;
    }
    return first >= 0xF0 && first < 0xF5 ? 4 : 0;
}

bool isScalarValueOfLength(char32_t code, std::size_t length) {
    constexpr char32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
    const bool isSurrogate = code >= 0xD800 && code < 0xE000;
    return code >= smallest[length] && code <= 0x10FFFF && !isSurrogate;
}

// The first character of `text`, which is not empty.
Character firstCharacter(std::string_view text) {
    const Character notUtf8{text.substr(0, 1)};
    const std::size_t length = lengthByFirstByte(byteAt(text, 0));
    if (length == 0 || length > text.size()) {
        return notUtf8;
    }
    constexpr std::uint8_t firstByteMask[] = {0, 0x7F, 0x1F, 0x0F, 0x07};
    char32_t code = byteAt(text, 0) & firstByteMask[length];
    for (std::size_t i = 1; i < length; ++i) {
        if ((byteAt(text, i) & 0xC0) != 0x80) {
            return notUtf8;
        }
        code = (code << 6) | (byteAt(text, i) & 0x3F);
    }
    if (!isScalarValueOfLength(code, length)) {
        return notUtf8;
    }
    return {text.substr(0, length), code, true};
}

bool isControl(char32_t code) {
    return code < 0x20 || (code >= 0x7F && code < 0xA0);
}

std::string hexOf(char byte) {
    const auto value = static_cast<std::uint8_t>(byte);
    return {kHexDigits[value >> 4], kHexDigits[value & 0xF]};
}

std::string jsonCharacter(const Character& character) {
    if (!character.isValid) {
        return "\xEF\xBF\xBD";
    }
    switch (character.code) {
        case U'"':
            return "\\\"";
        case U'\\':
            return "\\\\";
        case U'\n':
            return "\\n";
        case U'\t':
            return "\\t";
        default:
            return character.code < 0x20 ? "\\u00" + hexOf(character.bytes[0])
                                         : std::string(character.bytes);
    }
}

}  // namespace

std::string printable(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const Character character = firstCharacter(text);
        if (character.isValid && !isControl(character.code)) {
            result += character.bytes;
        } else {
            for (const char byte : character.bytes) {
                result += "\\x" + hexOf(byte);
            }
        }
        text.remove_prefix(character.bytes.size());
    }
    return result;
}

std::size_t width(std::string_view printableText) {
    std::size_t characters = 0;
    while (!printableText.empty()) {
        printableText.remove_prefix(firstCharacter(printableText).bytes.size());
        ++characters;
    }
    return characters;
}

std::string jsonString(std::string_view text) {
    std::string result = "\"";
    while (!text.empty()) {
        const Character character = firstCharacter(text);
        result += jsonCharacter(character);
        text.remove_prefix(character.bytes.size());
    }
    return result + "\"";
}

}  // namespace Rci
