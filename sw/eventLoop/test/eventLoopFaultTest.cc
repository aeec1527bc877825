// One system call of a loop's life fails, each in its turn, and everything around it goes on.
#include <gmock/gmock.h>
#include <quoriaTest/traceCapture.h>

#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "eventLoopFixture.h"

namespace {

using Quoria::EventLoop::V1::EventLoopIf;
using Quoria::EventLoop::V1::EventLoopImpl;
using QuoriaTest::TraceCapture;
using Peer = Quoria::EventLoop::V1::EventLoopTestPeer;
using Texts = std::vector<std::string>;

// Notes all calls and lets the n-th fail, from 1.
class NthCallFails : public EventLoopOsWrapper {
public:
    explicit NthCallFails(std::size_t n) : n_(n) {}

    int epollCreate1(int flags) override {
        return fails("create") ? -1 : EventLoopOsWrapper::epollCreate1(flags);
    }
    int epollCtl(int epfd, int op, int fd, epoll_event* event) override {
        if (op != EPOLL_CTL_DEL) {
            return fails(op == EPOLL_CTL_ADD ? "add" : "modify")
                       ? -1
                       : EventLoopOsWrapper::epollCtl(epfd, op, fd, event);
        }
        // What makes a removal fail is that the descriptor is out already.
        const int result = EventLoopOsWrapper::epollCtl(epfd, op, fd, event);
        return fails("remove") ? -1 : result;
    }
    int epollWait(int epfd, epoll_event* events, int maxevents, int timeout) override {
        return fails("wait") ? -1 : EventLoopOsWrapper::epollWait(epfd, events, maxevents, timeout);
    }

    Texts calls;

private:
    bool fails(const char* call) {
        calls.emplace_back(call);
        errno = EIO;
        return calls.size() == n_;
    }

    const std::size_t n_;
};

struct Expected {
    std::string call;     // that fails
    std::string results;  // of the operations, as use() gives them
    Texts errors;
};

class EventLoopFault : public testing::Test {
protected:
    ~EventLoopFault() override { EventLoopImpl::reset(); }

    static EventLoopIf& loop() { return *EventLoopIf::getInstance(); }
    static std::shared_ptr<NthCallFails> failCall(std::size_t n) {
        const auto os = std::make_shared<NthCallFails>(n);
        Peer::replaceOsWrapper(*EventLoopImpl::getInstance(), os);
        return os;
    }

    // Every operation, each of which returns a digit; a run also a '!' for each callback.
    std::string use() {
        std::string results;
        const auto note = [&results](EventLoopIf::ReturnCode result) {
            results += std::to_string(result);
        };
        const auto callBack = [&results](int, unsigned int) {
            results += '!';
            loop().stop();
        };
        note(loop().addFdHandler(first_.fd(), EventLoopIf::EVENT_OUT, callBack));
        note(loop().addFdHandler(second_.fd(), EventLoopIf::EVENT_OUT, callBack));
        note(loop().updateFdEvents(second_.fd(), EventLoopIf::EVENT_IN));
        second_.ring();
        note(loop().run());
        second_.silence();
        note(loop().removeFdHandler(first_.fd()));
        note(loop().removeFdHandler(second_.fd()));
        return results;
    }

    static std::ptrdiff_t openDescriptors() {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    }

    Doorbell first_;
    Doorbell second_;
};

const std::string kAllWell = "000!!000";

TEST_F(EventLoopFault, OfAnyOneCallFailsWhatNeedsTheCallAndNothingElse) {
    const std::string error = " failed: Input/output error (5)";
    const std::vector<Expected> expected = {
        {"create", "500!020", {"epoll_create1" + error}},
        {"add", "500!020", {"epoll_ctl(ADD)" + error}},
        {"add", "052!002", {"epoll_ctl(ADD)" + error}},
        {"modify", "005!!000", {"epoll_ctl(MOD)" + error}},
        {"wait", "000500", {"epoll_wait" + error}},
        {"remove", kAllWell, {}},
        {"remove", kAllWell, {}},
    };
    const auto counted = failCall(0);
    EXPECT_EQ(use(), kAllWell);
    ASSERT_EQ(counted->calls.size(), expected.size()) << "a new call needs a row";

    for (std::size_t n = 1; n <= expected.size(); ++n) {
        SCOPED_TRACE(n);
        EventLoopImpl::reset();
        const auto os = failCall(n);
        const TraceCapture trace;
        EXPECT_EQ(use(), expected[n - 1].results);
        EXPECT_EQ(os->calls.at(n - 1), expected[n - 1].call);
        EXPECT_EQ(trace.messages("ERROR"), expected[n - 1].errors);
        EXPECT_EQ(trace.events().size(), expected[n - 1].errors.size());
    }
}

TEST_F(EventLoopFault, OfAnyOneCallIsForgottenByTheNextUseOfTheLoop) {
    for (std::size_t n = 1; n <= 7; ++n) {
        SCOPED_TRACE(n);
        EventLoopImpl::reset();
        failCall(n);
        use();
        EXPECT_EQ(use(), kAllWell);
    }
}

TEST_F(EventLoopFault, OfAnyOneCallLeaksNoDescriptor) {
    const auto before = openDescriptors();
    for (std::size_t n = 0; n <= 7; ++n) {
        SCOPED_TRACE(n);
        failCall(n);
        use();
        EXPECT_EQ(openDescriptors(), before + 1) << "that of the loop alone";
        EventLoopImpl::reset();
        EXPECT_EQ(openDescriptors(), before);
    }
}

TEST_F(EventLoopFault, OfAnyOneCallHasTheSameResultUntraced) {
    for (std::size_t n = 1; n <= 7; ++n) {
        SCOPED_TRACE(n);
        EventLoopImpl::reset();
        failCall(n);
        std::string traced;
        {
            const TraceCapture trace;
            traced = use();
        }
        EventLoopImpl::reset();
        failCall(n);
        EXPECT_EQ(use(), traced);
    }
}

}  // namespace
