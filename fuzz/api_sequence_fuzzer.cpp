// Fuzzes sequences of library calls, across all three layers, against a service whose answers come
// from the same input (support/ScriptedJorv.h): handles, statuses (exceptions, service-specific
// and transport errors), state records with or without values, property texts, and callbacks
// made before the answer. After every call the harness works out from the service's answers what
// the call must have returned and what it must have done to its out-arguments, the callback
// registries and the caller's callbacks, and aborts on any difference.
//
// Outcomes the library promises are accepted as such: the queries that parse the service's
// answer let std::invalid_argument, std::out_of_range or std::bad_optional_access escape, and the
// harness expects exactly the one the answer calls for, around exactly those calls. Any other
// exception escapes the harness and is reported. Property texts stay below the 256 bytes that
// would abort the process by contract.
//
// One service, published in this process, serves every input; the harness keeps a reference to
// it so that a connection dropped after a failed call is remade from the cached proxy. The
// callback registries are emptied before every input.

#include <android/binder_manager.h>
#include <android/binder_process.h>
#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iostream>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "JorvHalclient.h"
#include "QarEventApi.h"
#include "QarWrapper.h"
#include "halclient/CallbackRegistries.h"
#include "support/FuzzSupport.h"
#include "support/RecordingCallbacks.h"
#include "support/ScriptedJorv.h"
#include "support/ServiceDir.h"
#include "support/ServiceEnv.h"
#include "wrapper/ActionLookup.h"

namespace {

using jorvHalclient::ResourceList;
using QarClient::Resource;
using qarfuzz::check;
using qarfuzz::JorvRequestData;
using qarfuzz::ScriptedJorv;
using qarfuzz::Served;
using qartest::RecordingCallback;
using qartest::RecordingPathCallback;

constexpr char kInstance[] = "vendor.vemra.hardware.jorv.IJorv/default";
constexpr int32_t kPowerConsumptionId = 0x1011670;
constexpr size_t kMaxSteps = 24;

// --- What a call may end in -------------------------------------------------------------------

// The result of a call that may let one of the promised exceptions escape.
struct Outcome {
    enum class Kind { kValue, kInvalidArgument, kOutOfRange, kBadOptionalAccess };
    Kind kind = Kind::kValue;
    int32_t value = 0;

    bool operator==(const Outcome& other) const {
        return kind == other.kind && (kind != Kind::kValue || value == other.value);
    }
};

// Runs `fn`, turning exactly the promised exceptions into outcomes.
template <typename Fn>
Outcome outcomeOf(Fn&& fn) {
    try {
        return Outcome{Outcome::Kind::kValue, fn()};
    } catch (const std::invalid_argument&) {
        return Outcome{Outcome::Kind::kInvalidArgument, 0};
    } catch (const std::out_of_range&) {
        return Outcome{Outcome::Kind::kOutOfRange, 0};
    } catch (const std::bad_optional_access&) {
        return Outcome{Outcome::Kind::kBadOptionalAccess, 0};
    }
}

// A decimal parse the way the queries promise to parse: standard conversion of the leading
// number, leading blanks skipped, the rest ignored.
int32_t parseDecimal(const std::string& text) {
    return std::stoi(text, nullptr, 10);
}

// --- Reading what the service answered ----------------------------------------------------------

// The one call the service answered during the last library call, which must be `op`.
Served only(std::vector<Served> served, const char* op) {
    check(served.size() == 1, "a library call made other than one service call");
    check(served.front().op == op, "a library call used the wrong service operation");
    return std::move(served.front());
}

void expectNone(const std::vector<Served>& served) {
    check(served.empty(), "a library call reached the service when it must not");
}

// An integer result that is the service's out-value when the call succeeded, else -1.
int32_t outOrFailure(const Served& served) {
    return served.ok ? served.out : -1;
}

// Records of a state query as the caller sees them: none when the call failed.
std::vector<JorvRequestData> answersOf(const Served& served) {
    return served.ok ? served.records : std::vector<JorvRequestData>{};
}

// --- The caller's side --------------------------------------------------------------------------

// The contract of checkResourceList.
bool validList(const ResourceList& resources) {
    return std::all_of(resources.begin(), resources.end(), [](const Resource& r) {
        return r.id != 0 ? r.value.has_value() && !r.value->empty()
                         : !r.value.has_value() || r.value->empty();
    });
}

// Caller callbacks of one call: each call gets fresh recorders, so what they hold is what this
// call delivered.
struct Callbacks {
    std::shared_ptr<RecordingCallback> byId;
    std::shared_ptr<RecordingPathCallback> byPath;
};

size_t registeredRequestCallbacks() {
    jorvHalclient::RequestCallbacksLock lock;
    return jorvHalclient::requestCallbacks().size();
}

std::vector<jorvHalclient::JorvCallbackGroup> listeningGroups() {
    qar::ExclusiveLock lock(jorvHalclient::listening_callback_mutex);
    return jorvHalclient::listening_callbacks;
}

class Harness {
public:
    Harness(FuzzedDataProvider& provider, ScriptedJorv& service)
        : mProvider(provider), mService(service) {}

