// Properties, history, fixed answers and the diagnostic tables.
#include <gmock/gmock.h>

#include "support/ModelTest.h"

namespace jorvsimtest {
namespace {

using jorvsim::DiagnosticCode::kHistoryOff;
using jorvsim::DiagnosticCode::kHistoryOn;
using ::testing::HasSubstr;

DataList query(Model& model, int32_t type, DataList data = {}) {
    DataList answers;
    Effects effects;
    const Status status =
            model.stateRequest(parcelOf(type, std::move(data)), 1, &answers, &effects);
    EXPECT_TRUE(status.ok()) << status.message;
    return answers;
}

std::vector<std::string> historyTexts(Model& model) {
    std::vector<std::string> texts;
    for (const auto& answer : query(model, RequestType::kHistory)) {
        EXPECT_FALSE(answer.value.has_value());
        texts.push_back(answer.extra.value_or("<none>"));
    }
    return texts;
}

TEST_F(ModelTest, PropertiesKeepValuesThatFitAClientsBuffer) {
    resetModel(ModelOptions{16, true, {{"preset", "on"}}});
    std::string value = "stale";
    ASSERT_TRUE(model->propertyGet("preset", &value, &effects).ok());
    EXPECT_EQ(value, "on");
    ASSERT_TRUE(model->propertyGet("never.set", &value, &effects).ok());
    EXPECT_EQ(value, "");

    int32_t result = -2;
    const std::string longest(255, 'x');
    ASSERT_TRUE(model->propertySet("p", longest, kPid, &result, &effects).ok());
    EXPECT_EQ(result, 0);
    ASSERT_TRUE(model->propertySet("p", longest + "y", kPid, &result, &effects).ok());
    EXPECT_EQ(result, -1);
    ASSERT_TRUE(model->propertyGet("p", &value, &effects).ok());
    EXPECT_EQ(value, longest);
}

TEST_F(ModelTest, HistoryRecordsWhatCallersDidWhileRecordingIsOn) {
    const int32_t handle = acquire({idRecord(0x100, "1")}, 50);
    request(parcelOf(RequestType::kNotification, {idRecord(3)}));
    release(handle);
    int32_t result = -1;
    ASSERT_TRUE(model->propertySet("a", "x;y", kPid, &result, &effects).ok());

    auto texts = historyTexts(*model);
    ASSERT_EQ(texts.size(), 4u);
    EXPECT_THAT(texts[0], HasSubstr("acquire handle=1 type=resource pid=4242"));
    EXPECT_THAT(texts[0], HasSubstr("duration=50ms"));
    EXPECT_THAT(texts[1], HasSubstr("notify pid=4242"));
    EXPECT_THAT(texts[2], HasSubstr("release handle=1"));
    // Clients join the texts with ';': none may hold one.
    EXPECT_EQ(texts[3].find(';'), std::string::npos) << texts[3];

    request(parcelOf(RequestType::kDiagnostic, {idRecord(kHistoryOff)}));
    acquire({idRecord(0x100, "2")});
    EXPECT_EQ(historyTexts(*model).size(), 4u);
    request(parcelOf(RequestType::kDiagnostic, {idRecord(kHistoryOn)}));
    acquire({idRecord(0x100, "3")});
    texts = historyTexts(*model);
    ASSERT_EQ(texts.size(), 6u);  // the switch on is recorded, then the request
    EXPECT_THAT(texts[5], HasSubstr("acquire"));
}

TEST_F(ModelTest, FixedAnswersHaveTheShapesClientsParse) {
    constexpr int32_t kPower = 0x1011670;
    const auto power = query(
            *model, RequestType::kPowerConsumption,
            {idRecord(kPower, "0 1 35"), idRecord(kPower, "1 1 35"), idRecord(kPower, "2 1 35")});
    ASSERT_EQ(power.size(), 3u);
    EXPECT_EQ(power[0].value, "1260");
    EXPECT_EQ(power[2].value, "415");
    EXPECT_EQ(query(*model, RequestType::kPowerConsumption).at(0).value, "1260");

    EXPECT_EQ(query(*model, RequestType::kPowerMode, {idRecord(0)}).at(0).value, "1");
    EXPECT_EQ(query(*model, RequestType::kPowerMode, {idRecord(2)}).at(0).value, "0");

    const auto dataSet = query(*model, RequestType::kDataSet);
    ASSERT_EQ(dataSet.size(), 4u);
    for (const auto& record : dataSet) EXPECT_TRUE(record.value.has_value());

    const auto on = query(*model, RequestType::kFeatureStatus, {idRecord(1), idRecord(3)});
    ASSERT_EQ(on.size(), 1u);  // exactly one answer, for the first feature
    EXPECT_EQ(on[0].value, "1");
    EXPECT_EQ(query(*model, RequestType::kFeatureStatus, {idRecord(3)}).at(0).value, "0");
    EXPECT_TRUE(query(*model, RequestType::kFeatureStatus).empty());
}

TEST_F(ModelTest, DiagnosticCommandsPrintTheirTablesToTheLog) {
    auto callback = newCallback();
    acquire({idRecord(0x40800000, "1200")}, 2000);
    request(parcelOf(RequestType::kSceneAction, {idRecord(33)}));
    listen({pathRecord("/p")}, callback);
    take();

    const std::pair<int32_t, const char*> cases[] = {
            {0, "handle 1 in 2.000s"},
            {1, "handle 2 scene-action pid=4242 cmd=33"},
            {2, "0x40800000 = \"1200\" (handle 1)"},
            {3, "0x40800000: handle 1=\"1200\""},
            {4, "listening 3 pid=4242 [path \"/p\"]"},
            {5, "handle 2 scene-action"},
            {6, "pid 4242: 2 requests, 1 registrations"},
            {7, "pid 4242: requests [1 2] registrations [3]"},
            {8, "acquire handle=1"},
    };
    for (const auto& [code, expected] : cases) {
        SCOPED_TRACE(code);
        const int32_t handle = request(parcelOf(RequestType::kDiagnostic, {idRecord(code)}));
        EXPECT_GE(handle, 1);
        const Effects e = take();
        EXPECT_THAT(e.log, ::testing::Contains(HasSubstr(expected)));
    }
}

}  // namespace
}  // namespace jorvsimtest
