// Round-trip cost of the host binder runtime against the floor set by the transport it uses:
//
//   BM_RawUnixSocketPingPong          4 bytes each way over a socketpair with an echo thread
//   BM_BinderTrivialCall              IJorv::release(h) through a proxy to a service in this
//   process BM_BinderTrivialCallChildProcess  the same call to a service in a child process
//
// The child-process case needs no helper binary: this program runs itself again in serving mode
// (--serve-child <dir>), which publishes the service and serves until killed.
#include <aidl/vendor/vemra/hardware/jorv/BnJorv.h>
#include <aidl/vendor/vemra/hardware/jorv/IJorv.h>
#include <android-base/file.h>
#include <android-base/unique_fd.h>
#include <android/binder_manager.h>
#include <android/binder_process.h>
#include <benchmark/benchmark.h>
#include <hostbinder/control.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>

namespace {

namespace jorv = ::aidl::vendor::vemra::hardware::jorv;

// Only release() does any work; everything else is never called here.
class TrivialJorv : public jorv::BnJorv {
public:
    ndk::ScopedAStatus release(int32_t handle, int32_t* ret) override {
        *ret = handle;
        return ndk::ScopedAStatus::ok();
    }

    ndk::ScopedAStatus init() override { return unused(); }
    ndk::ScopedAStatus request(const jorv::JorvRequestParcel&, int32_t*) override {
        return unused();
    }
    ndk::ScopedAStatus stateRequest(const jorv::JorvRequestParcel&,
                                    std::vector<jorv::JorvRequestData>*) override {
        return unused();
    }
    ndk::ScopedAStatus listeningRegister(const jorv::JorvRequestParcel&,
                                         const std::shared_ptr<jorv::IJorvCallback>&,
                                         int32_t*) override {
        return unused();
    }
    ndk::ScopedAStatus listeningUnregister(int32_t, int32_t*) override { return unused(); }
    ndk::ScopedAStatus propertyGet(const std::string&, std::string*) override { return unused(); }
    ndk::ScopedAStatus propertySet(const std::string&, const std::string&, int32_t*) override {
        return unused();
    }
    ndk::ScopedAStatus thermalListeningRegister(const std::vector<int32_t>&,
                                                const std::shared_ptr<jorv::IJorvCallback>&,
                                                int32_t*) override {
        return unused();
    }
    ndk::ScopedAStatus thermalListeningUnregister(int32_t, int32_t*) override { return unused(); }
    ndk::ScopedAStatus reserved10() override { return unused(); }
    ndk::ScopedAStatus setRelatedSysInfo(int32_t, const std::string&, int32_t*) override {
        return unused();
    }
    ndk::ScopedAStatus ruleCtl(int32_t, int32_t, const std::vector<jorv::JorvRequestData>&,
                               int32_t*) override {
        return unused();
    }
    ndk::ScopedAStatus requestOneWay(const jorv::JorvRequestParcel&) override { return unused(); }

private:
    static ndk::ScopedAStatus unused() {
        return ndk::ScopedAStatus::fromExceptionCode(EX_UNSUPPORTED_OPERATION);
    }
};

const char* const kInProcessInstance = "vendor.vemra.hardware.jorv.IJorv/bench-local";
const char* const kChildInstance = "vendor.vemra.hardware.jorv.IJorv/bench-child";

using android::base::ReadFully;
using android::base::WriteFully;

// The service directory of this run and the child serving kChildInstance.
std::string gDir;
pid_t gChild = -1;

void BM_RawUnixSocketPingPong(benchmark::State& state) {
    android::base::unique_fd fds[2];
    if (!android::base::Socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, &fds[0], &fds[1])) {
        state.SkipWithError("socketpair failed");
        return;
    }
    std::thread echo([fd = fds[1].get()] {
        uint32_t v;
        while (ReadFully(fd, &v, sizeof v) && WriteFully(fd, &v, sizeof v)) {
        }
    });
    uint32_t i = 0;
    for (auto _ : state) {
        uint32_t back = 0;
        if (!WriteFully(fds[0], &i, sizeof i) || !ReadFully(fds[0], &back, sizeof back) ||
            back != i) {
            state.SkipWithError("echo failed");
            break;
        }
        ++i;
    }
    shutdown(fds[0], SHUT_RDWR);
    echo.join();
}
BENCHMARK(BM_RawUnixSocketPingPong)->UseRealTime();

