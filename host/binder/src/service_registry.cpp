#include "service_registry.h"

#include <android-base/unique_fd.h>
#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "binder_internal.h"
#include "connection.h"
#include "logging.h"
#include "mutex.h"
#include "service_dir.h"

namespace hostbinder {

using android::base::unique_fd;

namespace {

class PublishedService : public std::enable_shared_from_this<PublishedService> {
public:
    PublishedService(std::string path, unique_fd listener, AIBinder* root, const struct stat& st)
        : mPath(std::move(path)),
          mDevice(st.st_dev),
          mInode(st.st_ino),
          mListener(std::move(listener)),
          mRoot(root) {}

    // Starts the accepting thread; false when no thread could be started.
    bool start() {
        try {
            std::thread([self = shared_from_this()] {
                pthread_setname_np(pthread_self(), "hb:listener");
                self->acceptLoop();
            }).detach();
            return true;
        } catch (const std::system_error& e) {
            ALOGE("cannot start a listener for %s: %s", mPath.c_str(), e.what());
            return false;
        }
    }

    void kill() EXCLUDES(mLock) {
        AIBinder* root = nullptr;
        std::vector<std::shared_ptr<Connection>> connections;
        {
            MutexLock lock(mLock);
            if (mKilled) return;
            mKilled = true;
            root = mRoot;
            mRoot = nullptr;
            // Wakes the accept loop (accept() then fails), which closes the socket.
            if (mListener.ok()) ::shutdown(mListener.get(), SHUT_RDWR);
            for (const auto& weak : mConnections) {
                if (auto connection = weak.lock()) connections.push_back(std::move(connection));
            }
            mConnections.clear();
        }
        // Only our own socket file: another process may have published the instance since.
        struct stat st;
        if (lstat(mPath.c_str(), &st) == 0 && st.st_dev == mDevice && st.st_ino == mInode) {
            unlink(mPath.c_str());
        }
        for (const auto& connection : connections) connection->shutdown();
        if (root != nullptr) root->mRefs->decStrong();
    }

private:
    void acceptLoop() EXCLUDES(mLock) {
        for (;;) {
            const int fd = accept4(listenerFd(), nullptr, nullptr, SOCK_CLOEXEC);
            if (fd < 0) {
                if (errno == EINTR || errno == ECONNABORTED) continue;
                if (isKilled()) break;
                if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
                    // Out of resources: back off rather than spin, and try again.
                    std::this_thread::sleep_for(std::chrono::milliseconds(20));
                    continue;
                }
                ALOGE("accept on %s failed: %s", mPath.c_str(), strerror(errno));
                break;
            }
            auto connection = Connection::create(unique_fd(fd), Connection::Role::kServer);
            if (connection == nullptr) continue;  // out of descriptors: this client is dropped
            {
                MutexLock lock(mLock);
                if (mKilled) break;
                connection->exportRoot(mRoot);
                // Forget connections that have ended since, once the list has doubled: a sweep
                // per accept would cost a service with many clients time quadratic in their
                // number.
                if (mConnections.size() >= 2 * mLiveAtSweep) {
                    std::vector<std::weak_ptr<Connection>> live;
                    for (auto& weak : mConnections) {
                        auto c = weak.lock();
                        if (c != nullptr && !c->isDead()) live.push_back(std::move(weak));
                    }
                    mConnections.swap(live);
                    mLiveAtSweep = std::max<size_t>(mConnections.size(), 16);
                }
                mConnections.push_back(connection);
            }
            connection->start();
        }
        MutexLock lock(mLock);
        mListener.reset();
    }

    int listenerFd() EXCLUDES(mLock) {
        MutexLock lock(mLock);
        return mListener.get();
    }

    bool isKilled() EXCLUDES(mLock) {
        MutexLock lock(mLock);
        return mKilled;
    }

