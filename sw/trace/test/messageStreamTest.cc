#include <quoria/trace/messageStream.h>

#include <gtest/gtest.h>

#include <array>
#include <iomanip>
#include <list>
#include <memory>
#include <ostream>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace App {

struct Port {
    int number;
};
std::ostream& operator<<(std::ostream& stream, const Port& port) {
    return stream << "port " << port.number;
}

enum class Colour { Red, Green };
std::ostream& operator<<(std::ostream& stream, Colour colour) {
    return stream << (colour == Colour::Red ? "red" : "green");
}

// Can be iterated over and inserted: the class's own form counts.
struct Path : std::vector<int> {
    using std::vector<int>::vector;
};
std::ostream& operator<<(std::ostream& stream, const Path& path) {
    return stream << "path of " << path.size();
}

}  // namespace App

namespace {

using Quoria::Trace::MessageStream;

template <typename... Values>
std::string message(const Values&... values) {
    MessageStream stream;
    (stream << ... << values);
    return stream.str();
}

TEST(MessageStream, IsEmptyAtFirst) {
    EXPECT_EQ(MessageStream().str(), "");
}

TEST(MessageStream, WritesTextsAndNumbersAsAStreamDoes) {
    const void* const address = &address;
    std::ostringstream expected;
    expected << "a" << std::string("b") << std::string_view("c") << 'd' << -1 << 2u << 3.5 << true
             << std::size_t{4} << address;
    EXPECT_EQ(message("a", std::string("b"), std::string_view("c"), 'd', -1, 2u, 3.5, true,
                      std::size_t{4}, address),
              expected.str());
}

TEST(MessageStream, TakesACharacterBuffer) {
    char buffer[] = "abc";
    MessageStream stream;
    stream << buffer << &buffer[1];
    EXPECT_EQ(stream.str(), "abcbc");
}

TEST(MessageStream, TakesManipulators) {
    MessageStream stream;
    stream << "0x" << std::hex << std::setw(4) << std::setfill('0') << 0xAF << std::dec << 10
           << std::endl;
    EXPECT_EQ(stream.str(), "0x00af10\n");
}

TEST(MessageStream, TakesTheInsertionOperatorsOfOtherNamespaces) {
    EXPECT_EQ(message(App::Port{80}, ' ', App::Colour::Green), "port 80 green");
}

struct Limits {
    static const int kMost = 99;  // declared only: a reference to it would not link
};

TEST(MessageStream, TakesConstantsThatAreNowhereDefined) {
    MessageStream stream;
    stream << Limits::kMost;
    EXPECT_EQ(stream.str(), "99");
}

TEST(MessageStream, TakesBitFields) {
    struct {
        unsigned int low : 3;
    } fields = {5};
    MessageStream stream;
    stream << fields.low;
    EXPECT_EQ(stream.str(), "5");
}

TEST(MessageStream, WritesAContainerInBracesWithCommasAndNoBlanks) {
    EXPECT_EQ(message(std::vector<std::string>{"a", "b", "c"}), "{a,b,c}");
}

TEST(MessageStream, WritesAnEmptyContainerAsBraces) {
    EXPECT_EQ(message(std::vector<int>{}), "{}");
}

TEST(MessageStream, WritesASingleElementWithoutComma) {
    EXPECT_EQ(message(std::vector<int>{7}), "{7}");
}

TEST(MessageStream, KeepsBlanksAndEmptyTextsInsideElements) {
    EXPECT_EQ(message(std::vector<std::string>{"", "x y", ""}), "{,x y,}");
}

TEST(MessageStream, WritesEveryKindOfContainer) {
    EXPECT_EQ(message(std::list<int>{2, 1}, std::set<int>{2, 1}, std::array<char, 2>{'y', 'n'},
                      std::vector<bool>{true, false}),
              "{2,1}{1,2}{y,n}{1,0}");
}

TEST(MessageStream, WritesContainersInContainers) {
    EXPECT_EQ(message(std::vector<std::vector<int>>{{1, 2}, {}, {3}}), "{{1,2},{},{3}}");
}

TEST(MessageStream, WritesElementsByTheirOwnOperator) {
    EXPECT_EQ(message(std::vector<App::Port>{{1}, {2}}), "{port 1,port 2}");
}

TEST(MessageStream, GoesOnAfterAContainer) {
    EXPECT_EQ(message("args ", std::vector<int>{1}, " end"), "args {1} end");
}

TEST(MessageStream, AppliesManipulatorsToElements) {
    MessageStream stream;
    stream << std::hex << std::vector<int>{10, 255};
    EXPECT_EQ(stream.str(), "{a,ff}");
}

TEST(MessageStream, PrefersTheOwnFormOfAContainerThatHasOne) {
    EXPECT_EQ(message(App::Path{1, 2}), "path of 2");
}

}  // namespace