void runTrivialCalls(benchmark::State& state, const std::shared_ptr<jorv::IJorv>& jorv) {
    if (jorv == nullptr) {
        state.SkipWithError("service not found");
        return;
    }
    int32_t h = 0;
    for (auto _ : state) {
        int32_t ret = 0;
        if (!jorv->release(h, &ret).isOk() || ret != h) {
            state.SkipWithError("call failed");
            break;
        }
        ++h;
    }
}

// The proxies below are deliberately leaked: they must not be torn down after the runtime's own
// statics at exit.
void BM_BinderTrivialCall(benchmark::State& state) {
    static const auto* jorv = [] {
        auto service = ndk::SharedRefBase::make<TrivialJorv>();
        if (AServiceManager_addService(service->asBinder().get(), kInProcessInstance) != EX_NONE) {
            return new std::shared_ptr<jorv::IJorv>();
        }
        return new std::shared_ptr<jorv::IJorv>(jorv::IJorv::fromBinder(
                ndk::SpAIBinder(AServiceManager_checkService(kInProcessInstance))));
    }();
    runTrivialCalls(state, *jorv);
}
BENCHMARK(BM_BinderTrivialCall)->UseRealTime();

void BM_BinderTrivialCallChildProcess(benchmark::State& state) {
    static const auto* jorv = [] {
        if (gChild <= 0) return new std::shared_ptr<jorv::IJorv>();
        return new std::shared_ptr<jorv::IJorv>(jorv::IJorv::fromBinder(
                ndk::SpAIBinder(AServiceManager_getService(kChildInstance))));
    }();
    runTrivialCalls(state, *jorv);
}
BENCHMARK(BM_BinderTrivialCallChildProcess)->UseRealTime();

int serveChild(const char* dir) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    HostBinder_setServiceDir(dir);
    auto service = ndk::SharedRefBase::make<TrivialJorv>();
    if (AServiceManager_addService(service->asBinder().get(), kChildInstance) != EX_NONE) {
        std::fprintf(stderr, "bench child: cannot publish %s\n", kChildInstance);
        return 3;
    }
    // As a device service: a pool that grows while every thread is busy, and this thread in it.
    ABinderProcess_startThreadPool();
    ABinderProcess_joinThreadPool();
    return 0;
}

}  // namespace

extern char** environ;

int main(int argc, char** argv) {
    if (argc == 3 && std::string(argv[1]) == "--serve-child") return serveChild(argv[2]);

    char tmpl[] = "/tmp/hostbinder-bench-XXXXXX";
    if (mkdtemp(tmpl) == nullptr) {
        std::perror("mkdtemp");
        return 1;
    }
    gDir = tmpl;
    HostBinder_setServiceDir(gDir.c_str());
    // Serves the in-process service; the child serves its own by joining its pool.
    ABinderProcess_startThreadPool();

    char self[] = "/proc/self/exe";
    char mode[] = "--serve-child";
    char* childArgv[] = {self, mode, gDir.data(), nullptr};
    if (posix_spawn(&gChild, self, nullptr, nullptr, childArgv, environ) != 0) gChild = -1;

    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();

    if (gChild > 0) {
        kill(gChild, SIGKILL);
        waitpid(gChild, nullptr, 0);
    }
    HostBinder_killService(kInProcessInstance);
    std::error_code ec;
    std::filesystem::remove_all(gDir, ec);
    return 0;
}
