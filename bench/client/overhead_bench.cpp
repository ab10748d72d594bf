// Per-call overhead of the client library: what a library call costs beyond the service call it
// makes. The service is a stub in this process that answers every call at once; log lines go to a
// logger that drops them.
//
// The library's own work is measured directly: the library call with its connections pointed
// straight at the stub object (no transport), minus the equivalent call straight on the object.
// That is everything the library does (connection check, locks, parcel building, validation,
// logging, status check, result conversion) without the transport's noise. It is set against the
// bare round trip of the equivalent call (the same parcel, prebuilt, through a proxy of the host
// binder runtime) and of a trivial call (IJorv::release). The library call through the runtime
// minus its bare round trip is the same figure seen through the transport, as a cross-check.
//
// This host's round trip swings between modes for seconds at a time (an idle core wakes slowly;
// even CPU time per call changes several-fold), so figures from separate benchmark runs are not
// comparable. Hence the benchmarks the tables come from measure side by side in one loop:
//
//   <case>/paired           all of the above for one case (counters library_ns, bare_ns,
//                           trivial_ns, own_ns)
//   <case>/scaling/runtime  the library call by one thread, then by two (half the calls each),
//                           in alternating batches (counters solo_per_s, duo_per_s, ratio)
//   BM_TrivialRoundTrip/scaling  the same for the trivial call
//
// BM_TrivialRoundTrip and <case>/library/runtime also run as separate benchmarks with 1 and 2
// threads (Threads(1)->Threads(2)); their ratio is shown beside the alternating one.
//
// With --table the program ends with the tables of bench/README.md in Markdown.

#include <aidl/vendor/vemra/hardware/jorv/IJorv.h>
#include <android/binder_manager.h>
#include <android/binder_process.h>
#include <android/log.h>
#include <benchmark/benchmark.h>
#include <hostbinder/control.h>
#include <stdlib.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "JorvHalclient.h"
#include "QarEventApi.h"
#include "QarWrapper.h"
#include "halclient/JorvHalConnection.h"
#include "qar/QarHalConnection.h"
#include "support/FakeJorv.h"

