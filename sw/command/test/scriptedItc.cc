#include <quoriaTest/scriptedItc.h>

#include <gtest/gtest.h>
#include <itc.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <map>
#include <mutex>
#include <set>
#include <sstream>
#include <utility>

namespace QuoriaTest {
namespace {

struct Block {
    std::uint32_t size;
    std::uint32_t sender;
};

struct State {
    std::mutex mutex;
    std::map<const itc_msg*, Block> blocks;
    std::deque<itc_msg*> queue;
    std::vector<SentMessage> sent;
    std::vector<std::vector<std::uint8_t>> indications;
    std::vector<ReceiveCall> receiveCalls;
    std::vector<std::string> calls;
    std::set<std::uint32_t> failingAllocs;
    std::uint32_t maxSize = 1000;
    std::uint32_t currentMailbox = ScriptedItc::kOwnMailbox;
    std::uint32_t locatedMailbox = ScriptedItc::kLocatedMailbox;
    std::uint32_t createdMailbox = ScriptedItc::kCreatedMailbox;

    ~State() {
        for (const auto& entry : blocks) {
            std::free(const_cast<itc_msg*>(entry.first));
        }
    }
};

State& state() {
    static State theState;
    return theState;
}

using Lock = std::lock_guard<std::mutex>;

std::string hex(std::uint32_t number) {
    std::ostringstream text;
    text << "0x" << std::hex << number;
    return text.str();
}

void record(const std::string& call, const char* file, int line) {
    EXPECT_STREQ(file, "") << call;
    EXPECT_EQ(line, 0) << call;
    state().calls.push_back(call);
}

itc_msg* makeBlock(std::uint32_t size, std::uint32_t sender) {
    auto* msg = static_cast<itc_msg*>(std::malloc(size));
    state().blocks[msg] = Block{size, sender};
    return msg;
}

itc_msg* makeBlock(const Bytes& content, std::uint32_t sender) {
    itc_msg* msg = makeBlock(static_cast<std::uint32_t>(content.get().size()), sender);
    std::memcpy(static_cast<void*>(msg), content.get().data(), content.get().size());
    return msg;
}

// Ends the block that `*msg` owns and returns what it held.
std::vector<std::uint8_t> consume(itc_msg** msg) {
    itc_msg* block = std::exchange(*msg, nullptr);
    const auto entry = state().blocks.find(block);
    if (entry == state().blocks.end()) {
        ADD_FAILURE() << "not a block in use";
        return {};
    }
    const auto* first = reinterpret_cast<const std::uint8_t*>(block);
    std::vector<std::uint8_t> bytes(first, first + entry->second.size);
    state().blocks.erase(entry);
    std::free(block);
    return bytes;
}

bool admits(const std::vector<std::uint32_t>& filter, std::uint32_t msgNo) {
    return filter.empty() || std::find(filter.begin(), filter.end(), msgNo) != filter.end();
}

}  // namespace

Bytes& Bytes::word(std::uint32_t value) {
    const auto* first = reinterpret_cast<const std::uint8_t*>(&value);
    bytes_.insert(bytes_.end(), first, first + sizeof value);
    return *this;
}

Bytes& Bytes::text(const std::string& value) {
    bytes_.insert(bytes_.end(), value.begin(), value.end());
    return *this;
}

std::uint32_t SentMessage::wordAt(std::size_t offset) const {
    std::uint32_t value = 0;
    EXPECT_LE(offset + sizeof value, bytes.size());
    if (offset + sizeof value <= bytes.size()) {
        std::memcpy(&value, &bytes[offset], sizeof value);
    }
    return value;
}

std::string SentMessage::textAt(std::size_t offset, std::size_t length) const {
    EXPECT_LE(offset + length, bytes.size());
    const std::size_t first = std::min(offset, bytes.size());
    const std::size_t last = std::min(offset + length, bytes.size());
    return std::string(reinterpret_cast<const char*>(bytes.data()) + first, last - first);
}

namespace ScriptedItc {

std::shared_ptr<itc_msg> makeReceived(const Bytes& content, std::uint32_t sender) {
    const Lock lock(state().mutex);
    return std::shared_ptr<itc_msg>(makeBlock(content, sender),
                                    [](itc_msg* msg) { __itc_free(&msg, "", 0); });
}

void queue(const Bytes& content, std::uint32_t sender) {
    const Lock lock(state().mutex);
    state().queue.push_back(makeBlock(content, sender));
}

void setMaxSize(std::uint32_t size) {
    const Lock lock(state().mutex);
    state().maxSize = size;
}

void setCurrentMailbox(std::uint32_t mailbox) {
    const Lock lock(state().mutex);
    state().currentMailbox = mailbox;
}

void setLocatedMailbox(std::uint32_t mailbox) {
    const Lock lock(state().mutex);
    state().locatedMailbox = mailbox;
}

void setCreatedMailbox(std::uint32_t mailbox) {
    const Lock lock(state().mutex);
    state().createdMailbox = mailbox;
}

void failAlloc(std::uint32_t msgNo) {
    const Lock lock(state().mutex);
    state().failingAllocs.insert(msgNo);
}

std::vector<SentMessage> sent() {
    const Lock lock(state().mutex);
    return state().sent;
}

std::vector<std::vector<std::uint8_t>> indications() {
    const Lock lock(state().mutex);
    return state().indications;
}

std::vector<ReceiveCall> receiveCalls() {
    const Lock lock(state().mutex);
    return state().receiveCalls;
}

std::vector<std::string> calls() {
    const Lock lock(state().mutex);
    return state().calls;
}

std::size_t blocksInUse() {
    const Lock lock(state().mutex);
    return state().blocks.size();
}

}  // namespace ScriptedItc
}  // namespace QuoriaTest

