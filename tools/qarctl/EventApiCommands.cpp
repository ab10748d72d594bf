// Subcommands over the event API (command ids, packages and identities).

#include <chrono>

#include "Command.h"
#include "QarEventApi.h"

namespace qarctl {

namespace {

using Resources = std::vector<QarClient::Resource>;

const std::set<std::string> kAcquireOptions = {"pkg", "identity", "timeout"};

std::string optionText(const Args& args, const char* name) {
    return args.option(name).value_or("");
}

int32_t timeoutOf(const Args& args) {
    return static_cast<int32_t>(args.intOption("timeout", 0, kInt32Min, kInt32Max));
}

Command qarInitCommand() {
    return {"qar-init",
            "",
            "connect the event API and send init (qarInit: 0, -1 or -2)",
            {},
            {},
            [](Context& ctx, const Args& args) {
                args.expectCount(0, 0);
                const int32_t result = qarInit();
                ctx.out.result("qarInit", result);
                return statusOf(result);
            }};
}

Command eventAcquireCommand() {
    return {"event-acquire",
            "CMDID [ID[=VALUE]...] [--pkg P] [--identity I] [--timeout N] [--oneway]",
            "start an event by command id (QarEventAcquire, or QarEventAcquireOneWay)",
            {"oneway"},
            kAcquireOptions,
            [](Context& ctx, const Args& args) {
                const int32_t cmdid = parseInt32(args.at(0, "command id"), "command id");
                const Resources resources = parseResources(args, 1);
                const bool oneWay = args.flag("oneway");
                const int32_t handle = (oneWay ? QarEventAcquireOneWay : QarEventAcquire)(
                        cmdid, optionText(args, "pkg"), optionText(args, "identity"),
                        timeoutOf(args), resources);
                ctx.out.idResult(oneWay ? "QarEventAcquireOneWay" : "QarEventAcquire", handle);
                return statusOf(handle);
            }};
}

Command resAcquireCommand() {
    return {"res-acquire",
            "ID=VALUE... [--identity I] [--timeout N] [--platform [--pkg P]]",
            "acquire resources only (QarResAcquire, or QarPlatformResAcquire)",
            {"platform"},
            kAcquireOptions,
            [](Context& ctx, const Args& args) {
                const Resources resources = parseResources(args, 0);
                if (args.flag("platform")) {
                    const int32_t handle =
                            QarPlatformResAcquire(resources, 0, optionText(args, "identity"),
                                                  optionText(args, "pkg"), timeoutOf(args));
                    ctx.out.idResult("QarPlatformResAcquire", handle);
                    return statusOf(handle);
                }
                if (args.option("pkg")) throw UsageError("--pkg needs --platform");
                const int32_t handle =
                        QarResAcquire(resources, 0, optionText(args, "identity"), timeoutOf(args));
                ctx.out.idResult("QarResAcquire", handle);
                return statusOf(handle);
            }};
}

Command qarNotifyCommand() {
    return {"qar-notify",
            "A B [VALUE...]",
            "send a notification by numbers (QarNotify)",
            {},
            {},
            [](Context& ctx, const Args& args) {
                args.expectCount(2, SIZE_MAX);
                std::vector<int32_t> values;
                for (size_t i = 2; i < args.positional().size(); ++i) {
                    values.push_back(parseInt32(args.positional()[i], "value"));
                }
                const int32_t result = QarNotify(parseInt32(args.at(0, "A"), "A"),
                                                 parseInt32(args.at(1, "B"), "B"), values);
                ctx.out.result("QarNotify", result);
                return statusOf(result);
            }};
}

Command sysInfoCommand() {
    return {"sys-info",
            "A INFO",
            "pass related system information (setRelatedSysInfo)",
            {},
            {},
            [](Context& ctx, const Args& args) {
                args.expectCount(2, 2);
                const int32_t result =
                        setRelatedSysInfo(parseInt32(args.at(0, "A"), "A"), args.at(1, "info"));
                ctx.out.result("setRelatedSysInfo", result);
                return statusOf(result);
            }};
}

Command ruleCommand() {
    return {"rule",
            "RULE_ID on|off|STATUS [ID=VALUE...]",
            "switch a service rule (qarRuleCtl)",
            {},
            {},
            [](Context& ctx, const Args& args) {
                const int32_t rule = parseInt32(args.at(0, "rule id"), "rule id");
                const std::string& state = args.at(1, "status");
                const int32_t status = state == "on"    ? 1
                                       : state == "off" ? 0
                                                        : parseInt32(state, "status");
                const int32_t result = qarRuleCtl(rule, status, parseResources(args, 2));
                ctx.out.result("qarRuleCtl", result);
                return statusOf(result);
            }};
}

Command qarStateCommand() {
    return {"qar-state",
            "OPCODE",
            "read one resource's value (QarResStateRequest)",
            {},
            {},
            [](Context& ctx, const Args& args) {
                args.expectCount(1, 1);
                std::string value;
                QarResStateRequest(parseInt32(args.at(0, "opcode"), "opcode"), value);
                // It returns nothing; an empty value is how it says the read failed.
                ctx.out.voidResult("QarResStateRequest", Fields().add("value", value));
                return value.empty() ? 1 : 0;
            }};
}

Command multiStateCommand() {
    return {"multi-state",
            "ID...",
            "read several resources' values (QarMutiResStateRequest)",
            {},
            {},
            [](Context& ctx, const Args& args) {
                Resources resources = parseResources(args, 0);
                const int32_t count = QarMutiResStateRequest(resources);
                ctx.out.result("QarMutiResStateRequest", count,
                               Fields().add("resources", resources));
                return statusOf(count);
            }};
}

Command historyCommand() {
    return {"history",
            "",
            "print the service's request history (QarGetHistory)",
            {},
            {},
            [](Context& ctx, const Args& args) {
                args.expectCount(0, 0);
                std::string history;
                const int32_t result = QarGetHistory(history);
                ctx.out.result("QarGetHistory", result, Fields().add("history", history));
                return statusOf(result);
            }};
}

Command powerCommand() {
    return {"power",
            "",
            "print the power-consumption figure (QarGetPowerConsis)",
            {},
            {},
            [](Context& ctx, const Args& args) {
                args.expectCount(0, 0);
                const int32_t result = QarGetPowerConsis();
                ctx.out.result("QarGetPowerConsis", result);
                return statusOf(result);
            }};
}

Command pmStatusCommand() {
    return {"pm-status",
            "MODE",
            "print a power mode's status (QarGetPMStatus)",
            {},
            {},
            [](Context& ctx, const Args& args) {
                args.expectCount(1, 1);
                const int32_t result = QarGetPMStatus(parseInt32(args.at(0, "mode"), "mode"));
                ctx.out.result("QarGetPMStatus", result);
                return statusOf(result);
            }};
}

Command datasetCommand() {
    return {"dataset",
            "",
            "print the service's data set (Qar_fetch_dataset)",
            {},
            {},
            [](Context& ctx, const Args& args) {
                args.expectCount(0, 0);
                Resources dataset;
                const int32_t result = Qar_fetch_dataset(dataset);
                ctx.out.result("Qar_fetch_dataset", result, Fields().add("dataset", dataset));
                return statusOf(result);
            }};
}

Command featureStatusCommand() {
    return {"feature-status",
            "FEATURE_ID",
            "print a feature's status (QarGetFeatureStatus)",
            {},
            {},
            [](Context& ctx, const Args& args) {
                args.expectCount(1, 1);
                const int32_t result =
                        QarGetFeatureStatus(parseInt32(args.at(0, "feature id"), "feature id"));
                ctx.out.result("QarGetFeatureStatus", result);
                return statusOf(result);
            }};
}

Command randomHandleCommand() {
    return {"random-handle",
            "",
            "make a client-side handle (qarGetRandomHandle)",
            {},
            {},
            [](Context& ctx, const Args& args) {
                args.expectCount(0, 0);
                const int32_t handle = qarGetRandomHandle();
                ctx.out.idResult("qarGetRandomHandle", handle);
                return statusOf(handle);
            }};
}

}  // namespace

std::vector<Command> eventApiCommands() {
    return {qarInitCommand(),       eventAcquireCommand(), resAcquireCommand(), qarNotifyCommand(),
            sysInfoCommand(),       ruleCommand(),         qarStateCommand(),   multiStateCommand(),
            historyCommand(),       powerCommand(),        pmStatusCommand(),   datasetCommand(),
            featureStatusCommand(), randomHandleCommand()};
}

}  // namespace qarctl
