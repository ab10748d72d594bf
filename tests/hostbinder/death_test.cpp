// Service death and the service manager: death notifications (once per link, off the caller's
// thread, then unlinked), dead proxies, restarts, killService, stale sockets, isDeclared.
#include <aidl/vendor/vemra/hardware/jorv/IJorv.h>
#include <android/binder_manager.h>
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
    std::atomic<int> died{0};
    std::atomic<int> unlinked{0};
    std::mutex mu;
    std::vector<std::string> events;
    std::thread::id diedOn;

    void record(const char* event, std::atomic<int>& counter) {
        {
            std::lock_guard<std::mutex> lock(mu);
            events.push_back(event);
            if (&counter == &died) diedOn = std::this_thread::get_id();
        }
        counter.fetch_add(1);
    }
    static void onDied(void* cookie) {
        auto* p = static_cast<DeathProbe*>(cookie);
        p->record("died", p->died);
    }
    static void onUnlinked(void* cookie) {
        auto* p = static_cast<DeathProbe*>(cookie);
        p->record("unlinked", p->unlinked);
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
class LinkToDeathTest : public HostBinderTest {};
using ServiceManagerTest = HostBinderTest;

class ProcessDeathTest : public LinkToDeathTest, public ::testing::WithParamInterface<int> {};

TEST_P(ProcessDeathTest, ProxyDiesAndRecipientFiresOnceOffTheCallingThread) {
    DeathProbe probe;
    ChildService child(jorvInstance(), dir());
    ASSERT_TRUE(child.start());
    ndk::SpAIBinder binder(AServiceManager_checkService(child.instance().c_str()));
    ASSERT_NE(binder.get(), nullptr);
    auto jorv = IJorv::fromBinder(binder);
    ASSERT_NE(jorv, nullptr);
    auto recipient = newRecipient();
    ASSERT_EQ(AIBinder_linkToDeath(binder.get(), recipient.get(), &probe), STATUS_OK);
    EXPECT_TRUE(AIBinder_isAlive(binder.get()));

    child.kill(GetParam());

    // The first call after the process is gone already fails, and with the right code.
    int32_t ret = 0;
    ndk::ScopedAStatus st = jorv->release(1, &ret);
    EXPECT_EQ(st.getExceptionCode(), EX_TRANSACTION_FAILED);
    EXPECT_EQ(st.getStatus(), STATUS_DEAD_OBJECT) << st.getDescription();

    ASSERT_TRUE(waitFor([&] { return probe.unlinked.load() == 1; }));
    EXPECT_EQ(probe.history(), kDiedThenUnlinked);
    EXPECT_NE(probe.diedThread(), std::this_thread::get_id());
    EXPECT_FALSE(AIBinder_isAlive(binder.get()));
    EXPECT_EQ(AIBinder_ping(binder.get()), STATUS_DEAD_OBJECT);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(jorv->release(1, &ret).getStatus(), STATUS_DEAD_OBJECT);
    }
    auto late = newRecipient();
    DeathProbe lateProbe;
    EXPECT_EQ(AIBinder_linkToDeath(binder.get(), late.get(), &lateProbe), STATUS_DEAD_OBJECT);
    EXPECT_EQ(probe.died.load(), 1) << "a recipient fired more than once";
    EXPECT_EQ(lateProbe.died.load(), 0);
}

INSTANTIATE_TEST_SUITE_P(Signal, ProcessDeathTest, ::testing::Values(SIGKILL, SIGTERM),
                         [](const auto& info) {
                             return std::string(info.param == SIGKILL ? "Kill" : "Term");
                         });

