// Who hears what: listenings on effective values, thermal registrations, rules.
#include "support/ModelTest.h"

namespace jorvsimtest {
namespace {

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
    const std::pair<bool, int32_t> unregisters[] = {
            {true, listening}, {true, hotHandle}, {false, otherHandle}};
    for (const auto& [thermal, handle] : unregisters) {
        int32_t result = -2;
        ASSERT_TRUE((thermal ? model->thermalListeningUnregister(handle, kPid, &result, &effects)
                             : model->listeningUnregister(handle, kPid, &result, &effects))
                            .ok());
        EXPECT_EQ(result, handle == listening ? -1 : 0) << handle;
    }
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
    const auto info = model->dump(jorvsim::DiagnosticCode::kResourceInfo);
    bool listed = false;
    for (const auto& line : info) listed |= line.find("rule 102 off status=0") != std::string::npos;
    EXPECT_TRUE(listed);
}

}  // namespace
}  // namespace jorvsimtest
