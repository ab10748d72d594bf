// jorv-sim as a separate process, called through the host interface library like any client.
#include <aidl/vendor/vemra/hardware/jorv/IJorv.h>
#include <android/binder_manager.h>
#include <hostbinder/control.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <iostream>

#include "support/RecordingCallback.h"
#include "support/Records.h"
#include "support/SimProcess.h"
#include "support/TraceFile.h"

namespace jorvsimtest {
namespace {

using ::aidl::vendor::vemra::hardware::jorv::IJorv;
constexpr const char kInstance[] = "vendor.vemra.hardware.jorv.IJorv/default";
constexpr int32_t kBoost = 0x40800000;

bool startsWith(const std::string& line, const std::string& prefix) {
    return line.rfind(prefix, 0) == 0;
}

class ServiceProcessTest : public ::testing::Test {
protected:
    // Starts jorv-sim with `args` and connects to it through the service manager.
    void startService(std::vector<std::string> args = {}) {
        sim = std::make_unique<SimProcess>(std::move(args));
        ASSERT_TRUE(sim->start());
        HostBinder_setServiceDir(sim->dir().c_str());
        EXPECT_TRUE(AServiceManager_isDeclared(kInstance));  // from the manifest it wrote
        service = IJorv::fromBinder(::ndk::SpAIBinder(AServiceManager_checkService(kInstance)));
        ASSERT_NE(service, nullptr);
    }

    void TearDown() override {
        // The service's side of a failed test.
        if (sim != nullptr && (HasFailure() || getenv("JORVSIM_SHOW_TRANSCRIPT") != nullptr)) {
            for (const std::string& line : sim->lines()) std::cerr << "  | " << line << "\n";
        }
        service = nullptr;
        sim = nullptr;
        HostBinder_setServiceDir(nullptr);
    }

    // Ends the service with SIGTERM and expects a clean exit.
    void stopService() {
        sim->signal(SIGTERM);
        const std::optional<int> status = sim->waitExit();
        ASSERT_TRUE(status.has_value()) << "jorv-sim did not exit after SIGTERM";
        EXPECT_TRUE(WIFEXITED(*status)) << "wait status " << *status;
        EXPECT_EQ(WEXITSTATUS(*status), 0);
        ASSERT_FALSE(sim->lines().empty());
        EXPECT_TRUE(startsWith(sim->lines().back(), "exit ")) << sim->lines().back();
        EXPECT_NE(sim->lines().back().find("status=0 reason=SIGTERM"), std::string::npos);
    }

