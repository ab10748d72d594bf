// qarctl: drives every exported function of libvemra-qar-client from the command line.
//
//   qarctl [--json] [--explain] [--quiet] COMMAND [ARGS...]
//
// Exit status: 0 when the call succeeded, 1 when it reported failure, 2 on usage errors.

#include <android/binder_process.h>
#include <android/log.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "Command.h"
#include "Explain.h"
#include "Waiting.h"

namespace qarctl {
namespace {

constexpr int kUsageStatus = 2;

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
            "       qarctl COMMAND --help\n\n"
            "  --json     print one JSON object per line\n"
            "  --explain  run the call against an in-process recording service and print what\n"
            "             the library sends, one line per transaction\n"
            "  --quiet    keep the library's log lines (normally on stderr) out\n\n"
            "commands:\n");
    for (const Command& command : commands) {
        fprintf(to, "  %-22s %s\n", command.name.c_str(), command.summary.c_str());
    }
    fprintf(to, "\nexit status: 0 success, 1 the call reported failure, 2 usage error\n");
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
            return command.run(context, args);
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

int run(int argc, char** argv) {
    const std::vector<Command> commands = allCommands();
    bool json = false;
    bool explain = false;
    int i = 1;
    for (; i < argc && argv[i][0] == '-'; ++i) {
        const std::string option = argv[i];
        if (option == "--json") {
            json = true;
        } else if (option == "--explain") {
            explain = true;
        } else if (option == "--quiet" || option == "-q") {
            __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
        } else if (option == "--help" || option == "-h") {
            printUsage(stdout, commands);
            return 0;
        } else {
            fprintf(stderr, "qarctl: unknown option %s\n", option.c_str());
            printUsage(stderr, commands);
            return kUsageStatus;
        }
    }
    if (i >= argc) {
        printUsage(stderr, commands);
        return kUsageStatus;
    }
    Output out(json);
    std::unique_ptr<ExplainSession> session;
    if (explain) {
        std::string error;
        session = startExplainSession(out, &error);
        if (session == nullptr) {
            fprintf(stderr, "qarctl: --explain: %s\n", error.c_str());
            return 1;
        }
    }
    const std::string name = argv[i];
    const std::vector<std::string> words(argv + i + 1, argv + argc);
    if (name == "shell") return runShell(commands, out);
    return runCommand(commands, name, words, out);
}

}  // namespace
}  // namespace qarctl

int main(int argc, char** argv) {
    // Before any thread exists, so that every thread inherits the blocked signals.
    qarctl::installInterruptWatch();
    // The service's callbacks (--wait-callback, listen, thermal-listen) and its death notice reach
    // the library only on binder threads this process provides.
    ABinderProcess_startThreadPool();
    const int status = qarctl::run(argc, argv);
    // Binder threads run until the process ends and may still be delivering a death notice to
    // the library; running static destructors under them would race. Leave without them.
    fflush(stdout);
    fflush(stderr);
    _exit(status);
}
