// Subcommands over the wrapper API (action names and notification payloads).

#include "Command.h"
#include "QarWrapper.h"

namespace qarctl {

namespace {

Command actionsCommand() {
    return {"actions", "[--all]",
            "list the action names with their ids (--all: also the later duplicates)", {"all"}, {},
            [](Context& ctx, const Args& args) {
                args.expectCount(0, 0);
                // An action's id is the first position of its name; later duplicates are never
                // reached by a lookup, so they are shown only on request.
                std::set<std::string> seen;
                for (size_t i = 0; i < gActionList.size(); ++i) {
                    const bool duplicate = !seen.insert(gActionList[i]).second;
                    if (duplicate && !args.flag("all")) continue;
                    Fields fields;
                    fields.add("id", static_cast<int64_t>(i))
                            .add("name", "TRIVEX_" + gActionList[i]);
                    if (duplicate) fields.addBool("duplicate", true);
                    ctx.out.event("action", fields);
                }
                return 0;
            }};
}

}  // namespace

std::vector<Command> wrapperCommands() {
    return {actionsCommand()};
}

}  // namespace qarctl
