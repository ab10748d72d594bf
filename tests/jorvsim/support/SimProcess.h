// jorv-sim, or a client of it, running as a child process with HOSTBINDER_DIR set to a service
// directory, its standard output read line by line.
#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "support/WaitFor.h"

namespace jorvsimtest {

using qartest::kLongTimeout;

// Matches a line that starts with `prefix` and holds `part`.
inline std::function<bool(const std::string&)> lineWith(std::string prefix, std::string part = "") {
    return [=](const std::string& line) {
        return line.rfind(prefix, 0) == 0 && line.find(part) != std::string::npos;
    };
}

class SimProcess {
public:
    // jorv-sim with `args` (after --die-with-parent), serving in a directory of its own.
    explicit SimProcess(std::vector<std::string> args = {});
    // Serving in `dir`, which the caller owns: a service restarted where its clients look for it.
    SimProcess(std::string dir, std::vector<std::string> args);
    // Another program (a client of the service in `dir`); its standard error is discarded.
    SimProcess(std::string program, std::vector<std::string> args, std::string dir);
    ~SimProcess();
    SimProcess(const SimProcess&) = delete;
    SimProcess& operator=(const SimProcess&) = delete;

    // Starts it and waits for jorv-sim's ready line.
    ::testing::AssertionResult start();
    // Starts it without waiting for anything.
    ::testing::AssertionResult spawn();
    const std::string& dir() const { return mDir; }
    pid_t pid() const { return mPid; }

    // The first line at index `from` or later that satisfies `match`, waiting for it; none when
    // the process ends or the time is up first.
    std::optional<std::string> waitForLine(const std::function<bool(const std::string&)>& match,
                                           size_t from = 0,
                                           std::chrono::milliseconds timeout = kLongTimeout);
    // Lines read so far.
    const std::vector<std::string>& lines() const { return mLines; }

    void signal(int sig);
    // The wait status once the process has ended; none if it is still running after `timeout`.
    std::optional<int> waitExit(std::chrono::milliseconds timeout = kLongTimeout);

private:
    // Reads what the output has, waiting up to `timeout` for something; false at its end.
    bool readSome(std::chrono::milliseconds timeout);

    std::string mProgram;
    std::vector<std::string> mArgs;
    std::string mDir;
    bool mOwnsDir = false;
    bool mQuietStderr = true;
    pid_t mPid = -1;
    int mOut = -1;
    std::string mPartial;
    std::vector<std::string> mLines;
    std::optional<int> mExitStatus;
};

}  // namespace jorvsimtest
