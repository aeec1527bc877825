// rciAnswers.h: what a server sends to its client, as content for the scripted itc.
//
// Test support.
#ifndef QUORIATEST_RCIANSWERS_H
#define QUORIATEST_RCIANSWERS_H

#include <quoriaTest/scriptedItc.h>

#include <string>

namespace QuoriaTest {

inline Bytes connectCfm(std::uint32_t connectionRef) {
    return Bytes().word(0x017070A1).word(1).word(connectionRef).word(1);
}
inline Bytes connectRej() {
    return Bytes().word(0x017070A2).word(1).word(0);
}
inline Bytes executeCfm() {
    return Bytes().word(0x017070A4).word(1).word(1);
}
inline Bytes output(const std::string& text) {
    return Bytes()
        .word(0x017070A6)
        .word(1)
        .word(1)
        .word(static_cast<std::uint32_t>(text.size()))
        .text(text + "spar");
}
inline Bytes executeResult(std::uint32_t result) {
    return Bytes().word(0x017070A5).word(1).word(1).word(result);
}
inline Bytes disconnectCfm() {
    return Bytes().word(0x017070A8).word(1).word(1);
}
inline Bytes serverDown() {
    return Bytes().word(0x017070A9);
}

}  // namespace QuoriaTest

#endif
