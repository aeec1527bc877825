// The files of a domain are written by the fuzzer; then a newcomer opens it, takes a place, sweeps,
// looks for names and sends.

#include "fuzzInput.h"

#include "domain.h"
#include "layout.h"
#include "names.h"
#include "peer.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using ItcFuzz::FuzzInput;
namespace fs = std::filesystem;

constexpr std::uint32_t kSlots = 5;       // that the fuzzer writes to
constexpr std::uint32_t kLivingSlot = 3;  // one that seems to be alive

// Results of single calls do not matter: what can't be made is not there.
class Junk {
public:
    Junk(const fs::path& root, FuzzInput& input) : root_(root), input_(input) {
        fs::create_directory(root_, ignored_);
        fs::permissions(root_, fs::perms::owner_all, ignored_);
        if (input_.take<std::uint8_t>() % 8 != 0) {
            writeControl();
        }
        while (!input_.isAtEnd()) {
            writeSomething();
        }
    }

private:
    void writeControl() {
        const auto control = std::make_unique<itc::Control>();
        control->magic = itc::kControlMagic;
        control->version = itc::kLayoutVersion;
        control->nameSequence = 1;
        std::vector<char> bytes(sizeof(itc::Control));
        std::memcpy(bytes.data(), control.get(), bytes.size());
        for (std::uint32_t changes = input_.take<std::uint8_t>() % 4; changes > 0; --changes) {
            const auto word = input_.take<std::uint64_t>();
            std::memcpy(bytes.data() + std::size_t{4} * input_.below(256), &word, sizeof(word));
        }
        if (input_.take<std::uint8_t>() % 8 == 0) {
            bytes.resize(input_.below(70'000));
        }
        write("domain", bytes.data(), bytes.size(), bytes.size());
    }

    void writeSomething() {
        switch (input_.take<std::uint8_t>() % 6) {
            case 0:
                makeAt(process());
                break;
            case 1:
                fs::create_directory(root_ / process(), ignored_);
                makeAt(process() + "/" + entry());
                break;
            case 2:
                fs::create_directory(root_ / process(), ignored_);
                writeInbox(process() + "/inbox");
                break;
            case 3:
                fs::create_directory(root_ / "names", ignored_);
                makeAt(std::string("names/") + name());
                break;
            case 4:
                fs::create_directories(root_ / "names" / name(), ignored_);
                makeAt(std::string("names/") + name() + "/" + holder());
                break;
            default:
                makeAt("new-folder-" + std::to_string(input_.below(4)));
        }
    }

    // A folder, a file, a FIFO or a link to somewhere in the domain.
    void makeAt(const std::string& path) {
        const std::string full = root_ / path;
        switch (input_.take<std::uint8_t>() % 4) {
            case 0:
                fs::create_directory(full, ignored_);
                break;
            case 1: {
                const std::string text = input_.text(64);
                write(path, text.data(), text.size(), text.size());
                break;
            }
            case 2:
                (void)!mkfifo(full.c_str(), 0600);
                break;
            default:
                (void)!symlink(target().c_str(), full.c_str());
        }
    }

    void writeInbox(const std::string& path) {
        itc::InboxHeader header = {};
        header.magic = itc::kInboxMagic;
        header.version = itc::kLayoutVersion;
        header.slot = kLivingSlot;
        header.incarnation = input_.below(3);
        header.firstCounter = input_.below(3);
        header.recordsReserved = input_.take<std::uint32_t>();
        header.stampsReserved = input_.take<std::uint32_t>();
        auto* bytes = reinterpret_cast<char*>(&header);
        if (input_.take<std::uint8_t>() % 2 == 0) {
            bytes[input_.below(sizeof(header))] = input_.take<char>();
        }
        const bool isWhole = input_.take<std::uint8_t>() % 8 != 0;
        write(path, bytes, sizeof(header), isWhole ? itc::kInboxSize : input_.below(100'000));
    }

    void write(const std::string& path, const char* bytes, std::size_t count, std::size_t size) {
        const int file = open((root_ / path).c_str(),
                              O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600);
        if (file >= 0) {
            (void)!::write(file, bytes, count);
            (void)!ftruncate(file, static_cast<off_t>(size));
            close(file);
        }
    }

    std::string process() {
        const std::string folder = itc::Domain::processFolder(1 + input_.below(kSlots));
        return (input_.take<std::uint8_t>() % 4 == 0 ? "new-" : "") + folder;
    }
    std::string name() { return std::string(1, static_cast<char>('a' + input_.below(3))); }
    std::string entry() {
        static const char* const entries[] = {"inbox", "life", "bell-0", "bell-7", "x"};
        switch (input_.take<std::uint8_t>() % 3) {
            case 0:
                return "name-00" + std::to_string(1 + input_.below(5)) + "00000-0";
            case 1:
                return "note-00" + std::to_string(1 + input_.below(5)) + "00000-00000001";
            default:
                return entries[input_.below(5)];
        }
    }
    std::string holder() {
        const std::string mailbox = "00" + std::to_string(1 + input_.below(5)) + "00000";
        switch (input_.take<std::uint8_t>() % 3) {
            case 0:
                return "000000000000000" + std::to_string(input_.below(10)) + "-" + mailbox;
            case 1:
                return "note-" + mailbox + "-00000001";
            default: {
                std::string text = input_.text(40);
                std::replace(text.begin(), text.end(), '/', '-');
                return text + "x";
            }
        }
    }
    // Never out of the domain: the target may run as root.
    std::string target() {
        switch (input_.take<std::uint8_t>() % 4) {
            case 0:
                return "names/" + name() + "/" + holder();
            case 1:
                return "names/../domain";
            case 2:
                return process();
            default: {
                std::string text = input_.text(40);
                std::replace(text.begin(), text.end(), '/', '-');
                return text + "x";
            }
        }
    }

    const fs::path root_;
    FuzzInput& input_;
    std::error_code ignored_;
};

void enter(const std::string& path) {
    const std::unique_ptr<itc::Domain> domain = itc::Domain::open(path);
    if (domain == nullptr) {
        return;
    }
    const int other = open((path + "/domain").c_str(), O_RDWR | O_CLOEXEC);
    struct flock life = {};
    life.l_type = F_WRLCK;
    life.l_start = off_t{2} * kLivingSlot;
    life.l_len = 1;
    (void)!fcntl(other, F_OFD_SETLK, &life);

    const std::uint32_t slot = domain->claimSlot();
    domain->sweepDead();
    const std::uint32_t mailbox = itc::makeId(slot, 1);
    for (const char* name : {"a", "b", "c"}) {
        itc::oldestHolder(*domain, name);
        itc::forEachNote(*domain, name, [](std::uint32_t, std::uint32_t) {});
        if (slot != 0 && domain->makeFolder(itc::Domain::processFolder(slot))) {
            itc::takeName(*domain, mailbox, name, 0);
            itc::leaveNote(*domain, name, mailbox, 1);
            itc::removeNote(*domain, name, mailbox, 1);
            itc::dropName(*domain, mailbox, 0);
        }
    }
    for (std::uint32_t peerSlot = 1; peerSlot <= kSlots; ++peerSlot) {
        itc::nameOf(*domain, itc::makeId(peerSlot, 0), 0);
        std::shared_ptr<itc::Peer> peer;
        if (peerSlot != slot && itc::Peer::attach(*domain, peerSlot, slot != 0 ? slot : kSlots,
                                                  peer) == itc::Outcome::kDone) {
            const std::uint64_t message = 1;
            for (const std::uint32_t counter : {0U, 1U, 0xFFFFFU}) {
                std::mutex mutex;
                std::unique_lock<std::mutex> lock(mutex);
                const std::uint32_t receiver = itc::makeId(peerSlot, counter);
                peer->send(lock, {itc::kMessage, mailbox, receiver, &message, sizeof(message)},
                           false);
            }
        }
    }
    if (slot != 0) {
        domain->removeTraces(slot);
        domain->releaseSlot();
    }
    close(other);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const ItcFuzz::Playground playground;
    const fs::path root = fs::path(playground.path()) / "domain";
    FuzzInput input(data, size);
    const Junk junk(root, input);
    enter(root);
    std::error_code ignored;  // the next input writes over what stays
    fs::remove_all(root, ignored);
    return 0;
}
