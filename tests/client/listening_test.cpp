// Listening registrations by id, by path and for thermal events share one registry: its duplicate
// rule, unregistration by handle, and the state and thermal requests around it.

#include <gtest/gtest.h>

#include <functional>

#include "JorvHalclient.h"
#include "support/FakeServiceTest.h"
#include "support/RecordingCallbacks.h"

namespace qartest {
namespace {

constexpr char kDuplicate[] = "Same callback interface registered already";
constexpr char kRegistered[] = "A callback has been registered to Jorv HAL ";

class ListeningTest : public FakeServiceTest {
public:
    std::shared_ptr<RecordingCallback> byId = std::make_shared<RecordingCallback>();
    std::shared_ptr<RecordingPathCallback> byPath = std::make_shared<RecordingPathCallback>();
};

TEST_F(ListeningTest, DuplicateRule) {
    using namespace jorvHalclient;
    using Register = std::function<int(ListeningTest&)>;
    auto ids = [](std::vector<int32_t> list) -> Register {
        return [list](ListeningTest& t) {
            ResourceList resources;
            for (int32_t id : list) resources.push_back({id, std::nullopt});
            return jorvResListeningRegister(resources, 0, t.byId);
        };
    };
    auto paths = [](std::vector<std::string> list) -> Register {
        return [list](ListeningTest& t) {
            return jorv_res_listening_register_by_path(list, 0, t.byPath);
        };
    };
    auto pathMap = [](std::map<std::string, std::string> map) -> Register {
        return [map](ListeningTest& t) {
            return jorv_res_listening_register_map_by_path(map, 0, t.byPath);
        };
    };
    auto thermal = [](std::vector<int> list) -> Register {
        return [list](ListeningTest& t) { return jorvThermalListeningRegister(list, t.byId); };
    };
    struct Case {
        const char* name;
        Register first;
        Register second;
        bool refused;
    };
    const std::vector<Case> cases = {
            {"same ids", ids({5, 7}), ids({5, 7}), true},
            {"ids in another order", ids({5, 7}), ids({7, 5}), false},
            {"empty id lists", ids({}), ids({}), true},
            {"empty ids after a path listening", paths({"/a"}), ids({}), true},
            {"same paths", paths({"/a", "/b"}), paths({"/a", "/b"}), true},
            {"paths in another order", paths({"/a", "/b"}), paths({"/b", "/a"}), false},
            {"map keys equal the vector", paths({"a", "b"}), pathMap({{"b", "1"}, {"a", "2"}}),
             true},
            {"ids of a thermal registration", thermal({3, 4}), ids({3, 4}), true},
            {"thermal ids twice", thermal({3}), thermal({3}), false},
    };
    for (const Case& c : cases) {
        resetCallbackRegistries();
        fake->clearCalls();
        log.clear();
        EXPECT_EQ(c.first(*this), 1) << c.name;
        EXPECT_EQ(c.second(*this), c.refused ? -1 : 1) << c.name;
        EXPECT_EQ(log.count(ANDROID_LOG_ERROR, kTag, kDuplicate), c.refused ? 1u : 0u) << c.name;
        EXPECT_EQ(fake->calls().size(), c.refused ? 1u : 2u)
                << "a refusal sends nothing, " << c.name;
        EXPECT_EQ(listeningGroupCount(), c.refused ? 1u : 2u) << c.name;
    }
}

TEST_F(ListeningTest, RegistrationParcel) {
    ResourceList resources = {{5, "1"}, {7, std::nullopt}};
    fake->enqueue("listeningRegister", Answer::ok(42));
    EXPECT_EQ(jorvHalclient::jorvResListeningRegister(resources, 9, byId), 42);
    const Call call = fake->callsOf("listeningRegister").at(0);
    EXPECT_EQ(call.parcel->requestType, 0);
    EXPECT_EQ(call.parcel->param5, 9);
    ASSERT_EQ(call.parcel->dataList.size(), 2u);
    EXPECT_EQ(call.parcel->dataList[0].value, "1");
    EXPECT_FALSE(call.parcel->dataList[1].value.has_value());
    EXPECT_NE(call.callback, nullptr);
    EXPECT_EQ(log.count(ANDROID_LOG_INFO, kTag, kRegistered), 1u);
}

TEST_F(ListeningTest, UnregisterByHandle) {
    fake->setDefault("listeningRegister", Answer::ok(8));
    ResourceList a = {{1, "x"}};
    ResourceList b = {{2, "x"}};
    ASSERT_EQ(jorvHalclient::jorvResListeningRegister(a, 0, byId), 8);
    ASSERT_EQ(jorvHalclient::jorvResListeningRegister(b, 0, byId), 8);
    const std::string unregistered = "a callback has been unregistered to Jorv HAL handle 8";

    fake->enqueue("listeningUnregister", Answer::ok(0));
    EXPECT_EQ(jorvHalclient::jorvResListeningUnRegister(8), 0);
    EXPECT_EQ(log.count(ANDROID_LOG_INFO, kTag, unregistered), 2u) << "once per group";
    EXPECT_EQ(listeningGroupCount(), 0u);

    // Unknown handle: the service is still asked and its answer returned.
    fake->enqueue("listeningUnregister", Answer::ok(5));
    EXPECT_EQ(jorvHalclient::jorvResListeningUnRegister(99), 5);
    EXPECT_EQ(fake->callsOf("listeningUnregister").back().ints, std::vector<int32_t>{99});
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, kTag, "The callback was not registered before"), 1u);

