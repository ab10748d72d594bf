// AServiceManager_*: look-ups connect to the instance's socket in the service directory. One live
// connection per instance is reused, so repeated look-ups give the same proxy while it lives.
#include "service_manager.h"

#include <android-base/file.h>
#include <android-base/unique_fd.h>
#include <android/binder_manager.h>
#include <errno.h>
#include <fcntl.h>
#include <hostbinder/control.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "binder_internal.h"
#include "connection.h"
#include "mutex.h"
#include "service_dir.h"
#include "service_registry.h"

namespace hostbinder {

using android::base::unique_fd;

namespace {

constexpr auto kPollInterval = std::chrono::milliseconds(10);
// How long getService waits for a service to come up, as on a device.
constexpr auto kGetServiceTimeout = std::chrono::seconds(5);

struct Counters {
    std::atomic<uint64_t> isDeclared{0};
    std::atomic<uint64_t> checkService{0};
    std::atomic<uint64_t> getService{0};
    std::atomic<uint64_t> waitForService{0};
    std::atomic<uint64_t> addService{0};
};

struct ServiceManagerState {
    Mutex lock;
    // Socket path -> the root proxy last handed out for it (one weak reference each).
    std::map<std::string, RefControl*> proxies GUARDED_BY(lock);
    std::set<std::string> declared GUARDED_BY(lock);
    Counters counters;
};

ServiceManagerState& state() {
    // Leaked: runtime threads may use it while static destructors execute at exit.
    static ServiceManagerState* const instance = new ServiceManagerState;
    return *instance;
}

// The root proxy last handed out for `path` (new strong reference; it may be dead), or null.
AIBinder* cachedProxy(ServiceManagerState& s, const std::string& path) REQUIRES(s.lock) {
    auto it = s.proxies.find(path);
    if (it == s.proxies.end() || !it->second->tryIncStrong()) return nullptr;
    return it->second->object();
}

unique_fd connectTo(const std::string& path) {
    unique_fd socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!socket.ok()) return unique_fd();
    // The service's credentials come with its messages.
    const int on = 1;
    setsockopt(socket.get(), SOL_SOCKET, SO_PASSCRED, &on, sizeof(on));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    int rc;
    do {
        rc = connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address));
    } while (rc != 0 && errno == EINTR);
    if (rc != 0) return unique_fd();
    return socket;
}

// checkService without counting: a proxy for the running service, or null.
AIBinder* lookUp(const char* instance) {
    const std::string dir = serviceDir();
    const std::string path = socketPath(dir, instance);
    // Whoever could write a refused directory could have put their own socket there.
    if (path.empty() || !checkServiceDir(dir)) return nullptr;
    ServiceManagerState& s = state();

    AIBinder* cached = nullptr;
    {
        MutexLock lock(s.lock);
        cached = cachedProxy(s, path);
    }
    if (cached != nullptr) {
        if (cached->isAlive()) return cached;
        cached->mRefs->decStrong();
    }

    unique_fd socket = connectTo(path);
    if (!socket.ok()) return nullptr;
    auto connection = Connection::create(std::move(socket), Connection::Role::kClient);
    if (connection == nullptr) return nullptr;
    connection->start();
    AIBinder* proxy = connection->importRoot();

    AIBinder* winner = nullptr;
    std::vector<RefControl*> stale;
    {
        MutexLock lock(s.lock);
        winner = cachedProxy(s, path);
        if (winner == nullptr || !winner->isAlive()) {
            // Forget proxies that are gone (services of directories no longer used, say).
            for (auto it = s.proxies.begin(); it != s.proxies.end();) {
                if (it->first == path || it->second->strongCount() == 0) {
                    stale.push_back(it->second);
                    it = s.proxies.erase(it);
                } else {
                    ++it;
                }
            }
            proxy->mRefs->incWeak();
            s.proxies.emplace(path, proxy->mRefs);
        }
    }
    for (RefControl* refs : stale) refs->decWeak();
    if (winner != nullptr && winner->isAlive()) {
        // Another thread connected first; ours closes itself once its proxy is gone.
        proxy->mRefs->decStrong();
        return winner;
    }
    if (winner != nullptr) winner->mRefs->decStrong();
    return proxy;
}

template <typename Clock>
AIBinder* pollFor(const char* instance, const typename Clock::time_point* deadline) {
    for (;;) {
        if (AIBinder* binder = lookUp(instance)) return binder;
        if (deadline != nullptr && Clock::now() >= *deadline) return nullptr;
        std::this_thread::sleep_for(kPollInterval);
    }
}

std::string trim(const std::string& line) {
    const char* whitespace = " \t\r\n\f\v";
    const size_t begin = line.find_first_not_of(whitespace);
    if (begin == std::string::npos) return std::string();
    const size_t end = line.find_last_not_of(whitespace);
    return line.substr(begin, end - begin + 1);
}

