// Callback delivery: per-client threads, so that a listener stuck in its callback holds up only
// itself, and is dropped once stuck too long.
#include <chrono>
#include <functional>
#include <vector>

#include "CallbackDispatcher.h"
#include "support/ModelTest.h"
#include "support/WaitFor.h"

namespace jorvsimtest {
namespace {

using jorvsim::CallbackDispatcher;

constexpr std::chrono::seconds kTimeout{10};

// Records the handles the dispatcher drops for being stuck, as calls of one record each.
std::function<void(int32_t)> recordDropsIn(const std::shared_ptr<RecordingCallback>& drops) {
    return [drops](int32_t handle) { drops->onCallback({idRecord(handle)}); };
}

Notification note(int32_t handle, std::shared_ptr<jorvsim::IJorvCallback> callback, int32_t id) {
    return Notification{handle, std::move(callback), DataList{idRecord(id)}};
}

std::vector<int32_t> ids(const std::vector<DataList>& calls) {
    std::vector<int32_t> out;
    for (const DataList& call : calls) out.push_back(call.at(0).id);
    return out;
}

// Stopping waits for a callback in progress only so long; the thread left in it reports nothing
// once the call returns.
TEST(CallbackDispatcherTest, HungListenerDelaysOnlyItselfAndOrderHoldsPerClient) {
    auto drops = ::ndk::SharedRefBase::make<RecordingCallback>();
    auto reports = ::ndk::SharedRefBase::make<RecordingCallback>();
    CallbackDispatcher dispatcher(
            [reports](const Notification& n, const ::ndk::ScopedAStatus&) {
                reports->onCallback(n.data);
            },
            recordDropsIn(drops), std::chrono::hours(1), std::chrono::milliseconds(100));
    dispatcher.start();
    auto hung = ::ndk::SharedRefBase::make<RecordingCallback>(true);
    auto healthy = ::ndk::SharedRefBase::make<RecordingCallback>();
    std::vector<Notification> batch;
    for (int32_t id = 1; id <= 3; ++id) {
        batch.push_back(note(1, hung, id));
        batch.push_back(note(2, healthy, id));
    }
    dispatcher.post(std::move(batch));
    dispatcher.post({note(2, healthy, 4), note(1, hung, 4)});

    ASSERT_TRUE(healthy->waitForCalls(4, kTimeout) && hung->waitForCalls(1, kTimeout));
    EXPECT_EQ(ids(healthy->calls()), (std::vector<int32_t>{1, 2, 3, 4}));
    EXPECT_EQ(ids(hung->calls()), (std::vector<int32_t>{1}));  // still in its first callback
    hung->release();
    ASSERT_TRUE(hung->waitForCalls(4, kTimeout) && reports->waitForCalls(8, kTimeout));
    EXPECT_EQ(ids(hung->calls()), (std::vector<int32_t>{1, 2, 3, 4}));

    auto stuck = ::ndk::SharedRefBase::make<RecordingCallback>(true);
    dispatcher.post({note(3, stuck, 1), note(3, stuck, 2)});
    ASSERT_TRUE(stuck->waitForCalls(1, kTimeout));
    EXPECT_FALSE(dispatcher.stop());
    EXPECT_EQ(dispatcher.threads(), 1u);
    stuck->release();
    EXPECT_TRUE(qartest::waitFor([&] { return dispatcher.threads() == 0; }, kTimeout));
    EXPECT_EQ(reports->calls().size(), 8u);
    EXPECT_EQ(ids(stuck->calls()), (std::vector<int32_t>{1}));
    EXPECT_TRUE(drops->calls().empty());
}

// A listener stuck past the bound is dropped, each of its registrations once: what it had queued
// and what comes later are not delivered. The model ends its registrations, as it does a dead
// one's; the other keeps hearing.
TEST_F(ModelTest, StuckListenerIsDroppedAndLosesItsRegistrations) {
    auto drops = ::ndk::SharedRefBase::make<RecordingCallback>();
    CallbackDispatcher dispatcher(
            nullptr,
            [&](int32_t handle) {
                Effects dropped;
                model->forgetRegistration(handle, &dropped);
                recordDropsIn(drops)(handle);
            },
            std::chrono::milliseconds(100));
    dispatcher.start();
    auto hung = ::ndk::SharedRefBase::make<RecordingCallback>(true);
    auto healthy = newCallback();
    const int32_t first = listen({idRecord(1)}, hung);
    const int32_t second = listen({idRecord(1)}, hung);
    listen({idRecord(1)}, healthy);
    take();

    acquire({idRecord(1, "a")});
    dispatcher.post(take().notifications);
    ASSERT_TRUE(drops->waitForCalls(2, kTimeout));
    EXPECT_EQ(ids(drops->calls()), (std::vector<int32_t>{first, second}));
    // Only registrations are forgotten, never requests.
    model->forgetRegistration(acquire({idRecord(1, "b")}), &effects);
    EXPECT_EQ(valueOf(idRecord(1)), "b");
    std::vector<Notification> after = take().notifications;
    EXPECT_TRUE(sentTo(after, hung).empty());
    after.push_back(note(first, hung, 2));
    dispatcher.post(std::move(after));
    ASSERT_TRUE(healthy->waitForCalls(2, kTimeout));
    hung->release();
    dispatcher.stop();
    EXPECT_EQ(hung->calls().size(), 1u);
    EXPECT_EQ(dispatcher.threads(), 0u);
}

}  // namespace
}  // namespace jorvsimtest
