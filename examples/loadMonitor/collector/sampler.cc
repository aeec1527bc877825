// sampler.cc: the component that takes the samples. The command "interval" tells how often, and
// changes it.

#include <quoria/command/commandRegistryIf.h>
#include <quoria/startup/startupRegistrar.h>
#include <quoria/timer/timerManagerIf.h>

#include <charconv>
#include <chrono>
#include <iostream>

#include "loadReader.h"
#include "storeLink.h"

namespace LoadMonitor {

namespace {

using namespace std::chrono_literals;
using namespace Quoria::CommandTypes;
using Quoria::CommandRegistry::V1::CommandRegistryIf;
using Quoria::Startup::V2::StartupParticipantIf;
using Quoria::Startup::V2::StartupRegistrar;
using Quoria::Timer::V1::TimeoutReceiverIf;
using Quoria::Timer::V1::TimerManagerIf;
using std::chrono::milliseconds;

constexpr unsigned int kTimerId = 0;  // a receiver with more timers than one tells them apart so
constexpr milliseconds kShortest = 10ms;
constexpr milliseconds kLongest = 1h;

// A V2 component: it may turn out that it can't work, and then none is started.
class Sampler : public StartupParticipantIf, public TimeoutReceiverIf {
public:
    explicit Sampler(std::shared_ptr<StoreLink> store) : store_(std::move(store)) {}

    std::string getName() override { return "sampler"; }

    // A collector that can't read the load has nothing to collect: better it does not start.
    void init(const std::shared_ptr<InitResponderIf>& responder) override {
        const bool isReadable = reader_.read().has_value();
        if (!isReadable) {
            std::cerr << "sampler: can't read the load from " << reader_.folder() << "\n";
        }
        responder->ready(isReadable);
    }

    void start() override {
        startTimer();
        CommandRegistryIf::getInstance()->registerCommandHandler(
            "interval",
            [this](const auto& args, std::ostream& out) { return onInterval(args, out); }, false);
    }

    void handleTimeout(unsigned int) override {
        if (const auto load = reader_.read()) {
            store_->deliver({++number_, load->cpuPermille, load->memoryMib});
        }
    }

private:
    CommandResultCode onInterval(const std::vector<std::string>& args, std::ostream& out) {
        if (!args.empty() && (args.size() > 1 || !setInterval(args[0]))) {
            out << "usage: interval [MILLISECONDS], from 10 to 3600000\n";
            return InvalidArguments;
        }
        out << "a sample every " + std::to_string(interval_.count()) + " ms\n";
        return Success;
    }

    bool setInterval(const std::string& text) {
        milliseconds::rep value = 0;
        const char* end = text.data() + text.size();
        const auto result = std::from_chars(text.data(), end, value);
        if (result.ec != std::errc() || result.ptr != end || milliseconds(value) < kShortest ||
            milliseconds(value) > kLongest) {
            return false;
        }
        interval_ = milliseconds(value);
        TimerManagerIf::getInstance().cancelTimer(this, kTimerId);
        startTimer();
        return true;
    }

    void startTimer() {
        TimerManagerIf::getInstance().startPeriodicalTimer(interval_, this, kTimerId);
    }

    const std::shared_ptr<StoreLink> store_;
    LoadReader reader_;
    milliseconds interval_ = 200ms;
    std::uint32_t number_ = 0;
};

const StartupRegistrar registrar([] { return std::make_shared<Sampler>(storeLink()); });

}  // namespace

}  // namespace LoadMonitor
