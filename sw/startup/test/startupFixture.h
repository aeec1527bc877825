// startupFixture.h: a startup registry with participants that note what becomes of them.
//
// Test support.
#ifndef QUORIA_STARTUP_TEST_STARTUPFIXTURE_H
#define QUORIA_STARTUP_TEST_STARTUPFIXTURE_H

#include "startupRegistryImpl.h"
#include "steadyClock.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace QuoriaTest {

using Quoria::StartupRegistry::V1::StartupRegistryImpl;
using Responder = std::shared_ptr<Quoria::Startup::V2::StartupParticipantIf::InitResponderIf>;
using Notes = std::vector<std::string>;

class V1Participant : public Quoria::Startup::V1::StartupParticipantIf {
public:
    using Base = Quoria::Startup::V1::StartupParticipantIf;

    V1Participant(std::string name, Notes& notes, std::function<void()> onStart)
        : name_(std::move(name)), notes_(notes), onStart_(std::move(onStart)) {
        notes_.push_back("create " + name_);
    }
    ~V1Participant() override { notes_.push_back("end " + name_); }

    void start() override {
        notes_.push_back("start " + name_);
        onStart_();
    }

private:
    const std::string name_;
    Notes& notes_;
    const std::function<void()> onStart_;
};

class V2Participant : public Quoria::Startup::V2::StartupParticipantIf {
public:
    using Base = Quoria::Startup::V2::StartupParticipantIf;

    V2Participant(std::string name, Notes& notes, std::function<void(const Responder&)> onInit,
                  std::function<void()> onStart)
        : name_(std::move(name)),
          notes_(notes),
          onInit_(std::move(onInit)),
          onStart_(std::move(onStart)) {
        notes_.push_back("create " + name_);
    }
    ~V2Participant() override { notes_.push_back("end " + name_); }

    void init(const Responder& responder) override {
        notes_.push_back("init " + name_);
        onInit_(responder);
    }
    void start() override {
        notes_.push_back("start " + name_);
        onStart_();
    }
    std::string getName() override {
        notes_.push_back("name " + name_);
        return name_;
    }

private:
    const std::string name_;
    Notes& notes_;
    const std::function<void(const Responder&)> onInit_;
    const std::function<void()> onStart_;
};

class StartupFixture : public testing::Test {
protected:
    ~StartupFixture() override { SteadyClock::shift(std::chrono::hours(0)); }

    static void nothing() {}
    static void succeed(const Responder& responder) { responder->ready(true); }
    static void fail(const Responder& responder) { responder->ready(false); }
    static void stayAway(const Responder&) {}

    void addV1(const std::string& name, const std::function<void()>& onStart = nothing) {
        registry_->registerParticipantCreator(
            [this, name, onStart]() -> std::shared_ptr<V1Participant::Base> {
                return std::make_shared<V1Participant>(name, notes_, onStart);
            });
    }
    void addV2(const std::string& name,
               const std::function<void(const Responder&)>& onInit = succeed,
               const std::function<void()>& onStart = nothing) {
        registry_->registerParticipantCreator(
            [this, name, onInit, onStart]() -> std::shared_ptr<V2Participant::Base> {
                return std::make_shared<V2Participant>(name, notes_, onInit, onStart);
            });
    }

    // What the participants have noted since the last call, without their being asked for names.
    Notes takeNotes() {
        Notes notes = takeAllNotes();
        const auto isName = [](const std::string& note) { return note.rfind("name ", 0) == 0; };
        notes.erase(std::remove_if(notes.begin(), notes.end(), isName), notes.end());
        return notes;
    }
    Notes takeAllNotes() { return std::exchange(notes_, {}); }

    bool start(std::chrono::seconds timeout = std::chrono::hours(1)) {
        return registry_->startAllParticipants(timeout);
    }

    Notes notes_;
    std::optional<StartupRegistryImpl> registry_{std::in_place};
};

}  // namespace QuoriaTest

#endif
