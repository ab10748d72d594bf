// Shared plumbing for the host binder runtime tests: a private service directory per test,
// condition polling, fd/thread accounting, and helper service processes.
#pragma once

#include <android/binder_auto_utils.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "support/WaitFor.h"

namespace hbtest {

using qartest::kLongTimeout;
using qartest::waitFor;

// Open descriptors / live threads of a process (this one by default), from /proc.
int countFds(pid_t pid = 0);
int countThreads(pid_t pid = 0);
// Resident memory of a process in KiB, from /proc; -1 when unknown.
long residentKb(pid_t pid);

// Paths of the Unix-domain sockets directly inside `dir`.
std::vector<std::string> socketsIn(const std::string& dir);

// Starts `args` with this process's environment, less the variables whose "NAME=value" starts with
// `dropPrefix`, plus `extra`; the child's pid, or -1.
pid_t spawnWith(std::vector<std::string> args, const std::string& dropPrefix,
                const std::vector<std::string>& extra);
// Waits, bounded, for `pid` to exit: its exit code, or -1 when it was signalled or had to be
// killed.
int waitExit(pid_t pid);

// Instance name the interface would be registered under on a device.
std::string jorvInstance(const std::string& name = "default");

// The helper service binary (tests/hostbinder/service) running as a child process that publishes
// an EchoJorv under `instance` and the binder mirror (support/mirror.h) beside it. Killed and
// reaped on destruction.
class ChildService {
public:
    ChildService(std::string instance, std::string dir)
        : instance_(std::move(instance)), dir_(std::move(dir)) {}
    ~ChildService() { kill(); }
    ChildService(const ChildService&) = delete;
    ChildService& operator=(const ChildService&) = delete;

    // Spawns the process and waits until both its services answer AServiceManager_checkService.
    ::testing::AssertionResult start();
    // Sends `sig` and reaps the process; does nothing when not running.
    void kill(int sig = SIGKILL);
    // True while the process has not exited (reaps it when it has).
    bool running();

    pid_t pid() const { return pid_; }
    const std::string& instance() const { return instance_; }

private:
    std::string instance_;
    std::string dir_;
    pid_t pid_ = -1;
};

// Base fixture: a fresh private service directory for this process (and, via HOSTBINDER_DIR, for
// the children it starts), removed with everything in it at the end; services the test publishes
// are killed first, so that no test leaks a listening socket or a served object into the next.
class HostBinderTest : public ::testing::Test {
protected:
    HostBinderTest();
    ~HostBinderTest() override;

    const std::string& dir() const { return dir_; }
    ::testing::AssertionResult publish(const ndk::SpAIBinder& binder, const std::string& instance);
    // Kills one published service; returns the runtime's answer.
    binder_status_t unpublish(const std::string& instance);
    void unpublishAll();

private:
    std::string dir_;
    std::vector<std::string> published_;
};

// Runs `fn` on a new thread and reports when it finished, so a test can wait on it with a
// timeout instead of joining a thread that may hang.
class Async {
public:
    template <typename Fn>
    explicit Async(Fn fn)
        : done_(std::make_shared<std::atomic<bool>>(false)),
          thread_([fn = std::move(fn), done = done_]() mutable {
              fn();
              done->store(true);
          }) {}
    // Joins; a thread still stuck after a grace period (the test has failed by then) is left
    // behind rather than hanging the whole run. Lambdas therefore capture by value.
    ~Async() {
        if (waitDone(std::chrono::milliseconds(5000))) {
            thread_.join();
        } else {
            thread_.detach();
        }
    }
    Async(const Async&) = delete;
    Async& operator=(const Async&) = delete;

    bool done() const { return done_->load(); }
    bool waitDone(std::chrono::milliseconds timeout = kLongTimeout) const {
        return waitFor([this] { return done(); }, timeout);
    }

private:
    std::shared_ptr<std::atomic<bool>> done_;
    std::thread thread_;
};

}  // namespace hbtest