    void run() {
        for (size_t step = 0; step < kMaxSteps && mProvider.remaining_bytes() > 0; ++step) {
            mService.take();
            runOne(mProvider.ConsumeIntegralInRange(0, 41));
        }
    }

private:
    // --- Arguments ---

    std::string text(size_t max = 24) { return qarfuzz::consumeSendableText(mProvider, max); }

    int32_t handle() {
        if (!mHandles.empty() && mProvider.ConsumeBool()) {
            return mHandles[mProvider.ConsumeIntegralInRange<size_t>(0, mHandles.size() - 1)];
        }
        return mProvider.ConsumeIntegral<int32_t>();
    }

    void remember(int32_t result) {
        if (result != -1 && mHandles.size() < 16) mHandles.push_back(result);
    }

    Resource resource() {
        Resource r;
        r.id = mProvider.ConsumeBool() ? mProvider.ConsumeIntegralInRange(0, 4)
                                       : mProvider.ConsumeIntegral<int32_t>();
        switch (mProvider.ConsumeIntegralInRange(0, 2)) {
            case 0:
                break;
            case 1:
                r.value = std::string();
                break;
            default:
                r.value = text();
                break;
        }
        return r;
    }

    ResourceList resourceList() {
        ResourceList list;
        for (size_t n = mProvider.ConsumeIntegralInRange(0, 5); n > 0; --n) {
            list.push_back(resource());
        }
        return list;
    }

    std::vector<Resource> resourceVector() {
        const ResourceList list = resourceList();
        return std::vector<Resource>(list.begin(), list.end());
    }

    std::vector<std::string> texts() {
        std::vector<std::string> out(mProvider.ConsumeIntegralInRange<size_t>(0, 4));
        for (std::string& t : out) t = text();
        return out;
    }

    std::map<std::string, std::string> textMap() {
        std::map<std::string, std::string> out;
        for (size_t n = mProvider.ConsumeIntegralInRange(0, 4); n > 0; --n) out[text()] = text();
        return out;
    }

    Callbacks callbacks() {
        Callbacks c;
        if (mProvider.ConsumeBool()) c.byId = std::make_shared<RecordingCallback>();
        if (mProvider.ConsumeBool()) c.byPath = std::make_shared<RecordingPathCallback>();
        return c;
    }

    std::string actionName() {
        if (!gActionList.empty() && mProvider.ConsumeBool()) {
            return "TRIVEX_" +
                   gActionList[mProvider.ConsumeIntegralInRange<size_t>(0, gActionList.size() - 1)];
        }
        return text(48);
    }

    // --- Checks shared by several calls ---

    // The service got a callback object and may have called it: the caller's callback must have
    // received exactly those records (nothing for an empty list or a null callback).
    static void checkDeliveredById(const Served& served, const Callbacks& c) {
        check(served.hadCallback, "a callback-carrying call sent no callback object");
        if (c.byId == nullptr) return;
        const auto calls = c.byId->calls();
        const bool expected = served.calledBackWith.has_value() && !served.calledBackWith->empty();
        check(calls.size() == (expected ? 1u : 0u), "the id callback was called the wrong times");
        if (!expected) return;
        const std::list<Resource>& got = calls.front();
        const std::vector<JorvRequestData>& sent = *served.calledBackWith;
        check(got.size() == sent.size(), "the id callback got the wrong number of records");
        auto record = sent.begin();
        for (const Resource& r : got) {
            check(r.id == record->id && r.value == record->value,
                  "the id callback got other records than the service sent");
            ++record;
        }
    }

    static void checkDeliveredByPath(const Served& served, const Callbacks& c) {
        check(served.hadCallback, "a callback-carrying call sent no callback object");
        if (c.byPath == nullptr) return;
        const auto calls = c.byPath->calls();
        const bool expected = served.calledBackWith.has_value() && !served.calledBackWith->empty();
        check(calls.size() == (expected ? 1u : 0u), "the path callback was called the wrong times");
        if (!expected) return;
        const std::vector<JorvRequestData>& sent = *served.calledBackWith;
        check(calls.front().values.size() == sent.size() &&
                      calls.front().paths.size() == sent.size(),
              "the path callback got lists of the wrong length");
        for (size_t i = 0; i < sent.size(); ++i) {
            check(calls.front().values[i] == sent[i].value.value_or("") &&
                          calls.front().paths[i] == sent[i].path.value_or(""),
                  "the path callback got other records than the service sent");
        }
    }

    // A one-shot request callback stays registered until the service calls it.
    static void checkOneShotRegistry(size_t before, const Served& served) {
        const size_t expected = before + (served.calledBackWith.has_value() ? 0 : 1);
        check(registeredRequestCallbacks() == expected,
              "request_callbacks holds the wrong number of clients after a request");
    }