    const std::string mPath;
    const dev_t mDevice;
    const ino_t mInode;
    Mutex mLock;
    // Closed only by the accept loop, under mLock, so kill() never shuts down a reused number.
    unique_fd mListener GUARDED_BY(mLock);
    AIBinder* mRoot GUARDED_BY(mLock);  // one strong reference until killed
    bool mKilled GUARDED_BY(mLock) = false;
    std::vector<std::weak_ptr<Connection>> mConnections GUARDED_BY(mLock);
    size_t mLiveAtSweep GUARDED_BY(mLock) = 16;
};

struct Registry {
    Mutex lock;
    std::map<std::string, std::shared_ptr<PublishedService>> services GUARDED_BY(lock);
};

Registry& registry() {
    // Leaked: listener threads may still run while static destructors execute at exit.
    static Registry* const instance = new Registry;
    return *instance;
}

std::shared_ptr<PublishedService> unregister(const std::string& instance) {
    Registry& r = registry();
    MutexLock lock(r.lock);
    auto it = r.services.find(instance);
    if (it == r.services.end()) return nullptr;
    auto service = std::move(it->second);
    r.services.erase(it);
    return service;
}

// A listening socket bound at `path`, replacing a socket file already there (typically left by a
// process that died without cleaning up).
unique_fd bindListener(const std::string& path, struct stat* bound) {
    unique_fd socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!socket.ok()) return unique_fd();
    // Clients' credentials come with their messages; accepted sockets inherit the option.
    const int on = 1;
    setsockopt(socket.get(), SOL_SOCKET, SO_PASSCRED, &on, sizeof(on));
    // bind() creates the file with the socket's mode less the umask: never more than this.
    const mode_t mode = serviceFileMode();
    fchmod(socket.get(), mode);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    for (int attempt = 0; attempt < 2; ++attempt) {
        struct stat st;
        if (lstat(path.c_str(), &st) == 0) {
            if (!S_ISSOCK(st.st_mode)) {
                ALOGE("cannot publish at %s: not a socket", path.c_str());
                return unique_fd();
            }
            unlink(path.c_str());
        }
        if (bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0) {
            break;
        }
        if (errno != EADDRINUSE || attempt == 1) {
            ALOGE("cannot bind %s: %s", path.c_str(), strerror(errno));
            return unique_fd();
        }
    }
    // Gives back what the umask took (a shared directory's group must be able to connect).
    fchmodat(AT_FDCWD, path.c_str(), mode, AT_SYMLINK_NOFOLLOW);
    if (listen(socket.get(), SOMAXCONN) != 0 || lstat(path.c_str(), bound) != 0) {
        ALOGE("cannot listen on %s: %s", path.c_str(), strerror(errno));
        unlink(path.c_str());
        return unique_fd();
    }
    return socket;
}

}  // namespace

binder_exception_t publishService(AIBinder* binder, const char* instance) {
    if (binder == nullptr || instance == nullptr) return EX_ILLEGAL_ARGUMENT;
    const std::string dir = serviceDir();
    const std::string path = socketPath(dir, instance);
    if (path.empty()) return EX_ILLEGAL_ARGUMENT;
    if (!ensureServiceDir(dir)) return EX_ILLEGAL_STATE;  // logged
    // A second publication replaces the first one entirely: its clients see it die, and
    // killService() then has one set of connections to close.
    if (auto previous = unregister(instance)) previous->kill();

    struct stat bound;
    unique_fd listener = bindListener(path, &bound);
    if (!listener.ok()) return EX_ILLEGAL_STATE;
    binder->mRefs->incStrong();
    auto service = std::make_shared<PublishedService>(path, std::move(listener), binder, bound);
    if (!service->start()) {
        service->kill();
        return EX_ILLEGAL_STATE;
    }
    std::shared_ptr<PublishedService> replaced;
    {
        Registry& r = registry();
        MutexLock lock(r.lock);
        replaced = std::exchange(r.services[instance], service);
    }
    // Another thread published the same instance meanwhile; the later one wins.
    if (replaced != nullptr) replaced->kill();
    return EX_NONE;
}

binder_status_t killService(const char* instance) {
    if (instance == nullptr) return STATUS_UNEXPECTED_NULL;
    auto service = unregister(instance);
    if (service == nullptr) return STATUS_NAME_NOT_FOUND;
    service->kill();
    return STATUS_OK;
}

}  // namespace hostbinder
