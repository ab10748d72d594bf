// The event API's connection: a look-up that never waits, qarInit, death and reconnection, and its
// independence from the namespace client's connection.

#include <android/binder_manager.h>
#include <gtest/gtest.h>

#include <atomic>

#include "JorvHalclient.h"
#include "QarEventApi.h"
#include "support/FakeServiceTest.h"

namespace qartest {
namespace {

TEST(EventConnectionTest, UnreachableServiceFailsAtOnce) {
    for (bool declared : {false, true}) {
        ServiceEnv env;  // nothing published
        if (declared) env.declare();
        LogCapture log;
        const auto before = env.lookups();
        EXPECT_EQ(qarInit(), -1);
        const std::vector<LogLine> expected = {
                {ANDROID_LOG_ERROR, kQarTag, "qarInit enter"},
                {ANDROID_LOG_ERROR, kQarTag,
                 declared ? "Jorv HAL Service not found"
                          : "Jorv is not declared, AServiceManager_isDeclared:0"},
                {ANDROID_LOG_ERROR, kQarTag, "qar_get_jorv_hal_and_link_to_death error:-1"}};
        EXPECT_EQ(log.lines(), expected);
        const auto after = env.lookups();
        EXPECT_EQ(after.checkService - before.checkService, declared ? 1u : 0u);
        EXPECT_EQ(after.waitForService, before.waitForService) << "never waits";
    }
}

TEST(EventConnectionTest, ConnectsOnceAndInitFailureGivesMinusTwo) {
    ServiceEnv env;
    env.declare();
    auto fake = env.publish();
    const auto before = env.lookups();
    EXPECT_EQ(qarInit(), 0);
    QarRelease(4);
    EXPECT_EQ(qarRuleCtl(8, 1, {}), 1);
    const auto after = env.lookups();
    EXPECT_EQ(after.isDeclared - before.isDeclared, 1u) << "the fast path skips the look-up";
    EXPECT_EQ(after.checkService - before.checkService, 1u);

    fake->enqueue("init", Answer::serviceSpecific(3));
    LogCapture log;
    EXPECT_EQ(qarInit(), -2);
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, kQarTag,
                        "jorv_init() failed : jorv HAL service not available"),
              1u);
    EXPECT_FALSE(qarHalConnected());
    EXPECT_EQ(qarInit(), 0);
    EXPECT_EQ(fake->callsOf("init").size(), 3u);
}

TEST(EventConnectionTest, DeathIsReportedOnceAndQarInitReconnects) {
    ServiceEnv env;
    env.declare();
    env.publish();
    // The test keeps the proxy alive, so that the connection dropped after a failed init is re-made
    // on the same proxy: its death must still be reported once, not once per connection made.
    ndk::SpAIBinder proxy(AServiceManager_checkService(kInstance));
    env.fake()->enqueue("init", Answer::exception(EX_SECURITY));
    ASSERT_EQ(qarInit(), -2);
    ASSERT_EQ(qarInit(), 0);
    std::atomic<bool> toldAll{false};  // linked last, so told last
    ndk::ScopedAIBinder_DeathRecipient recipient(AIBinder_DeathRecipient_new(
            [](void* cookie) { static_cast<std::atomic<bool>*>(cookie)->store(true); }));
    ASSERT_EQ(AIBinder_linkToDeath(proxy.get(), recipient.get(), &toldAll), STATUS_OK);
    LogCapture log;
    env.kill();
    ASSERT_TRUE(waitFor([&] { return toldAll.load(); }));
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, kQarTag, "Jorv HAL Service died"), 1u);
    EXPECT_FALSE(qarHalConnected());

    auto fake = env.publish();
    EXPECT_EQ(qarInit(), 0);
    EXPECT_EQ(fake->callsOf("init").size(), 1u);
}

TEST(EventConnectionTest, DroppingOneConnectionLeavesTheOther) {
    ServiceEnv env;
    env.declare();
    auto fake = env.publish();
    jorvHalclient::jorv_init();
    ASSERT_EQ(qarInit(), 0);

    fake->enqueue("request", Answer::exception(EX_ILLEGAL_STATE));
    EXPECT_EQ(QarEventAcquire(1, "p", "i", 10, {}), -1);
    EXPECT_FALSE(qarHalConnected());
    EXPECT_TRUE(jorvHalConnected());

    ASSERT_EQ(qarInit(), 0);
    fake->enqueue("release", Answer::exception(EX_ILLEGAL_STATE));
    EXPECT_EQ(jorvHalclient::jorvResCtlRelease(1), -1);
    EXPECT_FALSE(jorvHalConnected());
    EXPECT_TRUE(qarHalConnected());
}

}  // namespace
}  // namespace qartest
