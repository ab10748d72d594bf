// qarctl: drives every exported function of libvemra-qar-client from the command line.
//
//   qarctl [--json] [--explain] [--quiet] [--wait-ms N] COMMAND [ARGS...]
//
// The global options may also follow the command and its arguments.
//
// Exit status: 0 when the call succeeded, 1 when it reported failure (or the service is declared
// but not running after --wait-ms), 2 on usage errors, 130 on SIGINT and 143 on SIGTERM.

#include <aidl/vendor/vemra/hardware/jorv/IJorv.h>
#include <android/binder_manager.h>
#include <android/binder_process.h>
#include <android/log.h>
#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <exception>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "Command.h"
#include "Explain.h"
#include "GlobalOptions.h"
#include "Reasons.h"
#include "Waiting.h"

namespace qarctl {
namespace {

constexpr int kUsageStatus = 2;

// Whether a command runs (a shell between commands waits for its input, not for the service).
std::atomic<bool> gInCommand{false};

std::vector<Command> allCommands() {
    std::vector<Command> commands;
    for (auto family : {wrapperCommands, eventApiCommands, halclientCommands}) {
        for (Command& command : family()) commands.push_back(std::move(command));
    }
    return commands;
}

void printUsage(FILE* to, const std::vector<Command>& commands) {
    fprintf(to,
            "usage: qarctl [--json] [--explain] [--quiet] COMMAND [ARGS...]\n"
            "       qarctl [--json] [--explain] [--quiet] shell   (one command per line of stdin)\n"
            "       qarctl COMMAND --help\n"
            "The options may stand anywhere on the line, before or after the command.\n\n"
            "  --json     print one JSON object per line\n"
            "  --explain  run the call against an in-process recording service and print what\n"
            "             the library sends, one line per transaction\n"
            "  --quiet    keep the library's log lines (normally on stderr) out\n"
            "  --wait-ms N  how long a call waits for a declared service that is not running\n"
            "             (default 5000, 0: forever)\n\n"
            "commands:\n");
    for (const Command& command : commands) {
        fprintf(to, "  %-22s %s\n", command.name.c_str(), command.summary.c_str());
    }
    fprintf(to,
            "\nexit status: 0 success, 1 the call reported failure, 2 usage error,\n"
            "             130 SIGINT, 143 SIGTERM\n");
}

// One line on why the command's calls failed, from what the library logged.
void printReason(Output& out) {
    std::string why = reason();
    if (why.empty()) why = "the service refused the call (no cause logged)";
    if (out.json()) {
        out.event("reason", Fields().add("reason", why));
    } else {
        out.line("reason", why);
    }
}

void printCommandHelp(const Command& command, FILE* to) {
    fprintf(to, "usage: qarctl %s %s\n\n%s\n", command.name.c_str(), command.synopsis.c_str(),
            command.summary.c_str());
}

int runCommand(const std::vector<Command>& commands, const std::string& name,
               const std::vector<std::string>& words, Output& out) {
    for (const Command& command : commands) {
        if (command.name != name) continue;
        for (const std::string& word : words) {
            if (word == "--help" || word == "-h") {
                printCommandHelp(command, stdout);
                return 0;
            }
        }
        try {
            const Args args(words, command.flags, command.valued);
            Context context{out};
            startCall();
            struct Running {
                Running() { gInCommand = true; }
                ~Running() { gInCommand = false; }
            } running;
            const int status = command.run(context, args);
            if (status == 1) printReason(out);
            return status;
        } catch (const UsageError& error) {
            fprintf(stderr, "qarctl %s: %s\n", name.c_str(), error.what());
            printCommandHelp(command, stderr);
            return kUsageStatus;
        } catch (const std::exception& error) {
            // A few queries let a parsing error of the service's answer escape; show it as the
            // call's failure.
            fprintf(stderr, "qarctl %s: the call threw: %s\n", name.c_str(), error.what());
            return 1;
        }
    }
    fprintf(stderr, "qarctl: unknown command \"%s\" (qarctl --help lists them)\n", name.c_str());
    return kUsageStatus;
}

// Runs one command per line of standard input in this one process, so that the library's
// connections (and their loss and return) carry over from one command to the next. Each command
// ends with a "done status=N" line for whoever drives the shell. Returns 0 at the end of input.
int runShell(const std::vector<Command>& commands, Output& out) {
    char* line = nullptr;
    size_t size = 0;
    ssize_t length;
    while ((length = getline(&line, &size, stdin)) != -1) {
        std::vector<std::string> words;
        try {
            // A NUL would silently cut the line short: refuse the line instead.
            const std::string text(line, static_cast<size_t>(length));
            if (text.find('\0') != std::string::npos) throw UsageError("NUL in the line");
            words = splitWords(text);
        } catch (const UsageError& error) {
            fprintf(stderr, "qarctl shell: %s\n", error.what());
            out.done(kUsageStatus);
            continue;
        }
        if (words.empty() || words[0][0] == '#') continue;
        const std::string name = words[0];
        words.erase(words.begin());
        out.done(name == "shell" ? kUsageStatus : runCommand(commands, name, words, out));
    }
    free(line);
    return 0;
}

int run(const GlobalOptions& options) {
    const std::vector<Command> commands = allCommands();
    if (options.help) {
        printUsage(stdout, commands);
        return 0;
    }
    if (!options.error.empty() || options.command.empty()) {
        if (!options.error.empty()) fprintf(stderr, "qarctl: %s\n", options.error.c_str());
        printUsage(stderr, commands);
        return kUsageStatus;
    }
    Output out(options.json);
    std::unique_ptr<ExplainSession> session;
    if (options.explain) {
        std::string error;
        session = startExplainSession(out, &error);
        if (session == nullptr) {
            fprintf(stderr, "qarctl: --explain: %s\n", error.c_str());
            return 1;
        }
    }
    const std::string& name = options.command[0];
    const std::vector<std::string> words(options.command.begin() + 1, options.command.end());
    if (name == "shell") return runShell(commands, out);
    return runCommand(commands, name, words, out);
}

const std::string& jorvInstance() {
    static const std::string instance =
            std::string(aidl::vendor::vemra::hardware::jorv::IJorv::descriptor) + "/default";
    return instance;
}

bool declaredButNotRunning() {
    if (!AServiceManager_isDeclared(jorvInstance().c_str())) return false;
    AIBinder* binder = AServiceManager_checkService(jorvInstance().c_str());
    if (binder == nullptr) return true;
    AIBinder_decStrong(binder);
    return false;
}

// Runs the command on a worker thread: the library blocks in its wait for a declared service
// with no bound, so this thread checks the service each --wait-ms and gives up when it is still
// not running.
int runBounded(const GlobalOptions& options) {
    std::mutex mutex;
    std::condition_variable cond;
    bool finished = false;
    int status = 0;
    std::thread worker([&] {
        const int result = run(options);
        std::lock_guard<std::mutex> lock(mutex);
        status = result;
        finished = true;
        cond.notify_all();
    });
    std::unique_lock<std::mutex> lock(mutex);
    while (!finished) {
        const int64_t bound = waitBound();
        if (bound <= 0) {
            cond.wait(lock, [&] { return finished; });
        } else if (!cond.wait_for(lock, std::chrono::milliseconds(bound),
                                  [&] { return finished; }) &&
                   waitBound() > 0 && gInCommand && declaredButNotRunning()) {
            fprintf(stderr, "qarctl: %s is declared but not running (waited %lld ms)\n",
                    jorvInstance().c_str(), static_cast<long long>(bound));
            printf(options.json ? "{\"event\":\"reason\",\"reason\":\"%s\"}\n" : "reason: %s\n",
                   "service declared but not running");
            fflush(stdout);
            fflush(stderr);
            _exit(1);
        }
    }
    lock.unlock();
    worker.join();
    return interruptStatus() != 0 ? interruptStatus() : status;
}

}  // namespace
}  // namespace qarctl

int main(int argc, char** argv) {
    // Before any thread exists, so that every thread inherits the blocked signals.
    qarctl::installInterruptWatch();
    // The service's callbacks (--wait-callback, listen, thermal-listen) and its death notice reach
    // the library only on binder threads this process provides.
    ABinderProcess_startThreadPool();
    const qarctl::GlobalOptions options =
            qarctl::parseGlobalOptions(std::vector<std::string>(argv + 1, argv + argc));
    qarctl::installLogWatch(options.quiet);
    qarctl::setWaitBound(options.waitMs);
    const int status = qarctl::runBounded(options);
    // Binder threads run until the process ends and may still be delivering a death notice to
    // the library; running static destructors under them would race. Leave without them.
    fflush(stdout);
    fflush(stderr);
    _exit(status);
}
