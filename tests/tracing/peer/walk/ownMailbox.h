// ownMailbox.h: the calling thread's mailbox, and messages that it sends to itself.
//
// The thread that makes it uses it; its event loop handles what arrives.
#ifndef TRACEWALK_OWNMAILBOX_H
#define TRACEWALK_OWNMAILBOX_H

#include <cstdint>
#include <string>
#include <vector>

namespace TraceWalk {

class OwnMailbox {
public:
    explicit OwnMailbox(const char* name);

    std::uint32_t id() const { return id_; }
    std::string idInHex() const;

    // Sends a message of these words, with the bytes behind them, to the mailbox itself and handles
    // everything up to it.
    void handle(const std::vector<std::uint32_t>& words, const std::string& bytes = {});

    // Lets the loop run until somebody has sent kStopMsgNo.
    static constexpr std::uint32_t kStopMsgNo = 0x7001;
    void handleUntilStopped();

private:
    const std::uint32_t id_;
};

// Sends a message of these words, with the bytes behind them, from the calling thread's mailbox.
void send(std::uint32_t receiver, const std::vector<std::uint32_t>& words,
          const std::string& bytes = {});

}  // namespace TraceWalk

#endif
