// jorv-sim as a separate process, called through the host interface library like any client.
#include <aidl/vendor/vemra/hardware/jorv/IJorv.h>
#include <android/binder_manager.h>
#include <hostbinder/control.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <sstream>
#include <tuple>

#include "support/ModelTest.h"
#include "support/SimProcess.h"
#include "support/StrictJson.h"

namespace jorvsimtest {
namespace {

using ::aidl::vendor::vemra::hardware::jorv::IJorv;
constexpr const char kInstance[] = "vendor.vemra.hardware.jorv.IJorv/default";
constexpr int32_t kBoost = 0x40800000;

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
        expectExit("SIGTERM");
    }
    void expectExit(const std::string& reason) {
        const std::optional<int> status = sim->waitExit();
        ASSERT_TRUE(status.has_value()) << "jorv-sim is still running";
        EXPECT_TRUE(WIFEXITED(*status) && WEXITSTATUS(*status) == 0) << "wait status " << *status;
        ASSERT_FALSE(sim->lines().empty());
        EXPECT_TRUE(lineWith("exit ", "status=0 reason=" + reason)(sim->lines().back()))
                << sim->lines().back();
    }

    // The timeline file at `path`, which goes once read; it names this run's service.
    Timeline readTrace(const std::string& path) {
        std::ifstream in(path, std::ios::binary);
        std::stringstream text;
        text << in.rdbuf();
        unlink(path.c_str());
        const Timeline timeline = expectTimeline(text.str());
        EXPECT_EQ(timeline.processName(sim->pid()), "jorv-sim");
        return timeline;
    }

    std::unique_ptr<SimProcess> sim;
    std::shared_ptr<IJorv> service;
};

TEST_F(ServiceProcessTest, ServesRequestsCallsListenersBackAndStopsOnSigterm) {
    const SimProcess scratch;  // for the directory it owns
    const std::string trace = scratch.dir() + "/trace.json";
    startService({"--trace", trace});

    int32_t first = -1;
    ASSERT_TRUE(service->request(parcelOf(1, {idRecord(kBoost, "1200")}), &first).isOk());
    EXPECT_TRUE(sim->waitForLine(lineWith("call ", R"(="1200"}] flag=false param0=0 param1=0 )"
                                                   "param3=0 param5=0} -> ok " +
                                                           std::to_string(first))));

    auto listener = ::ndk::SharedRefBase::make<RecordingCallback>();
    int32_t listening = -1;
    ASSERT_TRUE(service->listeningRegister(parcelOf(0, {idRecord(kBoost), pathRecord("/dev/b")}),
                                           listener, &listening)
                        .isOk());
    EXPECT_GT(listening, first);
    // Another request changes the listened value, its release brings the older one back, and a
    // timed one ends without another call.
    int32_t second = -1;
    ASSERT_TRUE(service->request(parcelOf(1, {idRecord(kBoost, "2000")}), &second).isOk());
    ASSERT_TRUE(listener->waitForCalls(1, kLongTimeout));
    int32_t result = -1;
    ASSERT_TRUE(service->release(second, &result).isOk());
    EXPECT_EQ(result, 0);
    ASSERT_TRUE(listener->waitForCalls(2, kLongTimeout));
    int32_t timed = -1;
    ASSERT_TRUE(service->request(parcelOf(1, {pathRecord("/dev/b", "1")}, 50), &timed).isOk());
    ASSERT_TRUE(listener->waitForCalls(4, kLongTimeout));
    std::vector<Pairs> heard;
    for (const DataList& call : listener->calls()) heard.push_back(pairsOf(call));
    EXPECT_EQ(heard, (std::vector<Pairs>{{{"1082130432", "2000"}},
                                         {{"1082130432", "1200"}},
                                         {{"/dev/b", "1"}},
                                         {{"/dev/b", std::nullopt}}}));
    EXPECT_TRUE(sim->waitForLine(lineWith("event ", "expired handle=" + std::to_string(timed))));

    // The transcript's callback line comes after the call, and so does its instant.
    ASSERT_TRUE(sim->waitForLine(lineWith("callback ", "value=\"1200\"")));
    stopService();

    // The callbacks, made by the service's delivery threads, are instants on this client's track.
    const Timeline timeline = readTrace(trace);
    const auto callbacks = timeline.named("i", "callback handle=" + std::to_string(listening));
    ASSERT_EQ(callbacks.size(), 4u);
    EXPECT_EQ(callbacks[0].at("pid"), std::to_string(getpid()));
    EXPECT_EQ(timeline.named("X", "resource 0x40800000=1200").at(0).at("args.end"), "stop");
}

