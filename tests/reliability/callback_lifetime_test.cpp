// A caller's callback object across the service's death. The caller lets go of it right after
// handing it over; the library (and through it the service) keeps it alive while the service may
// call it, with callbacks still arriving when the service process is killed. Once neither the
// library's registry nor the service holds it, it must be destroyed, and never be called again
// (in the ASan build such a call is a use after free).
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "JorvHalclient.h"
#include "QarEventApi.h"
#include "client/support/ServiceEnv.h"
#include "reliability/support/Services.h"

namespace qarrel {
namespace {

using QarClient::Resource;

constexpr int kRounds = 10;
constexpr int32_t kListened = 0x41200000;
constexpr int32_t kOneShot = 0x41200001;
constexpr int kCallbacksBeforeKill = 5;

// Outlives the callback object, to tell what happened to it.
struct Probe {
    std::atomic<int> calls{0};
    std::atomic<int> oneShotCalls{0};
    std::atomic<bool> destroyed{false};
    std::atomic<int> callsAfterDestruction{0};
};

class ProbeCallback : public jorvHalclient::IClientCallback {
public:
    explicit ProbeCallback(std::shared_ptr<Probe> probe) : mProbe(std::move(probe)) {}
    ~ProbeCallback() override { mProbe->destroyed = true; }

    void onCallback(std::list<Resource> resources) override {
        if (mProbe->destroyed) ++mProbe->callsAfterDestruction;
        ++mProbe->calls;
        for (const Resource& resource : resources) {
            if (resource.id == kOneShot) ++mProbe->oneShotCalls;
        }
    }

private:
    const std::shared_ptr<Probe> mProbe;
};

// Keeps changing the listened resource through the event API (which fails at once while the
// service is gone), so that the service keeps calling the listener back.
class Traffic {
public:
    Traffic()
        : mThread([this] {
              for (int i = 0; !mStop; ++i) {
                  const int32_t handle = QarEventAcquire(0x4000, "com.example.traffic", "", 0,
                                                         {{kListened, std::to_string(i)}});
                  if (handle >= 0) QarRelease(handle);
              }
          }) {}
    ~Traffic() {
        mStop = true;
        mThread.join();
    }

private:
    std::atomic<bool> mStop{false};
    std::thread mThread;
};

// The parameter: whether the listening is unregistered before the kill, or after it.
class CallbackLifetimeTest : public SimTest, public ::testing::WithParamInterface<bool> {};

TEST_P(CallbackLifetimeTest, ReleasedOnceLibraryAndServiceLetGoAndNeverCalledAfter) {
    ASSERT_TRUE(startSim());
    for (int round = 0; round < kRounds; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        auto probe = std::make_shared<Probe>();
        std::weak_ptr<jorvHalclient::IClientCallback> watched;
        int listening = -1;
        {
            auto callback = std::make_shared<ProbeCallback>(probe);
            watched = callback;
            jorvHalclient::ResourceList ids = {{kListened, std::nullopt}};
            listening = jorvHalclient::jorvResListeningRegister(ids, 0, callback);
            ASSERT_GT(listening, 0);
            jorvHalclient::ResourceList oneShot = {{kOneShot, "1"}};
            ASSERT_GT(jorvHalclient::jorvResCtlRequest(-1, 0, oneShot, -1, 0, 0, callback), 0);
        }
        // The caller has let go; the one-shot answer still reaches the object.
        ASSERT_TRUE(qartest::waitFor([&] { return probe->oneShotCalls == 1; }));
        {
            Traffic traffic;
            ASSERT_TRUE(drainUntil(*mSim, [&] { return probe->calls > kCallbacksBeforeKill; }));
            if (GetParam()) {
                EXPECT_EQ(jorvHalclient::jorvResListeningUnRegister(listening), 0);
            }
            ASSERT_TRUE(killSim());
        }
        ASSERT_TRUE(startSim());
        if (!GetParam()) {
            // The new instance never heard of the handle; the library forgets it all the same.
            EXPECT_EQ(jorvHalclient::jorvResListeningUnRegister(listening), -1);
        }

        EXPECT_EQ(qartest::listeningGroupCount(), 0u);
        EXPECT_EQ(qartest::requestCallbackCount(), 0u);
        EXPECT_TRUE(qartest::waitFor([&] { return watched.expired(); }))
                << "the callback object outlived both the library's and the service's hold";
        EXPECT_TRUE(probe->destroyed);
        EXPECT_EQ(probe->callsAfterDestruction, 0);
        EXPECT_EQ(probe->oneShotCalls, 1);
    }
}

INSTANTIATE_TEST_SUITE_P(Orders, CallbackLifetimeTest, ::testing::Bool(), [](const auto& info) {
    return info.param ? "UnregisterThenKill" : "KillThenUnregister";
});

}  // namespace
}  // namespace qarrel
