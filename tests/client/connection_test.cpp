// The namespace client's connection: first use, waiting for a declared service, death, and the
// race of two connecting threads. Calls while the service dies and comes back: tests/reliability.

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>

#include "JorvHalclient.h"
#include "halclient/JorvHalConnection.h"
#include "support/FakeServiceTest.h"

namespace qartest {
namespace {

constexpr char kNotDeclared0[] = "Jorv is not declared, AServiceManager_isDeclared:0";
constexpr char kNotDeclared1[] = "Jorv is not declared, AServiceManager_isDeclared:1";

int requestOnce() {
    ResourceList empty;
    return jorvHalclient::jorvResCtlRequest(1, empty, 2);
}

TEST(ConnectionTest, NotDeclaredEveryCallLogsAndFails) {
    ServiceEnv env;
    env.publish();  // running but not declared: the client must not use it
    LogCapture log;
    struct Case {
        const char* entry;
        std::function<int()> call;
    };
    static ResourceList empty;
    const std::vector<Case> cases = {
            {"jorv client jorvResCtlRequest", [] { return requestOnce(); }},
            {"jorv client jorvSACtlRequest",
             [] { return jorvHalclient::jorvSACtlRequest(1, 2, 3); }},
            {"jorv client jorvResCtlRelease", [] { return jorvHalclient::jorvResCtlRelease(1); }},
            {"jorv client jorvSACtlRelease", [] { return jorvHalclient::jorvSACtlRelease(1); }},
            {"jorv client jorv_init",
             [] {
                 jorvHalclient::jorv_init();
                 return -1;
             }},
    };
    for (const Case& c : cases) {
        log.clear();
        const auto before = env.lookups();
        EXPECT_EQ(c.call(), -1) << c.entry;
        const std::vector<LogLine> expected = {{ANDROID_LOG_INFO, kTag, c.entry},
                                               {ANDROID_LOG_ERROR, kTag, kNotDeclared0}};
        EXPECT_EQ(log.lines(), expected) << c.entry;
        const auto after = env.lookups();
        EXPECT_EQ(after.isDeclared - before.isDeclared, 2u) << "asked twice, " << c.entry;
        EXPECT_EQ(after.waitForService, before.waitForService) << c.entry;
    }
    EXPECT_TRUE(env.fake()->calls().empty());
}

TEST(ConnectionTest, FirstUseConnectsOnceThenStaysCached) {
    ServiceEnv env;
    env.declare();
    env.publish();
    LogCapture log;
    const auto before = env.lookups();
    for (int i = 0; i < 5; ++i) EXPECT_EQ(requestOnce(), 1);
    const auto after = env.lookups();
    EXPECT_EQ(after.isDeclared - before.isDeclared, 1u);
    EXPECT_EQ(after.waitForService - before.waitForService, 1u);
    EXPECT_EQ(after.checkService, before.checkService) << "the namespace client never checks";
    for (const LogLine& line : log.lines()) EXPECT_NE(line.priority, ANDROID_LOG_ERROR);
}

TEST(ConnectionTest, InitSendsInitAndFailureDropsConnection) {
    ServiceEnv env;
    env.declare();
    auto fake = env.publish();
    jorvHalclient::jorv_init();
    EXPECT_EQ(fake->callsOf("init").size(), 1u);
    EXPECT_TRUE(jorvHalConnected());

    LogCapture log;
    fake->enqueue("init", Answer::exception(EX_SECURITY));
    jorvHalclient::jorv_init();
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, kTag,
                        "jorv_init() failed: jorv HAL service not available"),
              1u);
    EXPECT_FALSE(jorvHalConnected());
}

TEST(ConnectionTest, DeclaredButNotRunningWaitsForPublication) {
    ServiceEnv env;
    env.declare();
    const auto before = env.lookups();
    auto pending = std::async(std::launch::async, requestOnce);
    // The call is inside waitForService once the look-up was counted.
    ASSERT_TRUE(waitFor([&] { return env.lookups().waitForService > before.waitForService; }));
    EXPECT_EQ(pending.wait_for(std::chrono::milliseconds(0)), std::future_status::timeout);
    auto fake = env.publish();
    fake->setDefault("request", Answer::ok(606));
    ASSERT_EQ(pending.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    EXPECT_EQ(pending.get(), 606);
}

TEST(ConnectionTest, DeathDropsConnectionAndNextCallReconnects) {
    ServiceEnv env;
    env.declare();
    env.publish();
    ASSERT_EQ(requestOnce(), 1);
    LogCapture log;
    env.kill();
    ASSERT_TRUE(waitFor(
            [&] { return log.count(ANDROID_LOG_ERROR, kTag, "Jorv HAL Service died") == 1; }));
    EXPECT_FALSE(jorvHalConnected());

    // The next call waits for the service to come back.
    const auto before = env.lookups();
    auto pending = std::async(std::launch::async, requestOnce);
    ASSERT_TRUE(waitFor([&] { return env.lookups().waitForService > before.waitForService; }));
    auto fake = env.publish();
    fake->setDefault("request", Answer::ok(2));
    ASSERT_EQ(pending.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    EXPECT_EQ(pending.get(), 2);

    // The new connection has a death link of its own.
    env.kill();
    EXPECT_TRUE(waitFor(
            [&] { return log.count(ANDROID_LOG_ERROR, kTag, "Jorv HAL Service died") == 2; }));
    EXPECT_FALSE(jorvHalConnected());
}

TEST(ConnectionTest, ConcurrentFirstCallsConnectOnceAndLosersLogTheirRace) {
    ServiceEnv env;
    env.declare();
    env.publish();
    constexpr int kThreads = 8;
    LogCapture log;
    const auto before = env.lookups();
    std::vector<std::thread> threads;
    std::atomic<int> failures{0};
    {
        // Hold the lock shared so every thread passes the connected check and then queues for the
        // exclusive hold; releasing it lets them race for the connect.
        qar::SharedLock hold(jorvHalclient::g_jorv_hal_mutex);
        for (int i = 0; i < kThreads; ++i) {
            threads.emplace_back([&] {
                if (requestOnce() != 1) ++failures;
            });
        }
        ASSERT_TRUE(waitFor([&] {
            return log.count(ANDROID_LOG_INFO, kTag, "jorv client jorvResCtlRequest") == kThreads;
        }));
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(failures, 0);
    const auto after = env.lookups();
    EXPECT_EQ(after.waitForService - before.waitForService, 1u) << "connected exactly once";
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, kTag, kNotDeclared0), 0u);
    const size_t losers = log.count(ANDROID_LOG_ERROR, kTag, kNotDeclared1);
    EXPECT_LE(losers, static_cast<size_t>(kThreads - 1));
    // Each loser asked once; the winner asked once.
    EXPECT_EQ(after.isDeclared - before.isDeclared, losers + 1);
}

}  // namespace
}  // namespace qartest
