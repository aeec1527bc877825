// sampleCommands.cc: the component with the commands on the samples.
//
//   samples                   shows the newest ten
//   samples --follow COUNT    shows the next COUNT as they come
//   samples --while MAILBOX   shows them as they come, until that mailbox is gone
//   followers                 tells who is being shown samples
//   reset                     forgets all samples
//
// To follow, a command must outlive the call of its handler without blocking the thread, so
// "samples" is an asynchronous one: its job is kept, fed, and done in the end. What a job writes to
// a client that has gone is dropped without a word: such a follower stays until its COUNT has come.

#include <itc.h>
#include <quoria/command/commandRegistryIf.h>
#include <quoria/itcMailboxMonitor/itcMailboxMonitorIf.h>
#include <quoria/startup/startupRegistrar.h>

#include <algorithm>
#include <charconv>
#include <map>
#include <string>
#include <utility>

#include "sampleHistory.h"

namespace LoadMonitor {

namespace {

using namespace Quoria::CommandTypes;
using Quoria::CommandRegistry::V1::CommandExecutionJobIf;
using Quoria::CommandRegistry::V1::CommandRegistryIf;
using Quoria::ItcMailboxMonitor::V1::ItcMailboxMonitorIf;
using Quoria::Startup::V1::StartupParticipantIf;
using Quoria::Startup::V1::StartupRegistrar;

using Job = std::shared_ptr<CommandExecutionJobIf>;

constexpr std::size_t kShown = 10;
constexpr unsigned int kNoEnd = 0;

// Zero if it is no number.
unsigned int toCount(const std::string& text) {
    unsigned int count = 0;
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, count);
    return result.ec == std::errc() && result.ptr == end ? count : 0;
}

class SampleCommands : public StartupParticipantIf {
public:
    explicit SampleCommands(std::shared_ptr<SampleHistory> history)
        : history_(std::move(history)) {}

    void start() override {
        history_->setObserver([this](const Sample& sample) { onSample(sample); });

        CommandRegistryIf& registry = *CommandRegistryIf::getInstance();
        registry.registerAsynchCommandHandler("samples", [this](const Job& job) { onShow(job); });
        registry.registerCommandHandler(
            "followers", [this](const auto&, std::ostream& out) { return onFollowers(out); },
            false);
        registry.registerCommandHandler(
            "reset", [this](const auto&, std::ostream& out) { return onReset(out); }, false);
    }

private:
    struct Follower {
        Job job;
        unsigned int left;  // samples to show, or kNoEnd
    };

    void onShow(const Job& job) {
        const std::vector<std::string>& args = job->getArgs();
        const std::string option = args.size() == 2 ? args[0] : "";
        const itc_mbox_id_t watched =
            option == "--while" ? itc_locate(args[1].c_str()) : ITC_NO_MAILBOX;
        if (args.empty()) {
            showNewest(job);
        } else if (option == "--follow" && toCount(args[1]) != 0) {
            followers_[nextId_++] = {job, toCount(args[1])};
        } else if (watched != ITC_NO_MAILBOX) {
            followWhile(job, watched);
        } else {
            job->getOutStream() << "usage: samples [--follow COUNT | --while MAILBOX]\n";
            job->done(InvalidArguments);
        }
    }

    void showNewest(const Job& job) const {
        const std::deque<Sample>& samples = history_->samples();
        const auto first =
            samples.end() - static_cast<std::ptrdiff_t>(std::min(samples.size(), kShown));
        std::string text;
        std::for_each(first, samples.end(),
                      [&text](const Sample& sample) { text += toText(sample) + "\n"; });
        job->getOutStream() << text;
        job->done(Success);
    }

    // The mailbox may be that of the client, which for rci is "rci:" and its process id: then
    // nothing is shown to one who has gone. If it is another one, the client is told.
    void followWhile(const Job& job, itc_mbox_id_t mailbox) {
        const unsigned int id = nextId_++;
        followers_[id] = {job, kNoEnd};
        ItcMailboxMonitorIf::getInstance().monitor(mailbox, [this, id](unsigned int) {
            followers_[id].job->done(Success);
            followers_.erase(id);
            ++gone_;
        });
    }

    void onSample(const Sample& sample) {
        for (auto entry = followers_.begin(); entry != followers_.end();) {
            auto& [job, left] = entry->second;
            job->getOutStream() << toText(sample) + "\n";
            if (left != kNoEnd && --left == 0) {
                job->done(Success);
                entry = followers_.erase(entry);
            } else {
                ++entry;
            }
        }
    }

    CommandResultCode onFollowers(std::ostream& out) const {
        out << "followers: " + std::to_string(followers_.size()) + " now, " +
                   std::to_string(gone_) + " gone with their mailbox\n";
        return Success;
    }

    CommandResultCode onReset(std::ostream& out) {
        out << "forgot " + std::to_string(history_->samples().size()) + " samples\n";
        history_->clear();
        return Success;
    }

    const std::shared_ptr<SampleHistory> history_;
    std::map<unsigned int, Follower> followers_;
    unsigned int nextId_ = 0;
    unsigned int gone_ = 0;
};

const StartupRegistrar registrar([] { return std::make_shared<SampleCommands>(sampleHistory()); });

}  // namespace

}  // namespace LoadMonitor
