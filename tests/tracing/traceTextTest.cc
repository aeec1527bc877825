// Everything that the library says in a trace, provoked and recorded by a real tracer.

#include "expectedTexts.h"
#include "tracedStatements.h"
#include "tracingSession.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

// What a tracer shows of one of the library's events.
struct Said {
    std::string event;
    int level;
    std::string file;
    unsigned int line;
    std::string obj;  // empty for an event that has none
    std::string text;
};

class TraceTexts : public testing::Test {
protected:
    TraceTexts() {
        TracingSession session;
        learn(session.run({PEER_TRACEWALK, "most"}));
        learn(session.run({PEER_TRACEWALK, "rest"}));
        const std::vector<RecordedEvent> events = session.finish();
        std::map<std::string, int> levels;
        for (const auto& [event, level] : session.logLevels()) {
            levels[event] = level;
        }
        for (const RecordedEvent& event : events) {
            said_.push_back(parse(event, levels.at(event.name)));
        }
        learnObject();
    }

    bool isSaid(const ExpectedText& expected) const {
        const std::string text = withMeanings(expected.text, meanings_);
        return std::any_of(said_.begin(), said_.end(), [&](const Said& said) {
            return said.event == expected.event && said.level == expected.level &&
                   said.text == text;
        });
    }
    bool isFired(const TracedStatement& statement) const {
        return std::any_of(said_.begin(), said_.end(), [&](const Said& said) {
            return said.event == statement.event && said.file == statement.file &&
                   said.line >= statement.firstLine && said.line <= statement.lastLine;
        });
    }

    std::vector<Said> said_;
    Meanings meanings_;

private:
    // babeltrace2 puts a backslash before quotes.
    static std::string unescaped(const std::string& text) {
        static const std::regex escape(R"(\\(.))");
        return std::regex_replace(text, escape, "$1");
    }
    static Said parse(const RecordedEvent& event, int level) {
        static const std::regex fields(
            R"re(file = "(.*)", line = (\d+)(?:, obj = "(.*)")?, msg = "(.*)")re");
        std::smatch match;
        if (!std::regex_match(event.fields, match, fields)) {
            throw std::runtime_error("unknown fields: " + event.fields);
        }
        const auto line = static_cast<unsigned int>(std::stoul(match[2]));
        return {event.name, level, match[1], line, match[3], unescaped(match[4])};
    }

    // Takes in what the program has told, line by line a name and its meaning.
    void learn(const std::string& output) {
        std::istringstream lines(output);
        for (std::string name, meaning; lines >> name >> meaning;) {
            meanings_[name] = meaning;
        }
    }
    // The program does not know the address, but it is the same one in all the texts. Later threads
    // may get the id of one that has ended.
    void learnObject() {
        const std::regex invoking("ActiveObjectThread\\((0x[0-9a-f]+)\\) invoking .* " +
                                  meanings_["workerThread"]);
        for (const Said& said : said_) {
            std::smatch match;
            if (std::regex_match(said.text, match, invoking)) {
                meanings_["object"] = match[1];
                return;
            }
        }
    }
};

TEST_F(TraceTexts, AreAllRecordedToTheLetterWithTheirLogLevels) {
    for (const ExpectedText& expected : expectedTexts()) {
        EXPECT_TRUE(isSaid(expected)) << expected.event << ' ' << expected.level << ": "
                                      << withMeanings(expected.text, meanings_);
    }
}

TEST_F(TraceTexts, AreTheOnlyOnes) {
    for (const Said& said : said_) {
        const bool isExpected = std::any_of(
            expectedTexts().begin(), expectedTexts().end(), [&said](const ExpectedText& expected) {
                return said.event == expected.event && said.level == expected.level &&
                       matches(said.text, expected.text);
            });
        EXPECT_TRUE(isExpected) << said.event << ' ' << said.level << ": " << said.text;
    }
}

TEST_F(TraceTexts, ComeWithADashForTheirObjectIfTheEventHasOne) {
    for (const Said& said : said_) {
        EXPECT_EQ(said.obj, said.event == "TRACE1" ? "-" : "") << said.text;
    }
}

// So that whoever adds a statement adds its text to the list and a way to it to the program.
TEST_F(TraceTexts, ComeFromEveryStatementInTheSources) {
    const std::vector<TracedStatement> statements = findTracedStatements(LIBRARY_SOURCES);
    EXPECT_GT(statements.size(), 40U);
    for (const TracedStatement& statement : statements) {
        EXPECT_TRUE(isFired(statement)) << "QTRACE_" << statement.event << " in " << statement.file
                                        << ':' << statement.firstLine;
    }
}

}  // namespace
