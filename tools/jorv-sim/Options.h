// The command line of jorv-sim.
#pragma once

#include <string>
#include <vector>

#include "Faults.h"
#include "Model.h"

namespace jorvsim {

struct Options {
    ModelOptions model;
    FaultOptions faults;
    std::string dir;    // empty: $HOSTBINDER_DIR, else the runtime's default
    std::string trace;  // empty: no timeline is recorded
    bool declare = true;
    bool dieWithParent = false;
    bool help = false;
};

struct ParsedOptions {
    Options options;
    std::string error;  // empty when the command line is good

    bool ok() const { return error.empty(); }
};

// Parses the arguments after the program name. Flags take their value as the next argument or
// after '=' (--delay-ms=20).
ParsedOptions parseOptions(const std::vector<std::string>& args);
std::string usage();

// The IJorv operations, by the names the transcript and --fail-op use.
const std::vector<std::string>& operationNames();

}  // namespace jorvsim
