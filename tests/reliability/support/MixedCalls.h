// Mixed calls through both of the library's service connections (the jorvHalclient functions, and
// the event API with the wrapper over it) from several threads. Every result is checked against
// what the library may return, and a call that does not come back in time aborts the process, so
// that a hang shows up as the name of the stuck call rather than a test timeout.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace qarrel {

struct MixedCallOptions {
    int threads = 4;
    // Calls per thread; 0 runs until finish().
    int callsPerThread = 0;
    // The service fails or dies: the library's failure results (-1, qarInit's -2, the power
    // query's exception) are then expected besides answers. Otherwise every call must be answered.
    bool failuresAllowed = false;
};

// Starts its workers at once.
class MixedCalls {
public:
    explicit MixedCalls(MixedCallOptions options);
    // Finishes the run if that has not been done.
    ~MixedCalls();
    MixedCalls(const MixedCalls&) = delete;
    MixedCalls& operator=(const MixedCalls&) = delete;

    // Calls in one round of the table of operations (each acquisition, release and query once).
    static int tableSize();

    // Waits until every worker has made its calls; a run without a call count is told to stop
    // after the call in progress.
    void finish();

    // Calls made (a release with no handle to release is skipped, not counted).
    uint64_t calls() const { return answered() + failed() + unexpected(); }
    uint64_t answered() const { return mCounts[0]; }
    uint64_t failed() const { return mCounts[1]; }
    uint64_t unexpected() const { return mCounts[2]; }
    // Callbacks the workers' callback objects received.
    uint64_t callbacks() const { return mCallbacks->load(); }
    // Counts and the first unexpected results.
    std::string report() const;

    // Longest a call may take. It covers a service restart: the namespace's calls wait for a
    // declared service to come back.
    static constexpr std::chrono::seconds kCallBound{60};

    struct Worker;
    struct Op;

private:
    struct Slot {
        std::atomic<int64_t> startedNs{0};  // 0 while the worker is between calls
        std::atomic<const Op*> op{nullptr};
    };

    void work(int index);
    // False when the call was skipped (nothing to give back).
    bool runOne(Worker& worker, const Op& op);
    void abortIfStuck() const;

    const MixedCallOptions mOptions;
    std::shared_ptr<std::atomic<uint64_t>> mCallbacks;
    std::unique_ptr<Slot[]> mSlots;
    std::atomic<uint64_t> mCounts[3] = {};  // answered, failed, unexpected
    std::atomic<bool> mStop{false};
    std::atomic<int> mRunning{0};
    std::vector<std::thread> mWorkers;
    mutable std::mutex mLock;
    std::vector<std::string> mFirstUnexpected;  // guarded by mLock
};

}  // namespace qarrel
