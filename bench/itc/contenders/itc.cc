// The mailbox library, through epoll_wait on itc_get_fd.

#include "polledEnd.h"

#include <itc.h>

namespace {

using namespace Bench;

constexpr std::uint32_t kMsgNo = 1;

class Mailbox : public PolledEnd {
public:
    Mailbox(const char* name, itc_mbox_id_t peer) : peer_(peer) {
        mailbox_ = itc_create_mailbox(name, 0);
        if (mailbox_ == ITC_NO_MAILBOX) {
            fail("no mailbox");
        }
        watch(itc_get_fd());
    }
    ~Mailbox() override { itc_delete_mailbox(mailbox_); }

    void send(std::size_t size) override {
        itc_msg* message = itc_alloc(static_cast<std::uint32_t>(sizeof(itc_msg) + size), kMsgNo);
        writePayload(message + 1, size);
        itc_send(&message, peer_, ITC_OWN_MAILBOX);
    }

private:
    bool take(int) override {
        itc_msg* message = itc_receive(nullptr, ITC_NO_WAIT, ITC_ANY_SENDER);
        if (message == nullptr) {
            return false;
        }
        peer_ = itc_sender(message);
        readPayload(message + 1, itc_size(message) - sizeof(itc_msg));
        itc_free(&message);
        return true;
    }

    itc_mbox_id_t mailbox_;
    itc_mbox_id_t peer_;
};

}  // namespace

std::unique_ptr<End> Bench::makeHub(const Job&) {
    return std::make_unique<Mailbox>("hub", ITC_NO_MAILBOX);
}

std::unique_ptr<End> Bench::makeSpoke(const Job&) {
    return std::make_unique<Mailbox>("", itc_locate("hub"));
}
