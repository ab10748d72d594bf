// Where incoming work runs, as on a device: only on the binder threads a process gives the
// runtime, except a call that comes back along a thread's own call chain, which runs on that
// waiting thread. A process without a pool therefore still completes calls whose callbacks come
// back inside them, but receives nothing else (callbacks, death notices) until it starts one.
//
// The cases without a pool run in a child copy of this test binary started with
// HOSTBINDER_TEST_NO_POOL=1 (the test main then leaves the pool unstarted); in the normal run they
// skip themselves and their parent test starts them.
#include <aidl/vendor/vemra/hardware/jorv/IJorv.h>
#include <android/binder_manager.h>
#include <android/binder_process.h>
#include <gtest/gtest.h>
#include <hostbinder/control.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "support/echo_jorv.h"
#include "support/jorv_endpoint.h"
#include "support/recording_callback.h"
#include "support/test_env.h"

namespace hbtest {
namespace {

using jorv::JorvRequestParcel;

bool inNoPoolChild() {
    const char* value = std::getenv("HOSTBINDER_TEST_NO_POOL");
    return value != nullptr && std::strcmp(value, "1") == 0;
}

class NoPool : public ChildJorvTest {
protected:
    void SetUp() override {
        if (!inNoPoolChild()) GTEST_SKIP() << "runs in a child without a pool (WithoutAPool.*)";
        ASSERT_FALSE(ABinderProcess_isThreadPoolStarted());
        ChildJorvTest::SetUp();
    }
};

TEST_F(NoPool, CallbacksAndDeathNoticesWaitForAPoolButNotInsideTheCall) {
    auto cb = ndk::SharedRefBase::make<RecordingCallback>();
    // The service calls back while serving this call: served right here, on the waiting thread.
    JorvRequestParcel p;
    p.dataList = {record(1)};
    int32_t handle = 0;
    ASSERT_TRUE(jorv_->listeningRegister(p, cb, &handle).isOk());
    ASSERT_EQ(cb->count(), 1u);
    EXPECT_EQ(cb->deliveries()[0].thread, std::this_thread::get_id());

    // A callback from a one-way call belongs to no waiting thread: it arrives, and waits.
    JorvRequestParcel oneway;
    oneway.param0 = 2;
    oneway.callback = cb;
    ASSERT_TRUE(jorv_->requestOneWay(oneway).isOk());
    ASSERT_TRUE(waitFor([] { return HostBinder_getReceiveBufferInUse() > 0; }))
            << "the callback never reached this process";
    EXPECT_EQ(cb->count(), 1u) << "served without a binder thread";

    // Calls learn of a death at once; the notice itself is work for a binder thread.
    static std::atomic<int> died{0};
    ChildService doomed(jorvInstance("doomed"), dir());
    ASSERT_TRUE(doomed.start());
    ndk::SpAIBinder binder(AServiceManager_checkService(doomed.instance().c_str()));
    ndk::ScopedAIBinder_DeathRecipient recipient(
            AIBinder_DeathRecipient_new([](void*) { died.fetch_add(1); }));
    ASSERT_EQ(AIBinder_linkToDeath(binder.get(), recipient.get(), nullptr), STATUS_OK);
    doomed.kill();
    ASSERT_TRUE(waitFor([&] { return !AIBinder_isAlive(binder.get()); }));
    EXPECT_EQ(AIBinder_ping(binder.get()), STATUS_DEAD_OBJECT);
    EXPECT_EQ(died.load(), 0);

    ABinderProcess_startThreadPool();
    ASSERT_TRUE(waitFor([&] { return cb->count() == 2; }));
    EXPECT_NE(cb->deliveries()[1].thread, std::this_thread::get_id());
    EXPECT_TRUE(waitFor([] { return HostBinder_getReceiveBufferInUse() == 0; }));
    EXPECT_TRUE(waitFor([] { return died.load() == 1; }));
}

// Runs the NoPool cases in a child copy of this binary without a binder pool.
TEST(WithoutAPool, NoPoolCasesPass) {
    EXPECT_EQ(waitExit(spawnWith({"/proc/self/exe", "--gtest_filter=NoPool.*"},
                                 "HOSTBINDER_TEST_NO_POOL=", {"HOSTBINDER_TEST_NO_POOL=1"})),
              0);
}

}  // namespace
}  // namespace hbtest
