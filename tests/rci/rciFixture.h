// rciFixture.h: the service that the tests of rci talk to, and rci.
//
// Test support.
#ifndef QUORIATEST_RCIFIXTURE_H
#define QUORIATEST_RCIFIXTURE_H

#include <quoriaTest/childProcess.h>

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace QuoriaTest {

inline std::vector<std::string> rciWords(const std::vector<std::string>& words) {
    std::vector<std::string> all{PEER_RCI};
    all.insert(all.end(), words.begin(), words.end());
    return all;
}

inline Outcome rci(const std::vector<std::string>& words,
                   const ChildProcess::Options& options = {}) {
    return runToEnd(rciWords(words), options);
}

// See testService.cc. Its commands can be reached as soon as the object exists.
class TestService : public ChildProcess {
public:
    explicit TestService(const std::vector<std::string>& commands = {})
        : ChildProcess(wordsFor(commands)), mailbox_(readLine()) {
        mailbox_.pop_back();
    }

    const std::string& mailbox() const { return mailbox_; }

    // Waits until a client executes `held`.
    void awaitHeld() { EXPECT_EQ(readLine(), "held\n"); }
    void say(const std::string& text) { write("say " + text + "\n"); }
    void end(int result) { write("end " + std::to_string(result) + "\n"); }
    void exit(int code) { write("exit " + std::to_string(code) + "\n"); }
    void withdraw(const std::string& name) {
        write("withdraw " + name + "\n");
        EXPECT_EQ(readLine(), "withdrawn\n");
    }
    // Asks the service until it has reported `info`.
    void awaitInfo(const std::string& info) {
        std::string answer;
        while (answer.find(info + "\n") == std::string::npos) {
            write("infos\n");
            answer = readOutputUntil(".\n");
        }
    }

private:
    static std::vector<std::string> wordsFor(const std::vector<std::string>& commands) {
        std::vector<std::string> words{PEER_RCITESTSERVICE};
        words.insert(words.end(), commands.begin(), commands.end());
        return words;
    }

    std::string mailbox_;
};

}  // namespace QuoriaTest

#endif
