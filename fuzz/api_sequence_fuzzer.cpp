// Fuzzes sequences of library calls, across all three layers, against the tests' fake service
// (tests/support/FakeJorv.h) scripted by the same input: handles, statuses (exceptions,
// service-specific and transport errors), state records with or without values, property texts,
// and callbacks made before the answer. The input drives a table of operations; after each the
// harness works out from the answer what the call must have returned and done to the callback
// registries and the caller's callbacks, and aborts on any difference.
//
// The queries that parse the service's answer may let std::invalid_argument, std::out_of_range or
// std::bad_optional_access escape by contract; any other exception is reported. Property texts
// stay below the 256 bytes that would abort the process by contract.

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

using jorvHalclient::ResourceList;
using QarClient::Resource;
using qarfuzz::check;
using qartest::Answer;
using qartest::Call;
using qartest::FakeJorv;
using qartest::JorvRequestData;

constexpr int32_t kPowerConsumptionId = 0x1011670;
constexpr size_t kMaxSteps = 24;
// Longer property values do not fit the library's buffer (it aborts by contract).
constexpr size_t kMaxPropertyText = 255;
constexpr binder_exception_t kExceptions[] = {
        EX_SECURITY,      EX_BAD_PARCELABLE,      EX_ILLEGAL_ARGUMENT,      EX_NULL_POINTER,
        EX_ILLEGAL_STATE, EX_NETWORK_MAIN_THREAD, EX_UNSUPPORTED_OPERATION, EX_TRANSACTION_FAILED,
        EX_PARCELABLE,
};

// --- The service's side: every answer read from the input ---------------------------------------

std::optional<std::string> consumeText(FuzzedDataProvider& p) {
    // Values the callers parse show up as numbers often enough to get past the parse.
    switch (p.ConsumeIntegralInRange(0, 4)) {
        case 0:
            return std::nullopt;
        case 1:
            return std::to_string(p.ConsumeIntegral<int32_t>());
        case 2:
            return std::to_string(p.ConsumeIntegral<int64_t>());  // mostly out of range
        default:
            return qarfuzz::consumeSendableText(p, 24);
    }
}

// Records as a service answers: ids mostly the ones the caller asked about.
std::vector<JorvRequestData> consumeRecords(FuzzedDataProvider& p, const Call& call) {
    std::vector<int32_t> asked = call.ints;
    for (const JorvRequestData& d : call.parcel ? call.parcel->dataList : call.data) {
        asked.push_back(d.id);
    }
    std::vector<JorvRequestData> records(p.ConsumeIntegralInRange<size_t>(0, 6));
    for (JorvRequestData& r : records) {
        r.id = !asked.empty() && p.ConsumeBool()
                       ? asked[p.ConsumeIntegralInRange<size_t>(0, asked.size() - 1)]
                       : p.ConsumeIntegral<int32_t>();
        r.intValue = p.ConsumeIntegral<int32_t>();
        r.value = consumeText(p);
        r.path = p.ConsumeBool() ? consumeText(p) : std::nullopt;
        r.extra = p.ConsumeBool() ? consumeText(p) : std::nullopt;
    }
    return records;
}

Answer consumeAnswer(FuzzedDataProvider& p, const Call& call) {
    // A one-way call is served after its caller has moved on: it never reads the input.
    if (call.op == "requestOneWay") return Answer::ok(0);
    Answer answer;
    switch (p.ConsumeIntegralInRange(0, 7)) {
        case 0:
            answer = Answer::exception(p.ConsumeBool() ? p.PickValueInArray(kExceptions)
                                                       : p.ConsumeIntegral<int32_t>());
            break;
        case 1:
            answer = Answer::serviceSpecific(p.ConsumeIntegral<int32_t>());
            break;
        case 2:
            answer = Answer::transport(p.ConsumeIntegral<int32_t>());
            break;
    }
    // Mostly small, so that handles come back and get used again.
    answer.out = p.ConsumeBool() ? p.ConsumeIntegralInRange<int32_t>(-2, 16)
                                 : p.ConsumeIntegral<int32_t>();
    answer.data =
            call.op == "stateRequest" ? consumeRecords(p, call) : std::vector<JorvRequestData>{};
    answer.text = qarfuzz::consumeSendableText(p, call.op == "propertyGet" ? kMaxPropertyText : 0);
    if (p.ConsumeBool()) answer.callBack = consumeRecords(p, call);
    return answer;
}

