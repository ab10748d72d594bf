// Calls through the runtime, against an EchoJorv in this process and in a child process: every
// argument type survives the trip, statuses arrive as the service made them, one-way calls keep
// their order, and concurrent callers all get through.
#include <aidl/vendor/vemra/hardware/jorv/IJorv.h>
#include <android/binder_manager.h>
#include <binder/IPCThreadState.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <iterator>
#include <limits>
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
using jorv::JorvRequestData;
using jorv::JorvRequestParcel;

class TransportTest : public JorvEndpointTest {};

JorvRequestParcel ofType(int32_t requestType) {
    JorvRequestParcel p;
    p.requestType = requestType;
    return p;
}

TEST_P(TransportTest, ClientsAlwaysGetAProxy) {
    EXPECT_TRUE(AIBinder_isRemote(binder_.get()));
    EXPECT_TRUE(jorv_->isRemote());
    EXPECT_TRUE(AIBinder_isAlive(binder_.get()));
    EXPECT_EQ(AIBinder_ping(binder_.get()), STATUS_OK);
    EXPECT_EQ(AIBinder_getUserData(binder_.get()), nullptr);
    ASSERT_TRUE(jorv_->init().isOk());
    if (local_service_) {
        EXPECT_NE(binder_.get(), local_service_->asBinder().get());
    }
    // Every way of looking the service up gives a working proxy, of this interface only.
    for (auto lookup : {AServiceManager_getService, AServiceManager_waitForService}) {
        ndk::SpAIBinder binder(lookup(instance_.c_str()));
        EXPECT_EQ(jorv::IJorvCallback::fromBinder(binder), nullptr);
        auto jorv = IJorv::fromBinder(binder);
        ASSERT_NE(jorv, nullptr);
        int32_t ret = 0;
        ASSERT_TRUE(jorv->release(9, &ret).isOk());
        EXPECT_EQ(ret, 9);
    }
    EXPECT_EQ(IJorv::fromBinder(ndk::SpAIBinder()), nullptr);
    // Outside a transaction a thread sees its own process, also after making a call.
    EXPECT_EQ(AIBinder_getCallingPid(), getpid());
    EXPECT_EQ(android::IPCThreadState::self()->getCallingPid(), getpid());
    EXPECT_EQ(AIBinder_getCallingUid(), getuid());
}

JorvRequestData fullRecord(int32_t id) {
    JorvRequestData d = record(id, -id * 7);
    d.value = "value-" + std::to_string(id);
    d.path = "/vendor/" + std::to_string(id);
    d.extra = "extra";
    return d;
}

// Extremes of every scalar in UTF-8 company, nulls next to empties at every nullable level, and
// sizes well past a socket's buffer. How each type is laid out is the parcel tests' business.
std::vector<JorvRequestParcel> parcelCases() {
    using I32 = std::numeric_limits<int32_t>;
    using Strings = std::vector<std::optional<std::string>>;
    std::vector<JorvRequestParcel> cases(3);
    JorvRequestParcel& full = cases[0];
    full.requestType = I32::max();
    full.dataList = {record(I32::min(), I32::max()), fullRecord(2)};
    full.dataList[1].value = "gr\xc3\xbc\xc3\x9f\xe2\x82\xac";
    full.dataList[1].path = "\xf0\x9f\x98\x80/\xe4\xb8\xad";
    full.flag = true;
    full.param3 = I32::min();
    full.param5 = -1;
    full.param1 = -(int64_t{1} << 40) - 3;  // both halves significant
    full.paths = Strings{std::string("/a"), std::string("\xe2\x82\xac")};
    full.param0 = I32::min();
    full.text1 = "\xc3\xa9t\xc3\xa9";
    full.text2 = "two";
    full.numbers = std::vector<int32_t>{I32::min(), -1, 0, I32::max()};

    JorvRequestParcel& nulls = cases[1];
    nulls.dataList = {record(5), record(6)};
    nulls.dataList[0].path = "";
    nulls.dataList[1].value = "";
    nulls.dataList[1].extra = "";
    nulls.paths = Strings{std::nullopt, std::string(), std::string("x"), std::nullopt};
    nulls.text2 = "";
    nulls.numbers = std::vector<int32_t>{};

    JorvRequestParcel& large = cases[2];
    for (int32_t i = 0; i < 2000; ++i) large.dataList.push_back(fullRecord(i));
    large.dataList[0].value = std::string(100000, 'v');
    large.text2 = std::string(100001, 't');
    large.numbers = std::vector<int32_t>(50000, -5);
    return cases;
}

