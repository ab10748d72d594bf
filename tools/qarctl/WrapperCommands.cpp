// Subcommands over the wrapper API (action names and notification payloads).

#include "Command.h"
#include "QarEventApi.h"
#include "QarPayloadBuilders.h"
#include "QarWrapper.h"

namespace qarctl {

namespace {

Command actionsCommand() {
    return {"actions",
            "[--all]",
            "list the action names with their ids (--all: also the later duplicates)",
            {"all"},
            {},
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

Command acquireCommand() {
    return {"acquire",
            "TRIVEX_ACTION_NAME [--scene S] [--identity I] [--timeout N]",
            "acquire an action by name (QarEventAcquireWrapper)",
            {},
            {"scene", "identity", "timeout"},
            [](Context& ctx, const Args& args) {
                args.expectCount(1, 1);
                const int32_t handle = QarEventAcquireWrapper(
                        args.at(0, "action name"), args.option("scene").value_or(""),
                        args.option("identity").value_or(""),
                        static_cast<int32_t>(args.intOption("timeout", 0, kInt32Min, kInt32Max)));
                ctx.out.idResult("QarEventAcquireWrapper", handle);
                return statusOf(handle);
            }};
}

Command releaseCommand() {
    return {"release",
            "HANDLE [--event-api]",
            "release an acquisition (QarReleaseWapper, or QarRelease with --event-api)",
            {"event-api"},
            {},
            [](Context& ctx, const Args& args) {
                args.expectCount(1, 1);
                const int32_t handle = parseInt32(args.at(0, "handle"), "handle");
                const bool direct = args.flag("event-api");
                (direct ? QarRelease : QarReleaseWapper)(handle);
                ctx.out.voidResult(direct ? "QarRelease" : "QarReleaseWapper");
                return 0;
            }};
}

Command notifyCommand() {
    return {"notify",
            "SOURCE TYPE PARAM [PAYLOAD] [--name NAME]",
            "send a notification; it becomes a rule switch or nothing (QarNotifyWapper)",
            {},
            {"name"},
            [](Context& ctx, const Args& args) {
                args.expectCount(3, 4);
                const std::string payload =
                        args.positional().size() > 3 ? args.positional()[3] : std::string();
                const int32_t result =
                        QarNotifyWapper(args.option("name").value_or("qarctl"),
                                        parseInt32(args.at(0, "source"), "source"),
                                        parseInt32(args.at(1, "type"), "type"),
                                        parseInt32(args.at(2, "param"), "param"), 0, 0, payload);
                ctx.out.result("QarNotifyWapper", result);
                return statusOf(result);
            }};
}

Command gameUpgradeClearCommand() {
    return {"game-upgrade-clear",
            "RULE_ID STATUS",
            "switch a rule with the records that reset the game upgrade (clrGameUpgradeMode)",
            {},
            {},
            [](Context& ctx, const Args& args) {
                args.expectCount(2, 2);
                clrGameUpgradeMode(parseInt32(args.at(0, "rule id"), "rule id"),
                                   parseInt32(args.at(1, "status"), "status"));
                ctx.out.voidResult("clrGameUpgradeMode");
                return 0;
            }};
}

}  // namespace

std::vector<Command> wrapperCommands() {
    return {acquireCommand(), releaseCommand(), notifyCommand(), actionsCommand(),
            gameUpgradeClearCommand()};
}

}  // namespace qarctl
