// Requests that do not hold what they announce. Each block ends where its content does, so a server
// that reads on is seen by AddressSanitizer.
#include <quoriaTest/rciServerFixture.h>

namespace {

using QuoriaTest::Bytes;
using testing::ElementsAre;
using testing::IsEmpty;

class MalformedConnectRequest : public QuoriaTest::RciServerFixture {
protected:
    MalformedConnectRequest() { registerCommand("x"); }

    void expectIgnored(const Bytes& content) {
        const std::size_t before =
            trace_.count("ERROR", "Ignoring malformed connect request from mailbox: 0x71");
        dispatch(content);
        EXPECT_EQ(trace_.count("ERROR", "Ignoring malformed connect request from mailbox: 0x71"),
                  before + 1);
        EXPECT_THAT(sentNumbers(), IsEmpty());
        EXPECT_THAT(trace_.messages("INFO"), IsEmpty());
    }
};

TEST_F(MalformedConnectRequest, ShorterThanItsHeadIsIgnored) {
    expectIgnored(Bytes().word(0x017070A0));
    expectIgnored(Bytes().word(0x017070A0).word(5).word(6).text("abc"));
}

TEST_F(MalformedConnectRequest, WithMoreRevisionsThanItHoldsIsIgnored) {
    expectIgnored(Bytes().word(0x017070A0).word(5).word(6).word(2).word(1));
    expectIgnored(Bytes().word(0x017070A0).word(5).word(6).word(9).word(1).word(1).text("x"));
}

TEST_F(MalformedConnectRequest, WithARevisionCountThatOverflowsIsIgnored) {
    for (const std::uint32_t count : {0xFFFFFFFFU, 0x40000000U, 0x40000001U, 0x80000000U}) {
        expectIgnored(
            Bytes().word(0x017070A0).word(5).word(6).word(count).word(1).word(1).text("x"));
    }
}

TEST_F(MalformedConnectRequest, WithoutANameLengthIsIgnored) {
    expectIgnored(Bytes().word(0x017070A0).word(5).word(6).word(1).word(1));
    expectIgnored(Bytes().word(0x017070A0).word(5).word(6).word(1).word(1).text("abc"));
}

TEST_F(MalformedConnectRequest, WithANameThatRunsPastItIsIgnored) {
    for (const std::uint32_t length : {2U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
        expectIgnored(
            Bytes().word(0x017070A0).word(5).word(6).word(1).word(1).word(length).text("x"));
    }
}

TEST_F(MalformedConnectRequest, LeavesTheNextOneUnharmed) {
    expectIgnored(Bytes().word(0x017070A0));

    connect("x");

    EXPECT_THAT(sentNumbers(), ElementsAre(0x017070A1));
}

TEST_F(MalformedConnectRequest, IsNotWhatEndsWithTheNameAndNoSpareBytes) {
    dispatch(Bytes().word(0x017070A0).word(5).word(6).word(1).word(1).word(1).text("x"));

    EXPECT_THAT(sentNumbers(), ElementsAre(0x017070A1));
}

class MalformedExecuteRequest : public QuoriaTest::RciServerFixture {
protected:
    MalformedExecuteRequest() {
        registerCommand("x");
        connect("x");
    }

    void expectIgnored(const Bytes& content) {
        const std::size_t before =
            trace_.count("ERROR", "Ignoring malformed execute request from mailbox: 0x71");
        dispatch(content);
        EXPECT_EQ(trace_.count("ERROR", "Ignoring malformed execute request from mailbox: 0x71"),
                  before + 1);
        EXPECT_THAT(sentNumbers(), ElementsAre(0x017070A1));
        EXPECT_THAT(jobs_, IsEmpty());
    }
};

TEST_F(MalformedExecuteRequest, ShorterThanItsHeadIsIgnored) {
    expectIgnored(Bytes().word(0x017070A3));
    expectIgnored(Bytes().word(0x017070A3).word(8).word(1).text("abc"));
}

TEST_F(MalformedExecuteRequest, WithFewerTerminatorsThanArgumentsIsIgnored) {
    expectIgnored(Bytes().word(0x017070A3).word(8).word(1).word(1));
    expectIgnored(Bytes().word(0x017070A3).word(8).word(1).word(1).text("abcd"));
    expectIgnored(Bytes().word(0x017070A3).word(8).word(1).word(2).text(std::string("a\0bcd", 5)));
}

TEST_F(MalformedExecuteRequest, WithAHugeArgumentCountIsIgnored) {
    expectIgnored(
        Bytes().word(0x017070A3).word(8).word(1).word(0xFFFFFFFF).text(std::string("a\0b\0", 4)));
}

TEST_F(MalformedExecuteRequest, OfAnUnknownConnectionIsIgnoredForThat) {
    dispatch(Bytes().word(0x017070A3).word(8).word(3).word(9));

    EXPECT_EQ(trace_.count("ERROR", "Ignoring execute request with invalid connection ref: 3"), 1U);
}

TEST_F(MalformedExecuteRequest, LeavesTheNextOneUnharmed) {
    expectIgnored(Bytes().word(0x017070A3).word(8).word(1).word(1));

    execute(1, {"a"});

    EXPECT_EQ(jobs_.size(), 1U);
}

TEST_F(MalformedExecuteRequest, IsNotWhatEndsWithTheLastTerminator) {
    dispatch(Bytes().word(0x017070A3).word(8).word(1).word(1).text(std::string("a\0", 2)));
    dispatch(Bytes().word(0x017070A3).word(8).word(1).word(0));

    EXPECT_EQ(jobs_.size(), 2U);
}

class MalformedDisconnectRequest : public QuoriaTest::RciServerFixture {};

TEST_F(MalformedDisconnectRequest, ShorterThanItsLayoutIsIgnored) {
    registerCommand("x");
    connect("x");

    dispatch(Bytes().word(0x017070A7).word(9).text("abc"));

    EXPECT_EQ(trace_.count("ERROR", "Ignoring malformed disconnect request from mailbox: 0x71"),
              1U);
    EXPECT_THAT(sentNumbers(), ElementsAre(0x017070A1));
    execute(1);
    EXPECT_EQ(jobs_.size(), 1U);
}

}  // namespace
