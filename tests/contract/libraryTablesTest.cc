// The tables of virtual operations that libquoria exports hold the functions that it exports, in
// their order.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "exportedSymbol.h"

namespace {

// `scope` is the mangled class, `operations` the mangled rest of each operation's name, in order;
// the destructors follow them. A table starts with two words that are not operations.
void expectTable(const std::string& scope, const std::vector<std::string>& operations) {
    std::vector<std::string> names;
    for (const std::string& operation : operations) {
        const bool isConst = operation[0] == 'K';
        names.push_back((isConst ? "_ZNK" : "_ZN") + scope + operation.substr(isConst ? 1 : 0));
    }
    names.push_back("_ZN" + scope + "D1Ev");
    names.push_back("_ZN" + scope + "D0Ev");

    const ExportedSymbol table("_ZTVN" + scope + "E");
    ASSERT_GE(table.size, (2 + names.size()) * sizeof(void*));
    void* const* const places = &table.as<void*>() + 2;
    for (std::size_t place = 0; place < names.size(); ++place) {
        EXPECT_EQ(places[place], ExportedSymbol(names[place]).address)
            << names[place] << " is not at place " << place << ", but "
            << exportedNameAt(places[place]);
    }
}

constexpr char kFunction[] = "RKSt8functionIFvvEE";
constexpr char kString[] = "RKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE";
constexpr char kMilliseconds[] = "RKNSt6chrono8durationIlSt5ratioILl1ELl1000EEEE";
constexpr char kMsgHandler[] = "St8functionIFvRKSt10shared_ptrI7itc_msgEEE";

TEST(LibraryTables, OfTheEventLoopHoldItsFunctions) {
    expectTable(
        "6Quoria9EventLoop2V113EventLoopImpl",
        {"12addFdHandlerEijRKSt8functionIFvijEE", "14updateFdEventsEij", "15removeFdHandlerEi",
         "3runEv", std::string("13scheduleEventE") + kFunction, "4stopEv"});
}

TEST(LibraryTables, OfTheTimerManagerHoldItsFunctions) {
    const std::string receiver = "PNS1_17TimeoutReceiverIfE";
    expectTable("6Quoria5Timer2V116TimerManagerImpl",
                {std::string("10startTimerE") + kMilliseconds + receiver + "j",
                 std::string("20startPeriodicalTimerE") + kMilliseconds + receiver + "j",
                 "11cancelTimerE" + receiver + "j"});
}

TEST(LibraryTables, OfTheItcMessageSubscriptionHoldItsFunctions) {
    expectTable("6Quoria22ItcMessageSubscription2V126ItcMessageSubscriptionImpl",
                {"12monitorItcFdEi", std::string("13addMsgHandlerEjRK") + kMsgHandler,
                 "16removeMsgHandlerEj", std::string("K13getMsgHandlerEjR") + kMsgHandler});
}

TEST(LibraryTables, OfTheItcMailboxLocatorHoldItsFunctions) {
    expectTable("6Quoria17ItcMailboxLocator2V121ItcMailboxLocatorImpl",
                {std::string("6locateE") + kString + "RKSt8functionIFvjEE"});
}

TEST(LibraryTables, OfTheItcMailboxMonitorHoldItsFunctions) {
    expectTable("6Quoria17ItcMailboxMonitor2V121ItcMailboxMonitorImpl",
                {"7monitorEjRKSt8functionIFvjEE", "9unmonitorEj"});
}

}  // namespace
