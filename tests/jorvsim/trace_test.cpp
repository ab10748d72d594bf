// The --trace timeline: what the model records on a hand-moved clock, read back by a strict JSON
// parser. The files a running jorv-sim writes are checked in service_process_test.cpp.
#include "Trace.h"

#include <unistd.h>

#include "support/ModelTest.h"
#include "support/TraceFile.h"

namespace jorvsimtest {
namespace {

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

}  // namespace
}  // namespace jorvsimtest
