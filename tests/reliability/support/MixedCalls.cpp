#include "MixedCalls.h"

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <list>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "JorvHalclient.h"
#include "QarEventApi.h"
#include "QarWrapper.h"
#include "client/support/ServiceEnv.h"

namespace qarrel {

using jorvHalclient::ResourceList;
using QarClient::Resource;

namespace {

enum class Outcome { kAnswered, kFailed, kUnexpected, kSkipped };

struct Result {
    Outcome outcome;
    int64_t value;
};

constexpr int32_t kOwnResourceBase = 0x41000000;
// Second ids (and paths) that make every listening unique.
constexpr int32_t kUniqueIdBase = 0x50000000;
constexpr int32_t kUniqueIdSpan = 1 << 24;
constexpr size_t kUnexpectedKept = 20;
const char kPackage[] = "com.example.reliability";
const char kIdentity[] = "worker";

int64_t nowNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
                   std::chrono::steady_clock::now().time_since_epoch())
            .count();
}

// The library's result convention: a handle, count or answer of the service, or -1.
Result byValue(int64_t value) {
    if (value >= 0) return {Outcome::kAnswered, value};
    return {value == -1 ? Outcome::kFailed : Outcome::kUnexpected, value};
}

// A count of what the call appended to an empty list: the service answered at least once.
Result byCount(int64_t value) {
    return value == 0 ? Result{Outcome::kUnexpected, 0} : byValue(value);
}

Result done(int64_t value = 0) {
    return {value == 0 ? Outcome::kAnswered : Outcome::kUnexpected, value};
}

// The count is shared: the library may keep this object (and call it) after the run ends.
class CountingCallback : public jorvHalclient::IClientCallback,
                         public jorvHalclient::IClientCallbackByPath {
public:
    explicit CountingCallback(std::shared_ptr<std::atomic<uint64_t>> count)
        : mCount(std::move(count)) {}
    void onCallback(std::list<Resource> /*resources*/) override { ++*mCount; }
    void onCallback(std::vector<std::string> /*values*/,
                    std::vector<std::string> /*paths*/) override {
        ++*mCount;
    }

private:
    std::shared_ptr<std::atomic<uint64_t>> mCount;
};

// Unique across runs too: a run may end with listenings still registered, and the library
// refuses a second listening on the same ids or paths.
int32_t uniqueNumber() {
    static std::atomic<int32_t> next{0};
    return next++ % kUniqueIdSpan;
}

}  // namespace

// One worker's own state: the resource its requests set and its listenings hear, so that every
// request makes the service call back, and the handles it still has to give back.
struct MixedCalls::Worker {
    int index = 0;
    int32_t resource = 0;
    int64_t serial = 0;
    std::vector<int> requests;
    std::vector<int> events;
    std::vector<int> listenings;
    std::shared_ptr<CountingCallback> callback;

    std::string ownPath() const { return "/reliability/w" + std::to_string(index); }
    std::string nextValue() { return std::to_string(++serial); }
    ResourceList ownList() { return {{resource, nextValue()}}; }
    std::vector<Resource> ownVector() { return {{resource, nextValue()}}; }
};

struct MixedCalls::Op {
    const char* name;
    Result (*call)(Worker&);
};

