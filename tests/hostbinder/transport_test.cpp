// Calls through the runtime, against an EchoJorv in this process and in a child process: every
// argument type survives the trip, statuses arrive as the service made them, one-way calls keep
// their order, and concurrent callers all get through.
#include <aidl/vendor/vemra/hardware/jorv/BnJorv.h>
#include <aidl/vendor/vemra/hardware/jorv/BpJorv.h>
#include <aidl/vendor/vemra/hardware/jorv/IJorv.h>
#include <android/binder_manager.h>
#include <binder/IPCThreadState.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <functional>
#include <iterator>
#include <limits>
#include <memory>
#include <mutex>
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

TEST_P(TransportTest, ClientsAlwaysGetAProxy) {
    EXPECT_TRUE(AIBinder_isRemote(binder_.get()));
    EXPECT_TRUE(jorv_->isRemote());
    EXPECT_TRUE(AIBinder_isAlive(binder_.get()));
    EXPECT_EQ(AIBinder_ping(binder_.get()), STATUS_OK);
    EXPECT_EQ(AIBinder_getUserData(binder_.get()), nullptr);
    ASSERT_TRUE(jorv_->init().isOk());
    if (local_service_) {
        EXPECT_NE(binder_.get(), local_service_->asBinder().get());
        EXPECT_EQ(local_service_->calls(), 1);
    }
}

struct ParcelCase {
    const char* name;
    JorvRequestParcel (*make)();
};

JorvRequestData fullRecord(int32_t id) {
    JorvRequestData d = record(id, -id * 7);
    d.value = "value-" + std::to_string(id);
    d.path = "/vendor/" + std::to_string(id);
    d.extra = "extra";
    return d;
}

using Strings = std::vector<std::optional<std::string>>;

// Extremes of every scalar, nulls next to empties at every nullable level, UTF-8, and sizes well
// past a socket's buffer. How each type is laid out is the parcel tests' business.
const ParcelCase kParcelCases[] = {
        {"defaults",
         [] {
             JorvRequestParcel p;
             p.dataList = {JorvRequestData{}};
             return p;
         }},
        {"extremes",
         [] {
             using I32 = std::numeric_limits<int32_t>;
             JorvRequestParcel p;
             p.requestType = I32::max();
             p.dataList = {record(I32::min(), I32::max())};
             p.flag = true;
             p.param3 = I32::min();
             p.param5 = -1;
             p.param1 = -(int64_t{1} << 40) - 3;  // both halves significant
             p.param0 = I32::min();
             p.numbers = std::vector<int32_t>{I32::min(), -1, 0, I32::max()};
             return p;
         }},
        {"nullsAndEmpties",
         [] {
             JorvRequestParcel p;
             JorvRequestData a = record(5);
             a.value = std::nullopt;
             a.path = "";
             JorvRequestData b = record(6);
             b.value = "";
             b.path = std::nullopt;
             b.extra = "";
             p.dataList = {a, b};
             p.paths = Strings{std::nullopt, std::string(), std::string("x"), std::nullopt};
             p.text1 = std::nullopt;
             p.text2 = "";
             p.numbers = std::vector<int32_t>{};
             return p;
         }},
        {"allFieldsSetInUtf8",
         [] {
             JorvRequestParcel p;
             p.requestType = 3;
             p.dataList = {fullRecord(1), fullRecord(2)};
             p.dataList[1].value = "gr\xc3\xbc\xc3\x9f\xe2\x82\xac";
             p.dataList[1].path = "\xf0\x9f\x98\x80/\xe4\xb8\xad";
             p.flag = true;
             p.param3 = 33;
             p.param5 = 55;
             p.param1 = std::numeric_limits<int64_t>::max();
             p.paths = Strings{std::string("/a"), std::string("\xe2\x82\xac")};
             p.param0 = 10;
             p.text1 = "\xc3\xa9t\xc3\xa9";
             p.text2 = "two";
             p.numbers = std::vector<int32_t>{9, 8, 7};
             return p;
         }},
        {"manyRecords",
         [] {
             JorvRequestParcel p;
             for (int32_t i = 0; i < 2000; ++i) p.dataList.push_back(fullRecord(i));
             return p;
         }},
        {"largeStrings",
         [] {
             JorvRequestParcel p;
             p.dataList = {record(8)};
             p.dataList[0].value = std::string(300000, 'v');
             p.text2 = std::string(100001, 't');
             p.numbers = std::vector<int32_t>(50000, -5);
             return p;
         }},
};

