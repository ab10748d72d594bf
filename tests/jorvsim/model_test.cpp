// The model: requests (handles, expiry, effective values, malformed calls), who hears what
// (listenings, thermal registrations, rules), and properties, history, fixed answers and the
// diagnostic tables.
#include <gmock/gmock.h>

#include <functional>
#include <limits>
#include <map>
#include <sstream>
#include <tuple>

#include "Expiry.h"
#include "support/ModelTest.h"

namespace jorvsimtest {
namespace {

using jorvsim::Millis;
using jorvsim::DiagnosticCode::kHistoryOff;
using jorvsim::DiagnosticCode::kHistoryOn;
using ::testing::_;
using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr int32_t kBoost = 0x40800000;

TEST_F(ModelTest, HandlesIncreaseAcrossKindsAndAreNeverReused) {
    auto callback = newCallback();
    EXPECT_EQ(acquire({idRecord(kBoost, "1")}), 1);
    EXPECT_EQ(listen({idRecord(kBoost)}, callback), 2);
    int32_t thermal = -1;
    ASSERT_TRUE(model->thermalListeningRegister({3}, callback, kPid, &thermal, &effects).ok());
    EXPECT_EQ(thermal, 3);
    EXPECT_EQ(request(parcelOf(RequestType::kNotification, {idRecord(1)})), 4);
    EXPECT_EQ(release(1), 0);
    // Released, unknown and listening handles name no request; the listening one still hears.
    for (const int32_t handle : {1, 999, 2}) EXPECT_EQ(release(handle), -1);
    take();
    EXPECT_EQ(acquire({idRecord(kBoost, "2")}), 5);
    EXPECT_EQ(heard(take(), callback).size(), 1u);
    // A one-way call keeps the client's own handle while it is free; when it is taken, the
    // service picks another and says so.
    JorvRequestParcel parcel = parcelOf(RequestType::kEvent, {idRecord(12)});
    take();
    for (const auto& [wanted, expected] : {std::pair{77, 77}, std::pair{77, 6}, std::pair{-1, 7}}) {
        parcel.param0 = wanted;
        int32_t handle = -1;
        ASSERT_TRUE(model->requestOneWay(parcel, kPid, &handle, &effects).ok());
        EXPECT_EQ(handle, expected);
    }
    EXPECT_EQ(take().events.size(), 1u);  // for the handle that was taken
    EXPECT_EQ(release(77), 0);
}

TEST_F(ModelTest, RequestsLastTheirDurationCappedOrUntilReleased) {
    const auto start = clock.now();
    acquire({idRecord(kBoost, "1200")}, 1000);
    const int32_t soon = acquire({idRecord(2, "b")}, 100);
    acquire({idRecord(3, "c")}, std::numeric_limits<int64_t>::max());
    for (const int64_t duration : {int64_t{0}, int64_t{-1}, std::numeric_limits<int64_t>::min()}) {
        acquire({idRecord(4, "forever")}, duration);
    }
    EXPECT_EQ(model->nextExpiry(), start + Millis(100));
    release(soon);
    EXPECT_EQ(model->nextExpiry(), start + Millis(1000));
    clock.advance(Millis(999));
    EXPECT_EQ(valueOf(idRecord(kBoost)), "1200");
    EXPECT_TRUE(take().events.empty());

    clock.advance(Millis(1));
    EXPECT_EQ(valueOf(idRecord(kBoost)), std::nullopt);
    EXPECT_THAT(take().events, ElementsAre(HasSubstr("expired handle=1")));
    EXPECT_EQ(release(1), -1);
    EXPECT_EQ(model->nextExpiry(), start + jorvsim::kMaxDuration);
    clock.advance(jorvsim::kMaxDuration * 2);
    EXPECT_EQ(valueOf(idRecord(4)), "forever");
    EXPECT_EQ(model->nextExpiry(), std::nullopt);
    for (const int32_t handle : {4, 5, 6}) EXPECT_EQ(release(handle), 0);
}

// The effective value of one resource as requests on it come and go. Each step: a request
// ('A'..'C') acquiring "+value" or releasing "-", then "=" the expected value (nothing: none).
TEST_F(ModelTest, NewestActiveRequestSetsTheEffectiveValue) {
    // The newer wins, and its release falls back; releasing the older keeps the newer.
    for (const char* steps : {"A+10=10 B+20=20 B-=10 A-=", "A+10=10 B+20=20 A-=20 B-=",
                              "A+1=1 B+2=2 C+3=3 B-=3 C-=1", "A+7=7 B+7=7 A-=7"}) {
        SCOPED_TRACE(steps);
        resetModel({});
        std::map<char, int32_t> handles;
        std::istringstream words(steps);
        for (std::string step; words >> step;) {
            const size_t equals = step.find('=');
            if (step[1] == '+') {
                handles[step[0]] = acquire({idRecord(kBoost, step.substr(2, equals - 2))});
            } else {
                EXPECT_EQ(release(handles[step[0]]), 0);
            }
            const std::string expected = step.substr(equals + 1);
            EXPECT_EQ(valueOf(idRecord(kBoost)),
                      expected.empty() ? std::nullopt : std::optional<std::string>(expected))
                    << step;
        }
    }
}

// Ids and paths are separate resources, and only records with a name and a value set anything:
// an event's first record is its command, not a resource.
TEST_F(ModelTest, StateQueryAnswersEveryRecordInOrder) {
    request(parcelOf(RequestType::kEvent, {idRecord(kBoost, "cmd"), idRecord(7, "x")}));
    acquire({idRecord(1, "one"), pathRecord("/p", "pee"), pathRecord("5", "by-path"),
             idRecord(5, "by-id"), idRecord(8), idRecord(0, "orphan")});
    JorvRequestData both = pathRecord("5");
    both.id = 5;
    const DataList answers = query(RequestType::kState,
                                   {idRecord(2, ""), pathRecord("/p"), idRecord(0), idRecord(1),
                                    idRecord(5), both, idRecord(kBoost), idRecord(7), idRecord(8)});
    // An answer names what was asked; nothing sets 2: no value, not the query's "".
    const std::optional<std::string> none;
    const Pairs expected = {{"2", none},          {"/p", "pee"},  {"0", none},
                            {"1", "one"},         {"5", "by-id"}, {"5", "by-path"},
                            {"1082130432", none}, {"7", "x"},     {"8", none}};
    EXPECT_EQ(pairsOf(answers), expected);

    // Naming nothing lists every resource that has a value.
    EXPECT_EQ(query(RequestType::kState).size(), 5u);
}

TEST_F(ModelTest, MalformedCallsAreRefusedAndChangeNothing) {
    using Call = std::function<Status(int32_t*)>;
    auto asRequest = [&](int32_t type, DataList records) -> Call {
        return [=](int32_t* h) {
            return model->request(parcelOf(type, records), kPid, h, &effects);
        };
    };
    DataList answers;
    std::string value;
    const std::tuple<const char*, Call, binder_exception_t> cases[] = {
            {"unknown request type", asRequest(42, {}), EX_ILLEGAL_ARGUMENT},
            {"query sent as a request", asRequest(RequestType::kHistory, {}), EX_ILLEGAL_ARGUMENT},
            {"scene action without its record", asRequest(RequestType::kSceneAction, {}),
             EX_ILLEGAL_ARGUMENT},
            {"diagnostic without its command", asRequest(RequestType::kDiagnostic, {}),
             EX_ILLEGAL_ARGUMENT},
            {"diagnostic code 9", asRequest(RequestType::kDiagnostic, {idRecord(9)}),
             EX_ILLEGAL_ARGUMENT},
            {"event without its command",
             [&](int32_t* h) {
                 return model->requestOneWay(parcelOf(RequestType::kEvent, {}), kPid, h, &effects);
             },
             EX_ILLEGAL_ARGUMENT},
            {"request sent as a query",
             [&](int32_t*) {
                 return model->stateRequest(parcelOf(RequestType::kResource, {}), kPid, &answers,
                                            &effects);
             },
             EX_ILLEGAL_ARGUMENT},
            {"listening without a callback",
             [&](int32_t* h) {
                 return model->listeningRegister(parcelOf(0, {idRecord(1)}), nullptr, kPid, h,
                                                 &effects);
             },
             EX_NULL_POINTER},
            {"thermal registration without a callback",
             [&](int32_t* h) {
                 return model->thermalListeningRegister({1}, nullptr, kPid, h, &effects);
             },
             EX_NULL_POINTER},
            {"property without a name",
             [&](int32_t*) { return model->propertyGet("", &value, &effects); },
             EX_ILLEGAL_ARGUMENT},
            {"property set without a name",
             [&](int32_t* h) { return model->propertySet("", "v", kPid, h, &effects); },
             EX_ILLEGAL_ARGUMENT},
    };
    for (const auto& [name, call, expected] : cases) {
        SCOPED_TRACE(name);
        int32_t out = 1234;
        const Status status = call(&out);
        EXPECT_EQ(status.exception, expected);
        EXPECT_FALSE(status.message.empty());
        // Calls with an out-value leave it at -1.
        EXPECT_TRUE(out == 1234 || out == -1) << out;
    }
    EXPECT_TRUE(take().notifications.empty());
    // Nothing became active, and the next handle is still the first one.
    EXPECT_EQ(model->dump(jorvsim::DiagnosticCode::kRunMap).size(), 1u);
    EXPECT_EQ(acquire({}), 1);
}

// Each answer's records carry the request's handle; one that leaves nothing active still answers,
// with nothing to report.
TEST_F(ModelTest, RequestWithACallbackHearsItsOutcomeOnce) {
    auto callback = newCallback();
    const std::pair<JorvRequestParcel, Pairs> cases[] = {
            {parcelOf(RequestType::kResource, {idRecord(kBoost, "1200"), pathRecord("/p", "on")}),
             {{std::to_string(kBoost), "1200"}, {"/p", "on"}}},
            {parcelOf(RequestType::kSceneAction, {idRecord(33)}), {{"33", std::nullopt}}},
            {parcelOf(RequestType::kDiagnostic, {idRecord(1)}), {}},
    };
    for (auto [parcel, expected] : cases) {
        parcel.callback = callback;
        const int32_t handle = request(parcel);
        const auto sent = sentTo(take().notifications, callback);
        ASSERT_EQ(sent.size(), 1u);
        EXPECT_EQ(pairsOf(sent[0]), expected);
        for (const auto& record : sent[0]) EXPECT_EQ(record.intValue, handle);
    }
}

TEST_F(ModelTest, ListenersHearChangesOfTheirResourcesOnlyInTheirOrder) {
    auto ids = newCallback();
    auto paths = newCallback();
    auto bystander = newCallback();
    listen({idRecord(2), idRecord(1)}, ids);
    listen({pathRecord("/p"), pathRecord("/q")}, paths);
    listen({idRecord(9)}, bystander);
    const int32_t older = acquire({idRecord(1, "a"), idRecord(2, "b"), idRecord(3, "c")});
    const Effects first = take();
    EXPECT_EQ(heard(first, ids), (std::vector<Pairs>{{{"2", "b"}, {"1", "a"}}}));
    EXPECT_TRUE(heard(first, paths).empty());
    EXPECT_TRUE(heard(first, bystander).empty());
    acquire({pathRecord("/q", "x")});
    EXPECT_EQ(heard(take(), paths), (std::vector<Pairs>{{{"/q", "x"}}}));
    // A newer request of the same value, then gone again: the effective value never moved.
    release(acquire({idRecord(1, "a")}));
    EXPECT_TRUE(heard(take(), ids).empty());
    // Nothing sets it any more: the listener hears the value is gone.
    release(older);
    EXPECT_EQ(heard(take(), ids), (std::vector<Pairs>{{{"2", std::nullopt}, {"1", std::nullopt}}}));
    // A path record names no id.
    acquire({pathRecord("/p", "y")});
    const auto sent = sentTo(take().notifications, paths);
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].at(0).id, 0);
}