// --- The caller's side ---------------------------------------------------------------------------

// The result of a call, or nothing when it let out one of the exceptions the parsing queries
// promise; any other exception escapes the harness and is reported.
template <typename Fn>
std::optional<int32_t> valueOf(Fn&& fn) {
    try {
        return fn();
    } catch (const std::invalid_argument&) {
    } catch (const std::out_of_range&) {
    } catch (const std::bad_optional_access&) {
    }
    return std::nullopt;
}

int32_t outOrFailure(const Call& c) {
    return c.answer.isOk() ? *c.answer.out : -1;
}

// Records of a state query as the caller sees them: none when the call failed.
std::vector<JorvRequestData> answersOf(const Call& c) {
    return c.answer.isOk() ? *c.answer.data : std::vector<JorvRequestData>{};
}

// The contract of checkResourceList.
bool validList(const ResourceList& resources) {
    return std::all_of(resources.begin(), resources.end(), [](const Resource& r) {
        return r.id != 0 ? r.value.has_value() && !r.value->empty()
                         : !r.value.has_value() || r.value->empty();
    });
}

size_t requestCallbacks() {
    jorvHalclient::RequestCallbacksLock lock;
    return jorvHalclient::requestCallbacks().size();
}

std::vector<jorvHalclient::JorvCallbackGroup> listenings() {
    qar::ExclusiveLock lock(jorvHalclient::listening_callback_mutex);
    return jorvHalclient::listening_callbacks;
}

class Harness {
public:
    Harness(FuzzedDataProvider& provider, FakeJorv& service) : mP(provider), mService(service) {}

    void run();

private:
    // --- Arguments ---
    std::string text(size_t max = 24) { return qarfuzz::consumeSendableText(mP, max); }
    int32_t i32() { return mP.ConsumeIntegral<int32_t>(); }
    int32_t handle() {
        return !mHandles.empty() && mP.ConsumeBool()
                       ? mHandles[mP.ConsumeIntegralInRange<size_t>(0, mHandles.size() - 1)]
                       : i32();
    }
    void remember(int32_t result) {
        if (result != -1 && mHandles.size() < 16) mHandles.push_back(result);
    }
    ResourceList resources() {
        ResourceList list(mP.ConsumeIntegralInRange(0, 5));
        for (Resource& r : list) {
            r.id = mP.ConsumeBool() ? mP.ConsumeIntegralInRange(0, 4) : i32();
            const int kind = mP.ConsumeIntegralInRange(0, 2);
            if (kind > 0) r.value = kind == 1 ? std::string() : text();
        }
        return list;
    }
    std::vector<Resource> resourceVector() {
        const ResourceList list = resources();
        return {list.begin(), list.end()};
    }
    std::vector<std::string> texts() {
        std::vector<std::string> out(mP.ConsumeIntegralInRange<size_t>(0, 4));
        for (std::string& t : out) t = text();
        return out;
    }
    std::map<std::string, std::string> textMap() {
        std::map<std::string, std::string> out;
        for (size_t n = mP.ConsumeIntegralInRange(0, 4); n > 0; --n) out[text()] = text();
        return out;
    }
    template <typename T>
    std::shared_ptr<T> maybe() {
        return mP.ConsumeBool() ? std::make_shared<T>() : nullptr;
    }

    // --- What the service saw ---
    std::vector<Call> taken() {
        std::vector<Call> calls = mService.takeAnswered();
        // A one-way send may arrive during any later step.
        calls.erase(std::remove_if(calls.begin(), calls.end(),
                                   [](const Call& c) { return c.op == "requestOneWay"; }),
                    calls.end());
        return calls;
    }
    Call only(const char* op) {
        std::vector<Call> calls = taken();
        check(calls.size() == 1 && calls.front().op == op,
              "a library call made other than its one service call");
        return std::move(calls.front());
    }
    void none() { check(taken().empty(), "a library call reached the service when it must not"); }

