// IJorvDelegator, the class IJorv::DefaultDelegator names: every call goes to the same method of
// the implementation it wraps, with the arguments it was given, and only an implementation of the
// interface's own version is accepted.
#include <aidl/vendor/vemra/hardware/jorv/BnJorv.h>
#include <aidl/vendor/vemra/hardware/jorv/BnJorvCallback.h>
#include <gtest/gtest.h>

#include <cstdint>
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
    std::shared_ptr<IJorv> delegator = ndk::SharedRefBase::make<IJorv::DefaultDelegator>(fake);
    auto callback = ndk::SharedRefBase::make<SilentCallback>();
    JorvRequestParcel parcel;
    parcel.param0 = 5;
    JorvRequestData item;
    item.id = 9;
    int32_t out = 0;
    std::string text;
    std::vector<JorvRequestData> data;

    EXPECT_TRUE(delegator->init().isOk());
    EXPECT_TRUE(delegator->request(parcel, &out).isOk());
    EXPECT_TRUE(delegator->release(11, &out).isOk());
    EXPECT_TRUE(delegator->stateRequest(parcel, &data).isOk());
    EXPECT_TRUE(delegator->listeningRegister(parcel, callback, &out).isOk());
    EXPECT_TRUE(delegator->listeningUnregister(12, &out).isOk());
    EXPECT_TRUE(delegator->propertyGet("name", &text).isOk());
    EXPECT_TRUE(delegator->propertySet("key", "value", &out).isOk());
    EXPECT_TRUE(delegator->thermalListeningRegister({1, 2}, callback, &out).isOk());
    EXPECT_TRUE(delegator->thermalListeningUnregister(13, &out).isOk());
    EXPECT_TRUE(delegator->reserved10().isOk());
    EXPECT_TRUE(delegator->setRelatedSysInfo(14, "info", &out).isOk());
    EXPECT_TRUE(delegator->ruleCtl(15, 16, {item}, &out).isOk());
    EXPECT_TRUE(delegator->requestOneWay(parcel).isOk());

    std::vector<std::string> calls;
    for (const Call& call : fake->calls()) calls.push_back(describe(call));
    EXPECT_EQ(calls, (std::vector<std::string>{
                             "init",
                             "request type=0 p0=5",
                             "release 11",
                             "stateRequest type=0 p0=5",
                             "listeningRegister type=0 p0=5 cb",
                             "listeningUnregister 12",
                             "propertyGet 'name'",
                             "propertySet 'key' 'value'",
                             "thermalListeningRegister 1 2 cb",
                             "thermalListeningUnregister 13",
                             "reserved10",
                             "setRelatedSysInfo 14 'info'",
                             "ruleCtl 15 16 9",
                             "requestOneWay type=0 p0=5",
                     }));
}

TEST(JorvDelegatorTest, RefusesAnImplementationOfAnotherVersion) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    // IJorvDefault reports version 0.
    auto other = ndk::SharedRefBase::make<IJorvDefault>();
    EXPECT_DEATH(ndk::SharedRefBase::make<IJorv::DefaultDelegator>(other), "not version 1");
}

}  // namespace
}  // namespace qartest