using QuoriaTest::consume;
using QuoriaTest::hex;
using QuoriaTest::Lock;
using QuoriaTest::record;
using QuoriaTest::state;

extern "C" {

itc_mbox_id_t __itc_create_mailbox(const char* name, uint32_t flags, const char* file, int line) {
    const Lock lock(state().mutex);
    EXPECT_EQ(flags, 0U);
    record(std::string("create ") + name, file, line);
    return state().createdMailbox;
}

void __itc_delete_mailbox(itc_mbox_id_t mailbox, const char* file, int line) {
    const Lock lock(state().mutex);
    record("delete " + hex(mailbox), file, line);
}

itc_mbox_id_t __itc_current_mbox(const char*, int) {
    const Lock lock(state().mutex);
    return state().currentMailbox;
}

int __itc_get_fd(const char*, int) {
    return -1;
}

bool __itc_add_name(itc_mbox_id_t mailbox, const char* name, const char* file, int line) {
    const Lock lock(state().mutex);
    record("add_name " + hex(mailbox) + " " + name, file, line);
    return true;
}

// Unlike the real one it also gives out blocks above the maximum size, as some libitc may.
itc_msg* __itc_alloc(uint32_t size, uint32_t msgno, const char* file, int line) {
    const Lock lock(state().mutex);
    EXPECT_STREQ(file, "");
    EXPECT_EQ(line, 0);
    if (state().failingAllocs.count(msgno) != 0) {
        return nullptr;
    }
    itc_msg* msg = QuoriaTest::makeBlock(size, ITC_NO_MAILBOX);
    std::memset(static_cast<void*>(msg), 0xA5, size);
    msg->msgno = msgno;
    return msg;
}

void __itc_free(itc_msg** msg, const char*, int) {
    const Lock lock(state().mutex);
    consume(msg);
}

void __itc_send(itc_msg** msg, itc_mbox_id_t receiver, itc_mbox_id_t sender, const char* file,
                int line) {
    const Lock lock(state().mutex);
    const std::uint32_t msgNo = (*msg)->msgno;
    record("send " + hex(msgNo), file, line);
    state().sent.push_back({msgNo, receiver, sender, consume(msg)});
}

itc_msg* __itc_receive(const uint32_t* filter, uint32_t timeout, itc_mbox_id_t from,
                       const char* file, int line) {
    const Lock lock(state().mutex);
    EXPECT_STREQ(file, "");
    EXPECT_EQ(line, 0);
    std::vector<std::uint32_t> admitted;
    if (filter != nullptr) {
        admitted.assign(filter + 1, filter + 1 + filter[0]);
    }
    state().receiveCalls.push_back({admitted, timeout, from});
    auto& queue = state().queue;
    const auto found = std::find_if(queue.begin(), queue.end(), [&](const itc_msg* msg) {
        return QuoriaTest::admits(admitted, msg->msgno);
    });
    if (found == queue.end()) {
        return nullptr;
    }
    itc_msg* msg = *found;
    queue.erase(found);
    return msg;
}

itc_mbox_id_t __itc_sender(const itc_msg* msg, const char*, int) {
    const Lock lock(state().mutex);
    return state().blocks.at(msg).sender;
}

bool __itc_get_name(itc_mbox_id_t, char*, uint32_t, const char*, int) {
    return false;
}

itc_mbox_id_t __itc_locate(const char* name, const char* file, int line) {
    const Lock lock(state().mutex);
    record(std::string("locate ") + name, file, line);
    return state().locatedMailbox;
}

itc_monitor_id_t __itc_monitor(itc_mbox_id_t mailbox, itc_msg** msg, const char* file, int line) {
    const Lock lock(state().mutex);
    record("monitor " + hex(mailbox) + " with " + hex((*msg)->msgno), file, line);
    state().indications.push_back(consume(msg));
    return QuoriaTest::ScriptedItc::kMonitorId;
}

void __itc_unmonitor(itc_monitor_id_t monitor, const char* file, int line) {
    const Lock lock(state().mutex);
    record("unmonitor " + hex(monitor), file, line);
}

uint32_t itc_get_max_size(void) {
    const Lock lock(state().mutex);
    return state().maxSize;
}

#ifdef SCRIPTED_ITC_TELLS_SIZES
uint32_t __itc_size(const itc_msg* msg, const char*, int) {
    const Lock lock(state().mutex);
    return state().blocks.at(msg).size;
}
#endif

}  // extern "C"
