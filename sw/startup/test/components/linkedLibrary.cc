// A component in a shared library that the program is linked to. It also keeps the notes of all.
#include "notedParticipants.h"

#include <quoria/startup/startupRegistrar.h>

namespace QuoriaTest {

namespace {

class V1Component : public Quoria::Startup::V1::StartupParticipantIf {
public:
    explicit V1Component(std::string name) : name_(std::move(name)) { created().push_back(name_); }
    void start() override { started().push_back(name_); }

private:
    const std::string name_;
};

class V2Component : public Quoria::Startup::V2::StartupParticipantIf {
public:
    explicit V2Component(std::string name) : name_(std::move(name)) { created().push_back(name_); }
    void init(const std::shared_ptr<InitResponderIf>& responder) override {
        responder->ready(true);
    }
    void start() override { started().push_back(name_); }
    std::string getName() override { return name_; }

private:
    const std::string name_;
};

const Quoria::Startup::V2::StartupRegistrar firstRegistrar(v2Component("linked 1"));
const Quoria::Startup::V2::StartupRegistrar secondRegistrar(v2Component("linked 2"));
const Quoria::Startup::V1::StartupRegistrar oldRegistrar(v1Component("linked old"));

}  // namespace

// Static objects of other files may ask before those of this file are there.
std::vector<std::string>& created() {
    static std::vector<std::string> names;
    return names;
}

std::vector<std::string>& started() {
    static std::vector<std::string> names;
    return names;
}

V1Creator v1Component(const std::string& name) {
    return [name] { return std::make_shared<V1Component>(name); };
}

V2Creator v2Component(const std::string& name) {
    return [name] { return std::make_shared<V2Component>(name); };
}

}  // namespace QuoriaTest