namespace {

namespace jorv = ::aidl::vendor::vemra::hardware::jorv;
using jorv::JorvRequestData;
using jorv::JorvRequestParcel;

constexpr char kInstance[] = "vendor.vemra.hardware.jorv.IJorv/default";
constexpr int kStateAnswers = 16;
// What the service answers every release with.
constexpr int32_t kReleased = 7;
// An action near the end of the table; the lookup is a binary search, so any would do.
constexpr char kActionName[] = "TRIVEX_ACTION_CAMERA_APS_INNER_THDR_CAPTURE_L1";
constexpr int32_t kActionId = 198;
// Sixteen game-adaptation values: four groups of four, one per opcode set.
constexpr char kGameAdpPayload[] = "1,2,3,4;5,6,7,8;9,10,11,12;13,14,15,16";

// The tests' fake service, answering every call at once and recording nothing; a state query gets
// kStateAnswers records with values.
std::shared_ptr<qartest::FakeJorv> makeStub() {
    auto stub = ndk::SharedRefBase::make<qartest::FakeJorv>();
    stub->setRecording(false);
    std::vector<JorvRequestData> answers(kStateAnswers);
    for (int i = 0; i < kStateAnswers; ++i) {
        answers[i].id = 0x01010000 + i;
        answers[i].value = std::to_string(i * 100);
    }
    stub->setDefault("stateRequest", qartest::Answer::okData(std::move(answers)));
    stub->setDefault("release", qartest::Answer::ok(kReleased));
    return stub;
}

// The service, the proxy every runtime case uses, and the service directory of this run. Leaked on
// purpose: the runtime's threads may still use them while static destructors run.
struct Setup {
    std::string dir;
    std::shared_ptr<qartest::FakeJorv> stub;
    std::shared_ptr<jorv::IJorv> proxy;
};
Setup* gSetup = nullptr;

void dropLine(const __android_logger_data*, const char*) {}

// Points both library connections at `target` for the scope, restoring what they held before.
class ConnectionsPointedAt {
public:
    explicit ConnectionsPointedAt(std::shared_ptr<jorv::IJorv> target) {
        {
            qar::ExclusiveLock lock(jorvHalclient::g_jorv_hal_mutex);
            mHal = std::exchange(jorvHalclient::g_jorv_hal, target);
        }
        qar::ExclusiveLock lock(qarEvent::g_qar_hal_mutex);
        mQar = std::exchange(qarEvent::g_qar_hal, std::move(target));
    }
    ~ConnectionsPointedAt() {
        {
            qar::ExclusiveLock lock(jorvHalclient::g_jorv_hal_mutex);
            jorvHalclient::g_jorv_hal = std::move(mHal);
        }
        qar::ExclusiveLock lock(qarEvent::g_qar_hal_mutex);
        qarEvent::g_qar_hal = std::move(mQar);
    }
    ConnectionsPointedAt(const ConnectionsPointedAt&) = delete;
    ConnectionsPointedAt& operator=(const ConnectionsPointedAt&) = delete;

private:
    std::shared_ptr<jorv::IJorv> mHal;
    std::shared_ptr<jorv::IJorv> mQar;
};

// --- Cases ------------------------------------------------------------------------------------

// One library call and the service call it amounts to. Both are set up once per benchmark run,
// outside the timed loop; a case's state is per thread.
struct CaseState {
    jorvHalclient::ResourceList resources;
    std::vector<QarClient::Resource> resourceVector;
    JorvRequestParcel parcel;
    std::vector<JorvRequestData> data;
};

struct Case {
    const char* name;
    std::function<void(CaseState&)> prepare;
    std::function<bool(CaseState&)> library;               // true when the call succeeded
    std::function<bool(CaseState&, jorv::IJorv&)> direct;  // the same, on the service
};

jorvHalclient::ResourceList resourceList(int n) {
    jorvHalclient::ResourceList list;
    for (int i = 0; i < n; ++i) list.push_back({0x00400000 + i, std::to_string(1000 + i)});
    return list;
}

JorvRequestParcel resourceParcel(const jorvHalclient::ResourceList& resources) {
    JorvRequestParcel parcel;
    parcel.requestType = 1;
    parcel.flag = true;
    parcel.param3 = -1;
    parcel.param5 = 0;
    parcel.param1 = 3000;
    parcel.param0 = -1;
    for (const auto& r : resources) {
        JorvRequestData& record = parcel.dataList.emplace_back();
        record.id = r.id;
        record.value = r.value;
    }
    return parcel;
}

JorvRequestParcel eventParcel(int32_t cmdid) {
    JorvRequestParcel parcel;
    parcel.requestType = 8;
    parcel.param1 = 3000;
    parcel.text1 = "com.example.game";
    parcel.text2 = "render";
    parcel.dataList.emplace_back().id = cmdid;
    return parcel;
}

Case resCtlRequest(const char* name, int n) {
    return Case{name,
                [n](CaseState& s) {
                    s.resources = resourceList(n);
                    s.parcel = resourceParcel(s.resources);
                },
                [](CaseState& s) {
                    return jorvHalclient::jorvResCtlRequest(-1, 3000, s.resources, -1, 1, 0) == 1;
                },
                [](CaseState& s, jorv::IJorv& hal) {
                    int32_t handle = -1;
                    return hal.request(s.parcel, &handle).isOk() && handle == 1;
                }};
}

std::vector<Case> allCases() {
    std::vector<Case> cases;
    cases.push_back(resCtlRequest("jorvResCtlRequest_1", 1));
    cases.push_back(resCtlRequest("jorvResCtlRequest_4", 4));
    cases.push_back(resCtlRequest("jorvResCtlRequest_16", 16));
    cases.push_back(Case{"QarEventAcquire", [](CaseState& s) { s.parcel = eventParcel(kActionId); },
                         [](CaseState& s) {
                             return QarEventAcquire(kActionId, "com.example.game", "render", 3000,
                                                    s.resourceVector) == 1;
                         },
                         [](CaseState& s, jorv::IJorv& hal) {
                             int32_t handle = -1;
                             return hal.request(s.parcel, &handle).isOk() && handle == 1;
                         }});
    cases.push_back(Case{
            "QarEventAcquireWrapper", [](CaseState& s) { s.parcel = eventParcel(kActionId); },
            [](CaseState&) {
                return QarEventAcquireWrapper(kActionName, "com.example.game", "render", 3000) == 1;
            },
            [](CaseState& s, jorv::IJorv& hal) {
                int32_t handle = -1;
                return hal.request(s.parcel, &handle).isOk() && handle == 1;
            }});
    cases.push_back(Case{"QarNotifyWapper_9000_16",
                         [](CaseState& s) {
                             for (const QarClient::Resource& r : getGameAdpList(kGameAdpPayload)) {
                                 JorvRequestData& record = s.data.emplace_back();
                                 record.id = r.id;
                                 record.value = r.value;
                             }
                         },
                         [](CaseState&) {
                             return QarNotifyWapper("game", 9000, 1, 0, 0, 0, kGameAdpPayload) == 0;
                         },
                         [](CaseState& s, jorv::IJorv& hal) {
                             int32_t out = -1;
                             return hal.ruleCtl(9000, 1, s.data, &out).isOk() && out == 0;
                         }});
    cases.push_back(Case{"jorvResStateRequest_16",
                         [](CaseState& s) {
                             s.resources = resourceList(kStateAnswers);
                             s.parcel = JorvRequestParcel{};
                             for (const auto& r : s.resources) {
                                 JorvRequestData& record = s.parcel.dataList.emplace_back();
                                 record.id = r.id;
                                 record.value = r.value;
                             }
                         },
                         [](CaseState& s) {
                             jorvHalclient::ResourceList results;
                             return jorvHalclient::jorvResStateRequest(s.resources, 0, results) ==
                                    kStateAnswers;
                         },
                         [](CaseState& s, jorv::IJorv& hal) {
                             std::vector<JorvRequestData> answers;
                             return hal.stateRequest(s.parcel, &answers).isOk() &&
                                    answers.size() == kStateAnswers;
                         }});
    // The fast path of each connection: the cheapest call when already connected.
    cases.push_back(Case{"fastPath_jorvResCtlRelease", [](CaseState&) {},
                         [](CaseState&) { return jorvHalclient::jorvResCtlRelease(7) == kReleased; },
                         [](CaseState&, jorv::IJorv& hal) {
                             int32_t out = -1;
                             return hal.release(7, &out).isOk() && out == kReleased;
                         }});
    cases.push_back(Case{"fastPath_QarRelease", [](CaseState&) {},
                         [](CaseState&) {
                             QarRelease(7);
                             return true;
                         },
                         [](CaseState&, jorv::IJorv& hal) {
                             int32_t out = -1;
                             return hal.release(7, &out).isOk() && out == kReleased;
                         }});
    return cases;
}

// --- Benchmarks -------------------------------------------------------------------------------

void trivialRoundTrip(benchmark::State& state) {
    int32_t h = 0;
    for (auto _ : state) {
        int32_t out = -1;
        if (!gSetup->proxy->release(h, &out).isOk() || out != kReleased) {
            state.SkipWithError("call failed");
            break;
        }
        ++h;
    }
}

void libraryCall(benchmark::State& state, const Case& c) {
    CaseState s;
    c.prepare(s);
    for (auto _ : state) {
        if (!c.library(s)) {
            state.SkipWithError("library call failed");
            break;
        }
    }
}

bool trivialCall(CaseState&) {
    thread_local int32_t h = 0;
    int32_t out = -1;
    ++h;
    return gSetup->proxy->release(h, &out).isOk() && out == kReleased;
}

// Everything one case's row of the table needs, measured side by side in one loop so that all of
// it sees the same machine: this host's round trip (and even its CPU speed) swings between modes
// for seconds at a time, which makes figures from separate runs incomparable. Each iteration:
//   - the library call, its bare equivalent and a trivial call through the runtime, one each,
//     each timed on its own, in rotating order;
//   - kLocalBatch library calls with the connections pointed at the stub object, then as many
//     equivalent calls straight on it, each batch timed as a whole.
// Counters (ns per call): library_ns, bare_ns, trivial_ns through the runtime; own_ns, the
// library's own work (local library call minus local direct call).
void pairedCalls(benchmark::State& state, const Case& c) {
    using Clock = std::chrono::steady_clock;
    constexpr int kLocalBatch = 32;
    CaseState s;
    c.prepare(s);
    Clock::duration library{};
    Clock::duration bare{};
    Clock::duration trivial{};
    Clock::duration libraryLocal{};
    Clock::duration directLocal{};
    bool ok = true;
    int rotation = 0;
    for (auto _ : state) {
        for (int turn = 0; turn < 3; ++turn) {
            const int which = (turn + rotation) % 3;
            const Clock::time_point start = Clock::now();
            if (which == 0) {
                ok = c.library(s) && ok;
                library += Clock::now() - start;
            } else if (which == 1) {
                ok = c.direct(s, *gSetup->proxy) && ok;
                bare += Clock::now() - start;
            } else {
                ok = trivialCall(s) && ok;
                trivial += Clock::now() - start;
            }
        }
        rotation = (rotation + 1) % 3;
        {
            ConnectionsPointedAt pointed(gSetup->stub);
            const Clock::time_point start = Clock::now();
            for (int i = 0; i < kLocalBatch; ++i) ok = c.library(s) && ok;
            libraryLocal += Clock::now() - start;
        }
        const Clock::time_point start = Clock::now();
        for (int i = 0; i < kLocalBatch; ++i) ok = c.direct(s, *gSetup->stub) && ok;
        directLocal += Clock::now() - start;
    }
    if (!ok) state.SkipWithError("a call failed");
    const double n = static_cast<double>(state.iterations());
    const auto perCall = [](Clock::duration d, double calls) {
        return std::chrono::duration<double, std::nano>(d).count() / calls;
    };
    state.counters["library_ns"] = perCall(library, n);
    state.counters["bare_ns"] = perCall(bare, n);
    state.counters["trivial_ns"] = perCall(trivial, n);
    state.counters["own_ns"] =
            perCall(libraryLocal, n * kLocalBatch) - perCall(directLocal, n * kLocalBatch);
}

// A second caller thread for pairedScaling: runs a batch of calls each time it is told to.
class Helper {
public:
    explicit Helper(std::function<bool()> call)
        : mCall(std::move(call)), mThread([this] { loop(); }) {}
    ~Helper() {
        {
            std::lock_guard<std::mutex> lock(mLock);
            mQuit = true;
        }
        mWake.notify_all();
        mThread.join();
    }
    Helper(const Helper&) = delete;
    Helper& operator=(const Helper&) = delete;

