// The --trace timeline: what the model records on a hand-moved clock, read back by a strict JSON
// parser. The files a running jorv-sim writes are checked in service_process_test.cpp.
#include "Trace.h"

#include <unistd.h>

#include "support/ModelTest.h"
#include "support/StrictJson.h"

namespace jorvsimtest {
namespace {

using jorvsim::Millis;
using jorvsim::Trace;
constexpr int32_t kBoost = 0x40800000;

// The values a counter took, in order.
std::vector<std::string> counterValues(const Timeline& timeline, const std::string& name) {
    std::vector<std::string> values;
    for (const auto& e : timeline.named("C", name)) values.push_back(e.at("args.value"));
    return values;
}

// Requests are slices on their client's track from acquire to release or expiry; counters follow
// effective values; texts, rules, notifications, thermal levels and deaths are instants.
TEST_F(ModelTest, TraceHasSlicesCountersAndInstants) {
    Trace trace{clock};
    resetModel({}, &trace);
    const int32_t first = acquire({idRecord(kBoost, "1200"), pathRecord("/dev/gov", "fast")});
    clock.advance(Millis(10));
    release(acquire({idRecord(kBoost, "0x10"), pathRecord("/dev/rate", "2.5")}));
    request(parcelOf(RequestType::kEvent, {idRecord(7)}, 50));
    clock.advance(Millis(60));
    release(first);  // ends the event by expiry first
    request(parcelOf(RequestType::kSceneAction, {idRecord(0x40c00000)}));
    int32_t result = -1;
    ASSERT_TRUE(model->ruleCtl(102, 1, {idRecord(kBoost, "5")}, kPid, &result, &effects).ok());
    ASSERT_TRUE(model->ruleCtl(102, 0, {}, kPid, &result, &effects).ok());
    request(parcelOf(RequestType::kNotification, {idRecord(9000, "1")}));
    request(parcelOf(RequestType::kThermal, {idRecord(3, "8")}));
    const int32_t listening = listen({idRecord(kBoost)}, newCallback());
    model->forgetRegistration(listening, &effects);
    clock.advance(Millis(25));

    const Timeline timeline = expectTimeline(trace.json());
    EXPECT_EQ(timeline.processName(kPid), "client " + std::to_string(kPid));
    EXPECT_EQ(timeline.processName(getpid()), "jorv-sim");
    // Each slice by its handle, as "name dur=.. end=.. pid=..".
    std::map<std::string, std::string> slices;
    for (const auto& e : timeline.named("X", "", true)) {
        slices[e.at("args.handle")] = e.at("name") + " dur=" + e.at("dur") +
                                      " end=" + e.at("args.end") + " pid=" + e.at("pid");
    }
    EXPECT_EQ(slices, (std::map<std::string, std::string>{
                              {"1",
                               "resource 0x40800000=1200 path \"/dev/gov\"=fast dur=70000 "
                               "end=released pid=4242"},
                              {"2",
                               "resource 0x40800000=0x10 path \"/dev/rate\"=2.5 dur=0 "
                               "end=released pid=4242"},
                              {"3", "event 7 dur=50000 end=expired pid=4242"},
                              {"4", "action 0x40c00000 dur=25000 end=stop pid=4242"}}));
    EXPECT_EQ(counterValues(timeline, "resource 0x40800000"),
              (std::vector<std::string>{"1200", "16", "1200", "0", "5", "0"}));
    EXPECT_EQ(timeline.named("C", "resource ", true).size(), 6u);
    EXPECT_EQ(counterValues(timeline, "path /dev/rate"), (std::vector<std::string>{"2.5", "0"}));
    EXPECT_EQ(counterValues(timeline, "path /dev/gov"), (std::vector<std::string>{"0"}));
    const std::string service = std::to_string(getpid());
    const std::string client = std::to_string(kPid);
    const std::pair<std::string, std::string> instants[] = {
            {"path /dev/gov = fast", service},
            {"rule 102 on", service},
            {"rule 102 off", service},
            {"notification", client},
            {"thermal levels", service},
            {"death handle=" + std::to_string(listening), client},
    };
    for (const auto& [name, pid] : instants) {
        const auto found = timeline.named("i", name);
        ASSERT_EQ(found.size(), 1u) << name;
        EXPECT_EQ(found[0].at("pid"), pid) << name;
    }
    EXPECT_NE(timeline.named("i", "notification")[0].at("args.detail").find("9000"),
              std::string::npos);
    EXPECT_EQ(timeline.named("i", "death handle=" + std::to_string(listening))[0].at("s"), "t");
}

TEST(TraceTest, KeepsAtMostItsCapacityAndSaysHowManyWereDropped) {
    ManualClock clock;
    Trace trace(clock, 2);
    for (int i = 0; i < 5; ++i) trace.instant(77, "tick", "quote \" backslash \\ byte \x01\xff");
    trace.begin(9, 77, "still open");
    const Timeline timeline = expectTimeline(trace.json());
    const auto ticks = timeline.named("i", "tick");
    ASSERT_EQ(ticks.size(), 2u);
    EXPECT_EQ(ticks[0].at("args.detail"), "quote \" backslash \\ byte \x01\xff");
    EXPECT_EQ(timeline.named("X", "still open").size(), 1u);
    EXPECT_EQ(timeline.other.at("capacity"), "2");
    EXPECT_EQ(timeline.other.at("dropped"), "3");
}

}  // namespace
}  // namespace jorvsimtest
