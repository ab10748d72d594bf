#include "MixedCalls.h"

#include <algorithm>
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

using Clock = std::chrono::steady_clock;
using jorvHalclient::ResourceList;
using QarClient::Resource;

namespace {

enum class Outcome { kAnswered, kFailed, kUnexpected, kSkipped };

struct Result {
    Outcome outcome;
    int64_t value;
};

// What a failed result says about the connection.
enum class Seen {
    kDropsOnFailure,  // a failure result means the library dropped the connection
    kResultOnly,      // a failure shows in the result, but the connection may stay
    kNoResult,        // the result cannot tell a failure (no result, or a handle made locally)
};

constexpr int32_t kOwnResourceBase = 0x41000000;
// Second ids (and paths) that make every listening unique.
constexpr int32_t kUniqueIdBase = 0x50000000;
constexpr int32_t kUniqueIdSpan = 1 << 24;
constexpr auto kWatchPeriod = std::chrono::milliseconds(100);
constexpr size_t kUnexpectedKept = 20;
const char kPackage[] = "com.example.reliability";
const char kIdentity[] = "worker";

int64_t nowNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch())
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

// 0 on success, -1 on failure.
Result byStatus(int64_t value) {
    return value > 0 ? Result{Outcome::kUnexpected, value} : byValue(value);
}

Result done() {
    return {Outcome::kAnswered, 0};
}

Result skipped() {
    return {Outcome::kSkipped, 0};
}

bool connected(Side side) {
    return side == Side::kNamespace ? qartest::jorvHalConnected() : qartest::qarHalConnected();
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
    std::vector<int> sceneActions;
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
    Side side;
    Seen seen;
    Result (*call)(Worker&);
};

