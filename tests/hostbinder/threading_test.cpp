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

using jorv::IJorv;
using jorv::JorvRequestParcel;

bool inNoPoolChild() {
    const char* value = std::getenv("HOSTBINDER_TEST_NO_POOL");
    return value != nullptr && std::strcmp(value, "1") == 0;
}

class NoPool : public ChildJorvTest {
protected:
    void SetUp() override {
        if (!inNoPoolChild())
            GTEST_SKIP() << "runs in a child without a pool (NoPool/WithoutAPool.*)";
        ASSERT_FALSE(ABinderProcess_isThreadPoolStarted());
        ChildJorvTest::SetUp();
    }
};

TEST_F(NoPool, CallbacksWaitForAPoolButNotInsideTheCall) {
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

    ABinderProcess_startThreadPool();
    ASSERT_TRUE(waitFor([&] { return cb->count() == 2; }));
    EXPECT_NE(cb->deliveries()[1].thread, std::this_thread::get_id());
    EXPECT_TRUE(waitFor([] { return HostBinder_getReceiveBufferInUse() == 0; }));
}

TEST_F(NoPool, DeathNoticesWaitForAPool) {
    static std::atomic<int> died{0};
    AIBinder_DeathRecipient* recipient =
            AIBinder_DeathRecipient_new([](void*) { died.fetch_add(1); });
    ASSERT_EQ(AIBinder_linkToDeath(binder_.get(), recipient, nullptr), STATUS_OK);
    child_->kill();
    // Calls learn of the death at once; the notice itself is work for a binder thread.
    ASSERT_TRUE(waitFor([&] { return !AIBinder_isAlive(binder_.get()); }));
    int32_t ret = 0;
    EXPECT_EQ(jorv_->release(1, &ret).getStatus(), STATUS_DEAD_OBJECT);
    EXPECT_EQ(died.load(), 0);

    ABinderProcess_startThreadPool();
    EXPECT_TRUE(waitFor([] { return died.load() == 1; }));
    AIBinder_DeathRecipient_delete(recipient);
}

// Runs NoPool.<name> in a child copy of this binary without a binder pool.
class WithoutAPool : public ::testing::TestWithParam<const char*> {};

TEST_P(WithoutAPool, Passes) {
    const std::string filter = std::string("--gtest_filter=NoPool.") + GetParam();
    EXPECT_EQ(waitExit(spawnWith({"/proc/self/exe", filter},
                                 "HOSTBINDER_TEST_NO_POOL=", {"HOSTBINDER_TEST_NO_POOL=1"})),
              0);
}

INSTANTIATE_TEST_SUITE_P(NoPool, WithoutAPool,
                         ::testing::Values("CallbacksWaitForAPoolButNotInsideTheCall",
                                           "DeathNoticesWaitForAPool"),
                         [](const auto& info) { return std::string(info.param); });

}  // namespace
}  // namespace hbtest
