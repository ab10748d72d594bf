// The service directory must be one no other user controls: whoever can write it can put their own
// socket in place of a service's. A refused directory is neither published into nor read from,
// whichever way it was chosen, and the refusal is logged once, naming the path.
#include "service_dir.h"

#include <android/binder_manager.h>
#include <errno.h>
#include <gtest/gtest.h>
#include <hostbinder/control.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "support/LogCapture.h"
#include "support/echo_jorv.h"
#include "support/test_env.h"

namespace hbtest {
namespace {

constexpr uid_t kNobody = 65534;
constexpr mode_t kNotThere = static_cast<mode_t>(-1);

mode_t modeOf(const std::string& path) {
    struct stat st;
    return lstat(path.c_str(), &st) == 0 ? (st.st_mode & 07777) : kNotThere;
}

// A directory with exactly `mode`, whatever the umask.
void makeDir(const std::string& path, mode_t mode) {
    ASSERT_EQ(mkdir(path.c_str(), 0700), 0) << path << ": " << std::strerror(errno);
    ASSERT_EQ(chmod(path.c_str(), mode), 0);
}

class ServiceDirTest : public HostBinderTest {
protected:
    void TearDown() override {
        unpublishAll();
        HostBinder_setServiceDirShared(false);
        HostBinder_setServiceDir(dir().c_str());
    }

    std::string entry(const std::string& name) const { return dir() + "/" + name; }

    // Publishes a service and lists it in the manifest of `path`, which must be accepted now.
    void serveIn(const std::string& path) {
        HostBinder_setServiceDir(path.c_str());
        ASSERT_TRUE(publish(mService->asBinder(), mInstance));
        ASSERT_EQ(HostBinder_listInManifest(mInstance.c_str()), 0);
    }

    // Every way of using `path` as the service directory fails, and one error line says why.
    void expectRefused(const std::string& path, const std::string& finding) {
        qartest::LogCapture log;
        HostBinder_setServiceDir(path.c_str());
        const char* instance = mInstance.c_str();
        EXPECT_NE(AServiceManager_addService(mService->asBinder().get(), instance), EX_NONE);
        for (int poll = 0; poll < 2; ++poll) {
            EXPECT_EQ(ndk::SpAIBinder(AServiceManager_checkService(instance)).get(), nullptr);
        }
        EXPECT_FALSE(AServiceManager_isDeclared(instance));
        EXPECT_EQ(HostBinder_listInManifest(instance), EPERM);

        std::vector<std::string> refusals;
        for (const auto& line : log.linesWithTag("hostbinder")) {
            if (line.priority == ANDROID_LOG_ERROR) refusals.push_back(line.text);
        }
        ASSERT_EQ(refusals.size(), 1u) << "one line per directory, however often it is used";
        EXPECT_NE(refusals[0].find(path), std::string::npos) << refusals[0];
        EXPECT_NE(refusals[0].find(finding), std::string::npos) << refusals[0];
        EXPECT_NE(refusals[0].find("HOSTBINDER_DIR"), std::string::npos) << "no way out given";
    }

