#include "GlobalOptions.h"

#include "Args.h"

namespace qarctl {
namespace {

// Takes the option at args[*i] when it is a global one (and its value, moving *i past it); false
// when it is not.
bool takeOption(const std::vector<std::string>& args, size_t* i, bool beforeCommand,
                GlobalOptions* options) {
    const std::string& word = args[*i];
    if (word == "--json") {
        options->json = true;
    } else if (word == "--explain") {
        options->explain = true;
    } else if (word == "--quiet" || word == "-q") {
        options->quiet = true;
    } else if (beforeCommand && (word == "--help" || word == "-h")) {
        options->help = true;
    } else if (word == "--wait-ms" || word.rfind("--wait-ms=", 0) == 0) {
        const bool joined = word != "--wait-ms";
        if (!joined && *i + 1 >= args.size()) throw UsageError("--wait-ms needs a value");
        const std::string value = joined ? word.substr(10) : args[++*i];
        options->waitMs = parseNumber(value, "--wait-ms", 0, kMaxMs);
    } else {
        return false;
    }
    return true;
}

}  // namespace

GlobalOptions parseGlobalOptions(const std::vector<std::string>& args) {
    GlobalOptions options;
    bool ended = false;
    try {
        for (size_t i = 0; i < args.size(); ++i) {
            const std::string& word = args[i];
            const bool beforeCommand = options.command.empty();
            if (!ended && word == "--" && !beforeCommand) ended = true;
            if (ended || !takeOption(args, &i, beforeCommand, &options)) {
                if (beforeCommand && !word.empty() && word[0] == '-') {
                    throw UsageError("unknown option " + word);
                }
                options.command.push_back(word);
            }
        }
    } catch (const UsageError& error) {
        options.error = error.what();
    }
    return options;
}

}  // namespace qarctl