    // The caller's callback got exactly the records the service called back with.
    static void checkDelivered(const Call& c,
                               const std::shared_ptr<qartest::RecordingCallback>& byId,
                               const std::shared_ptr<qartest::RecordingPathCallback>& byPath) {
        check(c.anyCallback() != nullptr, "a callback-carrying call sent no callback object");
        const std::vector<JorvRequestData> sent =
                c.answer.callBack.value_or(std::vector<JorvRequestData>{});
        const size_t expected = sent.empty() ? 0 : 1;
        if (byId != nullptr) {
            const auto calls = byId->calls();
            check(calls.size() == expected &&
                          (expected == 0 || qarfuzz::deliveredById(calls[0], sent)),
                  "the id callback got other than the service sent");
        }
        if (byPath != nullptr) {
            const auto calls = byPath->calls();
            check(calls.size() == expected &&
                          (expected == 0 ||
                           qarfuzz::deliveredByPath(calls[0].values, calls[0].paths, sent)),
                  "the path callback got other than the service sent");
        }
    }

    // A one-shot request callback stays registered until the service calls it.
    static void checkOneShot(size_t before, const Call& c) {
        check(requestCallbacks() == before + (c.answer.callBack.has_value() ? 0 : 1),
              "request_callbacks holds the wrong number of clients after a request");
    }

    // A request whose result is the service's handle, or -1; an invalid list never leaves.
    void request(bool valid, int32_t result, size_t before, bool oneShot = false,
                 const std::shared_ptr<qartest::RecordingCallback>& byId = nullptr,
                 const std::shared_ptr<qartest::RecordingPathCallback>& byPath = nullptr) {
        if (!valid) {
            none();
            check(result == -1 && requestCallbacks() == before, "an invalid request went out");
            return;
        }
        const Call c = only("request");
        check(result == outOrFailure(c), "a request returned the wrong handle");
        if (oneShot) {
            checkDelivered(c, byId, byPath);
            checkOneShot(before, c);
        }
        remember(result);
    }

    // A listening is remembered exactly when the service accepted it; one on the same ids or
    // paths as another (`same`, when the call refuses that) is refused without a call.
    using Group = jorvHalclient::JorvCallbackGroup;
    void listen(const char* op, const std::function<bool(const Group&)>& same,
                const std::function<int32_t()>& doRegister,
                const std::shared_ptr<qartest::RecordingCallback>& byId,
                const std::shared_ptr<qartest::RecordingPathCallback>& byPath) {
        const auto before = listenings();
        const bool duplicate = same && std::any_of(before.begin(), before.end(), same);
        const int32_t result = doRegister();
        const auto after = listenings();
        if (duplicate) {
            none();
            check(result == -1 && after.size() == before.size(), "a second listening went out");
            return;
        }
        const Call c = only(op);
        check(result == outOrFailure(c), "a listening returned the wrong handle");
        checkDelivered(c, byId, byPath);
        check(after.size() == before.size() + (c.answer.isOk() ? 1 : 0),
              "a listening was remembered other than when accepted");
        check(!c.answer.isOk() ||
                      (after.back().handle == result && after.back().client != nullptr &&
                       after.back().client->is_register && (!same || same(after.back()))),
              "an accepted listening was remembered wrongly");
        remember(result);
    }

    void resCtl();
    void listenById();
    void listenByPath();
    void unlisten();
    void pathRequest();
    void queries();
    void wrapper();
    void plainCalls();
    void unsendable();

    FuzzedDataProvider& mP;
    FakeJorv& mService;
    std::vector<int32_t> mHandles;
};

