#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace qarctl {

// The options of qarctl itself. They may stand anywhere on the command line, before or after the
// command and its arguments, up to a "--" that ends them.
struct GlobalOptions {
    bool json = false;
    bool explain = false;
    bool quiet = false;
    // --help before the command; after it, --help stays with the command (its own help).
    bool help = false;
    int64_t waitMs = 5000;
    // The command and its words, in order, the global options taken out.
    std::vector<std::string> command;
    // Not empty on a usage error (an unknown option before the command, a bad --wait-ms).
    std::string error;
};

GlobalOptions parseGlobalOptions(const std::vector<std::string>& args);

}  // namespace qarctl