TEST_F(ModelTest, ThermalListenersHearLevelChangesOfTheirIds) {
    auto hot = newCallback();
    auto other = newCallback();
    int32_t hotHandle = -1;
    int32_t otherHandle = -1;
    ASSERT_TRUE(model->thermalListeningRegister({4, 3}, hot, kPid, &hotHandle, &effects).ok());
    ASSERT_TRUE(model->thermalListeningRegister({5}, other, kPid, &otherHandle, &effects).ok());

    struct Step {
        DataList levels;
        std::vector<Pairs> hot;  // what the first registration hears
        std::vector<Pairs> other;
    };
    const Step steps[] = {
            {{idRecord(3, "2")}, {{{"3", "2"}}}, {}},
            {{idRecord(3, "2")}, {}, {}},  // same level: no news
            {{idRecord(5, "9"), idRecord(3, "1"), idRecord(4, "0")},
             {{{"4", "0"}, {"3", "1"}}},
             {{{"5", "9"}}}},
            {{idRecord(4), idRecord(0, "7")}, {}, {}},  // names no level
    };
    for (size_t i = 0; i < std::size(steps); ++i) {
        SCOPED_TRACE(i);
        EXPECT_GE(request(parcelOf(RequestType::kThermal, steps[i].levels)), 1);
        const Effects e = take();
        EXPECT_EQ(heard(e, hot), steps[i].hot);
        EXPECT_EQ(heard(e, other), steps[i].other);
    }

    // The thermal unregistration knows thermal handles only; the general one knows both.
    take();
    const int32_t listening = listen({idRecord(1)}, other);
    int32_t result = -2;
    ASSERT_TRUE(model->thermalListeningUnregister(listening, kPid, &result, &effects).ok());
    EXPECT_EQ(result, -1);
    ASSERT_TRUE(model->thermalListeningUnregister(hotHandle, kPid, &result, &effects).ok());
    EXPECT_EQ(result, 0);
    ASSERT_TRUE(model->listeningUnregister(otherHandle, kPid, &result, &effects).ok());
    EXPECT_EQ(result, 0);
    // Their callbacks are released, and they hear nothing more.
    EXPECT_EQ(take().released, (std::vector<std::shared_ptr<IJorvCallback>>{hot, other}));
    request(parcelOf(RequestType::kThermal, {idRecord(3, "8"), idRecord(5, "8")}));
    acquire({idRecord(1, "a")});
    EXPECT_EQ(take().notifications.size(), 1u);  // to the listening still registered
}

