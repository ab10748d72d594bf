// Fuzzes sequences of up to 24 library calls from one table, across all three layers, against the
// tests' fake service scripted by the same input (statuses, out-values, records, property texts,
// callbacks made before the answer). After each call the harness works out from the answer what it
// must have returned and done to the callback registries and the caller's callbacks. The queries
// that parse an answer may let out std::invalid_argument, std::out_of_range or
// std::bad_optional_access by contract.

#include <android/binder_manager.h>
#include <android/binder_process.h>
#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <iostream>
#include <map>
#include <optional>
#include <stdexcept>

#include "JorvHalclient.h"
#include "QarEventApi.h"
#include "QarWrapper.h"
#include "halclient/CallbackRegistries.h"
#include "support/FuzzSupport.h"
#include "support/RecordingCallbacks.h"
#include "support/ServiceDir.h"
#include "support/ServiceEnv.h"
#include "wrapper/ActionLookup.h"

namespace {

namespace hal = ::jorvHalclient;
using hal::JorvCallbackGroup;
using hal::ResourceList;
using QarClient::Resource;
using qarfuzz::check;
using qartest::Answer;
using qartest::Call;
using qartest::JorvRequestData;
using Groups = std::vector<JorvCallbackGroup>;
using Texts = std::vector<std::string>;
using TextMap = std::map<std::string, std::string>;

constexpr char kReq[] = "request";
constexpr char kState[] = "stateRequest";
// Longer property values do not fit the library's buffer (it aborts by contract).
constexpr size_t kMaxPropertyText = 255;
constexpr binder_exception_t kExceptions[] = {
        EX_SECURITY,      EX_BAD_PARCELABLE,      EX_ILLEGAL_ARGUMENT,      EX_NULL_POINTER,
        EX_ILLEGAL_STATE, EX_NETWORK_MAIN_THREAD, EX_UNSUPPORTED_OPERATION, EX_TRANSACTION_FAILED,
        EX_PARCELABLE};
constexpr int32_t kNotifySources[] = {1,  2,   3,   5,   6,   8,   9,   10,   11,   12, 14,  15,
                                      16, 102, 110, 111, 129, 130, 131, 1000, 9000, 4,  500, -1};
constexpr int (*kDumps[])() = {hal::jorvDumpToDoQueue,
                               hal::jorvDumpRunMap,
                               hal::jorvDumpActiveResMap,
                               hal::jorvDumpResRequest,
                               hal::jorvDumpResInfo,
                               hal::jorvDumpSAInfo,
                               hal::jorvDumpPidFdList,
                               hal::jorvDumpPidfdMonitorMap,
                               hal::jorvDumpResRecordList,
                               hal::jorvHistoryRequestRecordOn,
                               hal::jorvHistoryRequestRecordOff};

// The service's side: every answer read from the input.
Answer consumeAnswer(FuzzedDataProvider& p, const Call& call) {
    // A one-way call is served after its caller has moved on: it never reads the input.
    if (call.op == "requestOneWay") return Answer::ok(0);
    const int32_t code = p.ConsumeIntegral<int32_t>();
    const Answer kinds[] = {Answer::ok(0), Answer::exception(p.PickValueInArray(kExceptions)),
                            Answer::exception(code), Answer::serviceSpecific(code),
                            Answer::transport(code)};
    Answer answer = kinds[p.ConsumeIntegralInRange(0, 9) % std::size(kinds)];
    // Mostly small, so that handles come back and get used again.
    answer.out = p.ConsumeBool() ? p.ConsumeIntegralInRange<int32_t>(-2, 16) : code;
    std::vector<int32_t> asked = call.ints;
    for (const JorvRequestData& d : call.parcel ? call.parcel->dataList : call.data) {
        asked.push_back(d.id);
    }
    answer.data =
            call.op == kState ? qarfuzz::consumeRecords(p, asked) : std::vector<JorvRequestData>{};
    answer.text = qarfuzz::consumeSendableText(p, call.op == "propertyGet" ? kMaxPropertyText : 0);
    if (p.ConsumeBool()) answer.callBack = qarfuzz::consumeRecords(p, asked);
    return answer;
}

Groups listenings() {
    qar::ExclusiveLock lock(hal::listening_callback_mutex);
    return hal::listening_callbacks;
}

// How a call's result and effects follow from the service's one answer. Only a listening or an
// unregistering changes the listenings.
enum Rule {
    kOut,         // the answer's out-value, or -1 when it failed
    kStatus,      // 0 when the answer is a success with an out-value of at least 1, else -1
    kInit,        // 0 on success, else -2
    kListen,      // as kOut; the listening is remembered exactly when accepted
    kUnlisten,    // as kOut; every listening with that handle is forgotten
    kAny,         // nothing beyond the one call
    kQuery,       // may throw as promised; -1 when it brought no records
    kParsed,      // may throw as promised
    kText,        // the property text comes back whole
    kLocal,       // never reaches the service (one-way sends aside); a handle or -1
    kRuleSwitch,  // 0, with at most that one call
};

// What a call promises beyond its rule, noted by the table's entries as they make the call.
struct Expect {
    bool sendable = true;  // false: refused or unsendable, it fails before the service
    bool oneShot = false;  // its callback stays registered until the service calls it
    std::function<bool(const JorvCallbackGroup&)> twin;  // a listening on the same ids or paths
    int32_t handle = 0;                                  // the handle unregistered
    std::unique_ptr<char[]> property;
    std::shared_ptr<qartest::RecordingCallback> byId;
    std::shared_ptr<qartest::RecordingPathCallback> byPath;
};

class Harness;
struct Op {
    const char* op;  // the service call the library call makes
    Rule rule;
    int32_t (*call)(Harness&);
};

class Harness {
public:
    Harness(FuzzedDataProvider& provider, qartest::FakeJorv& service)
        : mP(provider), mService(service) {}
    void run();

private:
    std::string text(size_t max = 24) { return qarfuzz::consumeSendableText(mP, max); }
    int32_t num() { return mP.ConsumeIntegral<int32_t>(); }
    int32_t handle() {
        return !mHandles.empty() && mP.ConsumeBool()
                       ? mHandles[mP.ConsumeIntegralInRange<size_t>(0, mHandles.size() - 1)]
                       : num();
    }
    template <typename List>
    List& fill(List& list) {
        list.resize(mP.ConsumeIntegralInRange(0, 5));
        for (Resource& r : list) {
            r.id = mP.ConsumeBool() ? mP.ConsumeIntegralInRange(0, 4) : num();
            const int kind = mP.ConsumeIntegralInRange(0, 2);
            r.value = kind == 0 ? std::nullopt : std::optional(kind == 1 ? "" : text());
        }
        return list;
    }
    std::vector<Resource>& vec() { return fill(mVector); }
    // A list the call checks first: one checkResourceList rejects never leaves.
    ResourceList& list() {
        ResourceList copy = fill(mList);
        mExpect.sendable = checkResourceList(copy);
        return mList;
    }
    Texts& texts(Texts& out) {
        out.resize(mP.ConsumeIntegralInRange<size_t>(0, 4));
        for (std::string& t : out) t = text();
        return out;
    }
    TextMap& textMap(TextMap& out) {
        out.clear();
        for (size_t n = mP.ConsumeIntegralInRange(0, 4); n > 0; --n) out[text()] = text();
        return out;
    }
    // Values for mPaths, drawn with them; a path request sends nothing when they do not pair up.
    Texts& values() {
        texts(mPaths);
        mTexts = mP.ConsumeBool() ? texts(mTexts) : mPaths;
        mExpect.sendable = mTexts.size() == mPaths.size();
        return mTexts;
    }
    // A text the runtime cannot send (not UTF-8).
    std::string unsendable() {
        mExpect.sendable = false;
        std::string bad = text();
        bad.insert(mP.ConsumeIntegralInRange<size_t>(0, bad.size()), 1,
                   static_cast<char>(mP.ConsumeIntegralInRange(0x80, 0xff)));
        return bad;
    }
    std::shared_ptr<qartest::RecordingCallback> byId() {
        mExpect.byId = mP.ConsumeBool() ? std::make_shared<qartest::RecordingCallback>() : nullptr;
        return mExpect.byId;
    }
    std::shared_ptr<qartest::RecordingPathCallback> byPath() {
        mExpect.byPath =
                mP.ConsumeBool() ? std::make_shared<qartest::RecordingPathCallback>() : nullptr;
        return mExpect.byPath;
    }
    int32_t oneShot(int32_t value) {
        mExpect.oneShot = true;
        return value;
    }
    // A listening on the same ids or paths as another one is refused without a call.
    template <typename Key>
    int32_t unlessTwin(Key JorvCallbackGroup::*field, Key key) {
        mExpect.twin = [field, key](const JorvCallbackGroup& g) { return g.*field == key; };
        const Groups now = listenings();
        mExpect.sendable = std::none_of(now.begin(), now.end(), mExpect.twin);
        return num();
    }
    std::vector<int32_t> ids() {
        std::vector<int32_t> ids;
        for (const Resource& r : fill(mList)) ids.push_back(r.id);
        return ids;
    }

