#include "itcFixture.h"

#include "childProcess.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <system_error>

#include <poll.h>
#include <sys/stat.h>

namespace ItcTest {

itc_msg* newNumber(std::uint32_t msgNo, std::uint32_t number) {
    itc_msg* message = itc_alloc(sizeof(NumberMsg), msgNo);
    reinterpret_cast<NumberMsg*>(message)->number = number;
    return message;
}

void sendNumber(itc_mbox_id_t receiver, std::uint32_t number, std::uint32_t msgNo) {
    itc_msg* message = newNumber(msgNo, number);
    itc_send(&message, receiver, ITC_OWN_MAILBOX);
}

Message receive(std::uint32_t timeout) {
    return Message(itc_receive(nullptr, timeout, ITC_ANY_SENDER));
}

Message receiveOnly(std::initializer_list<std::uint32_t> msgNos, std::uint32_t timeout) {
    std::vector<std::uint32_t> filter(1, static_cast<std::uint32_t>(msgNos.size()));
    filter.insert(filter.end(), msgNos);
    return Message(itc_receive(filter.data(), timeout, ITC_ANY_SENDER));
}

Message receiveFrom(itc_mbox_id_t from, std::uint32_t timeout) {
    return Message(itc_receive(nullptr, timeout, from));
}

std::uint32_t numberOf(const Message& message) {
    if (message == nullptr || itc_size(message.get()) < sizeof(NumberMsg)) {
        return kNoNumber;
    }
    return reinterpret_cast<const NumberMsg*>(message.get())->number;
}

std::uint32_t msgNoOf(const Message& message) {
    return message == nullptr ? 0 : message->msgno;
}

itc_mbox_id_t senderOf(const Message& message) {
    return message == nullptr ? ITC_NO_MAILBOX : itc_sender(message.get());
}

std::uint32_t nextNumber(std::uint32_t timeout) {
    return numberOf(receive(timeout));
}

std::vector<std::uint32_t> queuedNumbers() {
    std::vector<std::uint32_t> numbers;
    while (const Message message = receive(ITC_NO_WAIT)) {
        numbers.push_back(numberOf(message));
    }
    return numbers;
}

namespace {

unsigned char payloadByte(std::size_t at, std::uint32_t seed) {
    return static_cast<unsigned char>((at * 31 + seed * 7 + (at >> 8)) & 0xFF);
}

}  // namespace

void fillPayload(itc_msg* message, std::uint32_t seed) {
    auto* bytes = reinterpret_cast<unsigned char*>(message);
    const std::size_t size = itc_size(message);
    for (std::size_t at = sizeof(itc_msg); at < size; ++at) {
        bytes[at] = payloadByte(at, seed);
    }
}

bool hasPayload(const itc_msg* message, std::uint32_t size, std::uint32_t seed) {
    if (message == nullptr || itc_size(message) != size) {
        return false;
    }
    const auto* bytes = reinterpret_cast<const unsigned char*>(message);
    for (std::size_t at = sizeof(itc_msg); at < size; ++at) {
        if (bytes[at] != payloadByte(at, seed)) {
            return false;
        }
    }
    return true;
}

bool isReadable(int fd) {
    pollfd polled = {fd, POLLIN, 0};
    return poll(&polled, 1, 0) == 1 && (polled.revents & POLLIN) != 0;
}

bool becomesReadable(int fd) {
    pollfd polled = {fd, POLLIN, 0};
    return poll(&polled, 1, static_cast<int>(kLong)) == 1 && (polled.revents & POLLIN) != 0;
}

itc_monitor_id_t monitor(itc_mbox_id_t mailbox, std::uint32_t number) {
    itc_msg* indication = newNumber(kGoneMsgNo, number);
    return itc_monitor(mailbox, &indication);
}

void locateAsync(const std::string& name, std::uint32_t number) {
    itc_msg* indication = newNumber(kFoundMsgNo, number);
    itc_locate_async(name.c_str(), &indication, ITC_OWN_MAILBOX);
}

std::string domainPath() {
    return getenv("ITC_DOMAIN");
}

// Others come and go while this looks; if a folder vanishes under it, it looks again.
std::vector<std::string> domainEntries() {
    using Walk = std::filesystem::recursive_directory_iterator;
    const std::filesystem::path root(domainPath());
    for (;;) {
        std::vector<std::string> entries;
        std::error_code error;
        for (Walk at(root, error); !error && at != Walk(); at.increment(error)) {
            entries.push_back(at->path().lexically_relative(root).string());
        }
        if (!error) {
            std::sort(entries.begin(), entries.end());
            return entries;
        }
    }
}

std::vector<std::string> tracesInDomain() {
    std::vector<std::string> entries = domainEntries();
    entries.erase(std::remove_if(entries.begin(), entries.end(),
                                 [](const std::string& entry) {
                                     return entry == "domain" || entry == "names";
                                 }),
                  entries.end());
    return entries;
}

std::vector<std::string> namesInDomain() {
    std::vector<std::string> names;
    for (const std::string& entry : domainEntries()) {
        if (entry.rfind("names/", 0) == 0 && entry.find('/', 6) == std::string::npos) {
            names.push_back(entry);
        }
    }
    return names;
}

std::size_t domainBytes() {
    std::size_t bytes = 0;
    for (const std::string& entry : domainEntries()) {
        struct stat status = {};
        if (lstat((domainPath() + "/" + entry).c_str(), &status) == 0) {
            bytes += static_cast<std::size_t>(status.st_blocks) * 512;
        }
    }
    return bytes;
}

void letSomeoneElseJoin() {
    ChildProcess other([](Channel&) -> int {
        CHILD_CHECK(itc_create_mailbox(nullptr, 0) != ITC_NO_MAILBOX);
        exit(kDone);
    });
    EXPECT_EQ(other.wait(), kDone);
}

std::size_t openDescriptors() {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

}  // namespace ItcTest