    // A new listening is remembered exactly when the service accepted it.
    static void checkListeningAdded(const std::vector<jorvHalclient::JorvCallbackGroup>& before,
                                    const Served& served, int32_t result) {
        const auto after = listeningGroups();
        if (!served.ok) {
            check(after.size() == before.size(), "a refused listening was remembered");
            return;
        }
        check(after.size() == before.size() + 1 && after.back().handle == result &&
                      after.back().client != nullptr && after.back().client->is_register,
              "an accepted listening was not remembered with its handle");
    }

    // --- Namespace layer ---

    void resCtlRequest() {
        ResourceList list = resourceList();
        const bool valid = validList(list);
        const ResourceList sentList = list;
        int32_t result = -1;
        const int32_t p1 = mProvider.ConsumeIntegral<int32_t>();
        const int32_t p5 = mProvider.ConsumeIntegral<int32_t>();
        switch (mProvider.ConsumeIntegralInRange(0, 5)) {
            case 0:
                result = jorvHalclient::jorvResCtlRequest(p1, list, p5);
                break;
            case 1:
                result = jorvHalclient::jorvResCtlRequest(p1, list, 1, p5);
                break;
            case 2:
                result = jorvHalclient::jorvResCtlRequest(p1, list, 3, 0, p5);
                break;
            case 3:
                result = jorvHalclient::jorvResCtlRequest(7, p1, list, p5);
                break;
            case 4:
                result = jorvHalclient::jorvResCtlRequest(7, p1, list, 2, p5);
                break;
            default:
                result = jorvHalclient::jorvResCtlRequest(mProvider.ConsumeIntegral<int32_t>(), p1,
                                                          list, 4, 1, p5);
                break;
        }
        check(list.size() == sentList.size(), "a request changed the caller's resource list");
        if (!valid) {
            expectNone(mService.take());
            check(result == -1, "an invalid resource list did not fail");
            return;
        }
        const Served served = only(mService.take(), "request");
        check(served.parcel->dataList.size() == sentList.size(),
              "a request sent the wrong number of records");
        check(result == outOrFailure(served), "jorvResCtlRequest returned the wrong handle");
        remember(result);
    }

    void resCtlRequestWithCallback() {
        ResourceList list = resourceList();
        const bool valid = validList(list);
        const Callbacks c = callbacks();
        const size_t before = registeredRequestCallbacks();
        const int32_t result = jorvHalclient::jorvResCtlRequest(
                mProvider.ConsumeIntegral<int32_t>(), mProvider.ConsumeIntegral<int32_t>(), list, 0,
                mProvider.ConsumeIntegral<int32_t>(), 0, c.byId);
        if (!valid) {
            expectNone(mService.take());
            check(result == -1 && registeredRequestCallbacks() == before,
                  "an invalid resource list with a callback did not fail cleanly");
            return;
        }
        const Served served = only(mService.take(), "request");
        check(result == outOrFailure(served), "jorvResCtlRequest with callback: wrong handle");
        checkDeliveredById(served, c);
        checkOneShotRegistry(before, served);
        remember(result);
    }

    void saCtlRequest() {
        const Callbacks c = callbacks();
        const size_t before = registeredRequestCallbacks();
        const int32_t scene = mProvider.ConsumeIntegral<int32_t>();
        const int kind = mProvider.ConsumeIntegralInRange(0, 2);
        int32_t result;
        if (kind == 0) {
            result = jorvHalclient::jorvSACtlRequest(1, scene, 2);
        } else if (kind == 1) {
            result = jorvHalclient::jorvSACtlRequest(1, 2, scene, 3, 4, 5);
        } else {
            result = jorvHalclient::jorvSACtlRequest(1, 2, scene, 3, 4, 5, c.byId);
        }
        const Served served = only(mService.take(), "request");
        check(served.parcel->dataList.size() == 1 && served.parcel->dataList[0].id == scene,
              "a scene action was sent wrongly");
        check(result == outOrFailure(served), "jorvSACtlRequest returned the wrong handle");
        if (kind == 2) {
            checkDeliveredById(served, c);
            checkOneShotRegistry(before, served);
        }
        remember(result);
    }

    void resCtlRelease() {
        const int32_t h = handle();
        const int32_t result = mProvider.ConsumeBool() ? jorvHalclient::jorvResCtlRelease(h)
                                                       : jorvHalclient::jorvSACtlRelease(h);
        check(result == outOrFailure(only(mService.take(), "release")),
              "a release returned other than the service's answer");
    }

