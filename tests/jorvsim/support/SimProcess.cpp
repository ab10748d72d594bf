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
namespace {

using Clock = std::chrono::steady_clock;

std::chrono::milliseconds left(Clock::time_point deadline) {
    const auto now = Clock::now();
    if (now >= deadline) return std::chrono::milliseconds(0);
    return std::chrono::duration_cast<std::chrono::milliseconds>(deadline - now);
}

}  // namespace

SimProcess::SimProcess(std::vector<std::string> args) : SimProcess(std::string(), std::move(args)) {
    char pattern[] = "/tmp/jorvsim-test-XXXXXX";
    if (mkdtemp(pattern) != nullptr) mDir = pattern;
    mOwnsDir = true;
}

SimProcess::SimProcess(std::string dir, std::vector<std::string> args)
    : mArgs(std::move(args)), mDir(std::move(dir)), mOwnsDir(false) {
#ifdef JORV_SIM_PATH
    mProgram = JORV_SIM_PATH;
    mArgs.insert(mArgs.begin(), "--die-with-parent");
#endif
}

SimProcess::SimProcess(std::string program, std::vector<std::string> args, std::string dir)
    : mProgram(std::move(program)),
      mArgs(std::move(args)),
      mDir(std::move(dir)),
      mOwnsDir(false),
      mQuietStderr(true) {}

SimProcess::~SimProcess() {
    if (mPid > 0 && !mExitStatus.has_value()) {
        kill(mPid, SIGKILL);
        int status = 0;
        while (waitpid(mPid, &status, 0) < 0 && errno == EINTR) {
        }
    }
    if (mOut >= 0) close(mOut);
    std::error_code ignored;
    if (mOwnsDir && !mDir.empty()) std::filesystem::remove_all(mDir, ignored);
}

::testing::AssertionResult SimProcess::start() {
    ::testing::AssertionResult spawned = spawn();
    if (!spawned) return spawned;
    auto ready = waitForLine([](const std::string& line) { return line.rfind("ready ", 0) == 0; });
    if (!ready.has_value()) return ::testing::AssertionFailure() << "jorv-sim never got ready";
    return ::testing::AssertionSuccess();
}

::testing::AssertionResult SimProcess::spawn() {
    if (mProgram.empty()) return ::testing::AssertionFailure() << "no program to run";
    if (mDir.empty()) return ::testing::AssertionFailure() << "no service directory";
    int pipeFds[2];
    if (pipe2(pipeFds, O_CLOEXEC) != 0) {
        return ::testing::AssertionFailure() << "pipe: " << std::strerror(errno);
    }
    // Room for a long stretch of transcript between two reads (best effort): a service that
    // finds the pipe full stops answering until it is read.
    fcntl(pipeFds[0], F_SETPIPE_SZ, 1 << 20);

    std::vector<std::string> args = {mProgram};
    args.insert(args.end(), mArgs.begin(), mArgs.end());
    std::vector<char*> argv;
    for (std::string& arg : args) argv.push_back(arg.data());
    argv.push_back(nullptr);

    std::vector<std::string> env;
    for (char** e = environ; *e != nullptr; ++e) {
        if (std::strncmp(*e, "HOSTBINDER_DIR=", 15) != 0) env.emplace_back(*e);
    }
    env.push_back("HOSTBINDER_DIR=" + mDir);
    std::vector<char*> envp;
    for (std::string& e : env) envp.push_back(e.data());
    envp.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pipeFds[1], STDOUT_FILENO);
    if (mQuietStderr) {
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    }
    const int err = posix_spawn(&mPid, argv[0], &actions, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    close(pipeFds[1]);
    mOut = pipeFds[0];
    if (err != 0) {
        mPid = -1;
        return ::testing::AssertionFailure() << "posix_spawn: " << std::strerror(err);
    }
    return ::testing::AssertionSuccess();
}

std::optional<std::string> SimProcess::output(int* status, std::chrono::milliseconds timeout) {
    const std::optional<int> exit = waitExit(timeout);
    if (!exit.has_value()) return std::nullopt;
    // The process has ended, so the pipe reaches its end once drained.
    const auto deadline = Clock::now() + timeout;
    while (mOut >= 0 && Clock::now() < deadline && readSome(std::chrono::milliseconds(50))) {
    }
    *status = *exit;
    std::string text;
    for (const std::string& line : mLines) text += line + "\n";
    return text + mPartial;
}

bool SimProcess::readSome(std::chrono::milliseconds timeout) {
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
        const std::function<bool(const std::string&)>& match, size_t from,
        std::chrono::milliseconds timeout) {
    const auto deadline = Clock::now() + timeout;
    for (;;) {
        for (size_t i = from; i < mLines.size(); ++i) {
            if (match(mLines[i])) return mLines[i];
        }
        from = std::max(from, mLines.size());
        if (Clock::now() >= deadline || !readSome(left(deadline))) return std::nullopt;
    }
}

void SimProcess::signal(int sig) {
    if (mPid > 0 && !mExitStatus.has_value()) kill(mPid, sig);
}

std::optional<int> SimProcess::waitExit(std::chrono::milliseconds timeout) {
    const auto deadline = Clock::now() + timeout;
    while (!mExitStatus.has_value() && mPid > 0) {
        int status = 0;
        if (waitpid(mPid, &status, WNOHANG) == mPid) {
            mExitStatus = status;
            break;
        }
        if (Clock::now() >= deadline) break;
        // Keep draining the transcript so that the process never blocks writing it; once it is
        // closed, poll the process at a short interval.
        if (!readSome(std::min(left(deadline), std::chrono::milliseconds(20)))) {
            usleep(2000);
        }
    }
    // Whatever it wrote before exiting.
    while (mExitStatus.has_value() && mOut >= 0) {
        pollfd fd{mOut, POLLIN, 0};
        if (poll(&fd, 1, 0) <= 0 || !readSome(std::chrono::milliseconds(0))) break;
    }
    return mExitStatus;
}

}  // namespace jorvsimtest