    std::unique_ptr<SimProcess> sim;
    std::shared_ptr<IJorv> service;
};

// The run's timeline is complete once it stopped: requests as slices on this client's track, the
// resource's values as a counter.
TEST_F(ServiceProcessTest, ServesRequestsCallsListenersBackAndStopsOnSigterm) {
    char trace[] = "/tmp/jorvsim-trace-XXXXXX";
    ASSERT_GE(mkstemp(trace), 0);
    startService({"--trace", trace});

    int32_t first = -1;
    ASSERT_TRUE(service->request(parcelOf(1, {idRecord(kBoost, "1200")}), &first).isOk());
    EXPECT_GE(first, 1);
    const auto line = sim->waitForLine([](const std::string& l) {
        return startsWith(l, "call ") && l.find(" request {type=1(resource)") != std::string::npos;
    });
    ASSERT_TRUE(line.has_value());
    EXPECT_NE(line->find("-> ok " + std::to_string(first)), std::string::npos) << *line;

    auto listener = ::ndk::SharedRefBase::make<RecordingCallback>();
    int32_t listening = -1;
    ASSERT_TRUE(service->listeningRegister(parcelOf(0, {idRecord(kBoost)}), listener, &listening)
                        .isOk());
    EXPECT_GT(listening, first);

    // Another request changes the listened value: the listener hears the new one.
    int32_t second = -1;
    ASSERT_TRUE(service->request(parcelOf(1, {idRecord(kBoost, "2000")}), &second).isOk());
    ASSERT_TRUE(listener->waitForCalls(1, kLongTimeout));
    auto calls = listener->calls();
    ASSERT_EQ(calls[0].size(), 1u);
    EXPECT_EQ(calls[0][0].id, kBoost);
    EXPECT_EQ(calls[0][0].value, "2000");

    // Its release brings the older value back.
    int32_t result = -1;
    ASSERT_TRUE(service->release(second, &result).isOk());
    EXPECT_EQ(result, 0);
    ASSERT_TRUE(listener->waitForCalls(2, kLongTimeout));
    EXPECT_EQ(listener->calls()[1].at(0).value, "1200");

    // A malformed call gets an error status, and the service carries on.
    int32_t bad = 0;
    const auto status = service->request(parcelOf(42, {}), &bad);
    EXPECT_EQ(status.getExceptionCode(), EX_ILLEGAL_ARGUMENT);
    std::vector<JorvRequestData> answers;
    ASSERT_TRUE(service->stateRequest(parcelOf(0, {idRecord(kBoost)}), &answers).isOk());
    ASSERT_EQ(answers.size(), 1u);
    EXPECT_EQ(answers[0].value, "1200");
    // The transcript's callback line comes after the call, and so does its instant.
    ASSERT_TRUE(sim->waitForLine([](const std::string& l) {
        return startsWith(l, "callback ") && l.find("value=\"1200\"") != std::string::npos;
    }));
    stopService();

    std::string error;
    const std::optional<TraceFile> file = readTraceFile(trace, &error);
    unlink(trace);
    ASSERT_TRUE(file.has_value()) << error;
    EXPECT_EQ(file->processName(sim->pid()), "jorv-sim");
    EXPECT_EQ(file->processName(getpid()), "client " + std::to_string(getpid()));
    const auto slices = file->named("X", "resource 0x40800000=2000");
    ASSERT_EQ(slices.size(), 1u);
    EXPECT_EQ(slices[0].pid, getpid());
    EXPECT_EQ(slices[0].args.at("end"), "released");
    EXPECT_EQ(file->named("X", "resource 0x40800000=1200").at(0).args.at("end"), "stop");
    const auto counters = file->named("C", "resource 0x40800000");
    ASSERT_EQ(counters.size(), 3u);
    EXPECT_EQ(counters[1].args.at("value"), "2000");
    EXPECT_EQ(counters[2].args.at("value"), "1200");
    EXPECT_LE(slices[0].ts, counters[1].ts);
    EXPECT_LE(slices[0].ts + slices[0].dur, counters[2].ts);
    const auto callbacks = file->named("i", "callback handle=" + std::to_string(listening));
    ASSERT_EQ(callbacks.size(), 2u);
    EXPECT_EQ(callbacks[0].pid, getpid());
}

// Raw transactions that no generated proxy would send.
TEST_F(ServiceProcessTest, SurvivesGarbageTransactions) {
    startService();
    const ::ndk::SpAIBinder binder = service->asBinder();
    auto transact = [&](transaction_code_t code, const std::vector<int32_t>& words) {
        ::ndk::ScopedAParcel in;
        ::ndk::ScopedAParcel out;
        EXPECT_EQ(AIBinder_prepareTransaction(binder.get(), in.getR()), STATUS_OK);
        for (const int32_t word : words) AParcel_writeInt32(in.get(), word);
        return AIBinder_transact(binder.get(), code, in.getR(), out.getR(), 0);
    };
    // An unknown operation, a parcel cut short, a parcelable claiming a huge size, a negative
    // list length.
    EXPECT_NE(transact(IJorv::TRANSACTION_requestOneWay + 100, {}), STATUS_OK);
    EXPECT_NE(transact(IJorv::TRANSACTION_request, {}), STATUS_OK);
    EXPECT_NE(transact(IJorv::TRANSACTION_stateRequest, {0x7fffffff, 1}), STATUS_OK);
    EXPECT_NE(transact(IJorv::TRANSACTION_ruleCtl, {1, 1, -5}), STATUS_OK);

    // A null callback where one is required.
    int32_t handle = 0;
    const auto status = service->thermalListeningRegister({1}, nullptr, &handle);
    EXPECT_FALSE(status.isOk());

    ASSERT_TRUE(service->init().isOk());
    ASSERT_TRUE(service->request(parcelOf(1, {idRecord(kBoost, "1")}), &handle).isOk());
    EXPECT_EQ(handle, 1);
    stopService();
}

TEST_F(ServiceProcessTest, ExpiryReachesListenersWithoutAnotherCall) {
    startService();
    auto listener = ::ndk::SharedRefBase::make<RecordingCallback>();
    int32_t handle = -1;
    ASSERT_TRUE(
            service->listeningRegister(parcelOf(0, {pathRecord("/dev/boost")}), listener, &handle)
                    .isOk());
    ASSERT_TRUE(service->request(parcelOf(1, {pathRecord("/dev/boost", "1")}, 50), &handle).isOk());
    ASSERT_TRUE(listener->waitForCalls(2, kLongTimeout));
    const auto calls = listener->calls();
    EXPECT_EQ(calls[0].at(0).value, "1");
    EXPECT_EQ(calls[1].at(0).path, "/dev/boost");
    EXPECT_EQ(calls[1].at(0).value, std::nullopt);
    EXPECT_TRUE(sim->waitForLine([&](const std::string& l) {
                       return startsWith(l, "event ") &&
                              l.find("expired handle=" + std::to_string(handle)) !=
                                      std::string::npos;
                   }).has_value());
    stopService();
}

TEST_F(ServiceProcessTest, InjectedFailuresReachTheCaller) {
    struct Case {
        const char* failWith;
        binder_exception_t exception;
        int32_t detail;  // service-specific error or transport status
    };
    const Case cases[] = {
            {"exception:EX_SECURITY", EX_SECURITY, 0},
            {"service-specific:7", EX_SERVICE_SPECIFIC, 7},
            {"transport", EX_TRANSACTION_FAILED, STATUS_FAILED_TRANSACTION},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.failWith);
        startService({"--fail-next", "1", "--fail-op", "request", "--fail-with", c.failWith});
        int32_t handle = -1;
        // Calls of other operations are not counted.
        ASSERT_TRUE(service->init().isOk());
        const auto failed = service->request(parcelOf(1, {}), &handle);
        EXPECT_EQ(failed.getExceptionCode(), c.exception);
        if (c.exception == EX_SERVICE_SPECIFIC) {
            EXPECT_EQ(failed.getServiceSpecificError(), c.detail);
        }
        if (c.exception == EX_TRANSACTION_FAILED) {
            EXPECT_EQ(failed.getStatus(), c.detail);
        }
        EXPECT_TRUE(service->request(parcelOf(1, {}), &handle).isOk());
        EXPECT_EQ(handle, 1);  // the failed call made no request
        EXPECT_TRUE(sim->waitForLine([](const std::string& l) {
                           return l.find(" -> fault ") != std::string::npos;
                       }).has_value());
        stopService();
        TearDown();
    }
}

TEST_F(ServiceProcessTest, ExitAfterServesThatManyCallsThenExits) {
    startService({"--exit-after", "2", "--delay-ms", "100"});
    const auto before = std::chrono::steady_clock::now();
    ASSERT_TRUE(service->init().isOk());
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(100));
    int32_t handle = -1;
    ASSERT_TRUE(service->request(parcelOf(1, {}), &handle).isOk());

