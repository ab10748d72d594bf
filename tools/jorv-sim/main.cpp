// jorv-sim: the reference IJorv service for the host. Parses the command line, runs the service
// until SIGTERM, SIGINT or the end that --exit-after sets, and stops it cleanly.
#include <android-base/unique_fd.h>
#include <android/binder_process.h>
#include <errno.h>
#include <hostbinder/control.h>
#include <poll.h>
#include <signal.h>
#include <stdint.h>
#include <sys/eventfd.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "Options.h"
#include "Simulator.h"

namespace {

using android::base::unique_fd;

// After the last call that --exit-after allows, the runtime still has to send its reply once our
// code has returned; there is no hook for that moment, so the exit waits this long after the call.
constexpr std::chrono::milliseconds kReplyGrace{200};
constexpr std::chrono::seconds kIdleTimeout{10};

// Waits for a stop signal or the exit-due event; returns the reason.
std::string waitForStop(int signals, int exitDue) {
    pollfd fds[2] = {{signals, POLLIN, 0}, {exitDue, POLLIN, 0}};
    for (;;) {
        if (poll(fds, 2, -1) < 0) {
            if (errno == EINTR) continue;
            return "poll-failed";
        }
        if ((fds[0].revents & POLLIN) != 0) {
            signalfd_siginfo info{};
            if (read(signals, &info, sizeof(info)) == static_cast<ssize_t>(sizeof(info))) {
                return info.ssi_signo == SIGINT ? "SIGINT" : "SIGTERM";
            }
        }
        if ((fds[1].revents & POLLIN) != 0) return "exit-after";
    }
}

// Blocks SIGTERM and SIGINT before any thread starts, so every thread inherits the mask and the
// signals reach only the returned signalfd: nothing runs in a signal handler.
unique_fd stopSignalFd() {
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGTERM);
    sigaddset(&stopSignals, SIGINT);
    if (pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr) != 0) return unique_fd();
    return unique_fd(signalfd(-1, &stopSignals, SFD_CLOEXEC));
}

}  // namespace

int main(int argc, char** argv) {
    const jorvsim::ParsedOptions parsed =
            jorvsim::parseOptions(std::vector<std::string>(argv + 1, argv + argc));
    if (!parsed.ok()) {
        std::fprintf(stderr, "jorv-sim: %s\n\n%s", parsed.error.c_str(), jorvsim::usage().c_str());
        return 2;
    }
    const jorvsim::Options& options = parsed.options;
    if (options.help) {
        std::fputs(jorvsim::usage().c_str(), stdout);
        return 0;
    }

    unique_fd signals = stopSignalFd();
    // A transcript reader that goes away must not kill the service.
    signal(SIGPIPE, SIG_IGN);
    if (options.dieWithParent) prctl(PR_SET_PDEATHSIG, SIGTERM);
    unique_fd exitDue(eventfd(0, EFD_CLOEXEC));
    if (!signals.ok() || !exitDue.ok()) {
        std::perror("jorv-sim: signalfd/eventfd");
        return 1;
    }
    if (!options.dir.empty()) HostBinder_setServiceDir(options.dir.c_str());

    const int exitDueFd = exitDue.get();
    jorvsim::Simulator simulator(options, stdout, stderr, [exitDueFd] {
        const uint64_t one = 1;
        // Only a full counter could make this fail, and then the event is pending anyway.
        (void)!write(exitDueFd, &one, sizeof(one));
    });
    // The pool serves the calls from the moment the service is published; this thread only waits
    // for the stop. The NDK's default cap on the pool is kept: no call waits for another one to
    // be served, so a busier moment only queues calls.
    ABinderProcess_startThreadPool();
    std::string error;
    if (!simulator.start(&error)) {
        simulator.transcript().log(error);
        simulator.stop();
        return 1;
    }

    const std::string reason = waitForStop(signals.get(), exitDue.get());
    if (reason == "exit-after") {
        simulator.waitIdle(kIdleTimeout);
        std::this_thread::sleep_for(kReplyGrace);
    }
    const bool clean = simulator.stop();
    if (!simulator.finishTrace(&error)) simulator.transcript().log(error);
    simulator.transcript().exit(clean ? 0 : 1, reason);
    if (!clean) {
        // A call still uses the service's state; leave without destroying it.
        std::fflush(nullptr);
        _exit(1);
    }
    return 0;
}
