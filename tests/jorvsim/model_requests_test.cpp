// Requests in the model: handles, expiry, effective values, malformed calls.
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
    const Effects expired = take();
    ASSERT_EQ(expired.events.size(), 1u);
    EXPECT_NE(expired.events[0].find("expired handle=1"), std::string::npos) << expired.events[0];
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
    DataList answers;
    ASSERT_TRUE(model->stateRequest(parcelOf(RequestType::kState,
                                             {idRecord(2, ""), pathRecord("/p"), idRecord(0),
                                              idRecord(1), idRecord(5), both, idRecord(kBoost),
                                              idRecord(7), idRecord(8)}),
                                    kPid, &answers, &effects)
                        .ok());
    // An answer names what was asked; nothing sets 2: no value, not the query's "".
    const std::optional<std::string> none;
    const Pairs expected = {{"2", none},          {"/p", "pee"},  {"0", none},
                            {"1", "one"},         {"5", "by-id"}, {"5", "by-path"},
                            {"1082130432", none}, {"7", "x"},     {"8", none}};
    EXPECT_EQ(pairsOf(answers), expected);

    // Naming nothing lists every resource that has a value.
    ASSERT_TRUE(
            model->stateRequest(parcelOf(RequestType::kState, {}), kPid, &answers, &effects).ok());
    EXPECT_EQ(answers.size(), 5u);
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

}  // namespace
}  // namespace jorvsimtest