TEST_F(ModelTest, RulesThatAreOnSetTheirResources) {
    constexpr int32_t kRes = 0x01011070;
    const std::string res = std::to_string(kRes);
    auto callback = newCallback();
    listen({idRecord(kRes)}, callback);
    int32_t result = -2;
    auto rule = [&](int32_t status, DataList data) {
        ASSERT_TRUE(model->ruleCtl(102, status, data, kPid, &result, &effects).ok());
        EXPECT_EQ(result, 0);
    };

    rule(1, {idRecord(kRes, "3")});
    EXPECT_EQ(valueOf(idRecord(kRes)), "3");
    EXPECT_EQ(heard(take(), callback), (std::vector<Pairs>{{{res, "3"}}}));
    rule(1, {idRecord(kRes, "25")});  // on again: replaces what it set
    EXPECT_EQ(heard(take(), callback), (std::vector<Pairs>{{{res, "25"}}}));

    // A newer request wins over the rule; when it goes, the rule's value is back.
    const int32_t handle = acquire({idRecord(kRes, "99")});
    EXPECT_EQ(valueOf(idRecord(kRes)), "99");
    release(handle);
    EXPECT_EQ(valueOf(idRecord(kRes)), "25");
    take();

    rule(0, {});
    EXPECT_EQ(valueOf(idRecord(kRes)), std::nullopt);
    EXPECT_EQ(heard(take(), callback), (std::vector<Pairs>{{{res, std::nullopt}}}));
    EXPECT_THAT(model->dump(jorvsim::DiagnosticCode::kResourceInfo),
                Contains(HasSubstr("rule 102 off status=0")));
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
    auto historyTexts = [this] {
        std::vector<std::string> texts;
        for (const auto& answer : query(RequestType::kHistory)) {
            EXPECT_FALSE(answer.value.has_value());
            texts.push_back(answer.extra.value_or("<none>"));
        }
        return texts;
    };
    const int32_t handle = acquire({idRecord(0x100, "1")}, 50);
    request(parcelOf(RequestType::kNotification, {idRecord(3)}));
    release(handle);
    int32_t result = -1;
    ASSERT_TRUE(model->propertySet("a", "x;y", kPid, &result, &effects).ok());

    // Clients join the texts with ';': none may hold one.
    EXPECT_THAT(historyTexts(),
                ElementsAre(AllOf(HasSubstr("acquire handle=1 type=resource pid=4242"),
                                  HasSubstr("duration=50ms")),
                            HasSubstr("notify pid=4242"), HasSubstr("release handle=1"),
                            Not(HasSubstr(";"))));

    request(parcelOf(RequestType::kDiagnostic, {idRecord(kHistoryOff)}));
    acquire({idRecord(0x100, "2")});
    EXPECT_EQ(historyTexts().size(), 4u);
    request(parcelOf(RequestType::kDiagnostic, {idRecord(kHistoryOn)}));
    acquire({idRecord(0x100, "3")});
    // The switch on is recorded, then the request.
    EXPECT_THAT(historyTexts(), ElementsAre(_, _, _, _, _, HasSubstr("acquire")));

    // Only the newest records are kept, oldest first; none at all when history is off.
    resetModel(ModelOptions{2, true, {}});
    for (int i = 0; i < 3; ++i) acquire({});
    EXPECT_THAT(historyTexts(), ElementsAre(HasSubstr("handle=2"), HasSubstr("handle=3")));
    resetModel(ModelOptions{8, false, {}});
    acquire({});
    EXPECT_TRUE(historyTexts().empty());
}