    void listeningRegisterById() {
        ResourceList list = resourceList();
        const Callbacks c = callbacks();
        std::vector<int32_t> ids;
        for (const Resource& r : list) ids.push_back(r.id);
        const auto before = listeningGroups();
        const bool duplicate = std::any_of(before.begin(), before.end(),
                                           [&](const auto& g) { return g.ids == ids; });
        const int32_t result = jorvHalclient::jorvResListeningRegister(
                list, mProvider.ConsumeIntegral<int32_t>(), c.byId);
        if (duplicate) {
            expectNone(mService.take());
            check(result == -1 && listeningGroups().size() == before.size(),
                  "a second listening on the same ids was not refused");
            return;
        }
        const Served served = only(mService.take(), "listeningRegister");
        check(result == outOrFailure(served), "jorvResListeningRegister: wrong handle");
        checkDeliveredById(served, c);
        checkListeningAdded(before, served, result);
        if (served.ok) check(listeningGroups().back().ids == ids, "listening kept the wrong ids");
        remember(result);
    }

    void listeningRegisterByPath() {
        const Callbacks c = callbacks();
        const bool asMap = mProvider.ConsumeBool();
        const std::map<std::string, std::string> request =
                asMap ? textMap() : std::map<std::string, std::string>{};
        std::vector<std::string> paths = asMap ? std::vector<std::string>{} : texts();
        if (asMap) {
            for (const auto& entry : request) paths.push_back(entry.first);
        }
        const auto before = listeningGroups();
        const bool duplicate = std::any_of(before.begin(), before.end(),
                                           [&](const auto& g) { return g.paths == paths; });
        const int32_t p5 = mProvider.ConsumeIntegral<int32_t>();
        const int32_t result =
                asMap ? jorvHalclient::jorv_res_listening_register_map_by_path(request, p5,
                                                                               c.byPath)
                      : jorvHalclient::jorv_res_listening_register_by_path(paths, p5, c.byPath);
        if (duplicate) {
            expectNone(mService.take());
            check(result == -1 && listeningGroups().size() == before.size(),
                  "a second listening on the same paths was not refused");
            return;
        }
        const Served served = only(mService.take(), "listeningRegister");
        check(result == outOrFailure(served), "listening by path: wrong handle");
        checkDeliveredByPath(served, c);
        checkListeningAdded(before, served, result);
        if (served.ok) check(listeningGroups().back().paths == paths, "listening kept wrong paths");
        remember(result);
    }

    void listeningUnregister() {
        const int32_t h = handle();
        auto expected = listeningGroups();
        expected.erase(std::remove_if(expected.begin(), expected.end(),
                                      [h](const auto& g) { return g.handle == h; }),
                       expected.end());
        const int32_t result = jorvHalclient::jorvResListeningUnRegister(h);
        check(result == outOrFailure(only(mService.take(), "listeningUnregister")),
              "jorvResListeningUnRegister returned other than the service's answer");
        const auto after = listeningGroups();
        check(after.size() == expected.size() &&
                      std::equal(after.begin(), after.end(), expected.begin(),
                                 [](const auto& a, const auto& b) { return a.client == b.client; }),
              "unregistering did not forget exactly the listenings with that handle");
    }

    void resStateRequest() {
        ResourceList list = resourceList();
        ResourceList results = resourceList();
        const ResourceList previous = results;
        const int32_t result = jorvHalclient::jorvResStateRequest(
                list, mProvider.ConsumeIntegral<int32_t>(), results);
        const std::vector<JorvRequestData> answers =
                answersOf(only(mService.take(), "stateRequest"));
        if (answers.empty()) {
            check(result == -1 && results.size() == previous.size(),
                  "jorvResStateRequest without answers did not fail cleanly");
            return;
        }
        check(result == static_cast<int32_t>(previous.size() + answers.size()) &&
                      results.size() == previous.size() + answers.size(),
              "jorvResStateRequest appended the wrong number of states");
        auto got = std::next(results.begin(), static_cast<long>(previous.size()));
        for (const JorvRequestData& answer : answers) {
            check(got->id == answer.id && got->value == answer.value,
                  "jorvResStateRequest appended other states than the service answered");
            ++got;
        }
    }

    void thermalNotify() {
        ResourceList list = resourceList();
        const bool valid = validList(list);
        const int32_t result =
                jorvHalclient::jorvThermalNotify(list, mProvider.ConsumeIntegral<int32_t>());
        if (!valid) {
            expectNone(mService.take());
            check(result == -1, "an invalid thermal list did not fail");
            return;
        }
        const Served served = only(mService.take(), "request");
        check(result == (served.ok && served.out >= 1 ? 0 : -1),
              "jorvThermalNotify misread the service's answer");
    }

    void thermalListening() {
        if (mProvider.ConsumeBool()) {
            const int32_t result = jorvHalclient::jorvThermalListeningUnregister(handle());
            check(result == outOrFailure(only(mService.take(), "thermalListeningUnregister")),
                  "jorvThermalListeningUnregister returned other than the service's answer");
            return;
        }
        std::vector<int> ids(mProvider.ConsumeIntegralInRange<size_t>(0, 4));
        for (int& id : ids) id = mProvider.ConsumeIntegral<int32_t>();
        const Callbacks c = callbacks();
        const auto before = listeningGroups();
        const int32_t result = jorvHalclient::jorvThermalListeningRegister(ids, c.byId);
        const Served served = only(mService.take(), "thermalListeningRegister");
        check(result == outOrFailure(served), "jorvThermalListeningRegister: wrong handle");
        checkDeliveredById(served, c);
        checkListeningAdded(before, served, result);
        remember(result);
    }

