// IJorvDelegator, the class IJorv::DefaultDelegator names: every call goes to the same method of
// the implementation it wraps, with the arguments it was given, and only an implementation of the
// interface's own version is accepted.
#include <aidl/vendor/vemra/hardware/jorv/BnJorv.h>
#include <aidl/vendor/vemra/hardware/jorv/BnJorvCallback.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "support/FakeServiceTest.h"

namespace qartest {
namespace {

using ::aidl::vendor::vemra::hardware::jorv::BnJorvCallback;
using ::aidl::vendor::vemra::hardware::jorv::IJorv;
using ::aidl::vendor::vemra::hardware::jorv::IJorvDefault;

class SilentCallback : public BnJorvCallback {
public:
    ::ndk::ScopedAStatus onCallback(const std::vector<JorvRequestData>& /*data*/) override {
        return ::ndk::ScopedAStatus::ok();
    }
};

TEST(JorvDelegatorTest, HandsEachCallToTheSameMethodOfTheImplementation) {
    auto fake = ndk::SharedRefBase::make<FakeJorv>();
    std::shared_ptr<IJorv> d = ndk::SharedRefBase::make<IJorv::DefaultDelegator>(fake);
    auto callback = ndk::SharedRefBase::make<SilentCallback>();
    JorvRequestParcel parcel;
    parcel.param0 = 5;
    // Built before the calls: GCC's -O1 under ASan misreads entry()'s empty optionals inside the
    // lambda as uninitialised.
    const JorvRequestData item = entry(9);
    int32_t out = 0;
    std::string text;
    std::vector<JorvRequestData> data;

    const std::vector<std::pair<std::function<::ndk::ScopedAStatus()>, const char*>> calls = {
            {[&] { return d->init(); }, "init"},
            {[&] { return d->request(parcel, &out); }, "request type=0 p0=5"},
            {[&] { return d->release(11, &out); }, "release 11"},
            {[&] { return d->stateRequest(parcel, &data); }, "stateRequest type=0 p0=5"},
            {[&] { return d->listeningRegister(parcel, callback, &out); },
             "listeningRegister type=0 p0=5 cb"},
            {[&] { return d->listeningUnregister(12, &out); }, "listeningUnregister 12"},
            {[&] { return d->propertyGet("name", &text); }, "propertyGet 'name'"},
            {[&] { return d->propertySet("key", "value", &out); }, "propertySet 'key' 'value'"},
            {[&] {
                 return d->thermalListeningRegister({1, 2}, callback, &out);
             },
             "thermalListeningRegister 1 2 cb"},
            {[&] { return d->thermalListeningUnregister(13, &out); },
             "thermalListeningUnregister 13"},
            {[&] { return d->reserved10(); }, "reserved10"},
            {[&] { return d->setRelatedSysInfo(14, "info", &out); }, "setRelatedSysInfo 14 'info'"},
            {[&] { return d->ruleCtl(15, 16, {item}, &out); }, "ruleCtl 15 16 9"},
            {[&] { return d->requestOneWay(parcel); }, "requestOneWay type=0 p0=5"},
    };
    for (const auto& [call, sent] : calls) {
        fake->clearCalls();
        EXPECT_TRUE(call().isOk()) << sent;
        const std::vector<Call> received = fake->calls();
        ASSERT_EQ(received.size(), 1u) << sent;
        EXPECT_EQ(describe(received[0]), sent);
    }
}

TEST(JorvDelegatorTest, RefusesAnImplementationOfAnotherVersion) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    // IJorvDefault reports version 0.
    auto other = ndk::SharedRefBase::make<IJorvDefault>();
    EXPECT_DEATH(ndk::SharedRefBase::make<IJorv::DefaultDelegator>(other), "not version 1");
}

}  // namespace
}  // namespace qartest
