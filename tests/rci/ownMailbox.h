// ownMailbox.h: a mailbox of the test itself, for rci to look at.
//
// Test support.
#ifndef QUORIATEST_OWNMAILBOX_H
#define QUORIATEST_OWNMAILBOX_H

#include <itc.h>

#include <gtest/gtest.h>

#include <string>

namespace QuoriaTest {

class OwnMailbox {
public:
    explicit OwnMailbox(const std::string& name) : id_(itc_create_mailbox(name.c_str(), 0)) {
        EXPECT_NE(id_, ITC_NO_MAILBOX);
    }
    ~OwnMailbox() { itc_delete_mailbox(id_); }
    OwnMailbox(const OwnMailbox&) = delete;
    OwnMailbox& operator=(const OwnMailbox&) = delete;

    itc_mbox_id_t id() const { return id_; }
    std::string idText() const { return std::to_string(id_); }

    void addName(const std::string& name) { EXPECT_TRUE(itc_add_name(id_, name.c_str())); }
    static void send(itc_mbox_id_t receiver, int messages, std::uint32_t size) {
        for (int i = 0; i < messages; ++i) {
            itc_msg* message = itc_alloc(size, 1);
            ASSERT_NE(message, nullptr);
            itc_send(&message, receiver, ITC_OWN_MAILBOX);
        }
    }
    void fill(int messages, std::uint32_t size) { send(id_, messages, size); }
    void takeOne() {
        itc_msg* message = itc_receive(nullptr, ITC_NO_WAIT, ITC_ANY_SENDER);
        EXPECT_NE(message, nullptr);
        itc_free(&message);
    }

private:
    const itc_mbox_id_t id_;
};

}  // namespace QuoriaTest

#endif
