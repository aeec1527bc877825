// Two FIFOs with epoll: a stream without packets, for one spoke.

#include "polledEnd.h"

#include <cerrno>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace Bench;

std::string toHub(const Job& job) {
    return job.folder + "/to-hub";
}

std::string toSpoke(const Job& job) {
    return job.folder + "/to-spoke";
}

class Pipes : public PolledEnd {
public:
    // Opened for both directions: neither end waits for the other nor sees it close.
    Pipes(const Job& job, const std::string& in, const std::string& out)
        : in_(need(open(in.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC), "open")),
          out_(need(open(out.c_str(), O_RDWR | O_CLOEXEC), "open")),
          written_(job.size),
          read_(job.size) {
        watch(in_);
    }

    void send(std::size_t size) override {
        writePayload(written_.data(), size);
        std::size_t done = 0;
        while (done < size) {
            done += static_cast<std::size_t>(
                need(static_cast<int>(write(out_, written_.data() + done, size - done)), "write"));
        }
    }

private:
    bool take(int fd) override {
        const ssize_t size = read(fd, read_.data() + filled_, read_.size() - filled_);
        if (size < 0 && errno == EAGAIN) {
            return false;
        }
        filled_ += static_cast<std::size_t>(need(static_cast<int>(size), "read"));
        if (filled_ < read_.size()) {
            return false;
        }
        filled_ = 0;
        readPayload(read_.data(), read_.size());
        return true;
    }

    int in_;
    int out_;
    std::vector<char> written_;
    std::vector<char> read_;
    std::size_t filled_ = 0;
};

}  // namespace

std::unique_ptr<End> Bench::makeHub(const Job& job) {
    need(mkfifo(toHub(job).c_str(), 0600), "mkfifo");
    need(mkfifo(toSpoke(job).c_str(), 0600), "mkfifo");
    return std::make_unique<Pipes>(job, toHub(job), toSpoke(job));
}

std::unique_ptr<End> Bench::makeSpoke(const Job& job) {
    return std::make_unique<Pipes>(job, toSpoke(job), toHub(job));
}
