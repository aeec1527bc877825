// With a libitc that can't tell the size of a block: messages are read as they are laid out.
#include "rciClient.h"
#include "rciMessage.h"
#include "rciServer.h"

#include <quoriaTest/scriptedItc.h>

#include <gtest/gtest.h>

#include <sstream>

namespace {

using namespace Quoria::Command::Backend;
namespace CommandTypes = Quoria::CommandTypes;
namespace Itc = Quoria::Itc;
namespace ScriptedItc = QuoriaTest::ScriptedItc;
using Quoria::CommandRegistry::Backend::RciServer;
using QuoriaTest::Bytes;

TEST(BlockOfUnknownSize, IsOne) {
    EXPECT_EQ(Itc::blockSize(ScriptedItc::makeReceived(Bytes().word(1), 1).get()),
              Itc::kUnknownSize);
}

TEST(BlockOfUnknownSize, IsReadAsItIsLaidOut) {
    const std::string content("a\0bc\0", 5);
    const auto msg = ScriptedItc::makeReceived(
        Bytes().word(1).word(2).word(3).word(7).word(2).text("ab").text(content), 1);
    RciMessageReader reader(msg.get());
    RciDisconnectReq request;
    bool found = false;
    std::string text;
    std::vector<std::string> texts;

    EXPECT_TRUE(reader.readLayout(request));
    EXPECT_TRUE(reader.searchWords(1, 7, found));
    EXPECT_TRUE(reader.readCountedText(text));
    EXPECT_TRUE(reader.readTerminatedTexts(2, texts));
    EXPECT_TRUE(found);
    EXPECT_EQ(text, "ab");
    EXPECT_EQ(texts, (std::vector<std::string>{"a", "bc"}));
    EXPECT_EQ(reader.available(100), 100U);
}

TEST(BlockOfUnknownSize, CarriesTheRequestsOfAServer) {
    RciServer* server = RciServer::getThreadLocalInstance();
    std::vector<std::string> args;
    server->registerCommandInvoker("x", [&args](const auto& job) { args = job->getArgs(); });

    server->handleConnectMsg(ScriptedItc::makeReceived(
        Bytes().word(0x017070A0).word(1).word(1).word(1).word(1).word(1).text("x"), 7));
    server->handleExecuteCommandMsg(ScriptedItc::makeReceived(
        Bytes().word(0x017070A3).word(1).word(1).word(1).text(std::string("on\0", 3)), 7));
    server->handleDisconnectMsg(
        ScriptedItc::makeReceived(Bytes().word(0x017070A7).word(1).word(1), 7));

    EXPECT_EQ(args, std::vector<std::string>{"on"});
    EXPECT_EQ(ScriptedItc::sent().size(), 3U);
}

TEST(BlockOfUnknownSize, CarriesTheAnswersToAClient) {
    ScriptedItc::queue(Bytes().word(0x017070A1).word(1).word(9).word(1));
    ScriptedItc::queue(Bytes().word(0x017070A6).word(1).word(1).word(2).text("ok"));
    ScriptedItc::queue(Bytes().word(0x017070A5).word(1).word(1).word(1));
    RciClient client("x");
    std::ostringstream out;

    EXPECT_TRUE(client.connectToServer(out));
    EXPECT_EQ(client.executeRemoteCmd({}, out), CommandTypes::Success);
    EXPECT_EQ(out.str(), "ok");
}

}  // namespace