    void pathRequest() {
        const std::vector<std::string> paths = texts();
        std::vector<std::string> values = mProvider.ConsumeBool() ? texts() : paths;
        const bool withCallback = mProvider.ConsumeBool();
        const Callbacks c = callbacks();
        const size_t before = registeredRequestCallbacks();
        const int32_t result =
                withCallback ? jorvHalclient::jorv_resctl_request_with_callback_by_path(
                                       1, mProvider.ConsumeIntegral<int64_t>(), paths, values, 2,
                                       mProvider.ConsumeIntegral<int32_t>(), 3, c.byPath)
                             : jorvHalclient::jorv_resctl_request_by_path(
                                       1, mProvider.ConsumeIntegral<int64_t>(), paths, values, 2,
                                       mProvider.ConsumeIntegral<int32_t>(), 3);
        if (paths.size() != values.size()) {
            expectNone(mService.take());
            check(result == -1 && registeredRequestCallbacks() == before,
                  "unmatched paths and values did not fail cleanly");
            return;
        }
        const Served served = only(mService.take(), "request");
        check(served.parcel->dataList.size() == paths.size(), "a path request lost records");
        check(result == outOrFailure(served), "a path request returned the wrong handle");
        if (withCallback) {
            checkDeliveredByPath(served, c);
            checkOneShotRegistry(before, served);
        }
        remember(result);
    }

    void pathStateRequest() {
        const int32_t p5 = mProvider.ConsumeIntegral<int32_t>();
        if (mProvider.ConsumeBool()) {
            const std::map<std::string, std::string> request = textMap();
            std::map<std::string, std::string> results = textMap();
            std::map<std::string, std::string> expected = results;
            const int32_t result =
                    jorvHalclient::jorv_res_state_request_map_by_path(request, p5, results);
            const auto answers = answersOf(only(mService.take(), "stateRequest"));
            for (const JorvRequestData& answer : answers) {
                if (answer.path.has_value() && answer.value.has_value()) {
                    expected[*answer.path] = *answer.value;
                }
            }
            check(results == (answers.empty() ? results : expected) &&
                          result == (answers.empty() ? -1 : static_cast<int32_t>(results.size())),
                  "the map state query misread the service's answer");
            return;
        }
        const std::vector<std::string> paths = texts();
        const std::vector<std::string> values = mProvider.ConsumeBool() ? texts() : paths;
        std::vector<std::string> results = texts();
        std::vector<std::string> expected = results;
        const int32_t result =
                jorvHalclient::jorv_res_state_request_by_path(paths, values, p5, results);
        const auto answers = answersOf(only(mService.take(), "stateRequest"));
        for (const JorvRequestData& answer : answers) {
            expected.push_back(answer.value.value_or(""));
        }
        check(results == (answers.empty() ? results : expected) &&
                      result == (answers.empty() ? -1 : static_cast<int32_t>(results.size())),
              "the path state query misread the service's answer");
    }

    void diagnostic() {
        using Command = int (*)();
        static constexpr Command kCommands[] = {
                jorvHalclient::jorvDumpToDoQueue,
                jorvHalclient::jorvDumpRunMap,
                jorvHalclient::jorvDumpActiveResMap,
                jorvHalclient::jorvDumpResRequest,
                jorvHalclient::jorvDumpResInfo,
                jorvHalclient::jorvDumpSAInfo,
                jorvHalclient::jorvDumpPidFdList,
                jorvHalclient::jorvDumpPidfdMonitorMap,
                jorvHalclient::jorvDumpResRecordList,
                jorvHalclient::jorvHistoryRequestRecordOn,
                jorvHalclient::jorvHistoryRequestRecordOff,
        };
        const int32_t result = mProvider.PickValueInArray(kCommands)();
        const Served served = only(mService.take(), "request");
        check(result == (served.ok && served.out >= 1 ? 0 : -1),
              "a diagnostic command misread the service's answer");
    }

    void property() {
        if (mProvider.ConsumeBool()) {
            const int32_t result = jorvHalclient::jorvPropertySet(text(), text());
            check(result == outOrFailure(only(mService.take(), "propertySet")),
                  "jorvPropertySet returned other than the service's answer");
            return;
        }
        const std::unique_ptr<char[]> value(jorvHalclient::jorvPropertyGet(text()));
        const Served served = only(mService.take(), "propertyGet");
        const std::string expected = served.ok ? served.text : std::string();
        check(value != nullptr &&
                      std::memcmp(value.get(), expected.c_str(), expected.size() + 1) == 0,
              "jorvPropertyGet returned other than the service's text");
    }