void Harness::resCtl() {
    ResourceList list = resources();
    const bool valid = validList(list);
    const int32_t a = i32();
    const int32_t b = i32();
    const size_t before = requestCallbacks();
    const auto byId = maybe<qartest::RecordingCallback>();
    switch (mP.ConsumeIntegralInRange(0, 7)) {
        case 0:
            return request(valid, jorvHalclient::jorvResCtlRequest(a, list, b), before);
        case 1:
            return request(valid, jorvHalclient::jorvResCtlRequest(a, list, 1, b), before);
        case 2:
            return request(valid, jorvHalclient::jorvResCtlRequest(7, a, list, 2, b), before);
        case 3:
            return request(valid, jorvHalclient::jorvResCtlRequest(i32(), a, list, 4, 1, b),
                           before);
        case 4: {
            const int32_t result = jorvHalclient::jorvResCtlRequest(a, i32(), list, 0, b, 0, byId);
            return request(valid, result, before, true, byId);
        }
        case 5: {
            const int kind = mP.ConsumeIntegralInRange(0, 2);
            const int32_t result =
                    kind == 0   ? jorvHalclient::jorvSACtlRequest(1, a, 2)
                    : kind == 1 ? jorvHalclient::jorvSACtlRequest(1, 2, a, 3, 4, 5)
                                : jorvHalclient::jorvSACtlRequest(1, 2, a, 3, 4, 5, byId);
            const Call c = only("request");
            check(c.parcel->dataList.size() == 1 && c.parcel->dataList[0].id == a,
                  "a scene action was sent wrongly");
            check(result == outOrFailure(c), "jorvSACtlRequest returned the wrong handle");
            if (kind == 2) checkDelivered(c, byId, nullptr);
            if (kind == 2) checkOneShot(before, c);
            return remember(result);
        }
        default: {
            const int32_t result = jorvHalclient::jorvThermalNotify(list, a);
            if (!valid) none();
            if (!valid) return check(result == -1, "an invalid thermal list did not fail");
            const Call c = only("request");
            check(result == (c.answer.isOk() && *c.answer.out >= 1 ? 0 : -1),
                  "jorvThermalNotify misread the service's answer");
        }
    }
}

void Harness::pathRequest() {
    const std::vector<std::string> paths = texts();
    const std::vector<std::string> values = mP.ConsumeBool() ? texts() : paths;
    const auto byPath = maybe<qartest::RecordingPathCallback>();
    const size_t before = requestCallbacks();
    const bool oneShot = mP.ConsumeBool();
    const int64_t when = mP.ConsumeIntegral<int64_t>();
    const int32_t result = oneShot ? jorvHalclient::jorv_resctl_request_with_callback_by_path(
                                             1, when, paths, values, 2, i32(), 3, byPath)
                                   : jorvHalclient::jorv_resctl_request_by_path(
                                             1, when, paths, values, 2, i32(), 3);
    request(paths.size() == values.size(), result, before, oneShot, nullptr, byPath);
}

void Harness::listenById() {
    ResourceList list = resources();
    std::vector<int32_t> ids;
    for (const Resource& r : list) ids.push_back(r.id);
    const auto byId = maybe<qartest::RecordingCallback>();
    const int32_t p5 = i32();
    if (mP.ConsumeBool()) {
        // Thermal listenings are not checked for a twin.
        std::vector<int> thermal(ids.begin(), ids.end());
        return listen(
                "thermalListeningRegister", nullptr,
                [&] { return jorvHalclient::jorvThermalListeningRegister(thermal, byId); }, byId,
                nullptr);
    }
    listen(
            "listeningRegister", [&](const Group& g) { return g.ids == ids; },
            [&] { return jorvHalclient::jorvResListeningRegister(list, p5, byId); }, byId, nullptr);
}

void Harness::listenByPath() {
    const auto byPath = maybe<qartest::RecordingPathCallback>();
    const bool asMap = mP.ConsumeBool();
    const std::map<std::string, std::string> request = asMap ? textMap() : decltype(request){};
    std::vector<std::string> paths = asMap ? std::vector<std::string>{} : texts();
    for (const auto& entry : request) paths.push_back(entry.first);
    const int32_t p5 = i32();
    listen(
            "listeningRegister", [&](const Group& g) { return g.paths == paths; },
            [&] {
                return asMap ? jorvHalclient::jorv_res_listening_register_map_by_path(request, p5,
                                                                                      byPath)
                             : jorvHalclient::jorv_res_listening_register_by_path(paths, p5,
                                                                                  byPath);
            },
            nullptr, byPath);
}

