// The memory of an inbox is rewritten under its owner and under a sender while both use it. The
// sender has a place of its own in the domain, but runs in this process too: so an input does the
// same whenever it is run.

#include "fuzzInput.h"

#include "layout.h"
#include "mapping.h"
#include "peer.h"
#include "process.h"

#include <itc.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

namespace {

// What a sender meets that would have to wait: there is nobody who could make room meanwhile.
struct WouldWait {};
bool isSending_ = false;

}  // namespace

extern "C" __attribute__((visibility("default"))) int nanosleep(const timespec* time,
                                                                timespec* left) {
    if (isSending_) {
        throw WouldWait();
    }
    return clock_nanosleep(CLOCK_REALTIME, 0, time, left) == 0 ? 0 : -1;
}

namespace {

using ItcFuzz::FuzzInput;

constexpr std::uint32_t kSenderSlot = 2;
constexpr std::size_t kHeldAtMost = 64;
// A chain may go round in a circle; the longest that there may be takes a second.
constexpr std::uint64_t kLongestChain = 2000;

class Target {
public:
    Target() {
        setenv("ITC_DOMAIN", (playground_.path() + "/domain").c_str(), 1);
        process_ = itc::Process::join();
        const std::string inbox = playground_.path() + "/domain/process-0001/inbox";
        file_ = open(inbox.c_str(), O_RDWR | O_CLOEXEC);
        lock_ = open((playground_.path() + "/domain/domain").c_str(), O_RDWR | O_CLOEXEC);
        struct flock life = {};
        life.l_type = F_WRLCK;
        life.l_start = off_t{2} * kSenderSlot;
        life.l_len = 1;
        if (process_ == nullptr || file_ < 0 || fcntl(lock_, F_OFD_SETLK, &life) != 0) {
            std::abort();
        }
        view_ = itc::Mapping::shared(file_, itc::kInboxSize, true);
        std::memcpy(header_, view_.at(0), sizeof(header_));
    }

    void run(FuzzInput input) {
        itc_create_mailbox(nullptr, 0);
        while (!input.isAtEnd()) {
            step(input);
        }
        for (itc_msg* message : held_) {
            itc_free(&message);
        }
        held_.clear();
        peer_.reset();
        shortenChains();
        itc_delete_mailbox(itc_current_mbox());
        beginAnew();
    }

private:
    void step(FuzzInput& input) {
        shortenChains();
        switch (input.take<std::uint8_t>() % 13) {
            case 0:
            case 1:
            case 2:
            case 3:
                rewrite(input);
                break;
            case 4:
            case 5:
                sendAsPeer(input);
                break;
            case 6:
                if (itc_msg* message = itc_receive(nullptr, ITC_NO_WAIT, ITC_ANY_SENDER);
                    message != nullptr) {
                    use(message);
                }
                break;
            case 7:
                if (!held_.empty()) {
                    itc_free(&held_.back());
                    held_.pop_back();
                }
                break;
            case 8:
                if (!held_.empty()) {
                    itc_send(&held_.back(), itc_current_mbox(), ITC_OWN_MAILBOX);
                    held_.pop_back();
                }
                break;
            case 9:
                process_->reclaim(true);
                break;
            case 10:
                itc_delete_mailbox(itc_current_mbox());
                itc_create_mailbox(nullptr, 0);
                break;
            case 11:
                growHeld(input);
                break;
            default: {
                itc_msg* message = itc_alloc(8, 1);
                if (input.take<std::uint8_t>() % 2 == 0) {
                    itc_monitor(itc_current_mbox() + input.below(3) - 1, &message);
                } else {
                    itc_send(&message, itc_current_mbox(), ITC_OWN_MAILBOX);
                }
            }
        }
    }

    // Every byte that the library says is there can be written.
    static void fill(itc_msg* message) {
        const std::uint32_t size = itc_size(message);
        std::memset(message + 1, 0x5A, size < sizeof(itc_msg) ? 0 : size - sizeof(itc_msg));
    }

    // A message that has been received says that it is larger than it is.
    void growHeld(FuzzInput& input) {
        if (!held_.empty() && process_->inbox().contains(held_.back())) {
            itc::blockOf(held_.back())->size = input.take<std::uint32_t>();
            fill(held_.back());
        }
    }