    void initBoth() {
        if (mProvider.ConsumeBool()) {
            jorvHalclient::jorv_init();
            only(mService.take(), "init");
            return;
        }
        const int32_t result = qarInit();
        check(result == (only(mService.take(), "init").ok ? 0 : -2),
              "qarInit misread the service's answer");
    }

    // --- Event API ---

    void eventAcquire() {
        const std::vector<Resource> resources = resourceVector();
        const std::string pkg = text();
        const std::string identity = text();
        const int32_t timeout = mProvider.ConsumeIntegral<int32_t>();
        int32_t result;
        size_t records = resources.size();
        switch (mProvider.ConsumeIntegralInRange(0, 2)) {
            case 0:
                result = QarEventAcquire(mProvider.ConsumeIntegral<int32_t>(), pkg, identity,
                                         timeout, resources);
                break;
            case 1:
                result = QarResAcquire(resources, 0, identity, timeout);
                break;
            default:
                result = QarPlatformResAcquire(resources, 0, identity, pkg, timeout);
                break;
        }
        const Served served = only(mService.take(), "request");
        const size_t sent = served.parcel->dataList.size();
        check(sent == records || sent == records + 1, "an acquisition lost records");
        check(result == outOrFailure(served), "an acquisition returned the wrong handle");
        remember(result);
    }

    void eventAcquireOneWay() {
        const int32_t result =
                QarEventAcquireOneWay(mProvider.ConsumeIntegral<int32_t>(), text(), text(),
                                      mProvider.ConsumeIntegral<int32_t>(), resourceVector());
        // The send is one-way: the service answers nothing the caller waits for.
        expectNone(mService.take());
        check(result >= -1, "a one-way acquisition returned a negative handle");
        remember(result);
    }

    void release() {
        if (mProvider.ConsumeBool()) {
            QarRelease(handle());
        } else {
            QarReleaseWapper(handle());
        }
        only(mService.take(), "release");
    }

    void notify() {
        std::vector<int32_t> values(mProvider.ConsumeIntegralInRange<size_t>(0, 4));
        for (int32_t& v : values) v = mProvider.ConsumeIntegral<int32_t>();
        const int32_t result = QarNotify(mProvider.ConsumeIntegral<int32_t>(),
                                         mProvider.ConsumeIntegral<int32_t>(), values);
        const Served served = only(mService.take(), "request");
        check(served.parcel->dataList.size() == std::max<size_t>(1, values.size()),
              "QarNotify sent the wrong number of entries");
        check(result == outOrFailure(served), "QarNotify returned other than the answer");
    }

    void relatedSysInfo() {
        const int32_t result = setRelatedSysInfo(mProvider.ConsumeIntegral<int32_t>(), text());
        check(result == outOrFailure(only(mService.take(), "setRelatedSysInfo")),
              "setRelatedSysInfo returned other than the answer");
    }

    void ruleCtl() {
        const int32_t result = qarRuleCtl(mProvider.ConsumeIntegral<int32_t>(),
                                          mProvider.ConsumeIntegral<int32_t>(), resourceVector());
        check(result == outOrFailure(only(mService.take(), "ruleCtl")),
              "qarRuleCtl returned other than the answer");
    }

    // The first answer with the resource's id fills it when it carries a value.
    static int32_t fillFrom(const std::vector<JorvRequestData>& answers,
                            std::vector<Resource>* resources) {
        int32_t filled = 0;
        for (Resource& r : *resources) {
            const auto match = std::find_if(answers.begin(), answers.end(),
                                            [&](const JorvRequestData& a) { return a.id == r.id; });
            if (match == answers.end() || !match->value.has_value()) continue;
            r.value = match->value;
            ++filled;
        }
        return filled;
    }

    void multiResState() {
        std::vector<Resource> resources = resourceVector();
        std::vector<Resource> expected = resources;
        const int32_t result = QarMutiResStateRequest(resources);
        if (expected.empty()) {
            expectNone(mService.take());
            check(result == -1, "an empty state query did not fail");
            return;
        }
        const auto answers = answersOf(only(mService.take(), "stateRequest"));
        const int32_t filled = answers.empty() ? -1 : fillFrom(answers, &expected);
        check(result == filled, "QarMutiResStateRequest counted wrongly");
        check(std::equal(resources.begin(), resources.end(), expected.begin(), expected.end(),
                         [](const Resource& a, const Resource& b) {
                             return a.id == b.id && a.value == b.value;
                         }),
              "QarMutiResStateRequest filled the wrong values");
    }

    // What QarGetPowerConsis must end in, given the one call it made.
    static Outcome expectedPowerFigure(const Served& served) {
        // The status is not looked at: whatever answer came back is parsed.
        return outcomeOf([&] {
            const std::string figure = served.records.empty() || !served.ok
                                               ? std::string()
                                               : served.records.front().value.value();
            return parseDecimal(figure);
        });
    }

