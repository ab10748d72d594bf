#include "support/test_env.h"

#include <aidl/vendor/vemra/hardware/jorv/IJorv.h>
#include <android/binder_manager.h>
#include <hostbinder/control.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

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

android::base::unique_fd connectUnix(const std::string& path) {
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    if (path.size() >= sizeof(addr.sun_path)) return {};
    std::memcpy(addr.sun_path, path.c_str(), path.size() + 1);
    android::base::unique_fd fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (fd.ok() && connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)) != 0) fd.reset();
    return fd;
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

// --- ServiceDir ------------------------------------------------------------------------------

ServiceDir::ServiceDir() {
    char tmpl[] = "/tmp/hbtest-XXXXXX";
    const char* made = mkdtemp(tmpl);
    if (made == nullptr) {
        ADD_FAILURE() << "mkdtemp: " << std::strerror(errno);
        return;
    }
    path_ = made;
    HostBinder_setServiceDir(path_.c_str());
    setenv("HOSTBINDER_DIR", path_.c_str(), 1);
}

ServiceDir::~ServiceDir() {
    if (path_.empty()) return;
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
}

// --- LocalServices ---------------------------------------------------------------------------

::testing::AssertionResult LocalServices::publish(const ndk::SpAIBinder& binder,
                                                  const std::string& instance) {
    const binder_exception_t ex = AServiceManager_addService(binder.get(), instance.c_str());
    if (ex != EX_NONE) {
        return ::testing::AssertionFailure() << "addService(" << instance << ") = " << ex;
    }
    instances_.push_back(instance);
    return ::testing::AssertionSuccess();
}

binder_status_t LocalServices::kill(const std::string& instance) {
    for (auto it = instances_.begin(); it != instances_.end(); ++it) {
        if (*it == instance) {
            instances_.erase(it);
            break;
        }
    }
    return HostBinder_killService(instance.c_str());
}

void LocalServices::killAll() {
    for (const auto& instance : instances_) HostBinder_killService(instance.c_str());
    instances_.clear();
}

// --- ChildService ----------------------------------------------------------------------------

ChildService::ChildService(std::string instance, std::string dir, Options options)
    : instance_(std::move(instance)), dir_(std::move(dir)), options_(options) {}

std::string ChildService::mirrorInstance() const {
    return mirror::instanceFor(instance_);
}

::testing::AssertionResult ChildService::start() {
#ifndef HOSTBINDER_TEST_SERVICE_PATH
    return ::testing::AssertionFailure() << "built without HOSTBINDER_TEST_SERVICE_PATH";
#else
    if (pid_ > 0) return ::testing::AssertionFailure() << "already running as " << pid_;
    std::vector<std::string> args = {HOSTBINDER_TEST_SERVICE_PATH, instance_, dir_};
    if (options_.mirror) args.emplace_back("--mirror");
    pid_ = spawnWith(args);
    if (pid_ < 0) return ::testing::AssertionFailure() << "cannot start " << args[0];

    auto published = [](const std::string& name) {
        ndk::SpAIBinder b(AServiceManager_checkService(name.c_str()));
        return b.get() != nullptr;
    };
    const bool up = waitFor([&] {
        if (!running()) return true;
        return published(instance_) && (!options_.mirror || published(mirrorInstance()));
    });
    if (!up || pid_ <= 0) {
        kill();
        return ::testing::AssertionFailure()
               << "helper service for " << instance_ << (up ? " exited early" : " never appeared");
    }
    return ::testing::AssertionSuccess();
#endif
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
    int status = 0;
    while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
    }
    pid_ = -1;
}

}  // namespace hbtest
