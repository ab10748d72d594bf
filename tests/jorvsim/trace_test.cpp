// The --trace timeline: what the model records on a hand-moved clock, and the file a running
// jorv-sim writes at stop, read back by a strict JSON parser.
#include "Trace.h"

#include <aidl/vendor/vemra/hardware/jorv/IJorv.h>
#include <android/binder_manager.h>
#include <hostbinder/control.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>

#include "support/ModelTest.h"
#include "support/SimProcess.h"
#include "support/TraceFile.h"

namespace jorvsimtest {
namespace {

using ::aidl::vendor::vemra::hardware::jorv::IJorv;
using jorvsim::Millis;
using jorvsim::Trace;
constexpr int32_t kBoost = 0x40800000;

class TraceModelTest : public ModelTest {
protected:
    void SetUp() override { resetModel({}, &trace); }

    TraceFile read() {
        std::string error;
        std::optional<TraceFile> file = readTraceText(trace.json(), &error);
        EXPECT_TRUE(file.has_value()) << error;
        return file.value_or(TraceFile{});
    }
    std::vector<std::string> counterValues(const TraceFile& file, const std::string& name) {
        std::vector<std::string> values;
        for (const TraceEvent& e : file.named("C", name)) values.push_back(e.args.at("value"));
        return values;
    }

    Trace trace{clock};
};

TEST_F(TraceModelTest, RequestsAreSlicesOnTheirClientsTrackFromAcquireToReleaseOrExpiry) {
    const int32_t held = acquire({idRecord(kBoost, "1200"), pathRecord("/dev/gov", "fast")});
    clock.advance(Millis(100));
    const int32_t timed = request(parcelOf(RequestType::kEvent, {idRecord(7)}, 50));
    clock.advance(Millis(60));
    release(held);  // ends `timed` by expiry first
    const int32_t open = request(parcelOf(RequestType::kSceneAction, {idRecord(0x40c00000)}));
    clock.advance(Millis(25));

    const TraceFile file = read();
    EXPECT_EQ(file.processName(kPid), "client " + std::to_string(kPid));
    EXPECT_EQ(file.processName(getpid()), "jorv-sim");
    const auto slices = file.prefixed("X", "");
    ASSERT_EQ(slices.size(), 3u);
    const auto find = [&](int32_t handle) {
        for (const TraceEvent& e : slices) {
            if (e.args.at("handle") == std::to_string(handle)) return e;
        }
        return TraceEvent{};
    };
    EXPECT_EQ(find(held).name, "resource 0x40800000=1200 path \"/dev/gov\"=fast");
    EXPECT_EQ(find(held).dur, 160000);
    EXPECT_EQ(find(held).args.at("end"), "released");
    EXPECT_EQ(find(timed).name, "event 7");
    EXPECT_EQ(find(timed).dur, 50000);
    EXPECT_EQ(find(timed).args.at("end"), "expired");
    EXPECT_EQ(find(open).name, "action 0x40c00000");
    EXPECT_EQ(find(open).dur, 25000);
    EXPECT_EQ(find(open).args.at("end"), "stop");
    for (const TraceEvent& e : slices) EXPECT_EQ(e.pid, kPid);
}

TEST_F(TraceModelTest, CountersFollowEffectiveValuesAndTextsBecomeInstants) {
    const int32_t first = acquire({idRecord(kBoost, "1200"), pathRecord("/dev/gov", "fast")});
    clock.advance(Millis(10));
    const int32_t second = acquire({idRecord(kBoost, "0x10"), pathRecord("/dev/rate", "2.5")});
    release(second);
    release(first);

    const TraceFile file = read();
    EXPECT_EQ(counterValues(file, "resource 0x40800000"),
              (std::vector<std::string>{"1200", "16", "1200", "0"}));
    EXPECT_EQ(counterValues(file, "path /dev/rate"), (std::vector<std::string>{"2.5", "0"}));
    EXPECT_EQ(counterValues(file, "path /dev/gov"), (std::vector<std::string>{"0"}));
    const auto texts = file.named("i", "path /dev/gov = fast");
    ASSERT_EQ(texts.size(), 1u);
    EXPECT_EQ(texts[0].pid, getpid());
    EXPECT_EQ(counterValues(file, "resource 0x40800000").size(),
              file.prefixed("C", "resource ").size());
}

TEST_F(TraceModelTest, RulesNotificationsThermalLevelsAndDeathsAreInstants) {
    int32_t result = -1;
    ASSERT_TRUE(model->ruleCtl(102, 1, {idRecord(kBoost, "5")}, kPid, &result, &effects).ok());
    ASSERT_TRUE(model->ruleCtl(102, 0, {}, kPid, &result, &effects).ok());
    request(parcelOf(RequestType::kNotification, {idRecord(9000, "1")}));
    request(parcelOf(RequestType::kThermal, {idRecord(3, "8")}));
    const int32_t listening = listen({idRecord(kBoost)}, newCallback());
    model->forgetRegistration(listening, &effects);

    const TraceFile file = read();
    ASSERT_EQ(file.named("i", "rule 102 on").size(), 1u);
    EXPECT_EQ(file.named("i", "rule 102 on")[0].pid, getpid());
    EXPECT_EQ(file.named("i", "rule 102 off").size(), 1u);
    EXPECT_EQ(counterValues(file, "resource 0x40800000"), (std::vector<std::string>{"5", "0"}));
    ASSERT_EQ(file.named("i", "notification").size(), 1u);
    EXPECT_EQ(file.named("i", "notification")[0].pid, kPid);
    EXPECT_NE(file.named("i", "notification")[0].args.at("detail").find("9000"), std::string::npos);
    ASSERT_EQ(file.named("i", "thermal levels").size(), 1u);
    const auto deaths = file.named("i", "death handle=" + std::to_string(listening));
    ASSERT_EQ(deaths.size(), 1u);
    EXPECT_EQ(deaths[0].pid, kPid);
    EXPECT_EQ(deaths[0].scope, "t");
}

TEST(TraceTest, KeepsAtMostItsCapacityAndSaysHowManyWereDropped) {
    ManualClock clock;
    Trace trace(clock, 2);
    for (int i = 0; i < 5; ++i) trace.instant(77, "tick", "quote \" backslash \\ byte \x01\xff");
    trace.begin(9, 77, "still open");
    std::string error;
    const std::optional<TraceFile> file = readTraceText(trace.json(), &error);
    ASSERT_TRUE(file.has_value()) << error;
    EXPECT_EQ(file->named("i", "tick").size(), 2u);
    EXPECT_EQ(file->named("i", "tick")[0].args.at("detail"), "quote \" backslash \\ byte \x01\xff");
    EXPECT_EQ(file->named("X", "still open").size(), 1u);
    EXPECT_EQ(file->otherData.at("capacity"), "2");
    EXPECT_EQ(file->otherData.at("dropped"), "3");
}

// A jorv-sim with --trace in a directory of its own, and this process connected to it.
class TraceProcessTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_NE(mkdtemp(dir), nullptr);
        sim.emplace(std::vector<std::string>{"--trace", path()});
        ASSERT_TRUE(sim->start());
        HostBinder_setServiceDir(sim->dir().c_str());
        service = IJorv::fromBinder(::ndk::SpAIBinder(
                AServiceManager_checkService("vendor.vemra.hardware.jorv.IJorv/default")));
        ASSERT_NE(service, nullptr);
    }
    void TearDown() override {
        service = nullptr;
        HostBinder_setServiceDir(nullptr);
        EXPECT_EQ(system(("rm -rf " + std::string(dir)).c_str()), 0);
    }
    int32_t listen(const std::shared_ptr<RecordingCallback>& listener) {
        int32_t listening = -1;
        EXPECT_TRUE(
                service->listeningRegister(parcelOf(0, {idRecord(kBoost)}), listener, &listening)
                        .isOk());
        return listening;
    }
    int32_t request(const char* value) {
        int32_t handle = -1;
        EXPECT_TRUE(service->request(parcelOf(1, {idRecord(kBoost, value)}), &handle).isOk());
        return handle;
    }
    // Stops jorv-sim with `signal`; its wait status.
    std::optional<int> stop(int signal) {
        service = nullptr;
        sim->signal(signal);
        return sim->waitExit();
    }