namespace {

using Worker = MixedCalls::Worker;
using Op = MixedCalls::Op;

Result keep(int handle, std::vector<int>& into) {
    if (handle >= 0) into.push_back(handle);
    return byValue(handle);
}

// Skipped when there is nothing to give back.
template <typename Release>
Result giveBack(std::vector<int>& from, Release release) {
    if (from.empty()) return {Outcome::kSkipped, 0};
    const int handle = from.back();
    from.pop_back();
    return release(handle);
}

Result releaseRequest(Worker& w) {
    return giveBack(w.requests, [](int h) { return byValue(jorvHalclient::jorvResCtlRelease(h)); });
}

Result releaseListening(Worker& w) {
    return giveBack(w.listenings,
                    [](int h) { return byValue(jorvHalclient::jorvResListeningUnRegister(h)); });
}

Result releaseEvent(Worker& w) {
    return giveBack(w.events, [](int handle) {
        QarRelease(handle);
        return done();
    });
}

Result listenById(Worker& w) {
    ResourceList ids = {{w.resource, std::nullopt}, {kUniqueIdBase + uniqueNumber(), std::nullopt}};
    return keep(jorvHalclient::jorvResListeningRegister(ids, 0, w.callback), w.listenings);
}

Result listenByPath(Worker& w) {
    const std::vector<std::string> paths = {
            w.ownPath(), "/reliability/unique/" + std::to_string(uniqueNumber())};
    return keep(jorvHalclient::jorv_res_listening_register_by_path(paths, 0, w.callback),
                w.listenings);
}

Result request(Worker& w) {
    ResourceList resources = w.ownList();
    return keep(jorvHalclient::jorvResCtlRequest(-1, 0, resources, -1, 0, 0), w.requests);
}

Result requestWithCallback(Worker& w) {
    ResourceList resources = w.ownList();
    return keep(jorvHalclient::jorvResCtlRequest(-1, 0, resources, -1, 0, 0, w.callback),
                w.requests);
}

Result stateById(Worker& w) {
    ResourceList query = {{w.resource, std::nullopt}};
    ResourceList results;
    return byCount(jorvHalclient::jorvResStateRequest(query, 0, results));
}

Result eventAcquire(Worker& w) {
    return keep(QarEventAcquire(0x1000 + w.index, kPackage, kIdentity, 0, w.ownVector()), w.events);
}

Result wrapperAcquire(Worker& w) {
    return keep(QarEventAcquireWrapper("TRIVEX_ACTION_TOUCH_BOOST", kPackage, kIdentity, 0),
                w.events);
}

// Lasts a millisecond on the service: nobody releases it.
Result oneWay(Worker& w) {
    const int32_t handle = QarEventAcquireOneWay(0x2000 + w.index, kPackage, kIdentity, 1, {});
    return handle >= 0 ? done() : byValue(handle);
}

Result multiResState(Worker& w) {
    std::vector<Resource> resources = {{w.resource, std::string()}};
    return byValue(QarMutiResStateRequest(resources));
}

// A failed query leaves nothing to parse, which the query reports by throwing.
Result powerConsumption(Worker&) {
    try {
        return byValue(QarGetPowerConsis());
    } catch (const std::invalid_argument&) {
        return {Outcome::kFailed, -1};
    }
}

Result initNamespace(Worker&) {
    jorvHalclient::jorv_init();
    return done();
}

// Acquisitions come before their releases, and the two connections take turns.
const std::vector<Op>& ops() {
    static const std::vector<Op> kOps = {
            {"jorvResListeningRegister", listenById},
            {"QarEventAcquire", eventAcquire},
            {"jorvResCtlRequest", request},
            {"QarMutiResStateRequest", multiResState},
            {"jorvResCtlRequest(callback)", requestWithCallback},
            {"QarEventAcquireOneWay", oneWay},
            {"jorvResStateRequest", stateById},
            {"QarRelease", releaseEvent},
            {"jorvResCtlRelease", releaseRequest},
            {"QarEventAcquireWrapper", wrapperAcquire},
            {"QarNotify", [](Worker& w) { return byValue(QarNotify(w.index, 2, {3})); }},
            {"jorvResCtlRelease", releaseRequest},
            {"qarRuleCtl",
             [](Worker& w) { return byValue(qarRuleCtl(200 + w.index, 1, w.ownVector())); }},
            {"jorv_res_listening_register_by_path", listenByPath},
            {"QarGetPowerConsis", powerConsumption},
            {"QarRelease", releaseEvent},
            {"jorvResListeningUnRegister", releaseListening},
            {"jorvResListeningUnRegister", releaseListening},
            {"jorv_init", initNamespace},
            {"qarInit",
             [](Worker&) {
                 const int32_t result = qarInit();
                 return result == -2 ? Result{Outcome::kFailed, -2} : byValue(result);
             }},
            // Source 8 switches rule 8 on with one resource; a failed switch is only logged.
            {"QarNotifyWapper",
             [](Worker&) { return done(QarNotifyWapper("reliability", 8, 1, 1, 0, 0, "")); }},
    };
    return kOps;
}

}  // namespace

