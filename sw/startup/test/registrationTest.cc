// Components that register while the program is loaded: from its own files, from a shared library
// that it is linked to, and from one that it loads. The registry is in a library of its own and
// seen through its exported names alone.
#include "components/notedParticipants.h"

#include <quoria/startup/startupRegistryIf.h>

#include <gmock/gmock.h>

#include <dlfcn.h>

#include <algorithm>
#include <cstdlib>

namespace {

using Quoria::StartupRegistry::V1::StartupRegistryIf;
using QuoriaTest::created;
using QuoriaTest::started;
using std::chrono::seconds;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

// Those of `names` that start with `prefix`, in their order.
std::vector<std::string> beginningWith(const std::string& prefix,
                                       const std::vector<std::string>& names) {
    std::vector<std::string> found;
    std::copy_if(names.begin(), names.end(), std::back_inserter(found),
                 [&prefix](const std::string& name) { return name.rfind(prefix, 0) == 0; });
    return found;
}

void load() {
    if (dlopen(PEER_STARTUPTESTLOADEDLIBRARY, RTLD_NOW | RTLD_LOCAL) == nullptr) {
        FAIL() << dlerror();  // NOLINT(concurrency-mt-unsafe)
    }
}

// A process is started once; CTest gives each test one of its own.
void startAll() {
    EXPECT_TRUE(StartupRegistryIf::getInstance().startAllParticipants(seconds(5)));
}

TEST(Registration, NothingIsCreatedWhileTheProgramIsLoaded) {
    EXPECT_THAT(created(), IsEmpty());
}

TEST(Registration, ComponentsOfAllFilesAndOfTheLinkedLibraryAreStarted) {
    startAll();

    EXPECT_THAT(created(), UnorderedElementsAre("linked 1", "linked 2", "linked old", "first 1",
                                                "first 2", "first 3", "first old", "second 1",
                                                "second 2", "second 3", "second old"));
    EXPECT_EQ(started().size(), 11U);
}

TEST(Registration, ComponentsOfOneFileAreStartedFromTopToBottom) {
    startAll();

    EXPECT_THAT(beginningWith("first ", started()),
                ElementsAre("first old", "first 1", "first 2", "first 3"));
    EXPECT_THAT(beginningWith("second ", started()),
                ElementsAre("second old", "second 1", "second 2", "second 3"));
}

TEST(Registration, ComponentsOfALinkedLibraryComeBeforeThoseOfTheProgram) {
    startAll();

    EXPECT_EQ(started()[0], "linked old");
    EXPECT_THAT(std::vector<std::string>(created().begin(), created().begin() + 2),
                ElementsAre("linked 1", "linked 2"));
}

TEST(Registration, ComponentsOfALibraryThatIsLoadedLaterComeLast) {
    load();

    startAll();

    EXPECT_EQ(started().size(), 14U);
    EXPECT_THAT(beginningWith("loaded ", started()), ElementsAre("loaded old", "loaded own"));
    EXPECT_EQ(started().back(), "loaded");
    EXPECT_EQ(created().back(), "loaded old");
}

TEST(Registration, ALibraryThatIsLoadedDuringTheStartupTakesPartInIt) {
    StartupRegistryIf::getInstance().registerParticipantCreator([] {
        load();
        return QuoriaTest::v2Component("loader")();
    });

    startAll();

    EXPECT_THAT(started(), Contains("loaded own"));
    EXPECT_EQ(started().back(), "loaded");
}

TEST(RegistrationDeathTest, AProcessThatHasStartedEverythingEndsInOrder) {
    const auto startAndExit = [] {
        load();
        startAll();
        exit(testing::Test::HasFailure() ? 1 : 0);
    };

    EXPECT_EXIT(startAndExit(), testing::ExitedWithCode(0), "");
}

}  // namespace
