// What is installed is all that a user of the library needs.

#include <quoriaTest/childProcess.h>

#include <gmock/gmock.h>

#include <dlfcn.h>
#include <stdlib.h>
#include <sys/auxv.h>

#include <cstdlib>
#include <filesystem>
#include <initializer_list>
#include <iterator>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

namespace {

using QuoriaTest::ChildProcess;
using QuoriaTest::Outcome;
using QuoriaTest::runToEnd;
using testing::HasSubstr;
using testing::StartsWith;

constexpr int kNoCommand = 127;

// The words that run a program of the installation, which another processor may be needed for.
std::vector<std::string> running(const std::filesystem::path& program,
                                 std::initializer_list<std::string> arguments = {}) {
    std::istringstream emulator(EMULATOR);
    std::vector<std::string> words(std::istream_iterator<std::string>(emulator), {});
    words.push_back(program);
    words.insert(words.end(), arguments);
    return words;
}

// That of this test and of all that is installed.
std::filesystem::path dynamicLoader() {
    Dl_info info = {};
    const int found = dladdr(reinterpret_cast<void*>(getauxval(AT_BASE)), &info);
    EXPECT_NE(found, 0);
    return found != 0 ? info.dli_fname : "";
}

std::filesystem::path makeFolder() {
    std::string path = std::filesystem::temp_directory_path() / "quoria-install-XXXXXX";
    if (mkdtemp(path.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    return std::filesystem::canonical(path);
}

// A prefix with all that is installed. It is moved after the installation, so that nothing in it
// may rely on where that was.
class Installation : public testing::Test {
protected:
    Installation() {
        const std::filesystem::path first = folder_ / "first";
        require({CMAKE, "--install", BUILD_FOLDER, "--prefix", first});
        std::filesystem::rename(first, prefix_);
    }
    ~Installation() override {
        std::error_code ignored;  // what can't be removed is not worth a failure
        std::filesystem::remove_all(folder_, ignored);
    }

    // Runs a program, which must succeed, and returns its output.
    std::string require(const std::vector<std::string>& words) {
        ChildProcess::Options options;
        options.environment = {"PKG_CONFIG_PATH=" + (libraries_ / "pkgconfig").string(),
                               "DESTDIR="};
        // The dependencies must be those of the processor too. Empty, it would mean that there are
        // none.
        if (std::string(PKG_CONFIG_LIBDIR) != "") {
            options.environment.push_back("PKG_CONFIG_LIBDIR=" PKG_CONFIG_LIBDIR);
        }
        options.errorJoinsOutput = true;
        const Outcome outcome = runToEnd(words, options);
        EXPECT_EQ(outcome.exitCode, 0) << words[0] << ": " << outcome.output;
        return outcome.output;
    }

    void expectThatItServes(const std::filesystem::path& program) {
        const ChildProcess service(running(program));
        // It says nothing when it is ready, so the client tries.
        Outcome outcome{kNoCommand, "", ""};
        while (outcome.exitCode == kNoCommand) {
            outcome = runToEnd(running(prefix_ / "bin/rci", {"run", "greet", "world"}));
        }
        EXPECT_EQ(outcome.output, "Hello, world!\n");
        EXPECT_EQ(outcome.error, "");
        EXPECT_EQ(outcome.exitCode, 0);
    }

    const std::filesystem::path folder_ = makeFolder();
    const std::filesystem::path prefix_ = folder_ / "moved";
    const std::filesystem::path libraries_ = prefix_ / LIBRARY_FOLDER;
};

TEST_F(Installation, HoldsTheLibrariesUnderTheNamesThatProgramsAskFor) {
    for (const char* name : {"libquoria.so", "libquoria.so.0", "libitc.so", "libitc.so.1",
                             "libtpt.so", "libtpt.so.0"}) {
        EXPECT_TRUE(std::filesystem::exists(libraries_ / name)) << name;
    }
}

TEST_F(Installation, HoldsTheHeadersOfAllModules) {
    for (const char* name : {"itc.h", "itc_admin.h", "tpt.h", "quoria/eventLoop/eventLoopIf.h",
                             "quoria/command/commandIf.h", "quoria/trace/trace.h"}) {
        EXPECT_TRUE(std::filesystem::exists(prefix_ / "include" / name)) << name;
    }
}

TEST_F(Installation, HoldsProgramsAndLibrariesThatFindEachOther) {
    for (const std::filesystem::path& file : {prefix_ / "bin/rci", libraries_ / "libquoria.so"}) {
        const std::string found = require(running(dynamicLoader(), {"--list", file}));
        EXPECT_THAT(found, HasSubstr("libitc.so.1 => " + prefix_.string() + "/"));
        EXPECT_THAT(found, HasSubstr("libtpt.so.0 => " + prefix_.string() + "/"));
    }
}

TEST_F(Installation, IsFoundByCMake) {
    const std::filesystem::path build = folder_ / "build";
    require({CMAKE, "-S", PROJECT, "-B", build, "-DCMAKE_PREFIX_PATH=" + prefix_.string(),
             "-DCMAKE_TOOLCHAIN_FILE=" TOOLCHAIN_FILE, "-DCMAKE_CXX_COMPILER=" COMPILER,
             "-DCMAKE_CXX_FLAGS=" COMPILER_FLAGS, "-DQUORIA_VERSION=" VERSION,
             "-DSERVICE_SOURCE=" SERVICE_SOURCE});
    require({CMAKE, "--build", build});

    expectThatItServes(build / "service");
    EXPECT_THAT(require(running(build / "platformUser")), StartsWith("quoria-test-"));
}

TEST_F(Installation, IsFoundByPkgConfig) {
    const std::filesystem::path program = folder_ / "service";
    const std::string command = COMPILER " -std=c++17 " COMPILER_FLAGS " " SERVICE_SOURCE
                                         " $(pkg-config --cflags --libs quoria)"
                                         " -Wl,-rpath,$(pkg-config --variable=libdir quoria) -o ";
    require({"sh", "-c", command + program.string()});

    EXPECT_EQ(require({"pkg-config", "--modversion", "quoria"}), VERSION "\n");
    expectThatItServes(program);
}

}  // namespace
