// Requests in the model: handles, expiry, effective values, malformed calls.
#include <functional>
#include <limits>
#include <map>
#include <tuple>

#include "Expiry.h"
#include "support/ModelTest.h"

namespace jorvsimtest {
namespace {

using jorvsim::Millis;

constexpr int32_t kBoost = 0x40800000;

TEST_F(ModelTest, HandlesIncreaseAcrossKindsAndAreNeverReused) {
    auto callback = newCallback();
    const int32_t first = acquire({idRecord(kBoost, "1")});
    const int32_t listening = listen({idRecord(kBoost)}, callback);
    int32_t thermal = -1;
    ASSERT_TRUE(model->thermalListeningRegister({3}, callback, kPid, &thermal, &effects).ok());
    const int32_t notification = request(parcelOf(RequestType::kNotification, {idRecord(1)}));
    EXPECT_EQ(first, 1);
    EXPECT_EQ(listening, 2);
    EXPECT_EQ(thermal, 3);
    EXPECT_EQ(notification, 4);

    EXPECT_EQ(release(first), 0);
    EXPECT_EQ(acquire({idRecord(kBoost, "2")}), 5);
}

TEST_F(ModelTest, OneWayRequestKeepsTheClientsHandleWhenItIsFree) {
    JorvRequestParcel parcel = parcelOf(RequestType::kEvent, {idRecord(12)});
    parcel.param0 = 77;
    int32_t handle = -1;
    ASSERT_TRUE(model->requestOneWay(parcel, kPid, &handle, &effects).ok());
    EXPECT_EQ(handle, 77);

    // The same client handle again while 77 is active: the service picks another and says so.
    int32_t second = -1;
    ASSERT_TRUE(model->requestOneWay(parcel, kPid, &second, &effects).ok());
    EXPECT_NE(second, 77);
    EXPECT_GE(second, 1);
    ASSERT_EQ(take().events.size(), 1u);

    parcel.param0 = -1;
    int32_t chosen = -1;
    ASSERT_TRUE(model->requestOneWay(parcel, kPid, &chosen, &effects).ok());
    EXPECT_GE(chosen, 1);
    EXPECT_NE(chosen, second);
    EXPECT_EQ(release(77), 0);
}

TEST_F(ModelTest, RequestLastsExactlyItsDuration) {
    acquire({idRecord(kBoost, "1200")}, 1000);
    clock.advance(Millis(999));
    EXPECT_EQ(valueOf(idRecord(kBoost)), "1200");
    EXPECT_TRUE(take().events.empty());

    clock.advance(Millis(1));
    EXPECT_EQ(valueOf(idRecord(kBoost)), std::nullopt);
    const Effects expired = take();
    ASSERT_EQ(expired.events.size(), 1u);
    EXPECT_NE(expired.events[0].find("expired handle=1"), std::string::npos) << expired.events[0];
    EXPECT_EQ(release(1), -1);
}

TEST_F(ModelTest, ZeroOrNegativeDurationLastsUntilReleased) {
    for (const int64_t duration : {int64_t{0}, int64_t{-1}, std::numeric_limits<int64_t>::min()}) {
        SCOPED_TRACE(duration);
        const int32_t handle = acquire({idRecord(kBoost, "5")}, duration);
        EXPECT_EQ(model->nextExpiry(), std::nullopt);
        clock.advance(jorvsim::kMaxDuration * 2);
        EXPECT_EQ(valueOf(idRecord(kBoost)), "5");
        EXPECT_EQ(release(handle), 0);
    }
}

TEST_F(ModelTest, NextExpiryIsTheSoonestAndOverlongDurationsAreCapped) {
    const auto start = clock.now();
    acquire({idRecord(1, "a")}, 300);
    const int32_t soon = acquire({idRecord(2, "b")}, 100);
    acquire({idRecord(3, "c")}, std::numeric_limits<int64_t>::max());
    EXPECT_EQ(model->nextExpiry(), start + Millis(100));
    release(soon);
    EXPECT_EQ(model->nextExpiry(), start + Millis(300));
    clock.advance(Millis(300));
    model->expireDue(&effects);
    EXPECT_EQ(model->nextExpiry(), start + jorvsim::kMaxDuration);
}

// The effective value of one resource as requests on it come and go.
TEST_F(ModelTest, NewestActiveRequestSetsTheEffectiveValue) {
    struct Step {
        char request;       // which request ('A', 'B', 'C')
        const char* value;  // acquire with this value; null: release the request
        const char* expected;
    };
    struct Case {
        const char* name;
        std::vector<Step> steps;
    };
    const Case cases[] = {
            {"newer wins, release falls back",
             {{'A', "10", "10"}, {'B', "20", "20"}, {'B', nullptr, "10"}, {'A', nullptr, nullptr}}},
            {"releasing the older keeps the newer",
             {{'A', "10", "10"}, {'B', "20", "20"}, {'A', nullptr, "20"}, {'B', nullptr, nullptr}}},
            {"middle one released",
             {{'A', "1", "1"},
              {'B', "2", "2"},
              {'C', "3", "3"},
              {'B', nullptr, "3"},
              {'C', nullptr, "1"}}},
            {"same value twice", {{'A', "7", "7"}, {'B', "7", "7"}, {'A', nullptr, "7"}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        resetModel({});
        std::map<char, int32_t> handles;
        for (const Step& step : c.steps) {
            if (step.value != nullptr) {
                handles[step.request] = acquire({idRecord(kBoost, step.value)});
            } else {
                EXPECT_EQ(release(handles[step.request]), 0);
            }
            const std::optional<std::string> expected =
                    step.expected != nullptr ? std::optional<std::string>(step.expected)
                                             : std::nullopt;
            EXPECT_EQ(valueOf(idRecord(kBoost)), expected)
                    << "after " << step.request << (step.value ? " acquires" : " releases");
        }
    }
}

TEST_F(ModelTest, IdsAndPathsAreSeparateResources) {
    acquire({pathRecord("5", "by-path"), idRecord(5, "by-id")});
    EXPECT_EQ(valueOf(idRecord(5)), "by-id");
    EXPECT_EQ(valueOf(pathRecord("5")), "by-path");
    // A record with both names the path.
    JorvRequestData both = pathRecord("5");
    both.id = 5;
    EXPECT_EQ(valueOf(both), "by-path");
}

TEST_F(ModelTest, StateQueryAnswersEveryRecordInOrder) {
    acquire({idRecord(1, "one"), pathRecord("/p", "pee")});
    DataList answers;
    ASSERT_TRUE(
            model->stateRequest(parcelOf(RequestType::kState, {idRecord(2, ""), pathRecord("/p"),
                                                               idRecord(0), idRecord(1)}),
                                kPid, &answers, &effects)
                    .ok());
    ASSERT_EQ(answers.size(), 4u);
    EXPECT_EQ(answers[0].id, 2);
    EXPECT_EQ(answers[0].value, std::nullopt);  // nothing sets it: no value, not the query's ""
    EXPECT_EQ(answers[1].path, "/p");
    EXPECT_EQ(answers[1].value, "pee");
    EXPECT_EQ(answers[2].value, std::nullopt);  // names no resource
    EXPECT_EQ(answers[3].value, "one");

    // Naming nothing lists every resource that has a value.
    ASSERT_TRUE(
            model->stateRequest(parcelOf(RequestType::kState, {}), kPid, &answers, &effects).ok());
    ASSERT_EQ(answers.size(), 2u);
    EXPECT_EQ(answers[0].id, 1);
    EXPECT_EQ(answers[1].path, "/p");
}

TEST_F(ModelTest, OnlyRecordsWithANameAndAValueSetAnything) {
    // An event's first record is its command, not a resource.
    const int32_t event =
            request(parcelOf(RequestType::kEvent, {idRecord(kBoost, "cmd"), idRecord(7, "x")}));
    acquire({idRecord(8), idRecord(0, "orphan")});
    EXPECT_EQ(valueOf(idRecord(kBoost)), std::nullopt);
    EXPECT_EQ(valueOf(idRecord(7)), "x");
    EXPECT_EQ(valueOf(idRecord(8)), std::nullopt);

    const auto runMap = model->dump(jorvsim::DiagnosticCode::kRunMap);
    const std::string eventLine = "handle " + std::to_string(event) + " event";
    bool found = false;
    for (const auto& line : runMap) {
        if (line.find(eventLine) != std::string::npos) {
            found = true;
            EXPECT_NE(line.find("cmd=0x40800000"), std::string::npos) << line;
        }
    }
    EXPECT_TRUE(found);
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

TEST_F(ModelTest, ReleaseOfAnUnknownHandleAnswersMinusOne) {
    auto callback = newCallback();
    const int32_t listening = listen({idRecord(1)}, callback);
    const int32_t handle = acquire({idRecord(1, "a")});
    EXPECT_EQ(release(handle), 0);
    EXPECT_EQ(release(handle), -1);
    EXPECT_EQ(release(999), -1);
    // A listening handle is not a request: it survives and still hears changes.
    EXPECT_EQ(release(listening), -1);
    take();
    acquire({idRecord(1, "b")});
    EXPECT_EQ(sentTo(take().notifications, callback).size(), 1u);
}

TEST_F(ModelTest, RequestWithACallbackHearsItsOutcomeOnce) {
    auto callback = newCallback();
    JorvRequestParcel resource =
            parcelOf(RequestType::kResource, {idRecord(kBoost, "1200"), pathRecord("/p", "on")});
    resource.callback = callback;
    const int32_t handle = request(resource);
    auto sent = sentTo(take().notifications, callback);
    ASSERT_EQ(sent.size(), 1u);
    ASSERT_EQ(sent[0].size(), 2u);
    EXPECT_EQ(sent[0][0].id, kBoost);
    EXPECT_EQ(sent[0][0].value, "1200");
    EXPECT_EQ(sent[0][0].intValue, handle);
    EXPECT_EQ(sent[0][1].path, "/p");
    EXPECT_EQ(sent[0][1].value, "on");

    JorvRequestParcel scene = parcelOf(RequestType::kSceneAction, {idRecord(33)});
    scene.callback = callback;
    const int32_t sceneHandle = request(scene);
    sent = sentTo(take().notifications, callback);
    ASSERT_EQ(sent.size(), 1u);
    ASSERT_EQ(sent[0].size(), 1u);
    EXPECT_EQ(sent[0][0].id, 33);
    EXPECT_EQ(sent[0][0].intValue, sceneHandle);

    // A request that leaves nothing active still answers, with nothing to report.
    JorvRequestParcel diagnostic = parcelOf(RequestType::kDiagnostic, {idRecord(1)});
    diagnostic.callback = callback;
    request(diagnostic);
    sent = sentTo(take().notifications, callback);
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_TRUE(sent[0].empty());
}

}  // namespace
}  // namespace jorvsimtest
