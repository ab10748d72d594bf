// Fuzzes the host binder runtime's frame reader and connection handling from the outside: each
// input is sent verbatim, as the bytes a client writes into a fresh connection to a service of this
// process, after which the client stops sending. Whatever the bytes, the service must close the
// connection and go on serving everyone else, leaving no descriptor or thread behind. The seeds
// hold well-formed frame sequences (transactions with the real interface token and arguments,
// unasked replies, reference drops) to start from. Each input ends only once the service has
// given back the connection's descriptors, so that none overlaps the next.

#include <android-base/unique_fd.h>
#include <android/binder_manager.h>
#include <android/binder_process.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <string>

#include "support/FuzzSupport.h"
#include "support/ServiceDir.h"
#include "support/ServiceEnv.h"

namespace {

using qarfuzz::check;
using qartest::Answer;
using qartest::Call;
using qartest::FakeJorv;

// Bounds one input's traffic well below what the socket buffers hold, so a send never blocks.
constexpr size_t kMaxSend = 64 * 1024;
// Only bounds how long a broken runtime keeps the run waiting; a healthy one closes at once.
constexpr auto kCloseTimeout = std::chrono::seconds(20);
// Threads leave the process some time after their connection is gone, so they are counted only
// every so many inputs; the binder pool only grows, up to its cap (the NDK's default).
constexpr uint64_t kThreadCheckInterval = 512;
constexpr int kPoolThreadCap = 15;

struct Fixture {
    std::shared_ptr<FakeJorv> service;
    std::shared_ptr<aidl::vendor::vemra::hardware::jorv::IJorv> client;  // must keep being served
    std::string socketPath;
    int baselineFds = 0;
    int baselineThreads = 0;
    uint64_t inputs = 0;
};

// Lives for the whole process: the runtime's threads may still use the service at exit.
Fixture* gFixture = nullptr;

// Descriptors of the kinds a connection holds (its socket and its epoll instance). Others come
// and go with the fuzzing engine itself (the symbolizer's pipes, corpus files).
int countConnectionFds() {
    int n = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        char target[64] = {};
        if (readlink(entry.path().c_str(), target, sizeof(target) - 1) <= 0) continue;
        if (std::strncmp(target, "socket:", 7) == 0 ||
            std::strcmp(target, "anon_inode:[eventpoll]") == 0) {
            ++n;
        }
    }
    return n;
}

int countThreads() {
    std::filesystem::directory_iterator tasks("/proc/self/task");
    return static_cast<int>(std::distance(tasks, std::filesystem::directory_iterator()));
}

// Sends the bytes and stops sending; true once the service has closed its end. What the service
// sends meanwhile (replies, calls to objects of this side) is read and dropped.
bool sendAndAwaitClose(const uint8_t* data, size_t size) {
    android::base::unique_fd fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, gFixture->socketPath.c_str(), sizeof(address.sun_path) - 1);
    check(fd.ok() && TEMP_FAILURE_RETRY(connect(fd, reinterpret_cast<const sockaddr*>(&address),
                                                sizeof(address))) == 0,
          "cannot connect to the service");
    // The service may close early (on a bad frame) and leave the rest unsent: that is fine.
    for (size_t sent = 0; sent < size;) {
        const ssize_t n = TEMP_FAILURE_RETRY(send(fd, data + sent, size - sent, MSG_NOSIGNAL));
        if (n <= 0) break;
        sent += static_cast<size_t>(n);
    }
    shutdown(fd, SHUT_WR);
    return qartest::waitFor(
            [&fd] {
                char buffer[4096];
                pollfd p{fd, POLLIN, 0};
                if (poll(&p, 1, 100) <= 0) return false;
                const ssize_t n = recv(fd, buffer, sizeof(buffer), MSG_DONTWAIT);
                return n == 0 || (n < 0 && errno != EAGAIN && errno != EINTR);
            },
            kCloseTimeout);
}

bool stillServing() {
    const int32_t handle = static_cast<int32_t>(gFixture->inputs & 0x7fffffff);
    int32_t result = -1;
    return gFixture->client->release(handle, &result).isOk() && result == handle;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    qarfuzz::discardLogs();
    const std::string dir = qarfuzz::usePrivateServiceDir();
    ABinderProcess_startThreadPool();
    gFixture = new Fixture;
    // Answers every call at once with the handle it was given (if any) and calls back any callback
    // it is given: such a callback normally lives behind the very connection being fuzzed, which
    // never answers, so the call ends when that connection does.
    gFixture->service = ndk::SharedRefBase::make<FakeJorv>();
    gFixture->service->setRecording(false);
    gFixture->service->setScript([](const Call& call) {
        Answer answer = Answer::ok(call.ints.empty() ? 1 : call.ints[0]);
        answer.callBack = std::vector<qartest::JorvRequestData>(1);
        return answer;
    });
    check(AServiceManager_addService(gFixture->service->asBinder().get(), qartest::kInstance) ==
                  EX_NONE,
          "cannot publish the service");
    gFixture->client = aidl::vendor::vemra::hardware::jorv::IJorv::fromBinder(
            ndk::SpAIBinder(AServiceManager_checkService(qartest::kInstance)));
    for (const auto& entry : std::filesystem::directory_iterator(dir)) {
        if (entry.is_socket()) gFixture->socketPath = entry.path();
    }
    check(gFixture->client != nullptr && !gFixture->socketPath.empty() && stillServing(),
          "cannot reach the service");
    gFixture->baselineFds = countConnectionFds();
    gFixture->baselineThreads = countThreads();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    check(sendAndAwaitClose(data, std::min(size, kMaxSend)),
          "the service kept a connection open after its client ended");
    ++gFixture->inputs;
    gFixture->service->takeAnswered();
    check(stillServing(), "the service stopped serving its well-formed client");
    check(qartest::waitFor([] { return countConnectionFds() <= gFixture->baselineFds; },
                           kCloseTimeout),
          "descriptors were left behind by closed connections");
    check(gFixture->inputs % kThreadCheckInterval != 0 ||
                  qartest::waitFor(
                          [] {
                              return countThreads() <= gFixture->baselineThreads + kPoolThreadCap;
                          },
                          kCloseTimeout),
          "threads were left behind by closed connections");
    return 0;
}