// The service renders what it received into the first record's `extra`, so comparing with the
// rendering of what was sent checks every field in one go.
TEST_P(TransportTest, EveryParcelFieldRoundTrips) {
    for (const JorvRequestParcel& sent : parcelCases()) {
        SCOPED_TRACE(sent.dataList.size());
        std::vector<JorvRequestData> back;
        ndk::ScopedAStatus st = jorv_->stateRequest(sent, &back);
        ASSERT_TRUE(st.isOk()) << st.getDescription();
        ASSERT_EQ(back.size(), sent.dataList.size());
        EXPECT_EQ(back.front().extra, std::optional<std::string>(render(sent)));
        for (size_t i = 0; i < back.size(); ++i) {
            JorvRequestData expected = sent.dataList[i];
            if (i == 0) expected.extra = back.front().extra;
            ASSERT_EQ(back[i].toString(), expected.toString()) << "record " << i;
        }

        int32_t ret = 0;
        ASSERT_TRUE(jorv_->request(sent, &ret).isOk());
        EXPECT_EQ(ret, sent.param0 + static_cast<int32_t>(sent.dataList.size()));
    }
}

TEST_P(TransportTest, ArgumentsAndResultsRoundTrip) {
    using IntCall = std::function<ndk::ScopedAStatus(IJorv&, int32_t*)>;
    const std::vector<JorvRequestData> two = {record(1), record(2)};
    const std::pair<IntCall, int32_t> intCalls[] = {
            {[](IJorv& j, int32_t* r) { return j.release(INT32_MIN, r); }, INT32_MIN},
            {[](IJorv& j, int32_t* r) { return j.release(INT32_MAX, r); }, INT32_MAX},
            {[](IJorv& j, int32_t* r) { return j.thermalListeningUnregister(-7, r); }, -7},
            {[](IJorv& j, int32_t* r) { return j.setRelatedSysInfo(-5, "abc", r); }, -8},
            {[&two](IJorv& j, int32_t* r) { return j.ruleCtl(3, -4, two, r); }, 298},
            {[](IJorv& j, int32_t* r) { return j.ruleCtl(-1, 0, {}, r); }, -100},
            {[](IJorv& j, int32_t* r) { return j.propertySet("ab", "cde", r); }, 2003},
            {[](IJorv& j, int32_t* r) { return j.propertySet("", "", r); }, 0},
            {[](IJorv& j, int32_t* r) { return j.listeningUnregister(12345, r); }, -1},
            // -1 when AIBinder_getCallingPid and IPCThreadState disagree.
            {[](IJorv& j, int32_t* r) { return j.request(ofType(EchoJorv::kCallingPid), r); },
             getpid()},
            {[](IJorv& j, int32_t* r) { return j.request(ofType(EchoJorv::kCallingUid), r); },
             static_cast<int32_t>(getuid())},
            {[](IJorv& j, int32_t* r) { return j.request(ofType(EchoJorv::kServicePid), r); },
             service_pid_},
            // Answered by the generated stub, not by EchoJorv.
            {[](IJorv& j, int32_t* r) { return j.getInterfaceVersion(r); }, IJorv::version},
    };
    for (size_t i = 0; i < std::size(intCalls); ++i) {
        SCOPED_TRACE("call " + std::to_string(i));
        int32_t ret = 0x0badf00d;
        ndk::ScopedAStatus st = intCalls[i].first(*jorv_, &ret);
        ASSERT_TRUE(st.isOk()) << st.getDescription();
        EXPECT_EQ(ret, intCalls[i].second);
    }
    for (const std::string& name : {std::string(), std::string("vendor.vemra.thermal.level"),
                                    std::string("gr\xc3\xbc\xc3\x9f \xf0\x9f\x98\x80"),
                                    std::string(1 << 19, 'p')}) {  // half the receive buffer
        SCOPED_TRACE(name.size());
        std::string got = "stale";
        ndk::ScopedAStatus st = jorv_->propertyGet(name, &got);
        ASSERT_TRUE(st.isOk()) << st.getDescription();
        EXPECT_EQ(got, name + "|" + std::to_string(name.size()));
    }
    EXPECT_TRUE(jorv_->reserved10().isOk());
    std::string hash;
    ASSERT_TRUE(jorv_->getInterfaceHash(&hash).isOk());
    EXPECT_EQ(hash, IJorv::hash);
}

// A status's fields in one line, so that a mismatch shows them all.
std::string line(int32_t exception, int32_t serviceSpecific, int32_t status,
                 const std::string& message) {
    return "ex=" + std::to_string(exception) + " ss=" + std::to_string(serviceSpecific) +
           " st=" + std::to_string(status) + " " + message;
}