TEST_F(LinkToDeathTest, EveryLinkFiresOnceWithoutAnyCall) {
    DeathProbe a1, a2, b, removed, deleted;
    ChildService child(jorvInstance(), dir());
    ASSERT_TRUE(child.start());
    ndk::SpAIBinder binder(AServiceManager_checkService(child.instance().c_str()));
    ASSERT_NE(binder.get(), nullptr);
    auto ra = newRecipient();
    auto rb = newRecipient();
    ASSERT_EQ(AIBinder_linkToDeath(binder.get(), ra.get(), &a1), STATUS_OK);
    ASSERT_EQ(AIBinder_linkToDeath(binder.get(), ra.get(), &a2), STATUS_OK);
    ASSERT_EQ(AIBinder_linkToDeath(binder.get(), rb.get(), &b), STATUS_OK);
    ASSERT_EQ(AIBinder_linkToDeath(binder.get(), rb.get(), &removed), STATUS_OK);
    ASSERT_EQ(AIBinder_unlinkToDeath(binder.get(), rb.get(), &removed), STATUS_OK);
    const int unlinkedBefore = removed.unlinked.load();
    {
        auto recipient = newRecipient();
        ASSERT_EQ(AIBinder_linkToDeath(binder.get(), recipient.get(), &deleted), STATUS_OK);
    }

    child.kill();  // nothing is called on the proxy: the runtime has to notice by itself

    ASSERT_TRUE(waitFor([&] {
        return a1.unlinked.load() == 1 && a2.unlinked.load() == 1 && b.unlinked.load() == 1;
    }));
    EXPECT_EQ(a1.history(), kDiedThenUnlinked);
    EXPECT_EQ(a2.history(), kDiedThenUnlinked);
    EXPECT_EQ(b.history(), kDiedThenUnlinked);
    EXPECT_EQ(removed.died.load(), 0) << "an unlinked recipient fired";
    EXPECT_EQ(removed.unlinked.load(), unlinkedBefore);
    EXPECT_EQ(deleted.died.load(), 0) << "a deleted recipient fired";
    EXPECT_FALSE(AIBinder_isAlive(binder.get()));
}

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

// A dead process's socket file stays behind: it must neither answer look-ups nor stop the name
// from being published again.
TEST_F(ServiceManagerTest, StaleSocketIsNotAServiceAndIsReplaced) {
    const std::string instance = jorvInstance();
    EXPECT_EQ(AServiceManager_checkService(instance.c_str()), nullptr);
    {
        ChildService child(instance, dir());
        ASSERT_TRUE(child.start());
    }
    EXPECT_FALSE(socketsIn(dir()).empty()) << "expected the dead child's socket to remain";
    EXPECT_EQ(AServiceManager_checkService(instance.c_str()), nullptr);
    AIBinder* absent = AServiceManager_getService(jorvInstance("absent").c_str());
    EXPECT_EQ(absent, nullptr);
    if (absent != nullptr) AIBinder_decStrong(absent);

    auto echo = ndk::SharedRefBase::make<EchoJorv>();
    ASSERT_TRUE(publish(echo->asBinder(), instance));
    auto jorv = IJorv::fromBinder(ndk::SpAIBinder(AServiceManager_checkService(instance.c_str())));
    ASSERT_NE(jorv, nullptr);
    EXPECT_EQ(servicePid(*jorv), getpid());
}

TEST_F(ServiceManagerTest, WaitForServiceReturnsOnceTheServiceIsRestarted) {
    const std::string instance = jorvInstance();
    ChildService child(instance, dir());
    ASSERT_TRUE(child.start());
    const pid_t firstPid = child.pid();
    child.kill();  // leaves a stale socket, which must not satisfy the wait

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

    ASSERT_TRUE(waitFor([&] { return probe.unlinked.load() == 1; }));
    EXPECT_EQ(probe.history(), kDiedThenUnlinked);
    EXPECT_FALSE(AIBinder_isAlive(binder.get()));
    EXPECT_EQ(jorv->release(1, &ret).getStatus(), STATUS_DEAD_OBJECT);
    EXPECT_EQ(AServiceManager_checkService(instance.c_str()), nullptr);
    EXPECT_TRUE(waitFor([&] { return served.expired(); }))
            << "the runtime kept the killed service's object";
    EXPECT_EQ(HostBinder_killService(instance.c_str()), STATUS_NAME_NOT_FOUND);
    EXPECT_EQ(HostBinder_killService(jorvInstance("never-published").c_str()),
              STATUS_NAME_NOT_FOUND);

    // The name can be published again, and the new object serves.
    auto again = ndk::SharedRefBase::make<EchoJorv>();
    ASSERT_TRUE(publish(again->asBinder(), instance));
    auto jorv2 = IJorv::fromBinder(ndk::SpAIBinder(AServiceManager_checkService(instance.c_str())));
    ASSERT_NE(jorv2, nullptr);
    ASSERT_TRUE(jorv2->release(2, &ret).isOk());
    EXPECT_EQ(ret, 2);
    EXPECT_EQ(again->calls(), 1);
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