MixedCalls::MixedCalls(MixedCallOptions options)
    : mOptions(options),
      mCallbacks(std::make_shared<std::atomic<uint64_t>>(0)),
      mSlots(std::make_unique<Slot[]>(static_cast<size_t>(options.threads))),
      mRunning(options.threads) {
    for (int i = 0; i < mOptions.threads; ++i) mWorkers.emplace_back([this, i] { work(i); });
}

MixedCalls::~MixedCalls() {
    finish();
}

void MixedCalls::finish() {
    mStop = true;
    // Nothing can be joined or reported through the test framework while a call hangs, so the
    // wait only ends by the workers' finishing or by abortIfStuck.
    qartest::waitFor(
            [this] {
                abortIfStuck();
                return mRunning == 0;
            },
            std::chrono::hours(24));
    for (std::thread& worker : mWorkers) {
        if (worker.joinable()) worker.join();
    }
}

void MixedCalls::work(int index) {
    Worker worker;
    worker.index = index;
    worker.resource = kOwnResourceBase + index;
    worker.callback = std::make_shared<CountingCallback>(mCallbacks);
    const std::vector<Op>& table = ops();
    // Workers start at different places in the table, so different calls overlap.
    size_t next = static_cast<size_t>(index) * 7;
    const uint64_t target = static_cast<uint64_t>(mOptions.callsPerThread);
    for (uint64_t made = 0; target > 0 ? made < target : !mStop.load();) {
        if (runOne(worker, table[next++ % table.size()])) ++made;
    }
    --mRunning;
}

bool MixedCalls::runOne(Worker& worker, const Op& op) {
    Slot& slot = mSlots[static_cast<size_t>(worker.index)];
    slot.op = &op;
    slot.startedNs = nowNs();
    Result result{Outcome::kUnexpected, 0};
    std::string problem;
    try {
        result = op.call(worker);
    } catch (const std::exception& e) {
        problem = std::string("threw ") + e.what();
    }
    slot.startedNs = 0;
    if (result.outcome == Outcome::kSkipped) return false;
    // A call that threw left `result` unexpected, and `problem` already says why.
    if (problem.empty() && result.outcome == Outcome::kUnexpected) {
        problem = "returned " + std::to_string(result.value);
    } else if (result.outcome == Outcome::kFailed && !mOptions.failuresAllowed) {
        problem = "failed (" + std::to_string(result.value) + ") against a healthy service";
    }
    if (!problem.empty()) {
        std::lock_guard<std::mutex> lock(mLock);
        if (mFirstUnexpected.size() < kUnexpectedKept) {
            mFirstUnexpected.push_back("worker " + std::to_string(worker.index) + ": " + op.name +
                                       " " + problem);
        }
    }
    ++mCounts[!problem.empty() ? 2 : result.outcome == Outcome::kFailed ? 1 : 0];
    return true;
}

void MixedCalls::abortIfStuck() const {
    const int64_t now = nowNs();
    for (int i = 0; i < mOptions.threads; ++i) {
        const int64_t started = mSlots[static_cast<size_t>(i)].startedNs.load();
        if (started == 0 || std::chrono::nanoseconds(now - started) <= kCallBound) continue;
        std::fprintf(stderr, "watchdog: %s on worker %d has not returned after %" PRId64 " ms\n",
                     mSlots[static_cast<size_t>(i)].op.load()->name, i, (now - started) / 1000000);
        std::abort();
    }
}

int MixedCalls::tableSize() {
    return static_cast<int>(ops().size());
}

std::string MixedCalls::report() const {
    std::ostringstream out;
    out << "calls " << calls() << " (answered " << answered() << ", failed " << failed()
        << ", unexpected " << unexpected() << "), callbacks " << callbacks() << "\n";
    std::lock_guard<std::mutex> lock(mLock);
    for (const std::string& line : mFirstUnexpected) out << "  ! " << line << "\n";
    return out.str();
}

}  // namespace qarrel