    void use(itc_msg* message) {
        fill(message);
        if (held_.size() < kHeldAtMost) {
            held_.push_back(message);
        } else {
            itc_free(&message);
        }
    }

    void sendAsPeer(FuzzInput& input) {
        const auto kind = static_cast<std::uint32_t>(input.take<std::uint8_t>() % 6);
        const std::uint32_t size = 4 + input.below(70'000);
        if (peer_ == nullptr) {
            itc::Peer::attach(process_->home(), 1, kSenderSlot, peer_);
        }
        if (peer_ == nullptr) {
            return;
        }
        isSending_ = true;
        try {
            std::unique_lock<std::mutex> lock(peerMutex_);
            const std::uint32_t sender = itc::makeId(kSenderSlot, 1);
            peer_->send(lock, {kind, sender, itc_current_mbox(), payload_.data(), size}, false);
        } catch (const WouldWait&) {
            // as good as sent
        }
        isSending_ = false;
    }

    void rewrite(FuzzInput& input) {
        std::size_t offset = 0;
        switch (input.take<std::uint8_t>() % 6) {
            case 0:
                offset = std::size_t{4} * input.below(16);
                break;
            case 1:
                offset = itc::kLanesOffset + input.below(4) * sizeof(itc::Lane);
                break;
            case 2:
                offset =
                    itc::kRecordsOffset +
                    process_->inbox().recordIndex(itc_current_mbox()) * sizeof(itc::MailboxRecord) +
                    std::size_t{4} * input.below(8);
                break;
            case 3:
                offset = itc::kStampsOffset + input.below(80) * sizeof(itc::Stamp);
                break;
            default:
                offset = itc::kChunksOffset + input.below(80) * itc::kChunkSize +
                         input.below(16) * itc::kUnit * input.below(8) +
                         std::size_t{4} * input.below(8);
        }
        offset &= ~std::size_t{7};
        view_.as<std::atomic<std::uint64_t>>(offset)->store(word(input), std::memory_order_relaxed);
    }

    static std::uint64_t word(FuzzInput& input) {
        switch (input.take<std::uint8_t>() % 7) {
            case 0:
                return itc::kClosedStack;
            case 1:
                return (std::uint64_t{input.below(2000)} << 32) |
                       (itc::unitOfChunk(input.below(80)) + input.below(256));
            case 2:
                return itc::makeStamp(1 + input.below(3), input.below(3),
                                      input.below(itc::kCutCount + 1), 1);
            case 3:
                return itc::makeStamp(1 + input.below(3), input.below(3), itc::kSpanHead,
                                      input.below(80));
            case 4:
                return input.below(70'000) | std::uint64_t{input.take<std::uint32_t>()} << 32;
            case 5:
                return itc::unitOfChunk(input.below(80)) + input.below(256);
            default:
                return input.take<std::uint64_t>();
        }
    }

    void shortenChains() {
        const std::uint32_t index = process_->inbox().recordIndex(itc_current_mbox());
        std::atomic<std::uint64_t>& stack =
            view_.as<itc::MailboxRecord>(itc::kRecordsOffset)[index].stack;
        if (const std::uint64_t top = stack.load(); top >> 32 > kLongestChain) {
            stack.store((top & 0xFFFFFFFF) | (kLongestChain << 32));
        }
    }

    // All but what the owner knows by heart.
    void beginAnew() {
        itc::returnSpace(file_, itc::kPage, itc::kInboxSize - itc::kPage);
        std::memcpy(view_.at(0), header_, sizeof(header_));
        view_.as<itc::InboxHeader>()->recordsReserved = itc::kRecordCount;
    }

    const ItcFuzz::Playground playground_;
    const std::vector<char> payload_ = std::vector<char>(80'000, 'p');
    itc::Process* process_ = nullptr;
    int file_ = -1;
    int lock_ = -1;
    itc::Mapping view_;
    char header_[itc::kPage] = {};
    std::shared_ptr<itc::Peer> peer_;
    std::mutex peerMutex_;
    std::vector<itc_msg*> held_;
};

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Target target;
    target.run(FuzzInput(data, size));
    return 0;
}
