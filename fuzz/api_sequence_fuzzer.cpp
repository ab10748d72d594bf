// Fuzzes sequences of library calls against the tests' fake service scripted by the same input.
// After each call the harness works out from the service's answer what the call must have returned
// and done to the callback registries.

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>

#include "JorvHalclient.h"
#include "QarEventApi.h"
#include "QarWrapper.h"
#include "halclient/CallbackRegistries.h"
#include "support/FakeService.h"
#include "support/FuzzSupport.h"
#include "support/RecordingCallbacks.h"
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
using Groups = std::vector<JorvCallbackGroup>;
using Texts = std::vector<std::string>;
using TextMap = std::map<std::string, std::string>;

constexpr char kReq[] = "request";
constexpr char kState[] = "stateRequest";
constexpr size_t kMaxPropertyText = 255;  // longer ones do not fit the library's buffer
constexpr int32_t kNotifySources[] = {1,  2,   3,   5,   6,   8,   9,   10,   11,   12, 14,  15,
                                      16, 102, 110, 111, 129, 130, 131, 1000, 9000, 4,  500, -1};

// The service's side: every answer read from the input.
Answer consumeAnswer(FuzzedDataProvider& p, const Call& call) {
    // A one-way call is served after its caller has moved on: it never reads the input.
    if (call.op == "requestOneWay") return Answer::ok(0);
    const int32_t code = p.ConsumeIntegral<int32_t>();
    const Answer kinds[] = {
            Answer::exception(p.ConsumeIntegralInRange<int32_t>(EX_PARCELABLE, EX_SECURITY)),
            Answer::exception(code), Answer::serviceSpecific(code), Answer::transport(code),
            Answer::ok(0)};
    Answer answer = kinds[std::min(p.ConsumeIntegralInRange(0, 9), 4)];  // mostly a success
    // Mostly small, so that handles come back and get used again.
    answer.out = p.ConsumeBool() ? p.ConsumeIntegralInRange<int32_t>(-2, 16) : code;
    std::vector<int32_t> asked = call.ints;
    for (const auto& d : call.parcel ? call.parcel->dataList : call.data) {
        asked.push_back(d.id);
    }
    answer.data.emplace();  // no records unless the call is a state query
    if (call.op == kState) *answer.data = qarfuzz::consumeRecords(p, asked);
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
    kOut,       // the answer's out-value, or -1 when it failed
    kStatus,    // 0 when the answer is a success with an out-value of at least 1, else -1
    kInit,      // 0 on success, else -2
    kListen,    // as kOut; the listening is remembered exactly when accepted
    kUnlisten,  // as kOut; every listening with that handle is forgotten
    kAny,       // nothing beyond the one call
    kQuery,     // -1 when it brought no records (every state query may throw as promised)
    kLocal,     // at most that one call (one-way sends aside); a handle or -1
};

struct Op {
    const char* op;  // the service call the library call makes
    Rule rule;
    std::function<int32_t()> call;
};