// Raw transactions that no generated proxy would send.
TEST_F(ServiceProcessTest, SurvivesGarbageTransactionsAndStopsPastAHungCallback) {
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

    // The service goes on, and a listener that never returns from its callback does not keep
    // it from stopping.
    ASSERT_TRUE(service->init().isOk());
    auto hung = ::ndk::SharedRefBase::make<RecordingCallback>(true);
    ASSERT_TRUE(service->listeningRegister(parcelOf(0, {idRecord(kBoost)}), hung, &handle).isOk());
    EXPECT_EQ(handle, 1);
    ASSERT_TRUE(service->request(parcelOf(1, {idRecord(kBoost, "1")}), &handle).isOk());
    ASSERT_TRUE(hung->waitForCalls(1, kLongTimeout));
    const auto start = std::chrono::steady_clock::now();
    sim->signal(SIGTERM);
    sim->waitExit();
    hung->release();
    EXPECT_LT(std::chrono::steady_clock::now() - start, kLongTimeout / 2);
    expectExit("SIGTERM");
}

TEST_F(ServiceProcessTest, InjectedFailuresReachTheCaller) {
    // The failure, and the service-specific error or transport status it gives.
    const std::tuple<const char*, binder_exception_t, int32_t> cases[] = {
            {"exception:EX_SECURITY", EX_SECURITY, 0},
            {"service-specific:7", EX_SERVICE_SPECIFIC, 7},
            {"transport", EX_TRANSACTION_FAILED, STATUS_FAILED_TRANSACTION}};
    for (const auto& [failWith, exception, detail] : cases) {
        SCOPED_TRACE(failWith);
        startService({"--fail-next", "2", "--fail-op", "request", "--fail-with", failWith});
        int32_t handle = -1;
        // Calls of other operations are not counted.
        ASSERT_TRUE(service->init().isOk());
        EXPECT_FALSE(service->request(parcelOf(1, {}), &handle).isOk());
        const auto failed = service->request(parcelOf(1, {}), &handle);
        EXPECT_EQ(failed.getExceptionCode(), exception);
        EXPECT_EQ(exception == EX_SERVICE_SPECIFIC ? failed.getServiceSpecificError()
                                                   : failed.getStatus(),
                  detail);
        EXPECT_TRUE(service->request(parcelOf(1, {}), &handle).isOk());
        EXPECT_EQ(handle, 1);  // the failed call made no request
        EXPECT_TRUE(sim->waitForLine(lineWith("call ", " -> fault ")));
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
    expectExit("exit-after");
    EXPECT_FALSE(service->init().isOk());
}

// A service killed without warning leaves what happened until then; merged with another run's
// file, it is one valid timeline that says which run was killed.
TEST_F(ServiceProcessTest, KilledServiceLeavesItsTimeline) {
    const SimProcess scratch;  // for the directory it owns
    const std::string trace = scratch.dir() + "/trace.json";
    const std::string merged = scratch.dir() + "/merged.json";
    startService({"--trace", trace});
    int32_t handle = -1;
    ASSERT_TRUE(service->request(parcelOf(1, {idRecord(kBoost, "1500")}), &handle).isOk());
    ASSERT_TRUE(sim->waitForLine(lineWith("call ")));
    sim->signal(SIGKILL);
    ASSERT_TRUE(sim->waitExit().has_value());

    std::string script = __FILE__;
    script = script.substr(0, script.rfind("/tests/")) + "/tools/jorv-sim/merge-traces.py";
    SimProcess merge("/usr/bin/python3", {script, merged, trace}, scratch.dir());
    ASSERT_TRUE(merge.spawn());
    ASSERT_EQ(merge.waitExit(), 0);
    const Timeline timeline = readTrace(merged);
    EXPECT_EQ(timeline.processName(getpid()), "client " + std::to_string(getpid()));
    const auto counters = timeline.named("C", "resource 0x40800000");
    ASSERT_EQ(counters.size(), 1u);
    EXPECT_EQ(counters[0].at("args.value"), "1500");
    const auto runs = timeline.named("X", "jorv-sim running");
    ASSERT_EQ(runs.size(), 1u);
    EXPECT_EQ(runs[0].at("pid"), std::to_string(sim->pid()));
    EXPECT_EQ(runs[0].at("args.end"), "killed");
    EXPECT_GE(std::stoll(runs[0].at("ts")) + std::stoll(runs[0].at("dur")),
              std::stoll(counters[0].at("ts")));
}

}  // namespace
}  // namespace jorvsimtest
