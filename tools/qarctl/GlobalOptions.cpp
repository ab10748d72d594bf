#include "GlobalOptions.h"

#include <utility>

#include "Args.h"

namespace qarctl {
namespace {

// Takes the option at args[*i] when it is a global one (and its value, moving *i past it); false
// when it is not.
bool takeOption(const std::vector<std::string>& args, size_t* i, bool beforeCommand,
                GlobalOptions* options) {
    static const std::pair<const char*, bool GlobalOptions::*> kSwitches[] = {
            {"--json", &GlobalOptions::json},
            {"--explain", &GlobalOptions::explain},
            {"--quiet", &GlobalOptions::quiet},
            {"-q", &GlobalOptions::quiet},
    };
    const std::string& word = args[*i];
    for (const auto& [name, field] : kSwitches) {
        if (word != name) continue;
        options->*field = true;
        return true;
    }
    if (beforeCommand && (word == "--help" || word == "-h")) {
        options->help = true;
        return true;
    }
    if (word != "--wait-ms" && word.rfind("--wait-ms=", 0) != 0) return false;
    const bool joined = word != "--wait-ms";
    if (!joined && *i + 1 >= args.size()) throw UsageError("--wait-ms needs a value");
    options->waitMs = parseNumber(joined ? word.substr(10) : args[++*i], "--wait-ms", 0, kMaxMs);
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
