#include "Services.h"

#include <signal.h>

namespace qarrel {

void answerLikeAService(qartest::FakeJorv& fake) {
    qartest::JorvRequestData record;
    record.id = 1;
    record.value = "1";
    fake.setDefault("stateRequest", qartest::Answer::okData({record}));
}

::testing::AssertionResult SimTest::startSim(const std::vector<std::string>& args) {
    mSim = std::make_unique<jorvsimtest::SimProcess>(mEnv.dir(), args);
    return mSim->start();
}

::testing::AssertionResult SimTest::killSim() {
    mSim->signal(SIGKILL);
    if (!mSim->waitExit().has_value()) return ::testing::AssertionFailure() << "not reaped";
    return ::testing::AssertionSuccess();
}

void SimTest::TearDown() {
    // Unlinked first, so that the last service's death reaches nothing.
    qartest::resetConnections();
    mSim.reset();
}

bool waitForTraffic(jorvsimtest::SimProcess& sim, int calls) {
    int served = 0;
    bool calledBack = false;
    return sim
            .waitForLine(
                    [&](const std::string& line) {
                        if (line.rfind("call ", 0) == 0) ++served;
                        if (line.rfind("callback ", 0) == 0) calledBack = true;
                        return served >= calls && calledBack;
                    },
                    sim.lines().size())
            .has_value();
}

bool drainUntil(jorvsimtest::SimProcess& sim, const std::function<bool()>& done) {
    const auto deadline = std::chrono::steady_clock::now() + jorvsimtest::kLongTimeout;
    while (!done()) {
        if (std::chrono::steady_clock::now() >= deadline) return false;
        // Matches nothing: reads what arrives for a short while, then looks at `done` again.
        sim.waitForLine([](const std::string&) { return false; }, sim.lines().size(),
                        std::chrono::milliseconds(20));
    }
    return true;
}

}  // namespace qarrel
