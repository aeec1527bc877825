// The binary face of the library: its name, its symbols, and the two forms of each operation.

#include "itcFixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>

#include <dlfcn.h>

using namespace ItcTest;

namespace {

const std::vector<std::string> kOperations = {
    "itc_add_name",       "itc_alloc",        "itc_create_mailbox", "itc_current_mbox",
    "itc_delete_mailbox", "itc_free",         "itc_get_fd",         "itc_get_name",
    "itc_locate",         "itc_locate_async", "itc_monitor",        "itc_receive",
    "itc_send",           "itc_sender",       "itc_size",           "itc_unmonitor"};

std::vector<std::string> outputOf(const std::string& command) {
    std::vector<std::string> lines;
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) {
        ADD_FAILURE() << command;
        return lines;
    }
    std::array<char, 1024> line = {};
    while (fgets(line.data(), static_cast<int>(line.size()), pipe) != nullptr) {
        lines.emplace_back(line.data());
        lines.back().erase(lines.back().find_last_not_of('\n') + 1);
    }
    EXPECT_EQ(pclose(pipe), 0) << command;
    return lines;
}

TEST(EntryPoint, AllOfThemAreExportedAndNothingElse) {
    std::vector<std::string> expected = {
        "itc_domain_path",    "itc_error_text",     "itc_get_max_size", "itc_layout",
        "itc_list_mailboxes", "itc_list_processes", "itc_set_high_mark"};
    for (const std::string& operation : kOperations) {
        expected.push_back(operation);
        expected.push_back("__" + operation);
    }
    std::sort(expected.begin(), expected.end());
    std::vector<std::string> exported;
    for (const std::string& line :
         outputOf("nm --dynamic --defined-only --format=posix " LIBITC_FILE)) {
        exported.push_back(line.substr(0, line.find(' ')));
    }
    std::sort(exported.begin(), exported.end());
    EXPECT_EQ(exported, expected);
}

TEST(EntryPoint, TheLibraryIsKnownByItsSoname) {
    void* loaded = dlopen("libitc.so.1", RTLD_NOLOAD | RTLD_NOW);
    ASSERT_NE(loaded, nullptr) << dlerror();
    EXPECT_EQ(dlsym(loaded, "itc_get_max_size"), reinterpret_cast<void*>(&itc_get_max_size));
    EXPECT_EQ(dlclose(loaded), 0);
}

TEST(EntryPoint, ConstantsAreThoseOfTheInterface) {
    EXPECT_EQ(ITC_NO_MAILBOX, 0xFFFFFFFFU);
    EXPECT_EQ(ITC_OWN_MAILBOX, 0xFFF00000U);
    EXPECT_EQ(ITC_ANY_SENDER, 0xFFF11111U);
    EXPECT_EQ(ITC_NO_WAIT, 0U);
    EXPECT_EQ(ITC_WAIT_FOREVER, 0xFFFFFFFFU);
    EXPECT_EQ(sizeof(itc_msg), 4U);
}

// A mailbox's whole life, each operation in its form with a source position.
TEST(EntryPoint, FormsWithASourcePositionBehaveLikeThePlainOnes) {
    const itc_mbox_id_t id = __itc_create_mailbox("name", 0, "file.cc", 1);
    EXPECT_EQ(itc_current_mbox(), id);
    EXPECT_EQ(__itc_current_mbox("", 0), id);
    EXPECT_EQ(__itc_get_fd("", 0), itc_get_fd());
    EXPECT_TRUE(__itc_add_name(id, "other name", "", 0));
    EXPECT_FALSE(__itc_add_name(id, "", "", 0));
    EXPECT_EQ(__itc_locate("other name", "", 0), id);
    EXPECT_EQ(__itc_locate("nobody", nullptr, -1), ITC_NO_MAILBOX);
    char name[16] = "";
    EXPECT_TRUE(__itc_get_name(id, name, sizeof(name), "", 0));
    EXPECT_STREQ(name, "name");

    itc_msg* message = __itc_alloc(20, kMsgNo, "", 0);
    EXPECT_EQ(message->msgno, kMsgNo);
    EXPECT_EQ(__itc_size(message, "", 0), 20U);
    __itc_send(&message, id, ITC_OWN_MAILBOX, "", 0);
    EXPECT_EQ(message, nullptr);
    const std::uint32_t filter[] = {1, kMsgNo};
    message = __itc_receive(filter, ITC_NO_WAIT, ITC_ANY_SENDER, "", 0);
    EXPECT_EQ(__itc_sender(message, "", 0), id);
    __itc_free(&message, "", 0);
    EXPECT_EQ(message, nullptr);

    message = __itc_alloc(4, kFoundMsgNo, "", 0);
    __itc_locate_async("name", &message, ITC_OWN_MAILBOX, "", 0);
    EXPECT_EQ(message, nullptr);
    EXPECT_EQ(msgNoOf(receive(ITC_NO_WAIT)), kFoundMsgNo);
    message = __itc_alloc(4, kGoneMsgNo, "", 0);
    const itc_monitor_id_t watch = __itc_monitor(id, &message, "", 0);
    EXPECT_NE(watch, ITC_NO_MAILBOX);
    __itc_unmonitor(watch, "", 0);

    __itc_delete_mailbox(id, "", 0);
    EXPECT_EQ(itc_current_mbox(), ITC_NO_MAILBOX);
    EXPECT_EQ(__itc_current_mbox("", 0), ITC_NO_MAILBOX);
}

}  // namespace
