#include "support/test_env.h"

#include <aidl/vendor/vemra/hardware/jorv/IJorv.h>
#include <android/binder_manager.h>
#include <hostbinder/control.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "support/mirror.h"

extern char** environ;

namespace hbtest {
namespace {

std::string procDir(pid_t pid, const char* what) {
    return "/proc/" + (pid == 0 ? std::string("self") : std::to_string(pid)) + "/" + what;
}

int countEntries(const std::string& path) {
    std::error_code ec;
    std::filesystem::directory_iterator it(path, ec);
    if (ec) return -1;
    return static_cast<int>(std::distance(it, std::filesystem::directory_iterator()));
}

}  // namespace

int countFds(pid_t pid) {
    // The directory iterator itself holds a descriptor while /proc/self/fd is read.
    const int n = countEntries(procDir(pid, "fd"));
    return pid == 0 && n > 0 ? n - 1 : n;
}

int countThreads(pid_t pid) {
    return countEntries(procDir(pid, "task"));
}

long residentKb(pid_t pid) {
    std::ifstream status(procDir(pid, "status"));
    std::string key;
    long kb = -1;
    while (status >> key) {
        if (key == "VmRSS:") {
            status >> kb;
            break;
        }
        status.ignore(1 << 16, '\n');
    }
    return kb;
}

std::vector<std::string> socketsIn(const std::string& dir) {
    std::vector<std::string> found;
    std::error_code ec;
    for (const auto& entry : std::filesystem::directory_iterator(dir, ec)) {
        struct stat st;
        if (lstat(entry.path().c_str(), &st) == 0 && S_ISSOCK(st.st_mode)) {
            found.push_back(entry.path().string());
        }
    }
    return found;
}

pid_t spawnWith(std::vector<std::string> args, const std::string& dropPrefix,
                const std::vector<std::string>& extra) {
    std::vector<std::string> env;
    for (char** e = environ; *e != nullptr; ++e) {
        if (dropPrefix.empty() || std::strncmp(*e, dropPrefix.c_str(), dropPrefix.size()) != 0) {
            env.emplace_back(*e);
        }
    }
    env.insert(env.end(), extra.begin(), extra.end());
    auto pointers = [](std::vector<std::string>& strings) {
        std::vector<char*> out;
        for (auto& s : strings) out.push_back(s.data());
        out.push_back(nullptr);
        return out;
    };
    std::vector<char*> argv = pointers(args);
    std::vector<char*> envp = pointers(env);
    pid_t pid = -1;
    return posix_spawn(&pid, argv[0], nullptr, nullptr, argv.data(), envp.data()) == 0 ? pid : -1;
}

int waitExit(pid_t pid) {
    int status = 0;
    if (!waitFor([&] { return waitpid(pid, &status, WNOHANG) == pid; })) {
        kill(pid, SIGKILL);
        waitpid(pid, &status, 0);
        return -1;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string jorvInstance(const std::string& name) {
    return std::string(aidl::vendor::vemra::hardware::jorv::IJorv::descriptor) + "/" + name;
}

// --- HostBinderTest --------------------------------------------------------------------------

HostBinderTest::HostBinderTest() {
    char tmpl[] = "/tmp/hbtest-XXXXXX";
    const char* made = mkdtemp(tmpl);
    if (made == nullptr) {
        ADD_FAILURE() << "mkdtemp: " << std::strerror(errno);
        return;
    }
    dir_ = made;
    HostBinder_setServiceDir(dir_.c_str());
    setenv("HOSTBINDER_DIR", dir_.c_str(), 1);
}

HostBinderTest::~HostBinderTest() {
    unpublishAll();
    if (dir_.empty()) return;
    std::error_code ec;
    std::filesystem::remove_all(dir_, ec);
}

::testing::AssertionResult HostBinderTest::publish(const ndk::SpAIBinder& binder,
                                                   const std::string& instance) {
    const binder_exception_t ex = AServiceManager_addService(binder.get(), instance.c_str());
    if (ex != EX_NONE) {
        return ::testing::AssertionFailure() << "addService(" << instance << ") = " << ex;
    }
    published_.push_back(instance);
    return ::testing::AssertionSuccess();
}

binder_status_t HostBinderTest::unpublish(const std::string& instance) {
    published_.erase(std::remove(published_.begin(), published_.end(), instance), published_.end());
    return HostBinder_killService(instance.c_str());
}

void HostBinderTest::unpublishAll() {
    for (const auto& instance : published_) HostBinder_killService(instance.c_str());
    published_.clear();
}

// --- ChildService ----------------------------------------------------------------------------

::testing::AssertionResult ChildService::start() {
    if (pid_ > 0) return ::testing::AssertionFailure() << "already running as " << pid_;
    pid_ = spawnWith({HOSTBINDER_TEST_SERVICE_PATH, instance_, dir_}, "", {});
    if (pid_ < 0) return ::testing::AssertionFailure() << "cannot start the helper service";
    // The mirror is published last.
    const std::string last = mirror::instanceFor(instance_);
    const bool up = waitFor([&] {
        return !running() || ndk::SpAIBinder(AServiceManager_checkService(last.c_str())).get();
    });
    if (!up || pid_ <= 0) {
        kill();
        return ::testing::AssertionFailure()
               << "helper service for " << instance_ << (up ? " exited early" : " never appeared");
    }
    return ::testing::AssertionSuccess();
}

bool ChildService::running() {
    if (pid_ <= 0) return false;
    int status = 0;
    if (waitpid(pid_, &status, WNOHANG) == pid_) {
        pid_ = -1;
        return false;
    }
    return true;
}

void ChildService::kill(int sig) {
    if (pid_ <= 0) return;
    ::kill(pid_, sig);
    waitExit(pid_);
    pid_ = -1;
}

}  // namespace hbtest