// The service renders what it received into the first record's `extra`, so comparing with the
// rendering of what was sent checks every field in one go.
TEST_P(TransportTest, EveryParcelFieldRoundTrips) {
    for (const ParcelCase& c : kParcelCases) {
        SCOPED_TRACE(c.name);
        const JorvRequestParcel sent = c.make();
        std::vector<JorvRequestData> back;
        ndk::ScopedAStatus st = jorv_->stateRequest(sent, &back);
        ASSERT_TRUE(st.isOk()) << st.getDescription();
        ASSERT_EQ(back.size(), sent.dataList.size());
        EXPECT_EQ(back.front().extra, std::optional<std::string>(render(sent)));
        for (size_t i = 0; i < back.size(); ++i) {
            JorvRequestData expected = sent.dataList[i];
            if (i == 0) expected.extra = back.front().extra;
            ASSERT_EQ(render(back[i]), render(expected)) << "record " << i;
        }

        int32_t ret = 0;
        ASSERT_TRUE(jorv_->request(sent, &ret).isOk());
        EXPECT_EQ(ret, sent.param0 + static_cast<int32_t>(sent.dataList.size()));
    }
}

// A call whose result, whatever its type, is compared as text.
using Call = std::function<ndk::ScopedAStatus(IJorv&, std::string*)>;

template <typename Method>
Call intResult(Method method) {
    return [method](IJorv& j, std::string* out) {
        int32_t ret = 0x0badf00d;
        ndk::ScopedAStatus st = method(j, &ret);
        *out = std::to_string(ret);
        return st;
    };
}

Call propertyGet(const std::string& name) {
    return [name](IJorv& j, std::string* out) { return j.propertyGet(name, out); };
}

std::string echoed(const std::string& name) {
    return name + "|" + std::to_string(name.size());
}

TEST_P(TransportTest, ArgumentsAndResultsRoundTrip) {
    struct Case {
        const char* name;
        Call call;
        std::string expected;
    };
    const std::vector<JorvRequestData> two = {record(1), record(2)};
    const std::string name = "vendor.vemra.thermal.level";
    const std::string utf8 = "gr\xc3\xbc\xc3\x9f \xf0\x9f\x98\x80";
    const std::string large(1 << 19, 'p');  // half the receive buffer
    const Case cases[] = {
            {"releaseMin", intResult([](IJorv& j, int32_t* r) { return j.release(INT32_MIN, r); }),
             std::to_string(INT32_MIN)},
            {"releaseMax", intResult([](IJorv& j, int32_t* r) { return j.release(INT32_MAX, r); }),
             std::to_string(INT32_MAX)},
            {"thermalUnregister",
             intResult([](IJorv& j, int32_t* r) { return j.thermalListeningUnregister(-7, r); }),
             "-7"},
            {"setRelatedSysInfo",
             intResult([](IJorv& j, int32_t* r) { return j.setRelatedSysInfo(-5, "abc", r); }),
             "-8"},
            {"ruleCtl",
             intResult([&two](IJorv& j, int32_t* r) { return j.ruleCtl(3, -4, two, r); }), "298"},
            {"ruleCtlEmpty",
             intResult([](IJorv& j, int32_t* r) { return j.ruleCtl(-1, 0, {}, r); }), "-100"},
            {"propertySetOrder",
             intResult([](IJorv& j, int32_t* r) { return j.propertySet("ab", "cde", r); }), "2003"},
            {"propertySetEmpty",
             intResult([](IJorv& j, int32_t* r) { return j.propertySet("", "", r); }), "0"},
            {"unregisterUnknown",
             intResult([](IJorv& j, int32_t* r) { return j.listeningUnregister(12345, r); }), "-1"},
            {"init", [](IJorv& j, std::string*) { return j.init(); }, ""},
            {"reserved10", [](IJorv& j, std::string*) { return j.reserved10(); }, ""},
            {"propertyGetEmpty", propertyGet(""), echoed("")},
            {"propertyGet", propertyGet(name), echoed(name)},
            {"propertyGetUtf8", propertyGet(utf8), echoed(utf8)},
            {"propertyGetLarge", propertyGet(large), echoed(large)},
            // Answered by the generated stub, not by EchoJorv.
            {"version", intResult([](IJorv& j, int32_t* r) { return j.getInterfaceVersion(r); }),
             std::to_string(IJorv::version)},
            {"hash", [](IJorv& j, std::string* out) { return j.getInterfaceHash(out); },
             IJorv::hash},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::string got;
        ndk::ScopedAStatus st = c.call(*jorv_, &got);
        ASSERT_TRUE(st.isOk()) << st.getDescription();
        EXPECT_EQ(got, c.expected);
    }
}

