// commandOutput.h: the stream that a command is executed with.
//
// Private header of rci.
//
// CommandIf::execute() writes two kinds of text to its stream: what the command prints, and, when
// the command can't be run or is lost, one line of its own that says why. The first belongs on
// standard output as it comes, the second on standard error. They can be told apart with certainty:
//  - A line of its own is known to the letter, since the name of the command is known.
//  - It ends with std::endl. What a command prints is written without a flush, whatever is in it.
// So a write of some length that is the beginning of such a line is held back. If a flush follows
// when exactly the line is there, that was execute() speaking; if anything else follows, it was the
// command. All other text passes at once. A command that prints the very words has them delayed
// until its next write or its end, and nothing else happens to them.
#ifndef RCI_COMMANDOUTPUT_H
#define RCI_COMMANDOUTPUT_H

#include <functional>
#include <optional>
#include <streambuf>
#include <string>
#include <string_view>
#include <vector>

namespace Rci {

// What execute() has said about itself.
struct ClientFailure {
    std::string line;  // without its end
    int exitCode;
};

class CommandOutput : public std::streambuf {
public:
    // Passes what the command called `name` prints to `write`.
    CommandOutput(const std::string& name, std::function<void(std::string_view)> write);

    // To be called after execute(): passes what is still held back and returns what execute() has
    // said, if anything.
    std::optional<ClientFailure> finish();

protected:
    std::streamsize xsputn(const char* text, std::streamsize size) override;
    int_type overflow(int_type character) override;
    int sync() override;

private:
    struct Line {
        std::string text;  // with its end
        int exitCode;
    };

    static std::vector<Line> clientLines(const std::string& name);

    void take(std::string_view text);
    bool beginsClientLine(std::string_view write) const;
    bool isPartOfClientLine(std::string_view text) const;
    void release();

    const std::vector<Line> lines_;
    const std::function<void(std::string_view)> write_;
    std::string held_;
    std::optional<ClientFailure> failure_;
};

}  // namespace Rci

#endif
