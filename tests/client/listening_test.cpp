// Listening registrations by id, by path and for thermal events share one registry: its duplicate
// rule and unregistration by handle.

#include <gtest/gtest.h>

#include <functional>

#include "JorvHalclient.h"
#include "support/FakeServiceTest.h"
#include "support/RecordingCallbacks.h"

namespace qartest {
namespace {

constexpr char kDuplicate[] = "Same callback interface registered already";

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
    fake->enqueue("thermalListeningUnregister", Answer::ok(0));
    EXPECT_EQ(jorvHalclient::jorvThermalListeningUnregister(4), 0);
    EXPECT_EQ(listeningGroupCount(), 1u);
    EXPECT_EQ(jorvHalclient::jorvResListeningUnRegister(4), 1);
    EXPECT_EQ(listeningGroupCount(), 0u);
}

}  // namespace
}  // namespace qartest