TEST_F(ModelTest, FixedAnswersHaveTheShapesClientsParse) {
    constexpr int32_t kPower = 0x1011670;
    const auto power = query(
            RequestType::kPowerConsumption,
            {idRecord(kPower, "0 1 35"), idRecord(kPower, "1 1 35"), idRecord(kPower, "2 1 35")});
    ASSERT_EQ(power.size(), 3u);
    EXPECT_EQ(power[0].value, "1260");
    EXPECT_EQ(power[2].value, "415");
    EXPECT_EQ(query(RequestType::kPowerConsumption).at(0).value, "1260");

    EXPECT_EQ(query(RequestType::kPowerMode, {idRecord(0)}).at(0).value, "1");
    EXPECT_EQ(query(RequestType::kPowerMode, {idRecord(2)}).at(0).value, "0");

    const auto dataSet = query(RequestType::kDataSet);
    ASSERT_EQ(dataSet.size(), 4u);
    for (const auto& record : dataSet) EXPECT_TRUE(record.value.has_value());

    const auto on = query(RequestType::kFeatureStatus, {idRecord(1), idRecord(3)});
    ASSERT_EQ(on.size(), 1u);  // exactly one answer, for the first feature
    EXPECT_EQ(on[0].value, "1");
    EXPECT_EQ(query(RequestType::kFeatureStatus, {idRecord(3)}).at(0).value, "0");
    EXPECT_TRUE(query(RequestType::kFeatureStatus).empty());
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
        EXPECT_GE(request(parcelOf(RequestType::kDiagnostic, {idRecord(code)})), 1);
        EXPECT_THAT(take().log, Contains(HasSubstr(expected)));
    }
}

}  // namespace
}  // namespace jorvsimtest
