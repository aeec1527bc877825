#include "commandOutput.h"

#include "exitCodes.h"

#include <algorithm>
#include <utility>

namespace Rci {

namespace {

constexpr std::size_t kShortestBeginning = 20;

}  // namespace

CommandOutput::CommandOutput(const std::string& name, std::function<void(std::string_view)> write)
    : lines_(clientLines(name)), write_(std::move(write)) {}

std::vector<CommandOutput::Line> CommandOutput::clientLines(const std::string& name) {
    return {
        {"No handler found for command: " + name + "\n", kExitNoCommand},
        {"Timeout when connecting to command handler: " + name + "\n", kExitFailed},
        {"Connect rejected by server. Client's supported protocol revision is 1\n", kExitFailed},
        {"Lost connection to server\n", kExitFailed},
        {"Malformed answer from command handler: " + name + "\n", kExitFailed},
        {"The arguments are too long to be sent to command: " + name + "\n", kExitToolError},
        {"The calling thread has no mailbox to run command: " + name + "\n", kExitToolError},
        {"No memory left to run command: " + name + "\n", kExitToolError},
    };
}

std::optional<ClientFailure> CommandOutput::finish() {
    release();
    return std::exchange(failure_, std::nullopt);
}

std::streamsize CommandOutput::xsputn(const char* text, std::streamsize size) {
    take(std::string_view(text, static_cast<std::size_t>(size)));
    return size;
}

CommandOutput::int_type CommandOutput::overflow(int_type character) {
    if (!traits_type::eq_int_type(character, traits_type::eof())) {
        const char byte = traits_type::to_char_type(character);
        take(std::string_view(&byte, 1));
    }
    return traits_type::not_eof(character);
}

int CommandOutput::sync() {
    const auto line = std::find_if(lines_.begin(), lines_.end(),
                                   [this](const Line& one) { return one.text == held_; });
    if (line != lines_.end()) {
        failure_ = ClientFailure{held_.substr(0, held_.size() - 1), line->exitCode};
        held_.clear();
    }
    release();
    return 0;
}

void CommandOutput::take(std::string_view text) {
    if (!held_.empty()) {
        if (isPartOfClientLine(held_ + std::string(text))) {
            held_ += text;
            return;
        }
        release();
    }
    if (beginsClientLine(text)) {
        held_ = text;
    } else if (!text.empty()) {
        write_(text);
    }
}

bool CommandOutput::beginsClientLine(std::string_view write) const {
    return write.size() >= kShortestBeginning && isPartOfClientLine(write);
}

bool CommandOutput::isPartOfClientLine(std::string_view text) const {
    return std::any_of(lines_.begin(), lines_.end(), [text](const Line& line) {
        return line.text.compare(0, text.size(), text) == 0;
    });
}

void CommandOutput::release() {
    if (!held_.empty()) {
        write_(std::exchange(held_, {}));
    }
}

}  // namespace Rci
