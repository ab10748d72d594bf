// The library's two service connections: first use, an unreachable service, init, death and
// reconnection, the namespace's wait for a declared service and its race of connecting threads,
// and the independence of the two. Calls while the service dies and comes back:
// tests/reliability.

#include <android/binder_manager.h>
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>

#include "JorvHalclient.h"
#include "QarEventApi.h"
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

int initNamespace() {
    jorvHalclient::jorv_init();
    return jorvHalConnected() ? 0 : -1;
}

int callEventApi() {
    return qarRuleCtl(8, 1, {});
}

// One of the two connections. They log under their own tags, and look the service up in their own
// way: the namespace waits for it, the event API only checks for it.
struct Connection {
    const char* name;
    int (*call)();  // one call through the connection, which the fake answers with 1
    int (*init)();  // 0 when the service's init succeeds
    bool (*connected)();
    int initFailure;
    bool eventApi;

    const char* tag() const { return eventApi ? kQarTag : kTag; }
    uint64_t lookups(const HostBinderLookupCounts& counts) const {
        return eventApi ? counts.checkService : counts.waitForService;
    }
    uint64_t otherLookups(const HostBinderLookupCounts& counts) const {
        return eventApi ? counts.waitForService : counts.checkService;
    }
};

const Connection kNamespace = {"Namespace",      requestOnce, initNamespace,
                               jorvHalConnected, -1,          false};
const Connection kEvent = {"EventApi", callEventApi, qarInit, qarHalConnected, -2, true};

void PrintTo(const Connection& connection, std::ostream* os) {
    *os << connection.name;
}

// The event API adds a line of its own to the reason.
TEST(ConnectionTest, UnreachableServiceFailsAtOnce) {
    struct Case {
        bool declared;  // a service is published only when none is declared
        std::function<int()> call;
        int priority;  // of the entry line
        const char* tag;
        const char* entry;
        const char* reason;
        uint64_t isDeclared;
        uint64_t checkService;
    };
    const std::vector<Case> cases = {
            {false, requestOnce, ANDROID_LOG_INFO, kTag, "jorv client jorvResCtlRequest",
             kNotDeclared0, 2, 0},
            {false, initNamespace, ANDROID_LOG_INFO, kTag, "jorv client jorv_init", kNotDeclared0,
             2, 0},
            {false, qarInit, ANDROID_LOG_ERROR, kQarTag, "qarInit enter", kNotDeclared0, 2, 0},
            {true, qarInit, ANDROID_LOG_ERROR, kQarTag, "qarInit enter",
             "Jorv HAL Service not found", 1, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.entry);
        ServiceEnv env;
        c.declared ? env.declare() : static_cast<void>(env.publish());
        LogCapture log;
        const auto before = env.lookups();
        EXPECT_EQ(c.call(), -1);
        std::vector<LogLine> expected = {{c.priority, c.tag, c.entry},
                                         {ANDROID_LOG_ERROR, c.tag, c.reason}};
        if (c.tag == kQarTag) {
            expected.push_back(
                    {ANDROID_LOG_ERROR, kQarTag, "qar_get_jorv_hal_and_link_to_death error:-1"});
        }
        EXPECT_EQ(log.lines(), expected);
        const auto after = env.lookups();
        EXPECT_EQ(after.isDeclared - before.isDeclared, c.isDeclared);
        EXPECT_EQ(after.checkService - before.checkService, c.checkService);
        EXPECT_EQ(after.waitForService, before.waitForService) << "never waits";
        EXPECT_TRUE(c.declared || env.fake()->calls().empty());
    }
}

class ConnectionTest : public FakeServiceTest, public ::testing::WithParamInterface<Connection> {};

TEST_P(ConnectionTest, FirstUseConnectsOnceAndAFailedInitDropsIt) {
    const Connection& c = GetParam();
    const auto before = env.lookups();
    for (int i = 0; i < 5; ++i) EXPECT_EQ(c.call(), 1);
    const auto after = env.lookups();
    EXPECT_EQ(after.isDeclared - before.isDeclared, 1u);
    EXPECT_EQ(c.lookups(after) - c.lookups(before), 1u);
    EXPECT_EQ(c.otherLookups(after), c.otherLookups(before));
    for (const LogLine& line : log.lines()) EXPECT_NE(line.priority, ANDROID_LOG_ERROR);

    EXPECT_EQ(c.init(), 0);
    EXPECT_TRUE(c.connected());
    fake->enqueue("init", Answer::serviceSpecific(3));
    EXPECT_EQ(c.init(), c.initFailure);
    const std::string failed = c.eventApi ? "jorv_init() failed : " : "jorv_init() failed: ";
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, c.tag(), failed + "jorv HAL service not available"), 1u);
    EXPECT_FALSE(c.connected());
    EXPECT_EQ(c.init(), 0);
    EXPECT_EQ(fake->callsOf("init").size(), 3u);
}

TEST_P(ConnectionTest, DeathIsReportedOnceAndTheNextCallReconnects) {
    const Connection& c = GetParam();
    // The test keeps the proxy alive, so that the connection dropped after a failed init is re-made
    // on the same proxy: its death must still be reported once, not once per connection made.
    ndk::SpAIBinder proxy(AServiceManager_checkService(kInstance));
    fake->enqueue("init", Answer::exception(EX_SECURITY));
    ASSERT_EQ(c.init(), c.initFailure);
    ASSERT_EQ(c.init(), 0);
    std::atomic<bool> toldAll{false};  // linked last, so told last
    ndk::ScopedAIBinder_DeathRecipient recipient(AIBinder_DeathRecipient_new(
            [](void* cookie) { static_cast<std::atomic<bool>*>(cookie)->store(true); }));
    ASSERT_EQ(AIBinder_linkToDeath(proxy.get(), recipient.get(), &toldAll), STATUS_OK);
    env.kill();
    ASSERT_TRUE(waitFor([&] { return toldAll.load(); }));
    EXPECT_EQ(log.count(ANDROID_LOG_ERROR, c.tag(), "Jorv HAL Service died"), 1u);
    EXPECT_FALSE(c.connected());

    auto next = env.publish();
    EXPECT_EQ(c.call(), 1);
    EXPECT_EQ(next->calls().size(), 1u);
    // The new connection has a death link of its own.
    env.kill();
    EXPECT_TRUE(waitFor(
            [&] { return log.count(ANDROID_LOG_ERROR, c.tag(), "Jorv HAL Service died") == 2; }));
    EXPECT_FALSE(c.connected());
}

INSTANTIATE_TEST_SUITE_P(Connections, ConnectionTest, ::testing::Values(kNamespace, kEvent),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(NamespaceConnectionTest, DeclaredButNotRunningWaitsForPublication) {
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

TEST(NamespaceConnectionTest, ConcurrentFirstCallsConnectOnceAndLosersLogTheirRace) {
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
        EXPECT_TRUE(waitFor([&] {
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