    void start(int calls) {
        {
            std::lock_guard<std::mutex> lock(mLock);
            mCalls = calls;
            mDone = false;
        }
        mWake.notify_all();
    }
    // False when one of the calls failed.
    bool wait() {
        std::unique_lock<std::mutex> lock(mLock);
        mWake.wait(lock, [this] { return mDone; });
        return mOk;
    }

private:
    void loop() {
        std::unique_lock<std::mutex> lock(mLock);
        for (;;) {
            mWake.wait(lock, [this] { return mQuit || mCalls > 0; });
            if (mQuit) return;
            const int calls = std::exchange(mCalls, 0);
            lock.unlock();
            bool ok = true;
            for (int i = 0; i < calls; ++i) ok = mCall() && ok;
            lock.lock();
            mOk = mOk && ok;
            mDone = true;
            mWake.notify_all();
        }
    }

    const std::function<bool()> mCall;
    std::mutex mLock;
    std::condition_variable mWake;
    int mCalls = 0;
    bool mDone = false;
    bool mOk = true;
    bool mQuit = false;
    std::thread mThread;  // last: it starts running once everything above exists
};

// Throughput of one caller against two, in alternating batches of the same number of calls: one
// thread makes them all, then two threads make half each (or the other way round). This host's
// round trip swings between modes (an idle core wakes slowly) for seconds at a time, which makes
// separate 1-thread and 2-thread runs incomparable; alternating batches share whatever mode there
// is. Counters: solo_per_s, duo_per_s and their ratio.
void pairedScaling(benchmark::State& state, const std::function<bool(CaseState&)>& call,
                   const Case* c) {
    using Clock = std::chrono::steady_clock;
    constexpr int kBatch = 200;
    CaseState mine;
    CaseState helpers;
    if (c != nullptr) {
        c->prepare(mine);
        c->prepare(helpers);
    }
    Helper helper([&] { return call(helpers); });
    Clock::duration solo{};
    Clock::duration duo{};
    bool soloFirst = true;
    bool ok = true;
    for (auto _ : state) {
        for (int turn = 0; turn < 2; ++turn) {
            const bool alone = (turn == 0) == soloFirst;
            const Clock::time_point start = Clock::now();
            if (!alone) helper.start(kBatch / 2);
            for (int i = 0; i < (alone ? kBatch : kBatch / 2); ++i) ok = call(mine) && ok;
            if (!alone) ok = helper.wait() && ok;
            (alone ? solo : duo) += Clock::now() - start;
        }
        soloFirst = !soloFirst;
    }
    if (!ok) state.SkipWithError("a call failed");
    const double calls = static_cast<double>(state.iterations()) * kBatch;
    const double soloPerS = calls / std::chrono::duration<double>(solo).count();
    const double duoPerS = calls / std::chrono::duration<double>(duo).count();
    state.counters["solo_per_s"] = soloPerS;
    state.counters["duo_per_s"] = duoPerS;
    state.counters["ratio"] = duoPerS / soloPerS;
}

void registerBenchmarks(const std::vector<Case>& cases) {
    benchmark::RegisterBenchmark("BM_TrivialRoundTrip", trivialRoundTrip)
            ->UseRealTime()
            ->Threads(1)
            ->Threads(2);
    benchmark::RegisterBenchmark("BM_TrivialRoundTrip/scaling", [](benchmark::State& s) {
        pairedScaling(s, trivialCall, nullptr);
    })->UseRealTime();
    for (const Case& c : cases) {
        const std::string name = c.name;
        benchmark::RegisterBenchmark((name + "/paired").c_str(), [&c](benchmark::State& s) {
            pairedCalls(s, c);
        })->UseRealTime();
        benchmark::RegisterBenchmark((name + "/scaling/runtime").c_str(),
                                     [&c](benchmark::State& s) { pairedScaling(s, c.library, &c); })
                ->UseRealTime();
        benchmark::RegisterBenchmark((name + "/library/runtime").c_str(),
                                     [&c](benchmark::State& s) { libraryCall(s, c); })
                ->UseRealTime()
                ->Threads(1)
                ->Threads(2);
    }
}

// --- The table --------------------------------------------------------------------------------

// Keeps the real time per iteration (ns) and the counters of every run, by name.
class CollectingReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            // With repetitions the median stands for the benchmark; without, its only run.
            const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
            const std::string name = run.run_name.str();
            if (run.error_occurred || (!median && run.run_type != Run::RT_Iteration) ||
                (!median && mFromMedian.count(name) != 0)) {
                continue;
            }
            if (median) mFromMedian.insert(name);
            mNanos[name] = run.GetAdjustedRealTime();
            for (const auto& [counter, value] : run.counters) {
                mCounters[name + "#" + counter] = value.value;
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }
    // Time per iteration; for several threads, wall time per call of all of them together.
    double nanos(const std::string& name) const { return find(mNanos, name); }
    double counter(const std::string& name, const std::string& counter) const {
        return find(mCounters, name + "#" + counter);
    }

private:
    static double find(const std::map<std::string, double>& values, const std::string& key) {
        auto it = values.find(key);
        return it == values.end() ? 0 : it->second;
    }
    std::map<std::string, double> mNanos;
    std::map<std::string, double> mCounters;
    std::set<std::string> mFromMedian;
};

