// archive.cc: the component with the command "save", which writes the samples to a file.
//
// A disk may be slow, so an active object does the writing while the main thread goes on. The
// command ends when the active object says so.

#include <quoria/activeObject/activeObjectIf.h>
#include <quoria/command/commandRegistryIf.h>
#include <quoria/startup/startupRegistrar.h>

#include <cerrno>
#include <fstream>
#include <string>
#include <system_error>
#include <utility>

#include "sampleHistory.h"

namespace LoadMonitor {

namespace {

using namespace Quoria::CommandTypes;
using Quoria::ActiveObject::V1::ActiveObjectIf;
using Quoria::CommandRegistry::V1::CommandExecutionJobIf;
using Quoria::CommandRegistry::V1::CommandRegistryIf;
using Quoria::Startup::V2::StartupParticipantIf;
using Quoria::Startup::V2::StartupRegistrar;

using Job = std::shared_ptr<CommandExecutionJobIf>;
using Samples = std::deque<Sample>;

// Runs on the active object.
void writeSamples(const Samples& samples, const Job& job) {
    const std::string& path = job->getArgs()[0];
    errno = 0;
    std::ofstream file(path);
    for (const Sample& sample : samples) {
        file << toText(sample) << "\n";
    }
    file.close();
    if (!file) {
        const std::error_code why(errno, std::generic_category());
        job->getOutStream() << "save: can't write " + path + ": " + why.message() + "\n";
        job->done(Failed);
        return;
    }
    job->getOutStream() << "save: " + std::to_string(samples.size()) + " samples written\n";
    job->done(Success);
}

class Archive : public StartupParticipantIf {
public:
    explicit Archive(std::shared_ptr<SampleHistory> history) : history_(std::move(history)) {}

    std::string getName() override { return "archive"; }

    // The answer comes from the new thread, which thereby proves that it works.
    void init(const std::shared_ptr<InitResponderIf>& responder) override {
        writer_ = ActiveObjectIf::create("archive", nullptr, {});
        if (writer_ == nullptr) {
            responder->ready(false);
            return;
        }
        writer_->executeFunction([responder] { responder->ready(true); });
    }

    void start() override {
        CommandRegistryIf::getInstance()->registerAsynchCommandHandler(
            "save", [this](const Job& job) { onSave(job); });
    }

private:
    void onSave(const Job& job) {
        const std::vector<std::string>& args = job->getArgs();
        if (args.size() != 1 || args[0].empty() || args[0][0] != '/') {
            job->getOutStream() << "usage: save FILE, with its whole path\n";
            job->done(InvalidArguments);
            return;
        }
        job->getOutStream() << "save: handed to the archive\n";
        const auto samples = std::make_shared<const Samples>(history_->samples());
        writer_->executeFunction([samples, job] { writeSamples(*samples, job); });
    }

    const std::shared_ptr<SampleHistory> history_;
    std::shared_ptr<ActiveObjectIf> writer_;
};

const StartupRegistrar registrar([] { return std::make_shared<Archive>(sampleHistory()); });

}  // namespace

}  // namespace LoadMonitor
