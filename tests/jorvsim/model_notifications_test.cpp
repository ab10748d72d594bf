// Who hears what: listenings on effective values, thermal registrations, rules.
#include "support/ModelTest.h"

namespace jorvsimtest {
namespace {

// The (name, value) pairs of records, naming each by path or id, for compact comparisons.
std::vector<std::pair<std::string, std::optional<std::string>>> pairs(const DataList& records) {
    std::vector<std::pair<std::string, std::optional<std::string>>> out;
    for (const auto& r : records) {
        out.emplace_back(r.path.has_value() ? *r.path : std::to_string(r.id), r.value);
    }
    return out;
}

using Pairs = std::vector<std::pair<std::string, std::optional<std::string>>>;

TEST_F(ModelTest, ListenersHearOnlyTheirChangedResourcesInTheirOrder) {
    auto ids = newCallback();
    auto paths = newCallback();
    auto bystander = newCallback();
    listen({idRecord(2), idRecord(1)}, ids);
    listen({pathRecord("/p"), pathRecord("/q")}, paths);
    listen({idRecord(9)}, bystander);
    take();

    acquire({idRecord(1, "a"), idRecord(2, "b"), idRecord(3, "c")});
    Effects e = take();
    ASSERT_EQ(sentTo(e.notifications, ids).size(), 1u);
    EXPECT_EQ(pairs(sentTo(e.notifications, ids)[0]), (Pairs{{"2", "b"}, {"1", "a"}}));
    EXPECT_TRUE(sentTo(e.notifications, paths).empty());
    EXPECT_TRUE(sentTo(e.notifications, bystander).empty());

    acquire({pathRecord("/q", "x")});
    e = take();
    ASSERT_EQ(sentTo(e.notifications, paths).size(), 1u);
    const JorvRequestData record = sentTo(e.notifications, paths)[0].at(0);
    EXPECT_EQ(record.path, "/q");
    EXPECT_EQ(record.id, 0);
    EXPECT_EQ(record.value, "x");
    EXPECT_TRUE(sentTo(e.notifications, ids).empty());
}

TEST_F(ModelTest, ListenersHearChangesOfTheEffectiveValueOnly) {
    auto callback = newCallback();
    const int32_t older = acquire({idRecord(1, "5")});
    listen({idRecord(1)}, callback);
    take();

    // Same value from a newer request, then gone again: the effective value never moved.
    const int32_t newer = acquire({idRecord(1, "5")});
    release(newer);
    EXPECT_TRUE(take().notifications.empty());

    // Nothing sets it any more: the listener hears the value is gone.
    release(older);
    const auto sent = sentTo(take().notifications, callback);
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(pairs(sent[0]), (Pairs{{"1", std::nullopt}}));
}

TEST_F(ModelTest, UnregisteredListenerHearsNothingAndItsCallbackIsReleased) {
    auto callback = newCallback();
    const int32_t handle = listen({idRecord(1)}, callback);
    int32_t result = -2;
    ASSERT_TRUE(model->listeningUnregister(handle, kPid, &result, &effects).ok());
    EXPECT_EQ(result, 0);
    Effects e = take();
    ASSERT_EQ(e.released.size(), 1u);
    EXPECT_EQ(e.released[0], callback);

    ASSERT_TRUE(model->listeningUnregister(handle, kPid, &result, &effects).ok());
    EXPECT_EQ(result, -1);
    acquire({idRecord(1, "a")});
    EXPECT_TRUE(take().notifications.empty());
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
        Pairs hot;    // what the first registration hears (empty: nothing)
        Pairs other;  // what the second hears
    };
    const Step steps[] = {
            {{idRecord(3, "2")}, {{"3", "2"}}, {}},
            {{idRecord(3, "2")}, {}, {}},  // same level: no news
            {{idRecord(5, "9"), idRecord(3, "1"), idRecord(4, "0")},
             {{"4", "0"}, {"3", "1"}},
             {{"5", "9"}}},
            {{idRecord(4), idRecord(0, "7")}, {}, {}},  // names no level
    };
    for (size_t i = 0; i < std::size(steps); ++i) {
        SCOPED_TRACE(i);
        const int32_t handle = request(parcelOf(RequestType::kThermal, steps[i].levels));
        EXPECT_GE(handle, 1);
        const Effects e = take();
        const auto toHot = sentTo(e.notifications, hot);
        const auto toOther = sentTo(e.notifications, other);
        EXPECT_EQ(toHot.empty() ? Pairs{} : pairs(toHot.at(0)), steps[i].hot);
        EXPECT_EQ(toOther.empty() ? Pairs{} : pairs(toOther.at(0)), steps[i].other);
        EXPECT_LE(toHot.size(), 1u);
    }