    const std::shared_ptr<EchoJorv> mService = ndk::SharedRefBase::make<EchoJorv>();
    const std::string mInstance = jorvInstance("dircheck");
};

// Each directory first serves the instance and lists it, so a look-up that ignored the refusal
// (or answered from its cache) would find it.
TEST_F(ServiceDirTest, RefusesWhatOthersCouldWrite) {
    enum class Kind { kDir, kSymlink, kFile, kOtherUsers };
    struct Case {
        const char* name;
        Kind kind;
        mode_t mode;
        bool shared;
        const char* finding;  // null when the directory is accepted
    };
    const Case cases[] = {
            {"open to everyone", Kind::kDir, 0777, false, "mode 0777"},
            {"readable by the group", Kind::kDir, 0750, false, "mode 0750"},
            {"searchable by others", Kind::kDir, 0701, false, "mode 0701"},
            {"symlink to a private directory", Kind::kSymlink, 0700, false, "a symlink"},
            {"regular file", Kind::kFile, 0600, false, "not a directory"},
            {"another user's", Kind::kOtherUsers, 0700, false, "owned by uid 65534"},
            // Shared, the owner may be anyone the group trusts, but not everyone.
            {"group's, shared", Kind::kDir, 02770, true, nullptr},
            {"another user's, shared", Kind::kOtherUsers, 0770, true, nullptr},
            {"open to everyone, shared", Kind::kDir, 0777, true, "mode 0777"},
            {"symlink, shared", Kind::kSymlink, 02770, true, "a symlink"},
    };
    for (size_t i = 0; i < std::size(cases); ++i) {
        const Case& c = cases[i];
        SCOPED_TRACE(c.name);
        // Giving a directory to another user needs root.
        if (c.kind == Kind::kOtherUsers && geteuid() != 0) continue;
        HostBinder_setServiceDirShared(c.shared);
        const std::string path = entry("c" + std::to_string(i));
        if (c.kind == Kind::kFile) {
            std::ofstream(path) << mInstance << "\n";
        } else {
            const std::string real = c.kind == Kind::kSymlink ? path + "-target" : path;
            ASSERT_NO_FATAL_FAILURE(makeDir(real, 0700));
            ASSERT_NO_FATAL_FAILURE(serveIn(real));
            ASSERT_EQ(chmod(real.c_str(), c.mode), 0);
            if (c.kind == Kind::kSymlink) {
                ASSERT_EQ(symlink(real.c_str(), path.c_str()), 0);
            } else if (c.kind == Kind::kOtherUsers) {
                ASSERT_EQ(chown(real.c_str(), kNobody, kNobody), 0);
            }
        }
        if (c.finding != nullptr) {
            expectRefused(path, c.finding);
        } else {
            HostBinder_setServiceDir(path.c_str());
            EXPECT_NE(ndk::SpAIBinder(AServiceManager_checkService(mInstance.c_str())).get(),
                      nullptr);
            EXPECT_TRUE(AServiceManager_isDeclared(mInstance.c_str()));
        }
        unpublishAll();
    }
}

// Modes are set, not left to the umask: a lax umask must not open them, a strict one must not
// shut out the group of a shared directory.
TEST_F(ServiceDirTest, CreatesDirectoryAndFilesWithExactModes) {
    struct Case {
        bool shared;
        mode_t umask;
        mode_t dirMode;
        mode_t fileMode;
    };
    const Case cases[] = {{false, 0, 0700, 0600}, {true, 077, 0770, 0660}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.shared ? "shared" : "private");
        HostBinder_setServiceDirShared(c.shared);
        const std::string created = entry(c.shared ? "new-shared" : "new") + "/services";
        const mode_t saved = umask(c.umask);
        serveIn(created);
        umask(saved);
        ASSERT_FALSE(HasFatalFailure());
        EXPECT_EQ(modeOf(created), c.dirMode);
        const auto sockets = socketsIn(created);
        ASSERT_EQ(sockets.size(), 1u);
        EXPECT_EQ(modeOf(sockets[0]), c.fileMode);
        EXPECT_EQ(modeOf(created + "/manifest"), c.fileMode);
        unpublishAll();
    }
}

TEST_F(ServiceDirTest, DefaultDirectoryIsCreatedPrivate) {
    const std::string fallback = "/tmp/hostbinder-" + std::to_string(getuid());
    if (modeOf(fallback) != kNotThere) GTEST_SKIP() << fallback << " exists; not touching it";
    unsetenv("HOSTBINDER_DIR");
    HostBinder_setServiceDir(nullptr);
    const ::testing::AssertionResult published = publish(mService->asBinder(), mInstance);
    const mode_t mode = modeOf(fallback);
    unpublishAll();
    rmdir(fallback.c_str());
    EXPECT_TRUE(published);
    EXPECT_EQ(mode, 0700u);
}

// The helper service, started without a directory argument, takes its runtime's choice from
// $HOSTBINDER_DIR (and $HOSTBINDER_DIR_SHARED): it publishes into an accepted directory and exits
// with its 'cannot publish' code from a refused one.
TEST_F(ServiceDirTest, EnvironmentChoiceIsCheckedToo) {
    struct Case {
        const char* name;
        mode_t mode;
        bool shared;
        bool publishes;
    };
    const Case cases[] = {
            {"private", 0700, false, true},
            {"group writable", 0770, false, false},
            {"group writable, shared", 0770, true, true},
            {"open to everyone, shared", 0777, true, false},
    };
    for (size_t i = 0; i < std::size(cases); ++i) {
        const Case& c = cases[i];
        SCOPED_TRACE(c.name);
        const std::string path = entry("e" + std::to_string(i));
        ASSERT_NO_FATAL_FAILURE(makeDir(path, c.mode));
        std::vector<std::string> vars = {"HOSTBINDER_DIR=" + path};
        if (c.shared) vars.emplace_back("HOSTBINDER_DIR_SHARED=1");
        const pid_t pid = spawnWith({HOSTBINDER_TEST_SERVICE_PATH, jorvInstance("fromenv")},
                                    "HOSTBINDER_DIR", vars);
        ASSERT_GT(pid, 0);
        if (c.publishes) {
            EXPECT_TRUE(waitFor([&] { return !socketsIn(path).empty(); }));
            kill(pid, SIGKILL);
        }
        EXPECT_EQ(waitExit(pid), c.publishes ? -1 : 3);
    }
}

// The instance-name -> socket-file mapping: distinct instances must never share a socket, names
// must stay inside the service directory, and names too long for a socket address are refused.

TEST(RuntimeInternalServiceDirTest, InstancesGetDistinctFlatFilesOrAreRefused) {
    const std::string dir = "/tmp/hb";
    const size_t room = sizeof(sockaddr_un::sun_path) - 1 - dir.size() - 1;
    struct Case {
        std::string instance;
        bool usable;
    };
    const Case cases[] = {
            // Pairs that a naive mapping (dropping, or replacing '/' with a legal character) would
            // merge.
            {"a.IFoo/default", true},
            {"a.IFoo%2Fdefault", true},
            {"a.IFoo_default", true},
            {"a.IFoo-default", true},
            {"a.IFoo/x/y", true},
            {"a.IFoo/x%2Fy", true},
            {"a.IFoo%x/y", true},
            {"a.IFoo default", true},
            {".hidden", true},
            {"%2Ehidden", true},
            {"..", true},
            {"manifest/", true},
            {"", false},
            {std::string(room, 'a'), true},  // the longest that fits
            {std::string(room + 1, 'a'), false},
            // Escaping triples the length of every '/', which must be counted.
            {std::string(room - 2, 'a') + "/", false},
    };
    std::set<std::string> paths;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.instance);
        const std::string path = hostbinder::socketPath(dir, c.instance.c_str());
        ASSERT_EQ(!path.empty(), c.usable);
        if (!c.usable) continue;
        ASSERT_EQ(path.rfind(dir + "/", 0), 0u);
        const std::string name = path.substr(dir.size() + 1);
        EXPECT_EQ(name.find('/'), std::string::npos) << "must be one file in the directory";
        EXPECT_NE(name[0], '.') << "no hidden files, no '.' or '..'";
        EXPECT_TRUE(paths.insert(path).second) << "collides with another instance";
    }
    EXPECT_TRUE(hostbinder::socketPath(dir, nullptr).empty());
}

}  // namespace
}  // namespace hbtest
