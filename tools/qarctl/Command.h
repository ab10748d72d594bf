#pragma once

#include <functional>
#include <set>
#include <string>
#include <vector>

#include "Args.h"
#include "Output.h"

namespace qarctl {

struct Context {
    Output& out;
};

// One subcommand. `run` returns the exit status: 0 when the call succeeded, 1 when it reported
// failure; it throws UsageError for bad arguments (status 2).
struct Command {
    std::string name;
    std::string synopsis;
    std::string summary;
    std::set<std::string> flags;
    std::set<std::string> valued;
    std::function<int(Context&, const Args&)> run;
};

// The subcommands of each layer of the library.
std::vector<Command> halclientCommands();
std::vector<Command> eventApiCommands();
std::vector<Command> wrapperCommands();

// Exit status for a library result: negative results (-1, -2) are failures.
inline int statusOf(long long result) {
    return result < 0 ? 1 : 0;
}

}  // namespace qarctl