    // The thermal unregistration knows thermal handles only; the general one knows both.
    const int32_t listening = listen({idRecord(1)}, other);
    int32_t result = -2;
    ASSERT_TRUE(model->thermalListeningUnregister(listening, kPid, &result, &effects).ok());
    EXPECT_EQ(result, -1);
    ASSERT_TRUE(model->thermalListeningUnregister(hotHandle, kPid, &result, &effects).ok());
    EXPECT_EQ(result, 0);
    ASSERT_TRUE(model->listeningUnregister(otherHandle, kPid, &result, &effects).ok());
    EXPECT_EQ(result, 0);
    take();
    request(parcelOf(RequestType::kThermal, {idRecord(3, "8"), idRecord(5, "8")}));
    EXPECT_TRUE(take().notifications.empty());
}

TEST_F(ModelTest, RulesThatAreOnSetTheirResources) {
    constexpr int32_t kRes = 0x01011070;
    auto callback = newCallback();
    listen({idRecord(kRes)}, callback);
    take();
    int32_t result = -2;
    auto rule = [&](int32_t status, DataList data) {
        ASSERT_TRUE(model->ruleCtl(102, status, data, kPid, &result, &effects).ok());
        EXPECT_EQ(result, 0);
    };
    auto heard = [&] {
        const auto sent = sentTo(take().notifications, callback);
        return sent.empty() ? Pairs{} : pairs(sent.at(0));
    };

    rule(1, {idRecord(kRes, "3")});
    EXPECT_EQ(valueOf(idRecord(kRes)), "3");
    EXPECT_EQ(heard(), (Pairs{{std::to_string(kRes), "3"}}));

    rule(1, {idRecord(kRes, "25")});  // on again: replaces what it set
    EXPECT_EQ(heard(), (Pairs{{std::to_string(kRes), "25"}}));

    // A newer request wins over the rule; when it goes, the rule's value is back.
    const int32_t handle = acquire({idRecord(kRes, "99")});
    EXPECT_EQ(valueOf(idRecord(kRes)), "99");
    release(handle);
    EXPECT_EQ(valueOf(idRecord(kRes)), "25");
    take();

    rule(0, {});
    EXPECT_EQ(valueOf(idRecord(kRes)), std::nullopt);
    EXPECT_EQ(heard(), (Pairs{{std::to_string(kRes), std::nullopt}}));

    const auto info = model->dump(jorvsim::DiagnosticCode::kResourceInfo);
    bool listed = false;
    for (const auto& line : info) listed |= line.find("rule 102 off status=0") != std::string::npos;
    EXPECT_TRUE(listed);
}

TEST_F(ModelTest, ForgottenRegistrationHearsNothingMore) {
    auto gone = newCallback();
    auto alive = newCallback();
    const int32_t handle = listen({idRecord(1)}, gone);
    listen({idRecord(1)}, alive);
    const int32_t request = acquire({idRecord(1, "a")});
    take();

    model->forgetRegistration(handle, &effects);
    Effects e = take();
    ASSERT_EQ(e.released.size(), 1u);
    ASSERT_EQ(e.events.size(), 1u);
    // Only registrations are forgotten, never requests.
    model->forgetRegistration(request, &effects);
    EXPECT_TRUE(take().released.empty());
    EXPECT_EQ(valueOf(idRecord(1)), "a");

    acquire({idRecord(1, "b")});
    e = take();
    EXPECT_TRUE(sentTo(e.notifications, gone).empty());
    EXPECT_EQ(sentTo(e.notifications, alive).size(), 1u);
}

}  // namespace
}  // namespace jorvsimtest