namespace {

using Worker = MixedCalls::Worker;
using Op = MixedCalls::Op;

Result keep(int handle, std::vector<int>& into) {
    if (handle >= 0) into.push_back(handle);
    return byValue(handle);
}

template <typename Release>
Result giveBack(std::vector<int>& from, Release release) {
    if (from.empty()) return skipped();
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

// Acquisitions come before their releases, and the two connections take turns.
const std::vector<Op>& ops() {
    constexpr Side kNs = Side::kNamespace;
    constexpr Side kEv = Side::kEvent;
    constexpr Seen kDrops = Seen::kDropsOnFailure;
    static const std::vector<Op> kOps = {
            {"jorvResListeningRegister", kNs, kDrops,
             [](Worker& w) {
                 ResourceList ids = {{w.resource, std::nullopt},
                                     {kUniqueIdBase + uniqueNumber(), std::nullopt}};
                 return keep(jorvHalclient::jorvResListeningRegister(ids, 0, w.callback),
                             w.listenings);
             }},
            {"QarEventAcquire", kEv, kDrops,
             [](Worker& w) {
                 return keep(
                         QarEventAcquire(0x1000 + w.index, kPackage, kIdentity, 0, w.ownVector()),
                         w.events);
             }},
            {"jorvResCtlRequest", kNs, kDrops,
             [](Worker& w) {
                 ResourceList resources = w.ownList();
                 return keep(jorvHalclient::jorvResCtlRequest(-1, 0, resources, -1, 0, 0),
                             w.requests);
             }},
            {"QarMutiResStateRequest", kEv, kDrops,
             [](Worker& w) {
                 std::vector<Resource> resources = {{w.resource, std::string()}};
                 return byValue(QarMutiResStateRequest(resources));
             }},
            {"jorvResCtlRequest(callback)", kNs, kDrops,
             [](Worker& w) {
                 ResourceList resources = w.ownList();
                 return keep(
                         jorvHalclient::jorvResCtlRequest(-1, 0, resources, -1, 0, 0, w.callback),
                         w.requests);
             }},
            {"QarEventAcquireOneWay", kEv, Seen::kNoResult,
             [](Worker& w) {
                 // Lasts a millisecond on the service: nobody releases it.
                 return byValue(
                         QarEventAcquireOneWay(0x2000 + w.index, kPackage, kIdentity, 1, {}));
             }},
            {"jorvResStateRequest", kNs, kDrops,
             [](Worker& w) {
                 ResourceList query = {{w.resource, std::nullopt}};
                 ResourceList results;
                 return byCount(jorvHalclient::jorvResStateRequest(query, 0, results));
             }},
            {"QarRelease", kEv, Seen::kNoResult,
             [](Worker& w) {
                 return giveBack(w.events, [](int handle) {
                     QarRelease(handle);
                     return done();
                 });
             }},
            {"jorvResCtlRelease", kNs, kDrops, releaseRequest},
            {"QarEventAcquireWrapper", kEv, kDrops,
             [](Worker& w) {
                 return keep(QarEventAcquireWrapper("TRIVEX_ACTION_TOUCH_BOOST", kPackage,
                                                    kIdentity, 0),
                             w.events);
             }},
            {"jorvSACtlRequest", kNs, kDrops,
             [](Worker& w) {
                 return keep(jorvHalclient::jorvSACtlRequest(-1, 0, 0x30 + w.index, -1, 0, 0),
                             w.sceneActions);
             }},
            {"QarNotify", kEv, kDrops,
             [](Worker& w) {
                 return byValue(QarNotify(w.index, 2, {3, 4}));
             }},
            {"jorvResCtlRelease", kNs, kDrops, releaseRequest},
            {"qarRuleCtl", kEv, kDrops,
             [](Worker& w) {
                 return byValue(qarRuleCtl(200 + w.index, static_cast<int32_t>(w.serial % 2),
                                           w.ownVector()));
             }},
            {"jorv_res_listening_register_by_path", kNs, kDrops,
             [](Worker& w) {
                 const std::vector<std::string> paths = {
                         w.ownPath(), "/reliability/unique/" + std::to_string(uniqueNumber())};
                 return keep(
                         jorvHalclient::jorv_res_listening_register_by_path(paths, 0, w.callback),
                         w.listenings);
             }},
            {"jorv_resctl_request_by_path", kNs, kDrops,
             [](Worker& w) {
                 return keep(jorvHalclient::jorv_resctl_request_by_path(-1, 0, {w.ownPath()},
                                                                        {w.nextValue()}, -1, 0, 0),
                             w.requests);
             }},
            {"QarGetPowerConsis", kEv, Seen::kResultOnly,
             [](Worker&) {
                 // A failed query leaves nothing to parse, which the query reports by throwing.
                 try {
                     return byValue(QarGetPowerConsis());
                 } catch (const std::invalid_argument&) {
                     return Result{Outcome::kFailed, -1};
                 }
             }},
            {"jorvSACtlRelease", kNs, kDrops,
             [](Worker& w) {
                 return giveBack(w.sceneActions, [](int handle) {
                     return byValue(jorvHalclient::jorvSACtlRelease(handle));
                 });
             }},
            {"jorv_res_state_request_by_path", kNs, kDrops,
             [](Worker& w) {
                 std::vector<std::string> results;
                 return byCount(jorvHalclient::jorv_res_state_request_by_path({w.ownPath()}, {}, 0,
                                                                              results));
             }},
            {"QarReleaseWapper", kEv, Seen::kNoResult,
             [](Worker& w) {
                 return giveBack(w.events, [](int handle) {
                     QarReleaseWapper(handle);
                     return done();
                 });
             }},
            {"jorvPropertySet", kNs, kDrops,
             [](Worker& w) {
                 return byValue(jorvHalclient::jorvPropertySet(
                         "reliability.w" + std::to_string(w.index), w.nextValue()));
             }},
            {"QarGetFeatureStatus", kEv, kDrops,
             [](Worker&) { return byValue(QarGetFeatureStatus(1)); }},
            {"jorvResCtlRelease", kNs, kDrops, releaseRequest},
            {"QarGetHistory", kEv, kDrops,
             [](Worker&) {
                 std::string history;
                 return byStatus(QarGetHistory(history));
             }},
            {"jorvResListeningUnRegister", kNs, kDrops, releaseListening},
            {"jorvResListeningUnRegister", kNs, kDrops, releaseListening},
            {"Qar_fetch_dataset", kEv, kDrops,
             [](Worker&) {
                 std::vector<Resource> dataset;
                 return byCount(Qar_fetch_dataset(dataset));
             }},
            {"jorv_init", kNs, Seen::kNoResult,
             [](Worker&) {
                 jorvHalclient::jorv_init();
                 return done();
             }},
            {"qarInit", kEv, kDrops,
             [](Worker&) {
                 const int32_t result = qarInit();
                 if (result == 0) return Result{Outcome::kAnswered, 0};
                 return Result{
                         result == -1 || result == -2 ? Outcome::kFailed : Outcome::kUnexpected,
                         result};
             }},
            {"QarNotifyWapper", kEv, Seen::kNoResult,
             [](Worker&) {
                 // Source 8 switches rule 8 on with one resource; a failed switch is only logged.
                 const int32_t result = QarNotifyWapper("reliability", 8, 1, 1, 0, 0, "");
                 return Result{result == 0 ? Outcome::kAnswered : Outcome::kUnexpected, result};
             }},
            {"QarGetPMStatus", kEv, kDrops, [](Worker&) { return byValue(QarGetPMStatus(0)); }},
            {"QarResStateRequest", kEv, Seen::kNoResult,
             [](Worker& w) {
                 std::string value;
                 QarResStateRequest(w.resource, value);
                 return done();
             }},
    };
    return kOps;
}

}  // namespace

MixedCalls::MixedCalls(MixedCallOptions options)
    : mOptions(options),
      mCallbacks(std::make_shared<std::atomic<uint64_t>>(0)),
      mSlots(std::make_unique<Slot[]>(static_cast<size_t>(options.threads))) {}

MixedCalls::~MixedCalls() {
    finish();
}

void MixedCalls::start() {
    mWatchdog = std::thread([this] { watch(); });
    for (int i = 0; i < mOptions.threads; ++i) mWorkers.emplace_back([this, i] { work(i); });
}

void MixedCalls::finish() {
    mStop = true;
    for (std::thread& worker : mWorkers) {
        if (worker.joinable()) worker.join();
    }
    {
        std::lock_guard<std::mutex> lock(mLock);
        mWatchStop = true;
    }
    mWatchWake.notify_all();
    if (mWatchdog.joinable()) mWatchdog.join();
}

void MixedCalls::work(int index) {
    Worker worker;
    worker.index = index;
    worker.resource = kOwnResourceBase + index;
    worker.callback = std::make_shared<CountingCallback>(mCallbacks);
    const std::vector<Op>& table = ops();
    // Workers start at different places in the table, so different calls overlap.
    size_t next = static_cast<size_t>(index) * 7;
    const auto more = [&](int made) {
        return mOptions.callsPerThread > 0 ? made < mOptions.callsPerThread : !mStop.load();
    };
    for (int made = 0; more(made);) {
        const Op& op = table[next++ % table.size()];
        if (runOne(worker, op)) ++made;
    }
}

bool MixedCalls::runOne(Worker& worker, const Op& op) {
    const bool wasConnected = !mOptions.checkConnection || connected(op.side);
    Slot& slot = mSlots[static_cast<size_t>(worker.index)];
    slot.op = &op;
    const int64_t started = nowNs();
    slot.startedNs = started;
    Result result{Outcome::kUnexpected, 0};
    std::string thrown;
    try {
        result = op.call(worker);
    } catch (const std::exception& e) {
        thrown = e.what();
    } catch (...) {
        thrown = "an exception that is not a std::exception";
    }
    slot.startedNs = 0;
    if (result.outcome == Outcome::kSkipped) return false;

    const int64_t took = nowNs() - started;
    for (int64_t slowest = mSlowestNs.load();
         took > slowest && !mSlowestNs.compare_exchange_weak(slowest, took);) {
    }
    if (!wasConnected) ++mReconnects[static_cast<int>(op.side)];

    std::string problem;
    if (!thrown.empty()) {
        problem = "threw " + thrown;
    } else if (result.outcome == Outcome::kUnexpected) {
        problem = "returned " + std::to_string(result.value);
    } else if (result.outcome == Outcome::kFailed && !mOptions.failuresAllowed) {
        problem = "failed (" + std::to_string(result.value) + ") against a healthy service";
    } else if (mOptions.checkConnection) {
        const bool isConnected = connected(op.side);
        if (result.outcome == Outcome::kAnswered && op.seen != Seen::kNoResult && !isConnected) {
            problem = "was answered but left its connection down";
        } else if (result.outcome == Outcome::kFailed && op.seen == Seen::kDropsOnFailure &&
                   isConnected) {
            problem = "failed but kept its connection";
        }
    }

    if (!problem.empty()) noteUnexpected(worker, op, problem);
    ++mCounts[!problem.empty() ? 2 : result.outcome == Outcome::kAnswered ? 0 : 1];
    return true;
}

void MixedCalls::noteUnexpected(const Worker& worker, const Op& op, const std::string& what) {
    std::lock_guard<std::mutex> lock(mLock);
    if (mFirstUnexpected.size() < kUnexpectedKept) {
        mFirstUnexpected.push_back("worker " + std::to_string(worker.index) + ": " + op.name + " " +
                                   what);
    }
}

void MixedCalls::watch() {
    const int64_t boundNs =
            std::chrono::duration_cast<std::chrono::nanoseconds>(mOptions.callBound).count();
    std::unique_lock<std::mutex> lock(mLock);
    while (!mWatchStop) {
        mWatchWake.wait_for(lock, kWatchPeriod, [this] { return mWatchStop; });
        const int64_t now = nowNs();
        for (int i = 0; i < mOptions.threads; ++i) {
            const int64_t started = mSlots[static_cast<size_t>(i)].startedNs.load();
            if (started == 0 || now - started <= boundNs) continue;
            const Op* op = mSlots[static_cast<size_t>(i)].op.load();
            // Nothing can be joined or reported through the test framework while a call hangs:
            // name the call and end the process.
            std::fprintf(stderr,
                         "watchdog: %s on worker %d has not returned after %" PRId64 " ms\n",
                         op != nullptr ? op->name : "?", i, (now - started) / 1000000);
            std::fflush(stderr);
            std::abort();
        }
    }
}

int MixedCalls::tableSize() {
    return static_cast<int>(ops().size());
}

uint64_t MixedCalls::reconnects(Side side) const {
    return mReconnects[static_cast<int>(side)];
}

std::string MixedCalls::report() const {
    std::ostringstream out;
    out << "calls " << calls() << " (answered " << answered() << ", failed " << failed()
        << ", unexpected " << unexpected() << "), callbacks " << callbacks() << ", slowest "
        << mSlowestNs.load() / 1000000 << " ms\n";
    std::lock_guard<std::mutex> lock(mLock);
    for (const std::string& line : mFirstUnexpected) out << "  ! " << line << "\n";
    return out.str();
}

}  // namespace qarrel