std::string manifestPath(const std::string& dir) {
    return dir + "/manifest";
}

// Whether one line of the manifest text, blanks trimmed, is `instance`.
bool listsInstance(const std::string& text, const std::string& instance) {
    size_t begin = 0;
    while (begin < text.size()) {
        size_t end = text.find('\n', begin);
        if (end == std::string::npos) end = text.size();
        if (trim(text.substr(begin, end - begin)) == instance) return true;
        begin = end + 1;
    }
    return false;
}

// Reads the whole manifest through a close-on-exec descriptor (a stream would not set it).
bool listedInManifest(const std::string& instance) {
    const std::string dir = serviceDir();
    if (!checkServiceDir(dir)) return false;
    unique_fd fd(open(manifestPath(dir).c_str(), O_RDONLY | O_CLOEXEC));
    std::string text;
    return fd.ok() && android::base::ReadFdToString(fd, &text) && listsInstance(text, instance);
}

}  // namespace

void declareInstance(const char* instance) {
    if (instance == nullptr) return;
    ServiceManagerState& s = state();
    MutexLock lock(s.lock);
    s.declared.insert(instance);
}

int listInManifest(const char* instance) {
    if (instance == nullptr || instance[0] == '\0') return EINVAL;
    const std::string dir = serviceDir();
    if (!ensureServiceDir(dir)) return errno != 0 ? errno : ENOTDIR;
    // Append mode keeps lines that other processes add meanwhile; the read sees the whole file.
    const mode_t mode = serviceFileMode();
    unique_fd fd(open(manifestPath(dir).c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, mode));
    std::string text;
    if (!fd.ok() || !android::base::ReadFdToString(fd, &text)) return errno;
    // Exactly `mode` whatever the umask, for a manifest of ours (a group member's stays theirs).
    struct stat st;
    if (fstat(fd.get(), &st) == 0 && st.st_uid == geteuid() && (st.st_mode & 07777) != mode) {
        fchmod(fd.get(), mode);
    }
    if (listsInstance(text, instance)) return 0;
    std::string line = std::string(instance) + "\n";
    if (!text.empty() && text.back() != '\n') line.insert(line.begin(), '\n');
    errno = 0;
    if (!android::base::WriteStringToFd(line, fd)) return errno != 0 ? errno : EIO;
    return 0;
}

void undeclareInstance(const char* instance) {
    if (instance == nullptr) return;
    ServiceManagerState& s = state();
    MutexLock lock(s.lock);
    s.declared.erase(instance);
}

void lookupCounts(HostBinderLookupCounts* out) {
    const Counters& c = state().counters;
    out->isDeclared = c.isDeclared.load(std::memory_order_relaxed);
    out->checkService = c.checkService.load(std::memory_order_relaxed);
    out->getService = c.getService.load(std::memory_order_relaxed);
    out->waitForService = c.waitForService.load(std::memory_order_relaxed);
    out->addService = c.addService.load(std::memory_order_relaxed);
}

}  // namespace hostbinder

using hostbinder::state;

binder_exception_t AServiceManager_addService(AIBinder* binder, const char* instance) {
    state().counters.addService.fetch_add(1, std::memory_order_relaxed);
    return hostbinder::publishService(binder, instance);
}

AIBinder* AServiceManager_checkService(const char* instance) {
    state().counters.checkService.fetch_add(1, std::memory_order_relaxed);
    return hostbinder::lookUp(instance);
}

AIBinder* AServiceManager_getService(const char* instance) {
    state().counters.getService.fetch_add(1, std::memory_order_relaxed);
    using Clock = std::chrono::steady_clock;
    const Clock::time_point deadline = Clock::now() + hostbinder::kGetServiceTimeout;
    return hostbinder::pollFor<Clock>(instance, &deadline);
}

AIBinder* AServiceManager_waitForService(const char* instance) {
    state().counters.waitForService.fetch_add(1, std::memory_order_relaxed);
    // A name that can never be published would block forever.
    if (hostbinder::socketPath(hostbinder::serviceDir(), instance).empty()) return nullptr;
    return hostbinder::pollFor<std::chrono::steady_clock>(instance, nullptr);
}

bool AServiceManager_isDeclared(const char* instance) {
    hostbinder::ServiceManagerState& s = state();
    s.counters.isDeclared.fetch_add(1, std::memory_order_relaxed);
    // No instance has an empty name, whatever blank lines the manifest holds.
    if (instance == nullptr || *instance == '\0') return false;
    {
        hostbinder::MutexLock lock(s.lock);
        if (s.declared.count(instance) != 0) return true;
    }
    return hostbinder::listedInManifest(instance);
}
