// Fuzzes the host binder runtime's frame reader and connection handling: each input is sent
// verbatim into a fresh connection to a service of this process, then the client stops sending. The
// service must close the connection, keep serving its well-formed client and leave no descriptor
// behind (a connection has no thread of its own: one event loop watches them all). The seeds are
// well-formed frame sequences to start from.

#include <android-base/unique_fd.h>
#include <android/binder_manager.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <string>

#include "support/FakeService.h"
#include "support/FuzzSupport.h"
#include "support/ServiceEnv.h"

namespace {

using qarfuzz::check;
using qartest::FakeJorv;

// Bounds one input's traffic well below what the socket buffers hold, so a send never blocks.
constexpr size_t kMaxSend = 64 * 1024;
// Only bounds how long a broken runtime keeps the run waiting; a healthy one closes at once.
constexpr auto kCloseTimeout = std::chrono::seconds(20);

struct Fixture {
    std::shared_ptr<aidl::vendor::vemra::hardware::jorv::IJorv> client;  // must keep being served
    std::string socketPath;
    int baselineFds = 0;
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
    std::string dir;
    gFixture = new Fixture;
    FakeJorv& service = qarfuzz::publishFakeService(&dir);
    // Answers every call at once with the handle it was given (if any) and calls back any callback
    // it is given: such a callback normally lives behind the very connection being fuzzed, which
    // never answers, so the call ends when that connection does.
    service.setRecording(false);
    service.setScript([](const qartest::Call& call) {
        qartest::Answer answer = qartest::Answer::ok(call.ints.empty() ? 1 : call.ints[0]);
        answer.callBack = std::vector<qartest::JorvRequestData>(1);
        return answer;
    });
    gFixture->client = aidl::vendor::vemra::hardware::jorv::IJorv::fromBinder(
            ndk::SpAIBinder(AServiceManager_checkService(qartest::kInstance)));
    for (const auto& entry : std::filesystem::directory_iterator(dir)) {
        if (entry.is_socket()) gFixture->socketPath = entry.path();
    }
    check(gFixture->client != nullptr && !gFixture->socketPath.empty() && stillServing(),
          "cannot reach the service");
    gFixture->baselineFds = countConnectionFds();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    check(sendAndAwaitClose(data, std::min(size, kMaxSend)),
          "the service kept a connection open after its client ended");
    ++gFixture->inputs;
    check(stillServing(), "the service stopped serving its well-formed client");
    check(qartest::waitFor([] { return countConnectionFds() <= gFixture->baselineFds; },
                           kCloseTimeout),
          "descriptors were left behind by closed connections");
    return 0;
}