void Harness::unlisten() {
    const int32_t h = handle();
    auto expected = listenings();
    expected.erase(std::remove_if(expected.begin(), expected.end(),
                                  [h](const Group& g) { return g.handle == h; }),
                   expected.end());
    const int32_t result = jorvHalclient::jorvResListeningUnRegister(h);
    check(result == outOrFailure(only("listeningUnregister")),
          "jorvResListeningUnRegister returned other than the service's answer");
    const auto after = listenings();
    check(std::equal(after.begin(), after.end(), expected.begin(), expected.end(),
                     [](const Group& x, const Group& y) { return x.client == y.client; }),
          "unregistering did not forget exactly the listenings with that handle");
}

// The state queries: one stateRequest each, and -1 when it brought no answers (what they make of
// answers is the unit tests' business). The parsing ones may throw as promised instead.
void Harness::queries() {
    using H = Harness;
    static const std::function<int32_t(H&)> kQueries[] = {
            [](H& h) {
                ResourceList list = h.resources();
                ResourceList results = h.resources();
                return jorvHalclient::jorvResStateRequest(list, h.i32(), results);
            },
            [](H& h) {
                std::vector<std::string> results = h.texts();
                const std::vector<std::string> paths = h.texts();
                return jorvHalclient::jorv_res_state_request_by_path(
                        paths, h.mP.ConsumeBool() ? h.texts() : paths, h.i32(), results);
            },
            [](H& h) {
                std::map<std::string, std::string> results = h.textMap();
                return jorvHalclient::jorv_res_state_request_map_by_path(h.textMap(), h.i32(),
                                                                         results);
            },
            [](H& h) {
                std::vector<Resource> asked = {Resource{h.i32(), h.text()}};
                return QarMutiResStateRequest(asked);
            },
            [](H& h) {
                std::string out = h.text();
                return QarGetHistory(out);
            },
            [](H& h) {
                std::vector<Resource> data = h.resourceVector();
                return Qar_fetch_dataset(data);
            },
            [](H& h) { return QarGetPMStatus(h.i32()); },
            [](H& h) { return QarGetFeatureStatus(h.i32()); },
            [](H&) { return QarGetPowerConsis(); },
            [](H& h) {
                std::string out = h.text();
                QarResStateRequest(h.mP.ConsumeBool() ? kPowerConsumptionId : h.i32(), out);
                return 0;
            },
    };
    const size_t which = mP.ConsumeIntegralInRange<size_t>(0, std::size(kQueries) - 1);
    const std::optional<int32_t> result = valueOf([&] { return kQueries[which](*this); });
    const bool answered = !answersOf(only("stateRequest")).empty();
    // The power figure is parsed from whatever came back, so only the others fail plainly.
    check(which >= 8 || !result.has_value() || answered || *result == -1,
          "a state query without answers did not fail");
}

void Harness::wrapper() {
    switch (mP.ConsumeIntegralInRange(0, 3)) {
        case 0: {
            const std::string name =
                    !gActionList.empty() && mP.ConsumeBool()
                            ? "TRIVEX_" + gActionList[mP.ConsumeIntegralInRange<size_t>(
                                                  0, gActionList.size() - 1)]
                            : text(48);
            const int32_t id = qar::wrapper::findActionIdForEvent(name);
            const int32_t result = QarEventAcquireWrapper(name, text(), text(), i32());
            if (id < 0) none();
            if (id < 0) return check(result == -1, "an unknown action did not fail");
            const Call c = only("request");
            check(!c.parcel->dataList.empty() && c.parcel->dataList[0].id == id &&
                          result == outOrFailure(c),
                  "the wrapper acquired other than the named action");
            return remember(result);
        }
        case 1: {
            static constexpr int32_t kSources[] = {1,   2,   3,   5,    6,    8,   9,   10,
                                                   11,  12,  14,  15,   16,   102, 110, 111,
                                                   129, 130, 131, 1000, 9000, 4,   500, -1};
            const int32_t src = mP.ConsumeBool() ? mP.PickValueInArray(kSources) : i32();
            const int32_t type = mP.ConsumeBool() ? mP.ConsumeIntegralInRange(-1, 3) : i32();
            const int32_t result = QarNotifyWapper(text(), src, type, i32(), 0, 0, text(64));
            const std::vector<Call> calls = taken();
            check(result == 0 && (calls.empty() || (calls.size() == 1 && calls[0].op == "ruleCtl")),
                  "QarNotifyWapper made other calls than one rule switch");
            return;
        }
        case 2: {
            // The send is one-way: the service answers nothing the caller waits for.
            const int32_t result =
                    QarEventAcquireOneWay(i32(), text(), text(), i32(), resourceVector());
            none();
            check(result >= -1, "a one-way acquisition returned a negative handle");
            return remember(result);
        }
        default: {
            ResourceList list = resources();
            check(checkResourceList(list) == validList(list), "checkResourceList broke its rule");
            const int32_t h = qarGetRandomHandle();
            none();
            check(h >= -1, "qarGetRandomHandle returned a negative handle");
        }
    }
}