std::string line(const std::string& method, int32_t exception, int32_t serviceSpecific,
                 int32_t status, const std::string& message) {
    return method + " ex=" + std::to_string(exception) + " ss=" + std::to_string(serviceSpecific) +
           " st=" + std::to_string(status) + " " + message;
}

// Captures the generated proxy's (and, in-process, stub's) transaction logs, one line per call.
class LogCapture {
public:
    LogCapture() {
        jorv::BpJorv::logFunc = [this](const auto& log) { add(proxy_, log); };
        jorv::BnJorv::logFunc = [this](const auto& log) { add(stub_, log); };
    }
    ~LogCapture() {
        jorv::BpJorv::logFunc = nullptr;
        jorv::BnJorv::logFunc = nullptr;
    }

    std::vector<std::string> proxy() const {
        std::lock_guard<std::mutex> lock(mu_);
        return proxy_;
    }
    std::vector<std::string> stub() const {
        std::lock_guard<std::mutex> lock(mu_);
        return stub_;
    }

private:
    template <typename Log>
    void add(std::vector<std::string>& to, const Log& log) {
        std::lock_guard<std::mutex> lock(mu_);
        to.push_back(line(log.method_name, log.exception_code, log.service_specific_error_code,
                          log.transaction_error, log.exception_message));
    }

    mutable std::mutex mu_;
    std::vector<std::string> proxy_;
    std::vector<std::string> stub_;
};

struct ErrorCase {
    const char* name;
    int32_t requestType;
    binder_exception_t exception;
    int32_t serviceSpecific;
    binder_status_t status;
    std::string message;
};

const ErrorCase kErrorCases[] = {
        {"serviceSpecific", EchoJorv::kServiceSpecific, EX_SERVICE_SPECIFIC,
         EchoJorv::kServiceSpecificCode, STATUS_OK, EchoJorv::kErrorMessage},
        {"exception", EchoJorv::kIllegalState, EX_ILLEGAL_STATE, 0, STATUS_OK,
         EchoJorv::kErrorMessage},
        {"failedTransaction", EchoJorv::kFailedTransaction, EX_TRANSACTION_FAILED, 0,
         STATUS_FAILED_TRANSACTION, ""},
        {"badValue", EchoJorv::kBadValue, EX_TRANSACTION_FAILED, 0, STATUS_BAD_VALUE, ""},
};

TEST_P(TransportTest, ErrorStatusesReachTheClientAndTheLog) {
    LogCapture logs;
    for (const ErrorCase& c : kErrorCases) {
        SCOPED_TRACE(c.name);
        JorvRequestParcel p;
        p.requestType = c.requestType;
        int32_t ret = 0x0badf00d;
        ndk::ScopedAStatus st = jorv_->request(p, &ret);
        EXPECT_FALSE(st.isOk());
        EXPECT_EQ(st.getExceptionCode(), c.exception);
        EXPECT_EQ(st.getServiceSpecificError(), c.serviceSpecific);
        EXPECT_EQ(st.getStatus(), c.status);
        EXPECT_EQ(std::string(st.getMessage()), c.message);
        EXPECT_EQ(ret, 0x0badf00d) << "a failed call must not produce a result";

        const auto entries = logs.proxy();
        ASSERT_FALSE(entries.empty());
        EXPECT_EQ(entries.back(),
                  line("request", c.exception, c.serviceSpecific, c.status, c.message));

        // The connection is still usable after any of these.
        int32_t h = 0;
        ASSERT_TRUE(jorv_->release(17, &h).isOk());
        EXPECT_EQ(h, 17);
    }
    EXPECT_EQ(logs.proxy().size(), 2 * std::size(kErrorCases));
    if (local_service_) {
        const auto stub = logs.stub();
        ASSERT_EQ(stub.size(), 2 * std::size(kErrorCases));
        EXPECT_EQ(stub[0], line("request", EX_SERVICE_SPECIFIC, EchoJorv::kServiceSpecificCode, 0,
                                EchoJorv::kErrorMessage));
        EXPECT_EQ(stub[1], line("release", 0, 0, 0, ""));
    }
}

TEST_P(TransportTest, UnknownTransactionCodeIsReported) {
    AParcel* in = nullptr;
    ASSERT_EQ(AIBinder_prepareTransaction(binder_.get(), &in), STATUS_OK);
    AParcel* out = nullptr;
    // Past the last IJorv method, and not one of the codes the generated stub answers itself.
    EXPECT_EQ(AIBinder_transact(binder_.get(), IJorv::TRANSACTION_requestOneWay + 1, &in, &out, 0),
              STATUS_UNKNOWN_TRANSACTION);
    AParcel_delete(in);
    AParcel_delete(out);
    int32_t h = 0;
    EXPECT_TRUE(jorv_->release(3, &h).isOk());
}

