#include "expectedTexts.h"

#include <regex>

namespace {

constexpr const char* kError = "ERROR";
constexpr const char* kInfo = "INFO";
constexpr const char* kTrace = "TRACE1";
constexpr int kErr = 3;      // TRACE_ERR
constexpr int kInform = 6;   // TRACE_INFO
constexpr int kProgram = 8;  // TRACE_DEBUG_PROGRAM

const Meanings kPatterns = {
    {"object", "0x[0-9a-f]+"},  {"workerThread", "[0-9]+"},  {"posterThread", "[0-9]+"},
    {"workerFd", "[0-9]+"},     {"unwatchableFd", "[0-9]+"}, {"walker", "[0-9a-f]+"},
    {"commander", "[0-9a-f]+"},
};

std::string escaped(const std::string& text) {
    static const std::regex special(R"([.^$|()\[\]{}*+?\\])");
    return std::regex_replace(text, special, R"(\$&)");
}

}  // namespace

const std::vector<ExpectedText>& expectedTexts() {
    // clang-format off
    static const std::vector<ExpectedText> texts = {
        // the event loop
        {kError, kErr, "epoll_create1 failed: Too many open files (24)"},
        {kError, kErr, "epoll_ctl(ADD) failed: No space left on device (28)"},
        {kError, kErr, "epoll_ctl(MOD) failed: Cannot allocate memory (12)"},
        {kError, kErr, "epoll_wait failed: Bad file descriptor (9)"},

        // active objects
        {kTrace, kProgram, "ActiveObjectThread(<object>) created"},
        {kInfo, kInform, "ABN: eventfd failed: Too many open files (24)"},
        {kTrace, kProgram, "ActiveObjectThread started; thread=<workerThread>, eventFd=<workerFd>"},
        {kError, kErr, "epoll_ctl(ADD) failed: Operation not permitted (1)"},
        {kError, kErr, "Failed to add fd=<unwatchableFd> to the event loop"},
        {kTrace, kProgram, "ActiveObjectThread(<object>) scheduling function call, bound for thread: <workerThread>. Current thread is: <posterThread>"},
        {kError, kErr, "write failed: Resource temporarily unavailable (11)"},
        {kError, kErr, "read failed: Input/output error (5)"},
        {kTrace, kProgram, "ActiveObjectThread(<object>) invoking application function in AO thread: <workerThread>"},
        {kTrace, kProgram, "ActiveObjectThread(<object>) terminating AO thread=<workerThread> from thread: <posterThread>"},
        {kTrace, kProgram, "Active object thread <workerThread> finished"},

        // timers
        {kError, kErr, "timerfd_create failed, Too many open files (24)"},
        {kError, kErr, "timerfd_settime failed, Invalid argument (22)"},
        {kError, kErr, "read failed, Input/output error (5)"},
        {kError, kErr, "Received file descriptor event, but no expired timer was found"},

        // messages
        {kError, kErr, "Unhandled ITC message 0x7abc from 'walker' received in mailbox 'walker'"},
        {kError, kErr, "Unhandled ITC message 0x7abd from '-' received in mailbox '-'"},
        {kError, kErr, "Received locate indication with unexpected identity: 4711"},
        {kError, kErr, "Ignoring malformed locate indication from mailbox: 0x<walker>"},

        // startup
        {kTrace, kProgram, "Initializing 'willing'"},
        {kTrace, kProgram, "'willing' successfully initialized"},
        {kTrace, kProgram, "Starting participant"},
        {kTrace, kProgram, "Starting 'willing'"},
        {kTrace, kProgram, "Initializing 'unable'"},
        {kTrace, kProgram, "Initializing 'silent'"},
        {kInfo, kInform, "ABN: Initialization failed for startup participant 'unable'"},
        {kInfo, kInform, "ABN: No response from startup participant 'silent' in 1 seconds"},
        {kInfo, kInform, "ABN: No startup participant was created"},

        // commands: their registration
        {kTrace, kProgram, "init called"},
        {kTrace, kProgram, "Command 'judge' registered"},
        {kTrace, kProgram, "Command 'later' registered"},
        {kTrace, kProgram, "Command 'later' deregistered"},
        {kTrace, kProgram, "Command 'homeless' registered"},
        {kError, kErr, "No mailbox on this thread to serve command: homeless"},
        {kTrace, kProgram, "Command 'aside' registered"},
        {kTrace, kProgram, "Command 'unserved' registered"},
        {kError, kErr, "itc_create_mailbox failed for mailbox: RciServer"},
        {kError, kErr, "No mailbox on this thread to serve command: unserved"},

        // their connections
        {kTrace, kProgram, "Connect accepted for command 'judge'. Protocol rev: 1"},
        {kTrace, kProgram, "Connect accepted for command 'later'. Protocol rev: 1"},
        {kTrace, kProgram, "Connect accepted for command 'aside'. Protocol rev: 1"},
        {kInfo, kInform, "ABN: Connect rejected for command 'nobody'"},
        {kError, kErr, "Ignoring malformed connect request from mailbox: 0x<commander>"},
        {kTrace, kProgram, "Disconnect accepted for command 'judge'"},
        {kTrace, kProgram, "Disconnect accepted for command 'aside'"},
        {kError, kErr, "Ignoring disconnect request with invalid connection ref: 4711"},
        {kError, kErr, "Ignoring malformed disconnect request from mailbox: 0x<commander>"},
        {kInfo, kInform, "ABN: command 'judge' aborted by the client"},

        // their executions
        {kTrace, kProgram, "Received execute request for command 'judge' with args: {on,off}"},
        {kTrace, kProgram, "Received execute request for command 'judge' with args: {what}"},
        {kTrace, kProgram, "Received execute request for command 'judge' with args: {fail}"},
        {kTrace, kProgram, "Received execute request for command 'judge' with args: {}"},
        {kTrace, kProgram, "Received execute request for command 'judge' with args: {without a result}"},
        {kTrace, kProgram, "Received execute request for command 'later' with args: {}"},
        {kTrace, kProgram, "Received execute request for command 'aside' with args: {}"},
        {kError, kErr, "Ignoring execute request with invalid connection ref: 4711"},
        {kError, kErr, "Ignoring malformed execute request from mailbox: 0x<commander>"},
        {kError, kErr, "No handler registered for command: later"},
        {kTrace, kProgram, "Invoking synchronous cmd handler: judge"},
        {kTrace, kProgram, "Invoking asynchronous cmd handler: later"},
        {kTrace, kProgram, "Invoking concurrent cmd handler: aside"},
        {kError, kErr, "itc_create_mailbox failed for concurrent cmd handler: aside"},
        {kTrace, kProgram, "Execution of command 'judge' succeeded"},
        {kTrace, kProgram, "Execution of command 'judge' failed with invalid arguments"},
        {kTrace, kProgram, "Execution of command 'judge' failed"},
        {kTrace, kProgram, "Execution of command 'later' succeeded"},
        {kTrace, kProgram, "Execution of command 'aside' succeeded"},
        {kTrace, kProgram, "Execution of command 'aside' failed"},
        {kError, kErr, "itc_alloc failed for a message to mailbox: 0x<commander>"},
    };
    // clang-format on
    return texts;
}

std::string withMeanings(const std::string& text, const Meanings& meanings) {
    std::string result = text;
    for (const auto& [name, meaning] : meanings) {
        const std::string placeholder = '<' + name + '>';
        std::size_t position = 0;
        while ((position = result.find(placeholder, position)) != std::string::npos) {
            result.replace(position, placeholder.size(), meaning);
            position += meaning.size();
        }
    }
    return result;
}

bool matches(const std::string& text, const std::string& expected) {
    return std::regex_match(text, std::regex(withMeanings(escaped(expected), kPatterns)));
}