    // A failed unregistration still forgets the listening locally.
    ASSERT_EQ(jorvHalclient::jorvResListeningRegister(a, 0, byId), 8);
    fake->enqueue("listeningUnregister", Answer::transport(STATUS_UNKNOWN_ERROR));
    EXPECT_EQ(jorvHalclient::jorvResListeningUnRegister(8), -1);
    EXPECT_EQ(listeningGroupCount(), 0u);
}

TEST_F(ListeningTest, ThermalRegistrationOutlivesThermalUnregister) {
    fake->setDefault("thermalListeningRegister", Answer::ok(4));
    EXPECT_EQ(jorvHalclient::jorvThermalListeningRegister({3, 9}, byId), 4);
    EXPECT_EQ(fake->callsOf("thermalListeningRegister").at(0).ints, (std::vector<int32_t>{3, 9}));
    EXPECT_EQ(
            log.count(ANDROID_LOG_INFO, kTag, "subsys's callback has been registered to Jorv HAL"),
            1u);
    fake->enqueue("thermalListeningUnregister", Answer::ok(0));
    EXPECT_EQ(jorvHalclient::jorvThermalListeningUnregister(4), 0);
    EXPECT_EQ(listeningGroupCount(), 1u);
    EXPECT_EQ(jorvHalclient::jorvResListeningUnRegister(4), 1);
    EXPECT_EQ(listeningGroupCount(), 0u);
}

TEST_F(ListeningTest, ThermalNotify) {
    struct Case {
        const char* name;
        ResourceList pairs;
        std::optional<int32_t> handle;  // nothing: not sent
        int expected;
    };
    const std::vector<Case> cases = {
            {"handle 0 is a refusal", {{3, "2"}}, 0, -1},
            {"handle 5 is success", {{3, "2"}}, 5, 0},
            {"level missing", {{3, std::nullopt}}, std::nullopt, -1},
    };
    for (Case c : cases) {
        fake->clearCalls();
        log.clear();
        if (c.handle) fake->enqueue("request", Answer::ok(*c.handle));
        EXPECT_EQ(jorvHalclient::jorvThermalNotify(c.pairs, 6), c.expected) << c.name;
        const auto calls = fake->callsOf("request");
        ASSERT_EQ(calls.size(), c.handle ? 1u : 0u) << c.name;
        if (c.handle) {
            EXPECT_EQ(calls[0].parcel->requestType, 7);
            EXPECT_EQ(calls[0].parcel->param5, 6);
        } else {
            EXPECT_EQ(log.count(ANDROID_LOG_ERROR, kTag,
                                "jorvThermalNotify ERROR: size unmatched for id and level "),
                      1u);
        }
    }
}

TEST_F(ListeningTest, StateRequestAppendsAnswers) {
    ResourceList query = {{1, "q"}};
    ResourceList results = {{90, "old"}, {91, "old"}};
    fake->enqueue("stateRequest", Answer::okData({entry(1, "a,b"), entry(2), entry(3, "c")}));
    EXPECT_EQ(jorvHalclient::jorvResStateRequest(query, 4, results), 5);
    ASSERT_EQ(results.size(), 5u);
    EXPECT_EQ(results.front().value, "old");
    auto third = std::next(results.begin(), 2);
    EXPECT_EQ(third->value, "a,b");
    EXPECT_FALSE(std::next(third)->value.has_value());
    EXPECT_EQ(log.count(ANDROID_LOG_INFO, kTag, "jorv client jorvResStateRequest size 5"), 1u);
    EXPECT_EQ(fake->callsOf("stateRequest").at(0).parcel->param5, 4);

    // No answers, or a failure: -1 and the results untouched.
    fake->enqueue("stateRequest", Answer::okData({}));
    EXPECT_EQ(jorvHalclient::jorvResStateRequest(query, 4, results), -1);
    fake->enqueue("stateRequest", Answer::exception(EX_SECURITY));
    EXPECT_EQ(jorvHalclient::jorvResStateRequest(query, 4, results), -1);
    EXPECT_EQ(results.size(), 5u);
}

// On a device a reply must fit in the caller's binder buffer (1 MB less two pages); a bigger one
// fails like any other call, and the connection is dropped.
TEST_F(ListeningTest, StateAnswerLargerThanTheReceiveBufferFails) {
    ResourceList warmup;
    ASSERT_NE(jorvHalclient::jorvResCtlRequest(1, warmup, 2), -1);
    JorvRequestData data;
    data.id = 7;
    data.value = std::string(64, 'v');
    fake->enqueue("stateRequest", Answer::okData(std::vector<JorvRequestData>(15000, data)));
    ResourceList query = {{1, "q"}};
    ResourceList results;
    EXPECT_EQ(jorvHalclient::jorvResStateRequest(query, 4, results), -1);
    EXPECT_TRUE(results.empty());
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, kTag,
                        "jorvResStateRequest() failed: jorv HAL service not available"),
              1u);
    EXPECT_FALSE(jorvHalConnected());
}

}  // namespace
}  // namespace qartest
