// The places of the virtual operations of commands, their registry and their jobs, and the numbers
// that they share with programs that are built already.

#include <quoria/command/commandExecutionJobIf.h>
#include <quoria/command/commandIf.h>
#include <quoria/command/commandRegistryIf.h>

#include <gmock/gmock.h>

#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "virtualTable.h"

namespace {

using Quoria::CommandRegistry::V1::CommandExecutionJobIf;
using Quoria::CommandTypes::CommandResultCode;
using testing::ElementsAre;

using Arguments = std::vector<std::string>;
using Handler = std::function<CommandResultCode(const Arguments&, std::ostream&)>;
using AsynchHandler = std::function<void(std::shared_ptr<CommandExecutionJobIf>)>;

TEST(CommandResultCodes, HaveTheirNumbers) {
    EXPECT_EQ(Quoria::CommandTypes::Success, 0U);
    EXPECT_EQ(Quoria::CommandTypes::InvalidArguments, 1U);
    EXPECT_EQ(Quoria::CommandTypes::Failed, 2U);
    EXPECT_EQ(sizeof(CommandResultCode), 4U);
}

class RecordedRegistry : public Recorder<Quoria::CommandRegistry::V1::CommandRegistryIf> {
public:
    CommandResultCode registerCommandHandler(const std::string& name, const Handler& handler,
                                             bool concurrent) override {
        note("registerCommandHandler", name, concurrent);
        std::ostringstream out;
        return handler({}, out);
    }
    CommandResultCode registerAsynchCommandHandler(const std::string& name,
                                                   const AsynchHandler& handler) override {
        note("registerAsynchCommandHandler", name);
        handler(nullptr);
        return Quoria::CommandTypes::InvalidArguments;
    }
    CommandResultCode deregisterCommandHandler(const std::string& name) override {
        note("deregisterCommandHandler", name);
        return Quoria::CommandTypes::Success;
    }
};

using CommandRegistryTable = VirtualTable;

TEST_F(CommandRegistryTable, HasThreeOperationsInTheirOrder) {
    RecordedRegistry registry;
    const Handler handler = [](const auto&, auto&) { return Quoria::CommandTypes::Failed; };
    const AsynchHandler asynchHandler = [](const auto&) { note("asynch"); };

    EXPECT_EQ((Operation<unsigned int(const std::string&, const Handler&, bool)>::callAt(
                  0, &registry, "a", handler, true)),
              2U);
    EXPECT_EQ((Operation<unsigned int(const std::string&, const AsynchHandler&)>::callAt(
                  1, &registry, "b", asynchHandler)),
              1U);
    EXPECT_EQ(Operation<unsigned int(const std::string&)>::callAt(2, &registry, "c"), 0U);

    EXPECT_THAT(takeCalls(),
                ElementsAre("registerCommandHandler(a, 1)", "registerAsynchCommandHandler(b)",
                            "asynch()", "deregisterCommandHandler(c)"));
}

TEST_F(CommandRegistryTable, EndsWithTheDestructors) {
    EXPECT_THAT(destroyThroughTable<RecordedRegistry>(3),
                ElementsAre("destroyed()", "-", "destroyed()", "freed()"));
}

class RecordedJob : public Recorder<CommandExecutionJobIf> {
public:
    const std::string& getCommandName() override {
        note("getCommandName");
        return name;
    }
    const Arguments& getArgs() override {
        note("getArgs");
        return arguments;
    }
    std::ostream& getOutStream() override {
        note("getOutStream");
        return out;
    }
    void done(const CommandResultCode& result) override { note("done", result); }

    std::string name;
    Arguments arguments;
    std::ostringstream out;
};

using CommandExecutionJobTable = VirtualTable;

TEST_F(CommandExecutionJobTable, HasFourOperationsInTheirOrder) {
    RecordedJob job;
    const CommandResultCode result = Quoria::CommandTypes::Failed;

    EXPECT_EQ(&Operation<const std::string&()>::callAt(0, &job), &job.name);
    EXPECT_EQ(&Operation<const Arguments&()>::callAt(1, &job), &job.arguments);
    EXPECT_EQ(&Operation<std::ostream&()>::callAt(2, &job), &job.out);
    Operation<void(const CommandResultCode&)>::callAt(3, &job, result);

    EXPECT_THAT(takeCalls(),
                ElementsAre("getCommandName()", "getArgs()", "getOutStream()", "done(2)"));
}

TEST_F(CommandExecutionJobTable, EndsWithTheDestructors) {
    EXPECT_THAT(destroyThroughTable<RecordedJob>(4),
                ElementsAre("destroyed()", "-", "destroyed()", "freed()"));
}

class RecordedCommand : public Recorder<Quoria::Command::V1::CommandIf> {
public:
    CommandResultCode execute(const Arguments& args, std::ostream& out) override {
        note("execute", args.size());
        out << args.at(1);
        return Quoria::CommandTypes::InvalidArguments;
    }
};

using CommandTable = VirtualTable;

TEST_F(CommandTable, HasOneOperation) {
    RecordedCommand command;
    const Arguments arguments = {"on", "off"};
    std::ostringstream out;

    EXPECT_EQ((Operation<unsigned int(const Arguments&, std::ostream&)>::callAt(0, &command,
                                                                                arguments, out)),
              1U);

    EXPECT_EQ(out.str(), "off");
    EXPECT_THAT(takeCalls(), ElementsAre("execute(2)"));
}

TEST_F(CommandTable, EndsWithTheDestructors) {
    EXPECT_THAT(destroyThroughTable<RecordedCommand>(1),
                ElementsAre("destroyed()", "-", "destroyed()", "freed()"));
}

}  // namespace