    void resState() {
        const bool power = mProvider.ConsumeBool();
        const int32_t opcode = power ? kPowerConsumptionId : mProvider.ConsumeIntegral<int32_t>();
        const std::string before = text();
        std::string out = before;
        const Outcome outcome = outcomeOf([&] {
            QarResStateRequest(opcode, out);
            return 0;
        });
        if (power) {
            const Outcome expected = expectedPowerFigure(only(mService.take(), "stateRequest"));
            check(outcome.kind == expected.kind,
                  "QarResStateRequest for the power figure ended other than promised");
            check(out == (expected.kind == Outcome::Kind::kValue ? std::to_string(expected.value)
                                                                 : before),
                  "QarResStateRequest wrote the wrong power figure");
            return;
        }
        check(outcome.kind == Outcome::Kind::kValue, "QarResStateRequest threw");
        std::vector<Resource> asked = {Resource{opcode, std::string()}};
        const auto answers = answersOf(only(mService.take(), "stateRequest"));
        const bool filled = !answers.empty() && fillFrom(answers, &asked) == 1;
        check(out == (filled ? *asked.front().value : before),
              "QarResStateRequest wrote the wrong value");
    }

    void history() {
        const std::string before = text();
        std::string out = before;
        const int32_t result = QarGetHistory(out);
        const auto answers = answersOf(only(mService.take(), "stateRequest"));
        if (answers.empty()) {
            check(result == -1 && out == before, "QarGetHistory without answers did not fail");
            return;
        }
        std::string expected = "start:";
        for (size_t i = 0; i < answers.size(); ++i) {
            if (i > 0) expected += ";";
            expected += answers[i].extra.value_or("none");
        }
        expected += ";end";
        check(result == 0 && out == expected, "QarGetHistory built the wrong history");
    }

    void powerConsumption() {
        const Outcome outcome = outcomeOf([] { return QarGetPowerConsis(); });
        check(outcome == expectedPowerFigure(only(mService.take(), "stateRequest")),
              "QarGetPowerConsis ended other than promised");
    }

    void powerMode() {
        const Outcome outcome =
                outcomeOf([&] { return QarGetPMStatus(mProvider.ConsumeIntegral<int32_t>()); });
        const auto answers = answersOf(only(mService.take(), "stateRequest"));
        // Parse errors are caught inside and become -1; only a missing value escapes.
        const Outcome expected = outcomeOf([&] {
            if (answers.empty()) return -1;
            const std::string& value = answers.front().value.value();
            try {
                return parseDecimal(value);
            } catch (const std::invalid_argument&) {
                return -1;
            } catch (const std::out_of_range&) {
                return -1;
            }
        });
        check(outcome == expected, "QarGetPMStatus ended other than promised");
    }

    void dataSet() {
        std::vector<Resource> out = resourceVector();
        const std::vector<Resource> before = out;
        const Outcome outcome = outcomeOf([&] { return Qar_fetch_dataset(out); });
        const auto answers = answersOf(only(mService.take(), "stateRequest"));
        std::vector<Resource> expectedOut = before;
        const Outcome expected = outcomeOf([&] {
            if (answers.empty()) return -1;
            std::vector<Resource> fetched;
            for (const JorvRequestData& a : answers) fetched.push_back({a.id, a.value.value()});
            expectedOut.insert(expectedOut.end(), fetched.begin(), fetched.end());
            return static_cast<int32_t>(expectedOut.size());
        });
        check(outcome == expected, "Qar_fetch_dataset ended other than promised");
        check(std::equal(out.begin(), out.end(), expectedOut.begin(), expectedOut.end(),
                         [](const Resource& a, const Resource& b) {
                             return a.id == b.id && a.value == b.value;
                         }),
              "Qar_fetch_dataset left the wrong data set");
    }

    void featureStatus() {
        const Outcome outcome = outcomeOf(
                [&] { return QarGetFeatureStatus(mProvider.ConsumeIntegral<int32_t>()); });
        const auto answers = answersOf(only(mService.take(), "stateRequest"));
        const Outcome expected = outcomeOf([&] {
            if (answers.size() != 1) return -1;
            return parseDecimal(answers.front().value.value());
        });
        check(outcome == expected, "QarGetFeatureStatus ended other than promised");
    }

    void randomHandle() {
        const int32_t h = qarGetRandomHandle();
        expectNone(mService.take());
        check(h >= -1, "qarGetRandomHandle returned a negative handle");
    }

    // --- Wrapper ---

    void acquireWrapper() {
        const std::string name = actionName();
        const int32_t expectedId = qar::wrapper::findActionIdForEvent(name);
        const int32_t result =
                QarEventAcquireWrapper(name, text(), text(), mProvider.ConsumeIntegral<int32_t>());
        if (expectedId < 0) {
            expectNone(mService.take());
            check(result == -1, "an unknown action did not fail");
            return;
        }
        const Served served = only(mService.take(), "request");
        check(!served.parcel->dataList.empty() && served.parcel->dataList[0].id == expectedId,
              "the wrapper acquired another action than named");
        check(result == outOrFailure(served), "QarEventAcquireWrapper returned the wrong handle");
        remember(result);
    }