class Harness {
public:
    Harness(FuzzedDataProvider& provider, qartest::FakeJorv& service)
        : mP(provider), mService(service) {}
    void run();

private:
    std::string text(size_t max = 24) { return qarfuzz::consumeSendableText(mP, max); }
    int32_t num() { return mP.ConsumeIntegral<int32_t>(); }
    int64_t num64() { return mP.ConsumeIntegral<int64_t>(); }
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
        mSendable = checkResourceList(copy);
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
    // Values for mPaths, drawn with them: unpaired ones never leave.
    Texts& values() {
        texts(mPaths);
        mTexts = mP.ConsumeBool() ? texts(mTexts) : mPaths;
        mSendable = mTexts.size() == mPaths.size();
        return mTexts;
    }
    // The caller's callback, or none (what it receives is checked by the callback client fuzzer).
    template <typename Callback>
    std::shared_ptr<Callback> maybe() {
        return mP.ConsumeBool() ? std::make_shared<Callback>() : nullptr;
    }
    auto byId() { return maybe<qartest::RecordingCallback>(); }
    auto byPath() { return maybe<qartest::RecordingPathCallback>(); }
    int32_t oneShot(int32_t value) {
        mOneShot = true;
        return value;
    }
    // A listening on the same ids or paths as another one is refused without a call.
    template <typename Key>
    int32_t unlessTwin(Key JorvCallbackGroup::*field, Key key) {
        mTwin = [field, key](const JorvCallbackGroup& g) { return g.*field == key; };
        const Groups now = listenings();
        mSendable = std::none_of(now.begin(), now.end(), mTwin);
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
    // What the call promises beyond its rule, noted by the table's entries as they make it.
    bool mSendable = true;  // false: refused, it fails before the service
    bool mOneShot = false;  // its callback stays registered until the service calls it
    std::function<bool(const JorvCallbackGroup&)> mTwin;  // a listening on the same ids or paths
    int32_t mUnregistered = 0;
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
    mSendable = true;
    mOneShot = false;
    mTwin = nullptr;
    const size_t pending = qartest::requestCallbackCount();
    const Groups before = listenings();
    std::optional<int32_t> result;
    try {
        result = op.call();
    } catch (const std::invalid_argument&) {
    } catch (const std::out_of_range&) {
    } catch (const std::bad_optional_access&) {
    }
    check(result.has_value() || op.op == std::string(kState), "a call that parses nothing threw");
    // A one-way send may be answered during a later step: it is left out.
    std::vector<Call> calls = mService.takeAnswered();
    calls.erase(std::remove_if(calls.begin(), calls.end(),
                               [](const Call& c) { return c.op == "requestOneWay"; }),
                calls.end());
    if (op.rule == kLocal) {
        check(calls.size() <= 1 && (calls.empty() || calls[0].op == op.op) && *result >= -1,
              "a call went to the service other than it may, or returned a bad handle");
    } else if (!mSendable) {
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
    check(!mOneShot || qartest::requestCallbackCount() == pending + (c.answer.callBack ? 0 : 1),
          "request_callbacks holds the wrong number of clients after a request");
    const Groups after = listenings();
    Groups kept = before;
    if (rule == kListen && ok && !after.empty()) kept.push_back(after.back());
    kept.erase(std::remove_if(kept.begin(), kept.end(),
                              [&](const JorvCallbackGroup& g) {
                                  return rule == kUnlisten && g.handle == mUnregistered;
                              }),
               kept.end());
    check(std::equal(after.begin(), after.end(), kept.begin(), kept.end(),
                     [](const JorvCallbackGroup& x, const JorvCallbackGroup& y) {
                         return x.client == y.client;
                     }),
          "a listening was remembered or forgotten other than the answer calls for");
    check(rule != kListen || !ok ||
                  (after.back().handle == result && after.back().client->is_register &&
                   (!mTwin || mTwin(after.back()))),
          "an accepted listening was remembered wrongly");
}

void Harness::run() {
    using namespace jorvHalclient;
    const Op ops[] = {
            // The shorter overloads only pass defaults on to these.
            {kReq, kOut,
             [&] { return jorvResCtlRequest(num(), num(), list(), num(), num(), num()); }},
            {kReq, kOut,
             [&] { return jorvResCtlRequest(oneShot(1), num(), list(), 0, 2, 0, byId()); }},
            {kReq, kOut,
             [&] { return jorvSACtlRequest(num(), num(), num(), num(), num(), num()); }},
            {kReq, kOut, [&] { return jorvSACtlRequest(oneShot(1), 2, num(), 3, 4, 5, byId()); }},
            {kReq, kStatus, [&] { return jorvThermalNotify(list(), num()); }},
            {kReq, kOut,
             [&] {
                 return jorv_resctl_request_with_callback_by_path(oneShot(1), num64(), mPaths,
                                                                  values(), 2, num(), 3, byPath());
             }},
            {kReq, kOut,
             [&] {
                 return jorv_resctl_request_by_path(1, num64(), mPaths, values(), 2, num(), 3);
             }},
            // Thermal listenings are not checked for a twin.
            {"thermalListeningRegister", kListen,
             [&] { return jorvThermalListeningRegister(ids(), byId()); }},
            {"listeningRegister", kListen,
             [&] {
                 const int32_t p5 = unlessTwin(&JorvCallbackGroup::ids, ids());
                 return jorvResListeningRegister(mList, p5, byId());
             }},
            {"listeningRegister", kListen,
             [&] {
                 Texts paths;
                 for (const auto& entry : textMap(mMap)) paths.push_back(entry.first);
                 const int32_t p5 = unlessTwin(&JorvCallbackGroup::paths, paths);
                 return jorv_res_listening_register_map_by_path(mMap, p5, byPath());
             }},
            {"listeningRegister", kListen,
             [&] {
                 const int32_t p5 = unlessTwin(&JorvCallbackGroup::paths, texts(mPaths));
                 return jorv_res_listening_register_by_path(mPaths, p5, byPath());
             }},
            {"listeningUnregister", kUnlisten,
             [&] { return jorvResListeningUnRegister(mUnregistered = handle()); }},
            // The power figure is parsed from whatever came back.
            {kState, kQuery,
             [&] { return jorvResStateRequest(fill(mList), num(), fill(mResults)); }},
            {kState, kQuery,
             [&] {
                 texts(mPaths);
                 const Texts& asked = mP.ConsumeBool() ? texts(mTexts) : mPaths;
                 return jorv_res_state_request_by_path(mPaths, asked, num(), texts(mResultTexts));
             }},
            {kState, kQuery,
             [&] {
                 return jorv_res_state_request_map_by_path(textMap(mMap), num(),
                                                           textMap(mMapResults));
             }},
            {kState, kQuery,
             [&] {
                 return QarMutiResStateRequest(mVector = {Resource{num(), text()}});
             }},
            {kState, kQuery, [&] { return QarGetHistory(mText = text()); }},
            {kState, kQuery, [&] { return Qar_fetch_dataset(vec()); }},
            {kState, kQuery, [&] { return QarGetPMStatus(num()); }},
            {kState, kQuery, [&] { return QarGetFeatureStatus(num()); }},
            {kState, kAny, [&] { return QarGetPowerConsis(); }},
            {kState, kAny,
             [&] {
                 const int32_t id = mP.ConsumeBool() ? 0x1011670 : num();  // power consumption
                 return QarResStateRequest(id, mText = text()), 0;
             }},
            {kReq, kOut,
             [&] {
                 const std::string name =
                         !gActionList.empty() && mP.ConsumeBool()
                                 ? "TRIVEX_" + gActionList[mP.ConsumeIntegralInRange<size_t>(
                                                       0, gActionList.size() - 1)]
                                 : text(48);
                 mSendable = qar::wrapper::findActionIdForEvent(name) >= 0;
                 return QarEventAcquireWrapper(name, text(), text(), num());
             }},
            {"ruleCtl", kLocal,
             [&] {
                 const int32_t src = mP.ConsumeBool() ? mP.PickValueInArray(kNotifySources) : num();
                 const int32_t type = mP.ConsumeBool() ? mP.ConsumeIntegralInRange(-1, 3) : num();
                 return QarNotifyWapper(text(), src, type, num(), 0, 0, text(64));
             }},
            {"", kLocal,
             [&] { return QarEventAcquireOneWay(num(), text(), text(), num(), vec()); }},
            {"release", kOut, [&] { return jorvResCtlRelease(handle()); }},
            {"release", kOut, [&] { return jorvSACtlRelease(handle()); }},
            {"release", kAny, [&] { return QarRelease(handle()), 0; }},
            {"release", kAny, [&] { return QarReleaseWapper(handle()), 0; }},
            {"thermalListeningUnregister", kOut,
             [&] { return jorvThermalListeningUnregister(handle()); }},
            {"propertySet", kOut, [&] { return jorvPropertySet(text(), text()); }},
            {"setRelatedSysInfo", kOut, [&] { return setRelatedSysInfo(num(), text()); }},
            {"ruleCtl", kOut, [&] { return qarRuleCtl(num(), num(), vec()); }},
            {kReq, kOut,
             [&] {
                 return QarNotify(num(), num(),
                                  std::vector<int32_t>(mP.ConsumeIntegralInRange(0, 4), num()));
             }},
            {kReq, kOut, [&] { return QarEventAcquire(num(), text(), text(), num(), vec()); }},
            {kReq, kOut, [&] { return QarResAcquire(vec(), 0, text(), num()); }},
            {kReq, kOut, [&] { return QarPlatformResAcquire(vec(), 0, text(), text(), num()); }},
            {"init", kInit, [&] { return qarInit(); }},
            {"init", kAny, [&] { return jorv_init(), 0; }},
            {kReq, kStatus,
             [&] {
                 return mP.PickValueInArray(
                         {jorvDumpToDoQueue, jorvDumpRunMap, jorvDumpActiveResMap,
                          jorvDumpResRequest, jorvDumpResInfo, jorvDumpSAInfo, jorvDumpPidFdList,
                          jorvDumpPidfdMonitorMap, jorvDumpResRecordList,
                          jorvHistoryRequestRecordOn, jorvHistoryRequestRecordOff})();
             }},
            {"propertyGet", kAny,
             [&] { return std::unique_ptr<char[]>(jorvPropertyGet(text())), 0; }},
    };
    for (size_t n = 0; n < 24 && mP.remaining_bytes() > 0; ++n) {
        step(mP.PickValueInArray(ops));
    }
}

qartest::FakeJorv* gService = nullptr;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    qarfuzz::discardLogs();
    // QarGetPMStatus reports unparsable answers on standard output.
    std::cout.setstate(std::ios::badbit);
    gService = &qarfuzz::publishFakeService();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider provider(data, size);
    qartest::FakeJorv& service = *gService;
    service.setScript([&provider](const Call& call) { return consumeAnswer(provider, call); });
    Harness(provider, service).run();
    service.setScript(nullptr);
    service.dropCallbacks();
    qartest::resetCallbackRegistries();
    return 0;
}