// Calls whose result follows from the one answer by a fixed rule.
void Harness::plainCalls() {
    using H = Harness;
    using jorvHalclient::jorvDumpRunMap;
    enum Rule { kOut, kOutKept, kStatus, kInit, kNone };
    struct Plain {
        const char* op;
        Rule rule;
        int32_t (*call)(H&);
    };
    static const Plain kCalls[] = {
            {"release", kOut, [](H& h) { return jorvHalclient::jorvResCtlRelease(h.handle()); }},
            {"release", kOut, [](H& h) { return jorvHalclient::jorvSACtlRelease(h.handle()); }},
            {"release", kNone, [](H& h) { return QarRelease(h.handle()), 0; }},
            {"release", kNone, [](H& h) { return QarReleaseWapper(h.handle()), 0; }},
            {"thermalListeningUnregister", kOut,
             [](H& h) { return jorvHalclient::jorvThermalListeningUnregister(h.handle()); }},
            {"propertySet", kOut,
             [](H& h) { return jorvHalclient::jorvPropertySet(h.text(), h.text()); }},
            {"setRelatedSysInfo", kOut, [](H& h) { return setRelatedSysInfo(h.i32(), h.text()); }},
            {"ruleCtl", kOut,
             [](H& h) { return qarRuleCtl(h.i32(), h.i32(), h.resourceVector()); }},
            {"request", kOut,
             [](H& h) {
                 std::vector<int32_t> values(h.mP.ConsumeIntegralInRange<size_t>(0, 4), h.i32());
                 return QarNotify(h.i32(), h.i32(), values);
             }},
            {"request", kOutKept,
             [](H& h) {
                 return QarEventAcquire(h.i32(), h.text(), h.text(), h.i32(), h.resourceVector());
             }},
            {"request", kOutKept,
             [](H& h) { return QarResAcquire(h.resourceVector(), 0, h.text(), h.i32()); }},
            {"request", kOutKept,
             [](H& h) {
                 return QarPlatformResAcquire(h.resourceVector(), 0, h.text(), h.text(), h.i32());
             }},
            {"init", kInit, [](H&) { return qarInit(); }},
            {"init", kNone, [](H&) { return jorvHalclient::jorv_init(), 0; }},
            {"request", kStatus, [](H&) { return jorvHalclient::jorvDumpToDoQueue(); }},
            {"request", kStatus, [](H&) { return jorvHalclient::jorvDumpRunMap(); }},
            {"request", kStatus, [](H&) { return jorvHalclient::jorvDumpActiveResMap(); }},
            {"request", kStatus, [](H&) { return jorvHalclient::jorvDumpResRequest(); }},
            {"request", kStatus, [](H&) { return jorvHalclient::jorvDumpResInfo(); }},
            {"request", kStatus, [](H&) { return jorvHalclient::jorvDumpSAInfo(); }},
            {"request", kStatus, [](H&) { return jorvHalclient::jorvDumpPidFdList(); }},
            {"request", kStatus, [](H&) { return jorvHalclient::jorvDumpPidfdMonitorMap(); }},
            {"request", kStatus, [](H&) { return jorvHalclient::jorvDumpResRecordList(); }},
            {"request", kStatus, [](H&) { return jorvHalclient::jorvHistoryRequestRecordOn(); }},
            {"request", kStatus, [](H&) { return jorvHalclient::jorvHistoryRequestRecordOff(); }},
    };
    const Plain& plain = mP.PickValueInArray(kCalls);
    const int32_t result = plain.call(*this);
    const Call c = only(plain.op);
    const bool ok = c.answer.isOk();
    switch (plain.rule) {
        case kOut:
        case kOutKept:
            check(result == outOrFailure(c), "a call returned other than the service's answer");
            if (plain.rule == kOutKept) remember(result);
            return;
        case kStatus:
            return check(result == (ok && *c.answer.out >= 1 ? 0 : -1),
                         "a diagnostic command misread the service's answer");
        case kInit:
            return check(result == (ok ? 0 : -2), "qarInit misread the service's answer");
        case kNone:
            return;
    }
}

