// Service death and the service manager: death notifications (once per link, off the caller's
// thread, then unlinked), dead proxies, restarts, killService, stale sockets, isDeclared.
#include <aidl/vendor/vemra/hardware/jorv/IJorv.h>
#include <android/binder_manager.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <hostbinder/control.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "support/echo_jorv.h"
#include "support/recording_callback.h"
#include "support/test_env.h"

namespace hbtest {
namespace {

using jorv::IJorv;
using jorv::JorvRequestParcel;

// Cookie of a death link: what fired, in which order, on which thread.
struct DeathProbe {
    std::mutex mu;
    std::vector<std::string> events;
    std::thread::id diedOn;

    static void onDied(void* cookie) { static_cast<DeathProbe*>(cookie)->note("died"); }
    static void onUnlinked(void* cookie) { static_cast<DeathProbe*>(cookie)->note("unlinked"); }
    void note(const std::string& event) {
        std::lock_guard<std::mutex> lock(mu);
        events.push_back(event);
        if (event == "died") diedOn = std::this_thread::get_id();
    }
    std::vector<std::string> history() {
        std::lock_guard<std::mutex> lock(mu);
        return events;
    }
    std::thread::id diedThread() {
        std::lock_guard<std::mutex> lock(mu);
        return diedOn;
    }
};

ndk::ScopedAIBinder_DeathRecipient newRecipient() {
    ndk::ScopedAIBinder_DeathRecipient r(AIBinder_DeathRecipient_new(DeathProbe::onDied));
    AIBinder_DeathRecipient_setOnUnlinked(r.get(), DeathProbe::onUnlinked);
    return r;
}

int32_t servicePid(IJorv& jorv) {
    JorvRequestParcel p;
    p.requestType = EchoJorv::kServicePid;
    int32_t pid = -1;
    return jorv.request(p, &pid).isOk() ? pid : -1;
}

const std::vector<std::string> kDiedThenUnlinked = {"died", "unlinked"};

// Each test declares its probes before recipients and proxies, so the probes outlive both.
using LinkToDeathTest = HostBinderTest;
using ServiceManagerTest = HostBinderTest;

struct DeathCase {
    const char* name;
    int signal;
    bool callFirst;  // else nothing is called on the proxy: the runtime has to notice by itself
};

class ProcessDeathTest : public HostBinderTest, public ::testing::WithParamInterface<DeathCase> {};

TEST_P(ProcessDeathTest, EveryLinkFiresOnceOffTheCallingThreadAndTheProxyStaysDead) {
    const DeathCase& c = GetParam();
    DeathProbe a1, a2, b, removed, deleted, late;
    ChildService child(jorvInstance(), dir());
    ASSERT_TRUE(child.start());
    ndk::SpAIBinder binder(AServiceManager_checkService(child.instance().c_str()));
    auto jorv = IJorv::fromBinder(binder);
    ASSERT_NE(jorv, nullptr);
    auto ra = newRecipient();
    auto rb = newRecipient();
    ASSERT_EQ(AIBinder_linkToDeath(binder.get(), ra.get(), &a1), STATUS_OK);
    ASSERT_EQ(AIBinder_linkToDeath(binder.get(), ra.get(), &a2), STATUS_OK);
    ASSERT_EQ(AIBinder_linkToDeath(binder.get(), rb.get(), &b), STATUS_OK);
    ASSERT_EQ(AIBinder_linkToDeath(binder.get(), rb.get(), &removed), STATUS_OK);
    ASSERT_EQ(AIBinder_unlinkToDeath(binder.get(), rb.get(), &removed), STATUS_OK);
    {
        auto gone = newRecipient();
        ASSERT_EQ(AIBinder_linkToDeath(binder.get(), gone.get(), &deleted), STATUS_OK);
    }
    const auto removedBefore = removed.history();
    EXPECT_TRUE(AIBinder_isAlive(binder.get()));

    child.kill(c.signal);
    int32_t ret = 0;
    if (c.callFirst) {
        // The first call after the process is gone already fails, and with the right code.
        ndk::ScopedAStatus st = jorv->release(1, &ret);
        EXPECT_EQ(st.getExceptionCode(), EX_TRANSACTION_FAILED);
        EXPECT_EQ(st.getStatus(), STATUS_DEAD_OBJECT) << st.getDescription();
    }
    for (DeathProbe* probe : {&a1, &a2, &b}) {
        ASSERT_TRUE(waitFor([&] { return probe->history().size() >= 2; }));
        EXPECT_EQ(probe->history(), kDiedThenUnlinked);
        EXPECT_NE(probe->diedThread(), std::this_thread::get_id());
    }
    EXPECT_EQ(removed.history(), removedBefore) << "an unlinked recipient fired";
    EXPECT_THAT(deleted.history(), ::testing::Not(::testing::Contains("died")));
    EXPECT_FALSE(AIBinder_isAlive(binder.get()));
    EXPECT_EQ(AIBinder_ping(binder.get()), STATUS_DEAD_OBJECT);
    EXPECT_EQ(jorv->release(1, &ret).getStatus(), STATUS_DEAD_OBJECT);
    auto lateRecipient = newRecipient();
    EXPECT_EQ(AIBinder_linkToDeath(binder.get(), lateRecipient.get(), &late), STATUS_DEAD_OBJECT);
    EXPECT_EQ(a1.history(), kDiedThenUnlinked) << "a recipient fired more than once";
    EXPECT_TRUE(late.history().empty());
}

INSTANTIATE_TEST_SUITE_P(Signal, ProcessDeathTest,
                         ::testing::Values(DeathCase{"KillThenCall", SIGKILL, true},
                                           DeathCase{"TermThenCall", SIGTERM, true},
                                           DeathCase{"KillUnnoticed", SIGKILL, false}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(LinkToDeathTest, InFlightCallFailsWhenTheServiceDies) {
    ChildService child(jorvInstance(), dir());
    ASSERT_TRUE(child.start());
    auto jorv = IJorv::fromBinder(
            ndk::SpAIBinder(AServiceManager_checkService(child.instance().c_str())));
    ASSERT_NE(jorv, nullptr);
    auto gate = std::make_shared<Gate>();
    auto cb = ndk::SharedRefBase::make<RecordingCallback>();
    cb->setHook([gate](const auto&) {
        gate->wait(kLongTimeout);
        return ndk::ScopedAStatus::ok();
    });
    auto status = std::make_shared<std::atomic<int32_t>>(STATUS_OK);
    Async call([jorv, cb, status] {
        int32_t r = 0;
        status->store(jorv->thermalListeningRegister({1}, cb, &r).getStatus());
    });
    ASSERT_TRUE(waitFor([&] { return cb->count() == 1; }));  // the child waits on our callback
    child.kill();
    // The callback came back along the call chain, so it runs on the calling thread: let it
    // return into a call whose service is gone.
    gate->open();
    EXPECT_TRUE(call.waitDone()) << "a call stayed blocked after its service died";
    EXPECT_EQ(status->load(), STATUS_DEAD_OBJECT);
}

// A dead process's socket file stays behind: it must neither answer look-ups nor satisfy a wait,
// nor stop the name from being published again, by another process or this one.
TEST_F(ServiceManagerTest, StaleSocketIsNoServiceUntilTheNameIsPublishedAgain) {
    const std::string instance = jorvInstance();
    EXPECT_EQ(AServiceManager_checkService(instance.c_str()), nullptr);
    ChildService child(instance, dir());
    ASSERT_TRUE(child.start());
    const pid_t firstPid = child.pid();
    child.kill();
    EXPECT_FALSE(socketsIn(dir()).empty()) << "expected the dead child's socket to remain";
    EXPECT_EQ(AServiceManager_checkService(instance.c_str()), nullptr);
    AIBinder* absent = AServiceManager_getService(jorvInstance("absent").c_str());
    EXPECT_EQ(absent, nullptr);
    if (absent != nullptr) AIBinder_decStrong(absent);

    struct Shared {
        std::atomic<bool> entered{false};
        std::atomic<int32_t> pid{-1};
    };
    auto shared = std::make_shared<Shared>();
    Async waiter([shared, instance] {
        shared->entered = true;
        auto jorv = IJorv::fromBinder(
                ndk::SpAIBinder(AServiceManager_waitForService(instance.c_str())));
        if (jorv) shared->pid = servicePid(*jorv);
    });
    ASSERT_TRUE(waitFor([&] { return shared->entered.load(); }));
    EXPECT_FALSE(waiter.done());
    ASSERT_TRUE(child.start());
    ASSERT_TRUE(waiter.waitDone());
    EXPECT_EQ(shared->pid.load(), child.pid());
    EXPECT_NE(child.pid(), firstPid);

    child.kill();
    auto echo = ndk::SharedRefBase::make<EchoJorv>();
    ASSERT_TRUE(publish(echo->asBinder(), instance));
    auto jorv = IJorv::fromBinder(ndk::SpAIBinder(AServiceManager_checkService(instance.c_str())));
    ASSERT_NE(jorv, nullptr);
    EXPECT_EQ(servicePid(*jorv), getpid());
}

TEST_F(ServiceManagerTest, KillServiceKillsAnInProcessServiceForItsClients) {
    DeathProbe probe;
    const std::string instance = jorvInstance();
    std::weak_ptr<EchoJorv> served;
    {
        auto echo = ndk::SharedRefBase::make<EchoJorv>();
        served = echo;
        // Only proxies can die.
        auto local = newRecipient();
        EXPECT_EQ(AIBinder_linkToDeath(echo->asBinder().get(), local.get(), &probe),
                  STATUS_INVALID_OPERATION);
        EXPECT_FALSE(AIBinder_isRemote(echo->asBinder().get()));
        EXPECT_TRUE(AIBinder_isAlive(echo->asBinder().get()));
        ASSERT_TRUE(publish(echo->asBinder(), instance));
    }  // from here on the runtime owns the service object
    ndk::SpAIBinder binder(AServiceManager_checkService(instance.c_str()));
    ASSERT_NE(binder.get(), nullptr);
    auto jorv = IJorv::fromBinder(binder);
    ASSERT_NE(jorv, nullptr);
    auto recipient = newRecipient();
    ASSERT_EQ(AIBinder_linkToDeath(binder.get(), recipient.get(), &probe), STATUS_OK);
    int32_t ret = 0;
    ASSERT_TRUE(jorv->release(1, &ret).isOk());
    EXPECT_FALSE(served.expired());

    ASSERT_EQ(unpublish(instance), STATUS_OK);

    ASSERT_TRUE(waitFor([&] { return probe.history().size() >= 2; }));
    EXPECT_EQ(probe.history(), kDiedThenUnlinked);
    EXPECT_FALSE(AIBinder_isAlive(binder.get()));
    EXPECT_EQ(jorv->release(1, &ret).getStatus(), STATUS_DEAD_OBJECT);
    EXPECT_EQ(AServiceManager_checkService(instance.c_str()), nullptr);
    EXPECT_TRUE(waitFor([&] { return served.expired(); }))
            << "the runtime kept the killed service's object";
    EXPECT_EQ(HostBinder_killService(instance.c_str()), STATUS_NAME_NOT_FOUND);
    EXPECT_EQ(HostBinder_killService(jorvInstance("never-published").c_str()),
              STATUS_NAME_NOT_FOUND);
}

// --- isDeclared -----------------------------------------------------------------------------

TEST_F(ServiceManagerTest, IsDeclaredReadsTheManifestAndTheControlApi) {
    const std::string listed = jorvInstance("default");
    {
        // A blank line and no final newline are tolerated.
        std::ofstream out(dir() + "/manifest", std::ios::trunc);
        out << listed << "\nvendor.vemra.other.IOther/x\n\nsecond/b";
    }
    struct Case {
        std::string instance;
        bool declared;
    };
    const Case cases[] = {
            {listed, true},
            {"vendor.vemra.other.IOther/x", true},
            {jorvInstance("missing"), false},
            {listed.substr(0, listed.size() - 1), false},  // a prefix is a different name
            {listed + "2", false},
            {"second/b", true},
            {"second/", false},
            {"", false},  // the blank line declares nothing
    };
    for (const Case& c : cases) {
        EXPECT_EQ(AServiceManager_isDeclared(c.instance.c_str()), c.declared) << c.instance;
    }

    // The control API declares and undeclares; publishing declares nothing.
    const std::string name = jorvInstance("declared-at-runtime");
    HostBinder_declareInstance(name.c_str());
    EXPECT_TRUE(AServiceManager_isDeclared(name.c_str()));
    HostBinder_undeclareInstance(name.c_str());
    EXPECT_FALSE(AServiceManager_isDeclared(name.c_str()));
    auto echo = ndk::SharedRefBase::make<EchoJorv>();
    ASSERT_TRUE(publish(echo->asBinder(), name));
    EXPECT_FALSE(AServiceManager_isDeclared(name.c_str()));
}

}  // namespace
}  // namespace hbtest