    char dir[32] = "/tmp/jorvsim-trace-test-XXXXXX";
    std::string path() const { return std::string(dir) + "/trace.json"; }
    std::optional<SimProcess> sim;
    std::shared_ptr<IJorv> service;
};

// A service killed without warning leaves what happened until then; merged with another run's
// file, it is one valid timeline that says which run was killed.
TEST_F(TraceProcessTest, KilledServiceLeavesItsTimeline) {
    request("1500");
    ASSERT_TRUE(sim->waitForLine([](const std::string& l) { return l.rfind("call ", 0) == 0; }));
    const std::optional<int> status = stop(SIGKILL);
    ASSERT_TRUE(status.has_value() && WIFSIGNALED(*status));

    const std::string merged = std::string(dir) + "/merged.json";
    std::string script = __FILE__;
    script = script.substr(0, script.rfind("/tests/")) + "/tools/jorv-sim/merge-traces.py";
    ASSERT_EQ(system(("python3 " + script + " " + merged + " " + path()).c_str()), 0);
    std::string error;
    const std::optional<TraceFile> file = readTraceFile(merged, &error);
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
TEST_F(TraceProcessTest, StopsPromptlyPastACallbackThatNeverReturns) {
    auto hung = ::ndk::SharedRefBase::make<HungCallback>();
    listen(hung);
    request("1");
    ASSERT_TRUE(hung->waitForCalls(1, kLongTimeout));
    const auto start = std::chrono::steady_clock::now();
    const std::optional<int> status = stop(SIGTERM);
    hung->release();
    ASSERT_TRUE(status.has_value()) << "jorv-sim did not stop";
    EXPECT_LT(std::chrono::steady_clock::now() - start, kLongTimeout / 2);
    EXPECT_TRUE(WIFEXITED(*status)) << *status;
    std::string error;
    EXPECT_TRUE(readTraceFile(path(), &error).has_value()) << error;
}

}  // namespace
}  // namespace jorvsimtest
