// The services the reliability tests run the library against: the client tests' fake answering
// like a service, and jorv-sim as a child process.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "client/support/ServiceEnv.h"
#include "jorvsim/support/SimProcess.h"
#include "support/FakeJorv.h"

namespace qarrel {

// Gives the fake's state queries an answer that every query of the mixed calls takes as one:
// a single record with a number as its value.
void answerLikeAService(qartest::FakeJorv& fake);

// A test against jorv-sim run as a child process in the test's own service directory.
class SimTest : public ::testing::Test {
protected:
    ::testing::AssertionResult startSim(const std::vector<std::string>& args = {});
    ::testing::AssertionResult killSim();
    void TearDown() override;

    qartest::ServiceEnv mEnv;
    std::unique_ptr<jorvsimtest::SimProcess> mSim;
};

// Reads the child's transcript until it has served `calls` more calls and made a callback, so
// that whatever happens next finds it busy. False when that does not happen in time.
bool waitForTraffic(jorvsimtest::SimProcess& sim, int calls);

// Reads the child's transcript, so that it never blocks writing it, until `done` holds. False if
// that does not happen in time.
bool drainUntil(jorvsimtest::SimProcess& sim, const std::function<bool()>& done);

}  // namespace qarrel