    void notifyWrapper() {
        static constexpr int32_t kSources[] = {1,   2,   3,   5,    6,    8,   9,   10,
                                               11,  12,  14,  15,   16,   102, 110, 111,
                                               129, 130, 131, 1000, 9000, 4,   500, -1};
        const int32_t src = mProvider.ConsumeBool() ? mProvider.PickValueInArray(kSources)
                                                    : mProvider.ConsumeIntegral<int32_t>();
        const int32_t type = mProvider.ConsumeBool() ? mProvider.ConsumeIntegralInRange(-1, 3)
                                                     : mProvider.ConsumeIntegral<int32_t>();
        const int32_t result = QarNotifyWapper(
                text(), src, type, mProvider.ConsumeIntegral<int32_t>(), 0, 0, text(64));
        const std::vector<Served> served = mService.take();
        check(result == 0, "QarNotifyWapper returned other than 0");
        check(served.empty() || (served.size() == 1 && served.front().op == "ruleCtl"),
              "QarNotifyWapper made other calls than one rule switch");
    }

    // A text the runtime cannot send (not UTF-8) makes the call fail before it reaches the
    // service; the library reports the failure like any other and reconnects on the next call.
    void unsendableText() {
        std::string bad = text();
        bad.insert(mProvider.ConsumeIntegralInRange<size_t>(0, bad.size()), 1,
                   static_cast<char>(mProvider.ConsumeIntegralInRange(0x80, 0xff)));
        int32_t result = 0;
        switch (mProvider.ConsumeIntegralInRange(0, 4)) {
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
            default: {
                ResourceList list = {Resource{1, bad}};
                result = jorvHalclient::jorvResCtlRequest(0, list, 0);
                break;
            }
        }
        expectNone(mService.take());
        check(result == -1, "a call that could not be sent did not fail");
    }

    void runOne(int op) {
        switch (op) {
            case 0:
                return initBoth();
            case 1:
            case 2:
                return resCtlRequest();
            case 3:
            case 4:
                return resCtlRequestWithCallback();
            case 5:
                return saCtlRequest();
            case 6:
                return resCtlRelease();
            case 7:
            case 8:
                return listeningRegisterById();
            case 9:
            case 10:
                return listeningRegisterByPath();
            case 11:
                return listeningUnregister();
            case 12:
                return resStateRequest();
            case 13:
                return thermalNotify();
            case 14:
                return thermalListening();
            case 15:
            case 16:
                return pathRequest();
            case 17:
                return pathStateRequest();
            case 18:
                return diagnostic();
            case 19:
                return property();
            case 20: {
                ResourceList list = resourceList();
                check(checkResourceList(list) == validList(list),
                      "checkResourceList broke its rule");
                return;
            }
            case 21:
            case 22:
                return eventAcquire();
            case 23:
                return eventAcquireOneWay();
            case 24:
                return release();
            case 25:
                return notify();
            case 26:
                return relatedSysInfo();
            case 27:
                return ruleCtl();
            case 28:
                return multiResState();
            case 29:
                return resState();
            case 30:
                return history();
            case 31:
                return powerConsumption();
            case 32:
                return powerMode();
            case 33:
                return dataSet();
            case 34:
                return featureStatus();
            case 35:
                return randomHandle();
            case 36:
            case 37:
                return acquireWrapper();
            case 38:
                return unsendableText();
            default:
                return notifyWrapper();
        }
    }

    FuzzedDataProvider& mProvider;
    ScriptedJorv& mService;
    std::vector<int32_t> mHandles;
};

struct Fixture {
    std::shared_ptr<ScriptedJorv> service;
    // Keeps the service's proxy, and with it the connection, alive across dropped connections.
    ndk::SpAIBinder keepAlive;
};

// Lives for the whole process: the runtime's threads may still use the service at exit.
Fixture* gFixture = nullptr;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    qarfuzz::discardLogs();
    // QarGetPMStatus reports unparsable answers on standard output.
    std::cout.setstate(std::ios::badbit);
    qarfuzz::usePrivateServiceDir();
    // Serves the scripted service and the library's callback objects, both in this process.
    ABinderProcess_startThreadPool();
    gFixture = new Fixture;
    gFixture->service = ndk::SharedRefBase::make<ScriptedJorv>();
    check(AServiceManager_addService(gFixture->service->asBinder().get(), kInstance) == EX_NONE,
          "cannot publish the service");
    gFixture->keepAlive = ndk::SpAIBinder(AServiceManager_checkService(kInstance));
    check(gFixture->keepAlive.get() != nullptr, "cannot reach the service");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    qartest::resetCallbackRegistries();
    FuzzedDataProvider provider(data, size);
    gFixture->service->begin(&provider);
    Harness(provider, *gFixture->service).run();
    gFixture->service->end();
    qartest::resetCallbackRegistries();
    return 0;
}
