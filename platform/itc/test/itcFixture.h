// itcFixture.h: mailboxes and messages in the words of the tests.
//
// Private header of platform/itc's tests.
#ifndef ITC_TEST_ITCFIXTURE_H
#define ITC_TEST_ITCFIXTURE_H

#include <itc.h>
#include <itc_admin.h>

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

namespace ItcTest {

// No test waits that long unless it fails.
constexpr std::uint32_t kLong = 60'000;

constexpr std::uint32_t kMsgNo = 0x100;
constexpr std::uint32_t kOtherMsgNo = 0x200;
constexpr std::uint32_t kThirdMsgNo = 0x300;
constexpr std::uint32_t kGoneMsgNo = 0x900;
constexpr std::uint32_t kFoundMsgNo = 0xA00;

struct NumberMsg {
    std::uint32_t msgno;
    std::uint32_t number;
};

struct FreeMessage {
    void operator()(itc_msg* msg) const { itc_free(&msg); }
};
using Message = std::unique_ptr<itc_msg, FreeMessage>;

// The calling thread's mailbox, for as long as this lives.
class OwnMailbox {
public:
    explicit OwnMailbox(const char* name = nullptr) : id_(itc_create_mailbox(name, 0)) {}
    ~OwnMailbox() { itc_delete_mailbox(id_); }
    OwnMailbox(const OwnMailbox&) = delete;
    OwnMailbox& operator=(const OwnMailbox&) = delete;
    itc_mbox_id_t id() const { return id_; }

private:
    itc_mbox_id_t id_;
};

// A message with a number behind its message number.
itc_msg* newNumber(std::uint32_t msgNo, std::uint32_t number);
void sendNumber(itc_mbox_id_t receiver, std::uint32_t number, std::uint32_t msgNo = kMsgNo);

Message receive(std::uint32_t timeout = kLong);
Message receiveOnly(std::initializer_list<std::uint32_t> msgNos, std::uint32_t timeout = kLong);
Message receiveFrom(itc_mbox_id_t from, std::uint32_t timeout = kLong);

// What the message carries; kNoNumber for a null one or one that is too short.
constexpr std::uint32_t kNoNumber = 0xFFFFFFFF;
std::uint32_t numberOf(const Message& message);
std::uint32_t msgNoOf(const Message& message);
itc_mbox_id_t senderOf(const Message& message);

// The number in the next message, kNoNumber if none is queued.
std::uint32_t nextNumber(std::uint32_t timeout = ITC_NO_WAIT);
// The numbers in all messages that are queued.
std::vector<std::uint32_t> queuedNumbers();

// Fills what follows the message number so that no two sizes and seeds are alike, and looks for
// that.
void fillPayload(itc_msg* message, std::uint32_t seed);
bool hasPayload(const itc_msg* message, std::uint32_t size, std::uint32_t seed);

bool isReadable(int fd);
// Waits until it is; false after kLong.
bool becomesReadable(int fd);

// Watches a mailbox with an indication that carries `number`. Returns the monitor's id.
itc_monitor_id_t monitor(itc_mbox_id_t mailbox, std::uint32_t number = 0);
// Asks for a name with an indication that carries `number`.
void locateAsync(const std::string& name, std::uint32_t number = 0);

// ---- The domain directory of this test ----

std::string domainPath();
// All that is in it, relative to it, in order: "names/x/" and the like.
std::vector<std::string> domainEntries();
// The same without the control file and the folders that every domain has.
std::vector<std::string> tracesInDomain();
// The folders of names in it: "names/x".
std::vector<std::string> namesInDomain();
// How much memory it takes up.
std::size_t domainBytes();
// Starts a process that joins the domain and ends in order: it sweeps what the dead have left.
void letSomeoneElseJoin();

// How many descriptors this process has open.
std::size_t openDescriptors();

}  // namespace ItcTest

#endif