TEST_P(TransportTest, CallingIdentity) {
    // Outside a transaction a thread sees its own process.
    EXPECT_EQ(AIBinder_getCallingPid(), getpid());
    EXPECT_EQ(android::IPCThreadState::self()->getCallingPid(), getpid());
    EXPECT_EQ(AIBinder_getCallingUid(), getuid());

    JorvRequestParcel p;
    int32_t ret = 0;
    p.requestType = EchoJorv::kCallingPid;
    ASSERT_TRUE(jorv_->request(p, &ret).isOk());
    EXPECT_EQ(ret, getpid()) << "-1: AIBinder_getCallingPid and IPCThreadState disagree";
    p.requestType = EchoJorv::kCallingUid;
    ASSERT_TRUE(jorv_->request(p, &ret).isOk());
    EXPECT_EQ(ret, static_cast<int32_t>(getuid()));
    p.requestType = EchoJorv::kServicePid;
    ASSERT_TRUE(jorv_->request(p, &ret).isOk());
    EXPECT_EQ(ret, service_pid_);

    EXPECT_EQ(AIBinder_getCallingPid(), getpid()) << "identity leaked out of the call";
}

TEST_P(TransportTest, OneWayCallsAreServedInOrder) {
    constexpr int32_t kCalls = 300;
    // Every third call is slow to serve (it calls back first), fast ones must not overtake it.
    auto cb = ndk::SharedRefBase::make<RecordingCallback>();
    std::vector<int32_t> slow;
    for (int32_t i = 0; i < kCalls; ++i) {
        JorvRequestParcel p;
        p.param0 = i;
        if (i % 3 == 0) {
            p.callback = cb;
            slow.push_back(i);
        }
        ASSERT_TRUE(jorv_->requestOneWay(p).isOk());
    }
    JorvRequestParcel ask;
    ask.requestType = EchoJorv::kOneWayLog;
    std::vector<JorvRequestData> log;
    ASSERT_TRUE(waitFor([&] {
        return jorv_->stateRequest(ask, &log).isOk() && log.size() >= size_t{kCalls};
    })) << "served "
        << log.size() << " of " << kCalls;
    ASSERT_EQ(log.size(), size_t{kCalls});
    for (int32_t i = 0; i < kCalls; ++i) ASSERT_EQ(log[i].id, i) << "position " << i;
    std::vector<int32_t> calledBack;
    for (const auto& d : cb->deliveries()) calledBack.push_back(d.data.at(0).id);
    EXPECT_EQ(calledBack, slow);
}

TEST_P(TransportTest, OneWayCallDoesNotWaitForTheService) {
    // The callback the service makes while serving the one-way call blocks until the gate opens;
    // the one-way call itself must have returned long before.
    auto gate = std::make_shared<Gate>();
    auto cb = ndk::SharedRefBase::make<RecordingCallback>();
    cb->setHook([gate](const auto&) {
        gate->wait(kLongTimeout);
        return ndk::ScopedAStatus::ok();
    });
    JorvRequestParcel p;
    p.param0 = 5;
    p.callback = cb;
    auto jorv = jorv_;
    Async call([jorv, p] { EXPECT_TRUE(jorv->requestOneWay(p).isOk()); });
    EXPECT_TRUE(call.waitDone()) << "one-way call blocked on the service";
    ASSERT_TRUE(waitFor([&] { return cb->count() == 1; }));
    gate->open();
    EXPECT_EQ(cb->deliveries()[0].data.at(0).id, 5);
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

// Not parameterized: about looking services up, not calling them.
class LookupTest : public HostBinderTest {};

TEST_F(LookupTest, EachLookUpGivesAWorkingProxyOfTheRightInterface) {
    const std::string instance = jorvInstance();
    auto echo = ndk::SharedRefBase::make<EchoJorv>();
    ASSERT_TRUE(publish(echo->asBinder(), instance));
    for (auto lookup : {AServiceManager_checkService, AServiceManager_getService,
                        AServiceManager_waitForService}) {
        ndk::SpAIBinder binder(lookup(instance.c_str()));
        EXPECT_EQ(jorv::IJorvCallback::fromBinder(binder), nullptr);
        auto jorv = IJorv::fromBinder(binder);
        ASSERT_NE(jorv, nullptr);
        int32_t ret = 0;
        ASSERT_TRUE(jorv->release(9, &ret).isOk());
        EXPECT_EQ(ret, 9);
    }
    EXPECT_EQ(IJorv::fromBinder(ndk::SpAIBinder()), nullptr);
}

}  // namespace
}  // namespace hbtest
