#include "SimProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

extern char** environ;

namespace jorvsimtest {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

SimProcess::SimProcess(std::vector<std::string> args) : SimProcess(std::string(), std::move(args)) {
    char pattern[] = "/tmp/jorvsim-test-XXXXXX";
    if (mkdtemp(pattern) != nullptr) mDir = pattern;
    mOwnsDir = true;
}

SimProcess::SimProcess(std::string dir, std::vector<std::string> args)
    : SimProcess(JORV_SIM_PATH, std::move(args), std::move(dir)) {
    mArgs.insert(mArgs.begin(), "--die-with-parent");
    mQuietStderr = false;
}

SimProcess::SimProcess(std::string program, std::vector<std::string> args, std::string dir)
    : mProgram(std::move(program)), mArgs(std::move(args)), mDir(std::move(dir)) {}

SimProcess::~SimProcess() {
    if (mPid > 0 && !mExitStatus.has_value()) {
        kill(mPid, SIGKILL);
        while (waitpid(mPid, nullptr, 0) < 0 && errno == EINTR) {
        }
    }
    if (mOut >= 0) close(mOut);
    std::error_code ignored;
    if (mOwnsDir && !mDir.empty()) std::filesystem::remove_all(mDir, ignored);
}

::testing::AssertionResult SimProcess::start() {
    ::testing::AssertionResult spawned = spawn();
    if (!spawned || waitForLine(lineWith("ready "))) return spawned;
    return ::testing::AssertionFailure() << "jorv-sim never got ready";
}

::testing::AssertionResult SimProcess::spawn() {
    if (mDir.empty()) return ::testing::AssertionFailure() << "no service directory";
    int pipeFds[2];
    if (pipe2(pipeFds, O_CLOEXEC) != 0) {
        return ::testing::AssertionFailure() << "pipe: " << std::strerror(errno);
    }
    // Room for a long stretch of transcript between two reads (best effort): a service that
    // finds the pipe full stops answering until it is read.
    fcntl(pipeFds[0], F_SETPIPE_SZ, 1 << 20);

    std::vector<std::string> strings = {mProgram};
    strings.insert(strings.end(), mArgs.begin(), mArgs.end());
    const size_t argc = strings.size();
    for (char** e = environ; *e != nullptr; ++e) {
        if (std::strncmp(*e, "HOSTBINDER_DIR=", 15) != 0) strings.emplace_back(*e);
    }
    strings.push_back("HOSTBINDER_DIR=" + mDir);
    // argv and envp, each ended by a null.
    std::vector<char*> pointers;
    for (std::string& s : strings) {
        if (pointers.size() == argc) pointers.push_back(nullptr);
        pointers.push_back(s.data());
    }
    pointers.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pipeFds[1], STDOUT_FILENO);
    if (mQuietStderr) {
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    }
    const int err = posix_spawn(&mPid, pointers[0], &actions, nullptr, pointers.data(),
                                pointers.data() + argc + 1);
    posix_spawn_file_actions_destroy(&actions);
    close(pipeFds[1]);
    mOut = pipeFds[0];
    if (err != 0) {
        mPid = -1;
        return ::testing::AssertionFailure() << "posix_spawn: " << std::strerror(err);
    }
    return ::testing::AssertionSuccess();
}

bool SimProcess::readSome(milliseconds timeout) {
    if (mOut < 0) return false;
    pollfd fd{mOut, POLLIN, 0};
    const int ready = poll(&fd, 1, static_cast<int>(timeout.count()));
    if (ready <= 0) return ready == 0 || errno == EINTR;
    char buffer[4096];
    const ssize_t n = read(mOut, buffer, sizeof(buffer));
    if (n < 0) return errno == EINTR;
    if (n == 0) {
        close(mOut);
        mOut = -1;
        return false;
    }
    mPartial.append(buffer, static_cast<size_t>(n));
    for (size_t end; (end = mPartial.find('\n')) != std::string::npos;) {
        mLines.push_back(mPartial.substr(0, end));
        mPartial.erase(0, end + 1);
    }
    return true;
}

std::optional<std::string> SimProcess::waitForLine(
        const std::function<bool(const std::string&)>& match, size_t from, milliseconds timeout) {
    const auto deadline = Clock::now() + timeout;
    for (;;) {
        for (size_t i = from; i < mLines.size(); ++i) {
            if (match(mLines[i])) return mLines[i];
        }
        from = std::max(from, mLines.size());
        const auto now = Clock::now();
        if (now >= deadline ||
            !readSome(std::chrono::duration_cast<milliseconds>(deadline - now))) {
            return std::nullopt;
        }
    }
}

void SimProcess::signal(int sig) {
    if (mPid > 0 && !mExitStatus.has_value()) kill(mPid, sig);
}

std::optional<int> SimProcess::waitExit(milliseconds timeout) {
    const auto deadline = Clock::now() + timeout;
    while (!mExitStatus.has_value() && mPid > 0) {
        int status = 0;
        if (waitpid(mPid, &status, WNOHANG) == mPid) {
            mExitStatus = status;
        } else if (Clock::now() >= deadline) {
            break;
        } else if (!readSome(milliseconds(20))) {
            // Keep draining the transcript so that the process never blocks writing it; once it
            // is closed, poll the process at a short interval.
            usleep(2000);
        }
    }
    // Whatever it wrote before exiting.
    while (mExitStatus.has_value() && mOut >= 0) {
        pollfd fd{mOut, POLLIN, 0};
        if (poll(&fd, 1, 0) <= 0 || !readSome(milliseconds(0))) break;
    }
    return mExitStatus;
}

}  // namespace jorvsimtest