// A text the runtime cannot send (not UTF-8) makes the call fail before it reaches the service;
// the library reports it like any other failure and reconnects on the next call. Also reads a
// property, whose text comes back whole.
void Harness::unsendable() {
    std::string bad = text();
    bad.insert(mP.ConsumeIntegralInRange<size_t>(0, bad.size()), 1,
               static_cast<char>(mP.ConsumeIntegralInRange(0x80, 0xff)));
    ResourceList list = {Resource{1, bad}};
    int32_t result = 0;
    switch (mP.ConsumeIntegralInRange(0, 5)) {
        case 0:
            result = jorvHalclient::jorvPropertySet(bad, text());
            break;
        case 1:
            result = QarEventAcquire(1, bad, text(), 0, {});
            break;
        case 2:
            result = jorvHalclient::jorv_resctl_request_by_path(0, 0, {bad}, {text()}, 0, 0, 0);
            break;
        case 3:
            result = setRelatedSysInfo(0, bad);
            break;
        case 4:
            result = jorvHalclient::jorvResCtlRequest(0, list, 0);
            break;
        default: {
            const std::unique_ptr<char[]> value(jorvHalclient::jorvPropertyGet(text()));
            const Call c = only("propertyGet");
            const std::string expected = c.answer.isOk() ? *c.answer.text : std::string();
            return check(value != nullptr && std::memcmp(value.get(), expected.c_str(),
                                                         expected.size() + 1) == 0,
                         "jorvPropertyGet returned other than the service's text");
        }
    }
    none();
    check(result == -1, "a call that could not be sent did not fail");
}

void Harness::run() {
    static constexpr void (Harness::*kOps[])() = {
            &Harness::resCtl,     &Harness::resCtl,       &Harness::pathRequest,
            &Harness::listenById, &Harness::listenByPath, &Harness::unlisten,
            &Harness::queries,    &Harness::queries,      &Harness::wrapper,
            &Harness::plainCalls, &Harness::plainCalls,   &Harness::unsendable,
    };
    for (size_t step = 0; step < kMaxSteps && mP.remaining_bytes() > 0; ++step) {
        taken();
        (this->*mP.PickValueInArray(kOps))();
    }
}

// Lives for the whole process: the runtime's threads may still use the service at exit.
std::shared_ptr<FakeJorv>* gService = nullptr;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    qarfuzz::discardLogs();
    // QarGetPMStatus reports unparsable answers on standard output.
    std::cout.setstate(std::ios::badbit);
    qarfuzz::usePrivateServiceDir();
    // Serves the fake service and the library's callback objects, both in this process.
    ABinderProcess_startThreadPool();
    gService = new std::shared_ptr<FakeJorv>(ndk::SharedRefBase::make<FakeJorv>());
    check(AServiceManager_addService((*gService)->asBinder().get(), qartest::kInstance) == EX_NONE,
          "cannot publish the service");
    // The service lives in this process, so a connection dropped after a failed call is remade
    // from the same object.
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    qartest::resetCallbackRegistries();
    FuzzedDataProvider provider(data, size);
    FakeJorv& service = **gService;
    service.setScript([&provider](const Call& call) { return consumeAnswer(provider, call); });
    Harness(provider, service).run();
    service.setScript(nullptr);
    service.clearCalls();
    service.dropCallbacks();
    qartest::resetCallbackRegistries();
    return 0;
}