double ratio(double a, double b) {
    return b > 0 ? a / b : 0;
}

void printTable(const std::vector<Case>& cases, const CollectingReporter& r) {
    std::printf(
            "\n| call | trivial round trip, us | bare round trip, us | library call, us | "
            "difference, us | own work, us | own work / bare round trip | "
            "own work / trivial round trip |\n");
    std::printf("|---|---:|---:|---:|---:|---:|---:|---:|\n");
    for (const Case& c : cases) {
        const std::string paired = std::string(c.name) + "/paired/real_time";
        const double trivial = r.counter(paired, "trivial_ns");
        const double bare = r.counter(paired, "bare_ns");
        const double library = r.counter(paired, "library_ns");
        const double own = r.counter(paired, "own_ns");
        std::printf("| `%s` | %.2f | %.2f | %.2f | %+.2f | %.3f | %.1f%% | %.1f%% |\n", c.name,
                    trivial / 1000, bare / 1000, library / 1000, (library - bare) / 1000,
                    own / 1000, 100 * ratio(own, bare), 100 * ratio(own, trivial));
    }
    std::printf(
            "\n| calls | 1 thread, calls/s | 2 threads, calls/s | 2 threads / 1 thread, "
            "alternating batches | 2 threads / 1 thread, separate runs |\n");
    std::printf("|---|---:|---:|---:|---:|\n");
    // Separate runs: throughput is the inverse of the time per call of all threads together.
    const auto scalingRow = [&](const std::string& label, const std::string& paired,
                                const std::string& separate) {
        std::printf("| %s | %.0f | %.0f | %.2f | %.2f |\n", label.c_str(),
                    r.counter(paired, "solo_per_s"), r.counter(paired, "duo_per_s"),
                    r.counter(paired, "ratio"),
                    ratio(r.nanos(separate + "1"), r.nanos(separate + "2")));
    };
    scalingRow("bare runtime, trivial call", "BM_TrivialRoundTrip/scaling/real_time",
               "BM_TrivialRoundTrip/real_time/threads:");
    for (const Case& c : cases) {
        const std::string name = c.name;
        scalingRow("`" + name + "`", name + "/scaling/runtime/real_time",
                   name + "/library/runtime/real_time/threads:");
    }
}

}  // namespace

