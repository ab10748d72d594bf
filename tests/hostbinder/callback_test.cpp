// Binder objects travelling inside calls: callbacks are served on the process's binder threads, or
// on the caller's own thread when they come back inside its call, they live exactly as long as a
// peer holds them, and
// an object that comes back to the process that exported it is that process's own object again.
#include <aidl/vendor/vemra/hardware/jorv/IJorv.h>
#include <aidl/vendor/vemra/hardware/jorv/IJorvCallback.h>
#include <android-base/unique_fd.h>
#include <android/binder_manager.h>
#include <android/binder_process.h>
#include <gtest/gtest.h>
#include <hostbinder/control.h>
#include <unistd.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "support/echo_jorv.h"
#include "support/jorv_endpoint.h"
#include "support/mirror.h"
#include "support/recording_callback.h"
#include "support/test_env.h"

namespace hbtest {
namespace {

using jorv::IJorvCallback;
using jorv::JorvRequestData;
using jorv::JorvRequestParcel;

std::vector<int32_t> ids(const std::vector<JorvRequestData>& data) {
    std::vector<int32_t> out;
    for (const auto& d : data) out.push_back(d.id);
    return out;
}

// Opens the gate when leaving scope, so a failed assertion never leaves a thread blocked on it.
struct OpenOnExit {
    std::shared_ptr<Gate> gate;
    ~OpenOnExit() { gate->open(); }
};

class CallbackTest : public JorvEndpointTest {};

// The service calls back while serving the call: the callback runs on the very thread waiting in
// the call, before the call returns, and may itself call the service again (served, in turn, on
// the service's thread waiting for the callback).
TEST_P(CallbackTest, NestedCallbackRunsOnTheWaitingThreadAndCanCallAgain) {
    auto cb = ndk::SharedRefBase::make<RecordingCallback>();
    std::weak_ptr<jorv::IJorv> weakJorv = jorv_;
    auto inner = std::make_shared<std::atomic<int32_t>>(0);
    cb->setHook([weakJorv, inner](const auto&) {
        auto jorv = weakJorv.lock();
        int32_t r = 0;
        ndk::ScopedAStatus st =
                jorv ? jorv->release(77, &r) : ndk::ScopedAStatus::fromStatus(STATUS_DEAD_OBJECT);
        inner->store(r);
        return st;
    });
    struct Outcome {
        std::thread::id caller;
        bool ok = false;
        int32_t ret = 0;
        std::vector<RecordingCallback::Delivery> seen;  // when the call returned
    };
    auto outcome = std::make_shared<Outcome>();
    Async call([jorv = jorv_, cb, outcome] {
        outcome->caller = std::this_thread::get_id();
        outcome->ok = jorv->thermalListeningRegister({5, 6, 7}, cb, &outcome->ret).isOk();
        outcome->seen = cb->deliveries();
    });
    ASSERT_TRUE(call.waitDone()) << "call -> callback -> call deadlocked";
    EXPECT_TRUE(outcome->ok);
    EXPECT_EQ(outcome->ret, 3);
    EXPECT_EQ(inner->load(), 77);
    const auto& got = outcome->seen;
    ASSERT_EQ(got.size(), 1u) << "the service's callback completes inside the call";
    EXPECT_EQ(ids(got[0].data), (std::vector<int32_t>{5, 6, 7}));
    EXPECT_EQ(got[0].data[2].intValue, 2);
    EXPECT_EQ(got[0].thread, outcome->caller)
            << "a call back along the caller's own chain runs on the thread waiting in it";
    EXPECT_EQ(got[0].callingPid, service_pid_);
    cb->setHook(nullptr);
}

TEST_P(CallbackTest, BlockedCallbackDoesNotStopOtherCallsOrCallbacks) {
    auto gate = std::make_shared<Gate>();
    OpenOnExit opener{gate};
    auto cb = ndk::SharedRefBase::make<RecordingCallback>();
    cb->setHook([gate](const auto&) {
        gate->wait(kLongTimeout);
        return ndk::ScopedAStatus::ok();
    });
    auto jorv = jorv_;
    Async slow([jorv, cb] {
        int32_t r = 0;
        EXPECT_TRUE(jorv->thermalListeningRegister({1}, cb, &r).isOk());
    });
    ASSERT_TRUE(waitFor([&] { return cb->count() == 1; }));  // service is now inside the callback

    Async other([jorv] {
        int32_t r = 0;
        EXPECT_TRUE(jorv->release(8, &r).isOk());
        EXPECT_EQ(r, 8);
    });
    EXPECT_TRUE(other.waitDone()) << "one blocked call stalled every other call";
    // Nor does it stop other callbacks to this process, on the same connection.
    auto oneWayCb = ndk::SharedRefBase::make<RecordingCallback>();
    JorvRequestParcel oneway;
    oneway.param0 = 5;
    oneway.callback = oneWayCb;
    ASSERT_TRUE(jorv_->requestOneWay(oneway).isOk());
    EXPECT_TRUE(waitFor([&] { return oneWayCb->count() == 1; }));
    EXPECT_FALSE(slow.done());
    gate->open();
    EXPECT_TRUE(slow.waitDone());
}

// One callback is let go by the service, the other goes when the service itself does.
TEST_P(CallbackTest, ObjectLivesExactlyAsLongAsThePeerHoldsIt) {
    auto dropped = ndk::SharedRefBase::make<RecordingCallback>();
    auto kept = ndk::SharedRefBase::make<RecordingCallback>();
    JorvRequestParcel p;
    p.dataList = {record(1)};
    int32_t handle = 0;
    int32_t keptHandle = 0;
    ASSERT_TRUE(jorv_->listeningRegister(p, dropped, &handle).isOk());
    ASSERT_TRUE(jorv_->listeningRegister(p, kept, &keptHandle).isOk());
    ASSERT_EQ(dropped->count(), 1u);
    std::weak_ptr<RecordingCallback> droppedRef = dropped;
    std::weak_ptr<RecordingCallback> keptRef = kept;
    dropped.reset();
    kept.reset();
    EXPECT_FALSE(droppedRef.expired()) << "destroyed while the service still holds it";

    int32_t ret = -2;
    ndk::ScopedAStatus st = jorv_->listeningUnregister(handle, &ret);
    ASSERT_TRUE(st.isOk()) << "the held callback could not be called: " << st.getDescription();
    EXPECT_EQ(ret, 0);
    EXPECT_TRUE(waitFor([&] { return droppedRef.expired(); }))
            << "still alive after the service dropped its last reference";
    EXPECT_FALSE(keptRef.expired());

    if (child_) {
        child_->kill();
    } else {
        // The published object is then owned only by the runtime, which releases it (and the
        // callback it stored) when the service is killed.
        local_service_.reset();
        ASSERT_EQ(unpublish(instance_), STATUS_OK);
    }
    EXPECT_TRUE(waitFor([&] { return keptRef.expired(); }))
            << "still alive after its only holder went away";
}

// Binders reflected off a mirror service: a local object comes back as itself (the peer got a
// proxy), and a proxy handed to a different service than the one it belongs to comes back as the
// sender's very same proxy, still working.
TEST_P(CallbackTest, BindersComeBackAsThemselves) {
    // The helper process publishes a mirror beside its service.
    const std::string mirrorName = mirror::instanceFor(instance_);
    if (local_service_) {
        ASSERT_TRUE(publish(mirror::newMirror(), mirrorName));
    }
    ndk::SpAIBinder remoteMirror(AServiceManager_checkService(mirrorName.c_str()));
    ASSERT_NE(remoteMirror.get(), nullptr);
    EXPECT_TRUE(AIBinder_isRemote(remoteMirror.get()));

    auto cb = ndk::SharedRefBase::make<RecordingCallback>();
    mirror::Reflection r = mirror::reflect(remoteMirror.get(), cb->asBinder().get());
    ASSERT_EQ(r.status, STATUS_OK);
    EXPECT_TRUE(r.peerGotProxy) << "the peer must get a proxy";
    EXPECT_EQ(r.back.get(), cb->asBinder().get());
    EXPECT_EQ(IJorvCallback::fromBinder(r.back), cb);

    mirror::Reflection none = mirror::reflect(remoteMirror.get(), nullptr);
    ASSERT_EQ(none.status, STATUS_OK);
    EXPECT_FALSE(none.peerGotProxy);
    EXPECT_EQ(none.back.get(), nullptr);

    mirror::Reflection proxy = mirror::reflect(remoteMirror.get(), binder_.get());
    ASSERT_EQ(proxy.status, STATUS_OK);
    EXPECT_EQ(proxy.back.get(), binder_.get());
    auto jorv = jorv::IJorv::fromBinder(proxy.back);
    ASSERT_NE(jorv, nullptr);
    int32_t ret = 0;
    ASSERT_TRUE(jorv->release(4, &ret).isOk());
    EXPECT_EQ(ret, 4);

    // A dump is made by the object's own process and written to the caller's descriptor; a local
    // object dumps directly.
    const char* args[] = {"-a", "b c"};
    const ndk::SpAIBinder localMirror = mirror::newMirror();
    for (AIBinder* target : {remoteMirror.get(), localMirror.get()}) {
        android::base::unique_fd readEnd, writeEnd;
        ASSERT_TRUE(android::base::Pipe(&readEnd, &writeEnd));
        ASSERT_EQ(AIBinder_dump(target, writeEnd.get(), args, 2), STATUS_OK);
        char dumped[64] = {};
        EXPECT_GT(read(readEnd.get(), dumped, sizeof dumped - 1), 0);
        const pid_t dumper = target == localMirror.get() ? getpid() : service_pid_;
        EXPECT_EQ(std::string(dumped), std::to_string(dumper) + " -a b c");
    }
}

INSTANTIATE_TEST_SUITE_P(Where, CallbackTest,
                         ::testing::Values(Where::kInProcess, Where::kChildProcess), whereName);

// Incoming work runs only on the binder threads a process gives the runtime, except a call that
// comes back along a thread's own call chain. A process without a pool therefore still completes
// calls whose callbacks come back inside them, but receives nothing else (callbacks, death
// notices) until it starts one. Such a process is a child copy of this test binary started with
// HOSTBINDER_TEST_NO_POOL=1, whose main then leaves the pool unstarted.
class NoPool : public ChildJorvTest {
protected:
    void SetUp() override {
        if (ABinderProcess_isThreadPoolStarted()) GTEST_SKIP() << "runs in WithoutAPool.*";
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