    const std::optional<int> status = sim->waitExit();
    ASSERT_TRUE(status.has_value()) << "jorv-sim is still running";
    EXPECT_TRUE(WIFEXITED(*status));
    EXPECT_EQ(WEXITSTATUS(*status), 0);
    EXPECT_NE(sim->lines().back().find("reason=exit-after"), std::string::npos);
    EXPECT_FALSE(service->init().isOk());
}

// A service killed without warning leaves what happened until then; merged with another run's
// file, it is one valid timeline that says which run was killed.
TEST_F(ServiceProcessTest, KilledServiceLeavesItsTimeline) {
    char dir[] = "/tmp/jorvsim-trace-XXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    const std::string trace = std::string(dir) + "/trace.json";
    const std::string merged = std::string(dir) + "/merged.json";
    startService({"--trace", trace});
    int32_t handle = -1;
    ASSERT_TRUE(service->request(parcelOf(1, {idRecord(kBoost, "1500")}), &handle).isOk());
    ASSERT_TRUE(sim->waitForLine([](const std::string& l) { return startsWith(l, "call "); }));
    sim->signal(SIGKILL);
    ASSERT_TRUE(sim->waitExit().has_value());

    std::string script = __FILE__;
    script = script.substr(0, script.rfind("/tests/")) + "/tools/jorv-sim/merge-traces.py";
    ASSERT_EQ(system(("python3 " + script + " " + merged + " " + trace).c_str()), 0);
    std::string error;
    const std::optional<TraceFile> file = readTraceFile(merged, &error);
    EXPECT_EQ(system(("rm -rf " + std::string(dir)).c_str()), 0);
    ASSERT_TRUE(file.has_value()) << error;
    EXPECT_EQ(file->processName(sim->pid()), "jorv-sim");
    EXPECT_EQ(file->processName(getpid()), "client " + std::to_string(getpid()));
    const auto counters = file->named("C", "resource 0x40800000");
    ASSERT_EQ(counters.size(), 1u);
    EXPECT_EQ(counters[0].args.at("value"), "1500");
    const auto runs = file->named("X", "jorv-sim running");
    ASSERT_EQ(runs.size(), 1u);
    EXPECT_EQ(runs[0].pid, sim->pid());
    EXPECT_EQ(runs[0].args.at("end"), "killed");
    EXPECT_GE(runs[0].ts + runs[0].dur, counters[0].ts);
}

// A listener that never returns from its callback must not keep the service from stopping.
TEST_F(ServiceProcessTest, StopsPromptlyPastACallbackThatNeverReturns) {
    startService();
    auto hung = ::ndk::SharedRefBase::make<HungCallback>();
    int32_t handle = -1;
    ASSERT_TRUE(service->listeningRegister(parcelOf(0, {idRecord(kBoost)}), hung, &handle).isOk());
    ASSERT_TRUE(service->request(parcelOf(1, {idRecord(kBoost, "1")}), &handle).isOk());
    ASSERT_TRUE(hung->waitForCalls(1, kLongTimeout));
    const auto start = std::chrono::steady_clock::now();
    sim->signal(SIGTERM);
    const std::optional<int> status = sim->waitExit();
    hung->release();
    ASSERT_TRUE(status.has_value()) << "jorv-sim did not stop";
    EXPECT_LT(std::chrono::steady_clock::now() - start, kLongTimeout / 2);
    EXPECT_TRUE(WIFEXITED(*status)) << *status;
    EXPECT_TRUE(sim->waitForLine([](const std::string& l) { return startsWith(l, "exit "); }));
}

}  // namespace
}  // namespace jorvsimtest