int main(int argc, char** argv) {
    bool table = false;
    std::vector<char*> args;
    for (int i = 0; i < argc; ++i) {
        if (std::strcmp(argv[i], "--table") == 0) {
            table = true;
        } else {
            args.push_back(argv[i]);
        }
    }
    int count = static_cast<int>(args.size());

    __android_log_set_logger(dropLine);
    char pattern[] = "/tmp/qar-overhead-bench-XXXXXX";
    if (mkdtemp(pattern) == nullptr) {
        std::perror("mkdtemp");
        return 1;
    }
    gSetup = new Setup;
    gSetup->dir = pattern;
    HostBinder_setServiceDir(pattern);
    HostBinder_declareInstance(kInstance);
    // Serves the stub service, which lives in this process.
    ABinderProcess_startThreadPool();
    gSetup->stub = makeStub();
    if (AServiceManager_addService(gSetup->stub->asBinder().get(), kInstance) != EX_NONE) {
        std::fprintf(stderr, "cannot publish the stub service\n");
        return 1;
    }
    gSetup->proxy =
            jorv::IJorv::fromBinder(ndk::SpAIBinder(AServiceManager_checkService(kInstance)));
    // Both library connections are made here, so that every case measures the connected path.
    if (gSetup->proxy == nullptr || jorvHalclient::jorvResCtlRelease(1) != kReleased ||
        qarInit() != 0) {
        std::fprintf(stderr, "the library cannot reach the stub service\n");
        return 1;
    }

    const std::vector<Case> cases = allCases();
    registerBenchmarks(cases);
    benchmark::Initialize(&count, args.data());
    if (benchmark::ReportUnrecognizedArguments(count, args.data())) return 1;
    CollectingReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    if (table) printTable(cases, reporter);

    std::error_code ignored;
    std::filesystem::remove_all(gSetup->dir, ignored);
    return 0;
}