TEST_P(TransportTest, ErrorStatusesReachTheClientAsMade) {
    struct Case {
        int32_t requestType;
        std::string expected;  // as line() renders the status
    };
    const std::string message = EchoJorv::kErrorMessage;
    const Case cases[] = {
            {EchoJorv::kServiceSpecific,
             line(EX_SERVICE_SPECIFIC, EchoJorv::kServiceSpecificCode, STATUS_OK, message)},
            {EchoJorv::kIllegalState, line(EX_ILLEGAL_STATE, 0, STATUS_OK, message)},
            {EchoJorv::kFailedTransaction,
             line(EX_TRANSACTION_FAILED, 0, STATUS_FAILED_TRANSACTION, "")},
            {EchoJorv::kBadValue, line(EX_TRANSACTION_FAILED, 0, STATUS_BAD_VALUE, "")},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.expected);
        int32_t ret = 0x0badf00d;
        ndk::ScopedAStatus st = jorv_->request(ofType(c.requestType), &ret);
        EXPECT_FALSE(st.isOk());
        EXPECT_EQ(line(st.getExceptionCode(), st.getServiceSpecificError(), st.getStatus(),
                       st.getMessage()),
                  c.expected);
        EXPECT_EQ(ret, 0x0badf00d) << "a failed call must not produce a result";
        // The connection is still usable after any of these.
        int32_t h = 0;
        ASSERT_TRUE(jorv_->release(17, &h).isOk());
        EXPECT_EQ(h, 17);
    }
    // A code past the last IJorv method, and not one the generated stub answers itself.
    AParcel* in = nullptr;
    ASSERT_EQ(AIBinder_prepareTransaction(binder_.get(), &in), STATUS_OK);
    AParcel* out = nullptr;
    EXPECT_EQ(AIBinder_transact(binder_.get(), IJorv::TRANSACTION_requestOneWay + 1, &in, &out, 0),
              STATUS_UNKNOWN_TRANSACTION);
    AParcel_delete(in);
    AParcel_delete(out);
}

// Every third call is slow to serve (it calls back first, and the first callback waits at a gate
// until every call has been sent): the calls must return without waiting for the service, and the
// fast ones must not overtake the slow ones.
TEST_P(TransportTest, OneWayCallsDoNotWaitAndAreServedInOrder) {
    constexpr int32_t kCalls = 300;
    auto gate = std::make_shared<Gate>();
    auto cb = ndk::SharedRefBase::make<RecordingCallback>();
    cb->setHook([gate](const auto&) {
        gate->wait(kLongTimeout);
        return ndk::ScopedAStatus::ok();
    });
    auto jorv = jorv_;
    Async send([jorv, cb] {
        for (int32_t i = 0; i < kCalls; ++i) {
            JorvRequestParcel p;
            p.param0 = i;
            if (i % 3 == 0) p.callback = cb;
            EXPECT_TRUE(jorv->requestOneWay(p).isOk());
        }
    });
    EXPECT_TRUE(send.waitDone()) << "one-way calls waited for the service";
    EXPECT_TRUE(waitFor([&] { return cb->count() == 1; }));
    gate->open();

    std::vector<JorvRequestData> log;
    ASSERT_TRUE(waitFor([&] {
        return jorv_->stateRequest(ofType(EchoJorv::kOneWayLog), &log).isOk() &&
               log.size() >= size_t{kCalls};
    })) << "served "
        << log.size() << " of " << kCalls;
    ASSERT_EQ(log.size(), size_t{kCalls});
    for (int32_t i = 0; i < kCalls; ++i) ASSERT_EQ(log[i].id, i) << "position " << i;
    const auto deliveries = cb->deliveries();
    ASSERT_EQ(deliveries.size(), size_t{kCalls / 3});
    for (size_t i = 0; i < deliveries.size(); ++i) {
        EXPECT_EQ(deliveries[i].data.at(0).id, static_cast<int32_t>(3 * i));
    }
}

TEST_P(TransportTest, ManyThreadsManyCalls) {
    constexpr int kThreads = 10;
    constexpr int kCallsPerThread = 1000;
    std::atomic<int> failures{0};
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < kCallsPerThread; ++i) {
                JorvRequestParcel p;
                p.param0 = t * 100000 + i;
                p.dataList.resize(static_cast<size_t>(i % 3));
                int32_t ret = 0;
                if (!jorv_->request(p, &ret).isOk()) {
                    failures.fetch_add(1);
                } else if (ret != p.param0 + i % 3) {
                    wrong.fetch_add(1);
                }
            }
        });
    }
    for (auto& th : threads) th.join();
    EXPECT_EQ(failures.load(), 0);
    EXPECT_EQ(wrong.load(), 0) << "a reply went to the wrong caller";
}

INSTANTIATE_TEST_SUITE_P(Where, TransportTest,
                         ::testing::Values(Where::kInProcess, Where::kChildProcess), whereName);

}  // namespace
}  // namespace hbtest
