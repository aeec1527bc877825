#include <quoriaTest/fakeItc.h>

#include <gtest/gtest.h>
#include <itc.h>

#include <algorithm>
#include <cstring>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <sstream>

namespace {

struct Block {
    std::unique_ptr<std::uint32_t[]> words;
    std::uint32_t sender = ITC_NO_MAILBOX;
};

struct Monitor {
    std::uint32_t mailbox;
    itc_msg* indication;
};

struct State {
    std::mutex mutex;
    std::vector<std::string> calls;
    std::map<const itc_msg*, Block> blocks;
    std::size_t blocksFreed = 0;
    std::deque<itc_msg*> queue;
    std::map<std::uint32_t, Monitor> monitors;
    std::uint32_t lastMonitor = 100;
    std::map<std::uint32_t, std::string> names;
    std::uint32_t currentMailbox = 1;
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

std::string shown(const itc_msg* msg) {
    return msg != nullptr ? hex(msg->msgno) : "null";
}

std::string quoted(const char* text) {
    return text != nullptr ? "\"" + std::string(text) + "\"" : "null";
}

void record(const std::string& call, const char* file, int line) {
    EXPECT_STREQ(file, "") << call;
    EXPECT_EQ(line, 0) << call;
    state().calls.push_back(call);
}

itc_msg* makeBlock(std::size_t size, std::uint32_t msgNo, std::uint32_t sender) {
    Block block{std::make_unique<std::uint32_t[]>((size + 3) / 4), sender};
    block.words[0] = msgNo;
    auto* msg = reinterpret_cast<itc_msg*>(block.words.get());
    state().blocks.emplace(msg, std::move(block));
    return msg;
}

// Takes the block out of the caller's hands, as every operation does that is given its address.
itc_msg* takeOver(itc_msg** msg) {
    EXPECT_EQ(state().blocks.count(*msg), 1U) << "not a block in use";
    return std::exchange(*msg, nullptr);
}

}  // namespace

namespace QuoriaTest::FakeItc {

void reset() {
    const Lock lock(state().mutex);
    state().calls.clear();
    state().blocks.clear();
    state().blocksFreed = 0;
    state().queue.clear();
    state().monitors.clear();
    state().lastMonitor = 100;
    state().names.clear();
    state().currentMailbox = 1;
}

std::vector<std::string> takeCalls() {
    const Lock lock(state().mutex);
    return std::exchange(state().calls, {});
}

std::vector<std::string> takeCallsOf(const std::string& name) {
    std::vector<std::string> calls = takeCalls();
    const auto isOther = [start = name + "("](const std::string& call) {
        return call.compare(0, start.size(), start) != 0;
    };
    calls.erase(std::remove_if(calls.begin(), calls.end(), isOther), calls.end());
    return calls;
}

void setCurrentMailbox(std::uint32_t mailbox) {
    const Lock lock(state().mutex);
    state().currentMailbox = mailbox;
}

void setName(std::uint32_t mailbox, const std::string& name) {
    const Lock lock(state().mutex);
    state().names[mailbox] = name;
}

void queueMessage(std::uint32_t msgNo, std::uint32_t sender, std::size_t size) {
    const Lock lock(state().mutex);
    state().queue.push_back(makeBlock(size, msgNo, sender));
}

void endMailbox(std::uint32_t mailbox) {
    const Lock lock(state().mutex);
    auto& monitors = state().monitors;
    for (auto it = monitors.begin(); it != monitors.end();) {
        if (it->second.mailbox != mailbox) {
            ++it;
            continue;
        }
        state().blocks.at(it->second.indication).sender = mailbox;
        state().queue.push_back(it->second.indication);
        it = monitors.erase(it);
    }
}

std::size_t messagesQueued() {
    const Lock lock(state().mutex);
    return state().queue.size();
}

std::size_t blocksInUse() {
    const Lock lock(state().mutex);
    return state().blocks.size();
}

std::size_t blocksFreed() {
    const Lock lock(state().mutex);
    return state().blocksFreed;
}

}  // namespace QuoriaTest::FakeItc

extern "C" {

itc_mbox_id_t __itc_create_mailbox(const char* name, uint32_t flags, const char* file, int line) {
    const Lock lock(state().mutex);
    record("itc_create_mailbox(" + quoted(name) + ", " + std::to_string(flags) + ")", file, line);
    return state().currentMailbox;
}

void __itc_delete_mailbox(itc_mbox_id_t mailbox, const char* file, int line) {
    const Lock lock(state().mutex);
    record("itc_delete_mailbox(" + hex(mailbox) + ")", file, line);
}

itc_mbox_id_t __itc_current_mbox(const char* file, int line) {
    const Lock lock(state().mutex);
    record("itc_current_mbox()", file, line);
    return state().currentMailbox;
}

int __itc_get_fd(const char* file, int line) {
    const Lock lock(state().mutex);
    record("itc_get_fd()", file, line);
    return -1;
}

bool __itc_add_name(itc_mbox_id_t mailbox, const char* name, const char* file, int line) {
    const Lock lock(state().mutex);
    record("itc_add_name(" + hex(mailbox) + ", " + quoted(name) + ")", file, line);
    return true;
}

itc_msg* __itc_alloc(uint32_t size, uint32_t msgno, const char* file, int line) {
    const Lock lock(state().mutex);
    record("itc_alloc(" + std::to_string(size) + ", " + hex(msgno) + ")", file, line);
    return size <= itc_get_max_size() ? makeBlock(size, msgno, ITC_NO_MAILBOX) : nullptr;
}

void __itc_free(itc_msg** msg, const char* file, int line) {
    const Lock lock(state().mutex);
    record("itc_free(" + shown(*msg) + ")", file, line);
    state().blocksFreed += state().blocks.erase(takeOver(msg));
}

void __itc_send(itc_msg** msg, itc_mbox_id_t receiver, itc_mbox_id_t sender, const char* file,
                int line) {
    const Lock lock(state().mutex);
    record("itc_send(" + shown(*msg) + ", " + hex(receiver) + ", " + hex(sender) + ")", file, line);
    state().blocks.erase(takeOver(msg));
}

itc_msg* __itc_receive(const uint32_t* filter, uint32_t timeout, itc_mbox_id_t from,
                       const char* file, int line) {
    const Lock lock(state().mutex);
    record("itc_receive(" + (filter != nullptr ? std::to_string(filter[0]) : "null") + ", " +
               std::to_string(timeout) + ", " + hex(from) + ")",
           file, line);
    if (state().queue.empty()) {
        return nullptr;
    }
    itc_msg* msg = state().queue.front();
    state().queue.pop_front();
    return msg;
}

itc_mbox_id_t __itc_sender(const itc_msg* msg, const char* file, int line) {
    const Lock lock(state().mutex);
    record("itc_sender(" + shown(msg) + ")", file, line);
    return state().blocks.at(msg).sender;
}

bool __itc_get_name(itc_mbox_id_t mailbox, char* buffer, uint32_t size, const char* file,
                    int line) {
    const Lock lock(state().mutex);
    record("itc_get_name(" + hex(mailbox) + ", buffer, " + std::to_string(size) + ")", file, line);
    const auto name = state().names.find(mailbox);
    if (name == state().names.end()) {
        return false;
    }
    buffer[name->second.copy(buffer, size - 1)] = '\0';
    return true;
}

itc_mbox_id_t __itc_locate(const char* name, const char* file, int line) {
    const Lock lock(state().mutex);
    record("itc_locate(" + quoted(name) + ")", file, line);
    return ITC_NO_MAILBOX;
}

void __itc_locate_async(const char* name, itc_msg** msg, itc_mbox_id_t receiver, const char* file,
                        int line) {
    const Lock lock(state().mutex);
    record("itc_locate_async(" + quoted(name) + ", " + shown(*msg) + ", " + hex(receiver) + ")",
           file, line);
    state().blocks.erase(takeOver(msg));
}

itc_monitor_id_t __itc_monitor(itc_mbox_id_t mailbox, itc_msg** msg, const char* file, int line) {
    const Lock lock(state().mutex);
    record("itc_monitor(" + hex(mailbox) + ", " + shown(*msg) + ")", file, line);
    state().monitors.emplace(++state().lastMonitor, Monitor{mailbox, takeOver(msg)});
    return state().lastMonitor;
}

void __itc_unmonitor(itc_monitor_id_t monitor, const char* file, int line) {
    const Lock lock(state().mutex);
    record("itc_unmonitor(" + std::to_string(monitor) + ")", file, line);
    const auto it = state().monitors.find(monitor);
    if (it != state().monitors.end()) {
        state().blocks.erase(it->second.indication);
        state().monitors.erase(it);
    }
}

uint32_t itc_get_max_size(void) {
    return 1000;
}

}  // extern "C"