    void step(const Op& op);
    void checkAnswered(Rule rule, int32_t result, const Call& c, const Groups& before,
                       size_t pending);

    FuzzedDataProvider& mP;
    qartest::FakeJorv& mService;
    std::vector<int32_t> mHandles;
    Expect mExpect;
    // Arguments the calls take by reference.
    ResourceList mList;
    ResourceList mResults;
    std::vector<Resource> mVector;
    Texts mPaths;
    Texts mTexts;
    Texts mResultTexts;
    TextMap mMap;
    TextMap mMapResults;
    std::string mText;
};

void Harness::step(const Op& op) {
    mExpect = Expect{};
    const size_t pending = qartest::requestCallbackCount();
    const Groups before = listenings();
    std::optional<int32_t> result;
    try {
        result = op.call(*this);
    } catch (const std::invalid_argument&) {
    } catch (const std::out_of_range&) {
    } catch (const std::bad_optional_access&) {
    }
    check(result.has_value() || op.rule == kQuery || op.rule == kParsed,
          "a call that parses nothing threw");
    // A one-way send is answered whenever it arrives, maybe during a later step: it is left out.
    std::vector<Call> calls = mService.takeAnswered();
    calls.erase(std::remove_if(calls.begin(), calls.end(),
                               [](const Call& c) { return c.op == "requestOneWay"; }),
                calls.end());
    if (op.rule == kRuleSwitch || op.rule == kLocal) {
        check(op.rule == kLocal ? calls.empty() && *result >= -1
                                : *result == 0 && calls.size() <= 1 &&
                                          (calls.empty() || calls[0].op == op.op),
              "a call went to the service other than it may, or returned other than it may");
    } else if (!mExpect.sendable) {
        check(calls.empty() && *result == -1 && listenings().size() == before.size() &&
                      qartest::requestCallbackCount() == pending,
              "a call that must not reach the service went out, succeeded or registered");
    } else {
        check(calls.size() == 1 && calls[0].op == op.op,
              "a library call made other than its one service call");
        if (result.has_value()) checkAnswered(op.rule, *result, calls[0], before, pending);
    }
    if (result.has_value() && *result != -1 && mHandles.size() < 16) mHandles.push_back(*result);
}

void Harness::checkAnswered(Rule rule, int32_t result, const Call& c, const Groups& before,
                            size_t pending) {
    const bool ok = c.answer.isOk();
    const int32_t out = ok ? *c.answer.out : -1;
    const int32_t expected[] = {out, ok && out >= 1 ? 0 : -1, ok ? 0 : -2, out, out};
    check(rule >= std::size(expected) || result == expected[rule],
          "a call returned other than the service's answer calls for");
    check(rule != kQuery || result == -1 || (ok && !c.answer.data->empty()),
          "a state query without answers did not fail");
    const std::string text = ok ? *c.answer.text : std::string();
    check(rule != kText ||
                  (mExpect.property != nullptr &&
                   std::memcmp(mExpect.property.get(), text.c_str(), text.size() + 1) == 0),
          "jorvPropertyGet returned other than the service's text");
    const auto sent = c.answer.callBack.value_or(std::vector<JorvRequestData>{});
    const auto byId = mExpect.byId ? mExpect.byId->calls() : decltype(mExpect.byId->calls()){};
    const auto byPath =
            mExpect.byPath ? mExpect.byPath->calls() : decltype(mExpect.byPath->calls()){};
    if (mExpect.oneShot || rule == kListen) {
        check(c.anyCallback() != nullptr &&
                      byId.size() == (mExpect.byId && !sent.empty() ? 1 : 0) &&
                      byPath.size() == (mExpect.byPath && !sent.empty() ? 1 : 0) &&
                      (byId.empty() || qarfuzz::sameRecords(byId[0], sent)) &&
                      (byPath.empty() ||
                       qarfuzz::sameRecords(byPath[0].values, byPath[0].paths, sent)),
              "a caller's callback got other than the service sent");
    }
    check(!mExpect.oneShot ||
                  qartest::requestCallbackCount() == pending + (c.answer.callBack ? 0 : 1),
          "request_callbacks holds the wrong number of clients after a request");
    const Groups after = listenings();
    Groups kept = before;
    if (rule == kListen && ok && !after.empty()) kept.push_back(after.back());
    kept.erase(std::remove_if(kept.begin(), kept.end(),
                              [&](const JorvCallbackGroup& g) {
                                  return rule == kUnlisten && g.handle == mExpect.handle;
                              }),
               kept.end());
    check(std::equal(after.begin(), after.end(), kept.begin(), kept.end(),
                     [](const JorvCallbackGroup& x, const JorvCallbackGroup& y) {
                         return x.client == y.client;
                     }),
          "a listening was remembered or forgotten other than the answer calls for");
    check(rule != kListen || !ok ||
                  (after.back().handle == result && after.back().client->is_register &&
                   (!mExpect.twin || mExpect.twin(after.back()))),
          "an accepted listening was remembered wrongly");
}

void Harness::run() {
    using namespace jorvHalclient;
    using H = Harness;
    static const Op kOps[] = {
            {kReq, kOut, [](H& h) { return jorvResCtlRequest(h.num(), h.list(), h.num()); }},
            {kReq, kOut, [](H& h) { return jorvResCtlRequest(h.num(), h.list(), 1, h.num()); }},
            {kReq, kOut, [](H& h) { return jorvResCtlRequest(7, h.num(), h.list(), 2, h.num()); }},
            {kReq, kOut,
             [](H& h) { return jorvResCtlRequest(h.num(), h.num(), h.list(), 4, 1, h.num()); }},
            {kReq, kOut,
             [](H& h) {
                 return jorvResCtlRequest(h.oneShot(1), h.num(), h.list(), 0, 2, 0, h.byId());
             }},
            {kReq, kOut, [](H& h) { return jorvSACtlRequest(1, 2, h.num(), 3, 4, 5); }},
            {kReq, kOut,
             [](H& h) { return jorvSACtlRequest(h.oneShot(1), 2, h.num(), 3, 4, 5, h.byId()); }},
            {kReq, kStatus, [](H& h) { return jorvThermalNotify(h.list(), h.num()); }},
            {kReq, kOut,
             [](H& h) {
                 return jorv_resctl_request_with_callback_by_path(
                         h.oneShot(1), h.num(), h.mPaths, h.values(), 2, h.num(), 3, h.byPath());
             }},
            {kReq, kOut,
             [](H& h) {
                 return jorv_resctl_request_by_path(1, h.mP.ConsumeIntegral<int64_t>(), h.mPaths,
                                                    h.values(), 2, h.num(), 3);
             }},
            // Thermal listenings are not checked for a twin.
            {"thermalListeningRegister", kListen,
             [](H& h) { return jorvThermalListeningRegister(h.ids(), h.byId()); }},
            {"listeningRegister", kListen,
             [](H& h) {
                 const int32_t p5 = h.unlessTwin(&JorvCallbackGroup::ids, h.ids());
                 return jorvResListeningRegister(h.mList, p5, h.byId());
             }},
            {"listeningRegister", kListen,
             [](H& h) {
                 Texts paths;
                 for (const auto& entry : h.textMap(h.mMap)) paths.push_back(entry.first);
                 const int32_t p5 = h.unlessTwin(&JorvCallbackGroup::paths, paths);
                 return jorv_res_listening_register_map_by_path(h.mMap, p5, h.byPath());
             }},
            {"listeningRegister", kListen,
             [](H& h) {
                 const int32_t p5 = h.unlessTwin(&JorvCallbackGroup::paths, h.texts(h.mPaths));
                 return jorv_res_listening_register_by_path(h.mPaths, p5, h.byPath());
             }},
            {"listeningUnregister", kUnlisten,
             [](H& h) { return jorvResListeningUnRegister(h.mExpect.handle = h.handle()); }},
            // The power figure is parsed from whatever came back.
            {kState, kQuery,
             [](H& h) {
                 return jorvResStateRequest(h.fill(h.mList), h.num(), h.fill(h.mResults));
             }},
            {kState, kQuery,
             [](H& h) {
                 h.texts(h.mPaths);
                 const Texts& values = h.mP.ConsumeBool() ? h.texts(h.mTexts) : h.mPaths;
                 return jorv_res_state_request_by_path(h.mPaths, values, h.num(),
                                                       h.texts(h.mResultTexts));
             }},
            {kState, kQuery,
             [](H& h) {
                 return jorv_res_state_request_map_by_path(h.textMap(h.mMap), h.num(),
                                                           h.textMap(h.mMapResults));
             }},
            {kState, kQuery,
             [](H& h) {
                 h.mVector = {Resource{h.num(), h.text()}};
                 return QarMutiResStateRequest(h.mVector);
             }},
            {kState, kQuery, [](H& h) { return QarGetHistory(h.mText = h.text()); }},
            {kState, kQuery, [](H& h) { return Qar_fetch_dataset(h.vec()); }},
            {kState, kQuery, [](H& h) { return QarGetPMStatus(h.num()); }},
            {kState, kQuery, [](H& h) { return QarGetFeatureStatus(h.num()); }},
            {kState, kParsed, [](H&) { return QarGetPowerConsis(); }},
            {kState, kParsed,
             [](H& h) {
                 const int32_t id = h.mP.ConsumeBool() ? 0x1011670 : h.num();  // power consumption
                 return QarResStateRequest(id, h.mText = h.text()), 0;
             }},
            {kReq, kOut,
             [](H& h) {
                 const std::string name =
                         !gActionList.empty() && h.mP.ConsumeBool()
                                 ? "TRIVEX_" + gActionList[h.mP.ConsumeIntegralInRange<size_t>(
                                                       0, gActionList.size() - 1)]
                                 : h.text(48);
                 h.mExpect.sendable = qar::wrapper::findActionIdForEvent(name) >= 0;
                 return QarEventAcquireWrapper(name, h.text(), h.text(), h.num());
             }},
            {"ruleCtl", kRuleSwitch,
             [](H& h) {
                 const int32_t src =
                         h.mP.ConsumeBool() ? h.mP.PickValueInArray(kNotifySources) : h.num();
                 const int32_t type =
                         h.mP.ConsumeBool() ? h.mP.ConsumeIntegralInRange(-1, 3) : h.num();
                 return QarNotifyWapper(h.text(), src, type, h.num(), 0, 0, h.text(64));
             }},
            {"", kLocal,
             [](H& h) {
                 return QarEventAcquireOneWay(h.num(), h.text(), h.text(), h.num(), h.vec());
             }},
            {"", kLocal, [](H&) { return qarGetRandomHandle(); }},
            {"release", kOut, [](H& h) { return jorvResCtlRelease(h.handle()); }},
            {"release", kOut, [](H& h) { return jorvSACtlRelease(h.handle()); }},
            {"release", kAny, [](H& h) { return QarRelease(h.handle()), 0; }},
            {"release", kAny, [](H& h) { return QarReleaseWapper(h.handle()), 0; }},
            {"thermalListeningUnregister", kOut,
             [](H& h) { return jorvThermalListeningUnregister(h.handle()); }},
            {"propertySet", kOut, [](H& h) { return jorvPropertySet(h.text(), h.text()); }},
            {"setRelatedSysInfo", kOut, [](H& h) { return setRelatedSysInfo(h.num(), h.text()); }},
            {"ruleCtl", kOut, [](H& h) { return qarRuleCtl(h.num(), h.num(), h.vec()); }},
            {kReq, kOut,
             [](H& h) {
                 std::vector<int32_t> values(h.mP.ConsumeIntegralInRange<size_t>(0, 4), h.num());
                 return QarNotify(h.num(), h.num(), values);
             }},
            {kReq, kOut,
             [](H& h) { return QarEventAcquire(h.num(), h.text(), h.text(), h.num(), h.vec()); }},
            {kReq, kOut, [](H& h) { return QarResAcquire(h.vec(), 0, h.text(), h.num()); }},
            {kReq, kOut,
             [](H& h) { return QarPlatformResAcquire(h.vec(), 0, h.text(), h.text(), h.num()); }},
            {"init", kInit, [](H&) { return qarInit(); }},
            {"init", kAny, [](H&) { return jorv_init(), 0; }},
            {kReq, kStatus, [](H& h) { return h.mP.PickValueInArray(kDumps)(); }},
            // A text the runtime cannot send fails the call before it reaches the service; the
            // library reports it like any other failure and reconnects on the next call.
            {"", kAny, [](H& h) { return jorvPropertySet(h.unsendable(), h.text()); }},
            {"", kAny,
             [](H& h) {
                 h.mList = {Resource{1, h.unsendable()}};
                 return jorvResCtlRequest(0, h.mList, 0);
             }},
            {"propertyGet", kText,
             [](H& h) {
                 h.mExpect.property.reset(jorvPropertyGet(h.text()));
                 return 0;
             }},
    };
    for (size_t n = 0; n < 24 && mP.remaining_bytes() > 0; ++n) {
        step(mP.PickValueInArray(kOps));
    }
}

// Lives for the whole process: the runtime's threads may still use the service at exit.
std::shared_ptr<qartest::FakeJorv>* gService = nullptr;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    qarfuzz::discardLogs();
    // QarGetPMStatus reports unparsable answers on standard output.
    std::cout.setstate(std::ios::badbit);
    qarfuzz::usePrivateServiceDir();
    // Serves the fake service and the library's callback objects, both in this process.
    ABinderProcess_startThreadPool();
    gService = new std::shared_ptr(ndk::SharedRefBase::make<qartest::FakeJorv>());
    check(AServiceManager_addService((*gService)->asBinder().get(), qartest::kInstance) == EX_NONE,
          "cannot publish the service");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider provider(data, size);
    qartest::FakeJorv& service = **gService;
    service.setScript([&provider](const Call& call) { return consumeAnswer(provider, call); });
    Harness(provider, service).run();
    service.setScript(nullptr);
    service.dropCallbacks();
    qartest::resetCallbackRegistries();
    return 0;
}
