// Callbacks arriving on several binder threads while other threads send requests and open and
// close listenings: no race, no lost registry entry (run under TSan in CI). Each test runs in a
// process of its own under ctest, so the requesting threads, released at once, also make the
// process's first callback objects together (each of them sets up the callback stub's logging).

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "JorvHalclient.h"
#include "support/FakeServiceTest.h"
#include "support/RecordingCallbacks.h"

namespace qartest {
namespace {

using CallbackConcurrencyTest = FakeServiceTest;

TEST_F(CallbackConcurrencyTest, CallbacksDuringRequestsAndRegistrations) {
    auto callback = std::make_shared<RecordingCallback>();
    constexpr int kRequestThreads = 6;
    constexpr int kRequestsPerThread = 40;
    constexpr int kListenings = 40;

    std::atomic<int> running{kRequestThreads + 1};
    std::atomic<int> badResults{0};
    std::atomic<int> ready{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kRequestThreads; ++t) {
        threads.emplace_back([&] {
            for (++ready; ready < kRequestThreads;) std::this_thread::yield();
            for (int i = 0; i < kRequestsPerThread; ++i) {
                jorvHalclient::ResourceList resources = {{i + 1, "1"}};
                if (jorvHalclient::jorvResCtlRequest(0, 1, resources, 0, 0, 0, callback) != 1) {
                    ++badResults;
                }
            }
            --running;
        });
    }
    threads.emplace_back([&] {
        for (int i = 0; i < kListenings; ++i) {
            jorvHalclient::ResourceList ids = {{1000 + i, std::nullopt}};
            if (jorvHalclient::jorvResListeningRegister(ids, 0, callback) != 1) ++badResults;
            if (i % 2 == 0 && jorvHalclient::jorvResListeningUnRegister(1) != 1) ++badResults;
        }
        --running;
    });
    // The service calls back from two threads of its own while the callers run.
    for (int t = 0; t < 2; ++t) {
        threads.emplace_back([&] {
            while (running > 0) fake->callBackAll({entry(7, "v")});
        });
    }
    for (std::thread& thread : threads) thread.join();

    EXPECT_EQ(badResults, 0);
    // Every handle is 1 in this fake, so the first unregistration forgets all groups made so far;
    // what is left are the groups registered after the last unregistration.
    EXPECT_EQ(listeningGroupCount(), 1u);
    // One more round reaches every one-shot client still waiting; none may be left.
    fake->callBackAll({});
    EXPECT_EQ(requestCallbackCount(), 0u);
    EXPECT_FALSE(callback->calls().empty());
}

}  // namespace
}  // namespace qartest
