// Subcommands over the resource-control client (namespace jorvHalclient).

#include <unistd.h>

#include <chrono>
#include <functional>
#include <limits>
#include <memory>

#include "Command.h"
#include "JorvHalclient.h"
#include "JorvParcelMarker.h"
#include "Waiting.h"

namespace qarctl {

namespace {

using jorvHalclient::ResourceList;
using std::chrono::milliseconds;

const std::set<std::string> kRequestOptions = {"param0", "param1", "param3",
                                               "param4", "param5", "timeout-ms"};

ResourceList parseResources(const Args& args) {
    const std::vector<QarClient::Resource> resources = parseResources(args, 0);
    return ResourceList(resources.begin(), resources.end());
}

// "PATH=VALUE" pairs split into parallel vectors; `requireValue` refuses a bare path.
void parsePathPairs(const Args& args, std::vector<std::string>& paths,
                    std::vector<std::string>& values, bool requireValue) {
    for (const std::string& word : args.positional()) {
        const size_t equals = word.find('=');
        if (equals == std::string::npos) {
            if (requireValue) throw UsageError("expected PATH=VALUE, got \"" + word + "\"");
            paths.push_back(word);
            continue;
        }
        paths.push_back(word.substr(0, equals));
        values.push_back(word.substr(equals + 1));
    }
}

struct RequestParams {
    int param0, param1, param3, param4, param5;
};

// The shorter request forms default param0, param3 and param4 to -1; param5 defaults to this
// process's id, which is what callers of the event API put there too.
RequestParams requestParams(const Args& args) {
    auto get = [&](const char* name, int64_t fallback) {
        return static_cast<int>(args.intOption(name, fallback, kInt32Min, kInt32Max));
    };
    return {get("param0", -1), get("param1", 0), get("param3", -1), get("param4", -1),
            get("param5", getpid())};
}

class PrintingCallback : public jorvHalclient::IClientCallback {
public:
    PrintingCallback(Output& out, EventCounter& counter) : mOut(out), mCounter(counter) {}
    void onCallback(std::list<QarClient::Resource> resources) override {
        mOut.event("callback", Fields().add("resources", resources));
        mCounter.add();
    }

private:
    Output& mOut;
    EventCounter& mCounter;
};

class PrintingPathCallback : public jorvHalclient::IClientCallbackByPath {
public:
    PrintingPathCallback(Output& out, EventCounter& counter) : mOut(out), mCounter(counter) {}
    void onCallback(std::vector<std::string> values, std::vector<std::string> paths) override {
        mOut.event("callback", Fields().add("paths", paths).add("values", values));
        mCounter.add();
    }

private:
    Output& mOut;
    EventCounter& mCounter;
};

milliseconds waitTimeout(const Args& args) {
    return milliseconds(args.intOption("timeout-ms", 10000, 0, kMaxMs));
}

// After a request that asked for an answer: waits for the one callback.
int awaitAnswer(Context& ctx, int handle, EventCounter& counter, const Args& args) {
    if (handle < 0) return 1;
    if (!counter.waitFor(1, waitTimeout(args))) {
        ctx.out.note("no callback within " + std::to_string(waitTimeout(args).count()) + " ms");
        return 1;
    }
    return 0;
}

// Refuses a bad --count or --timeout-ms before anything is registered with the service.
void checkWaitOptions(const Args& args) {
    args.intOption("count", 0, 0, kInt32Max);
    args.intOption("timeout-ms", 0, 0, kMaxMs);
}

// Says that the service died under a listening; true when --follow asks to listen again.
bool followAfterDeath(Context& ctx, const Args& args) {
    ctx.out.event("died", Fields().add("service", "Jorv HAL Service died"));
    if (!args.flag("follow")) return false;
    forgetServiceDeath();
    setWaitForever();
    return true;
}

// Right after the service died the library may still be calling the lost service, and a
// registration fails; once it noticed, the next one waits for the service to come back. Pauses
// before that next try; false when interrupted.
bool pauseBeforeRetry() {
    constexpr milliseconds kRetryPause{100};
    forgetServiceDeath();
    EventCounter().waitFor(1, kRetryPause);
    return interruptStatus() == 0;
}

// Registers with `listen` (which prints its result and returns the handle) and prints callbacks
// until --count of them arrived or the user interrupts, then ends the listening. When the service
// dies it says so and fails, or with --follow registers again once the service is back.
int listenUntilDone(Context& ctx, const std::function<int()>& listen, EventCounter& counter,
                    const Args& args) {
    const int count = static_cast<int>(args.intOption("count", 0, 0, kInt32Max));
    int lost = -1;  // the listening the service's death took, while following
    for (;;) {
        const int handle = listen();
        if (handle < 0) {
            if (lost < 0 || !pauseBeforeRetry()) return 1;
            jorvHalclient::jorvResListeningUnRegister(lost);
            continue;
        }
        ctx.out.note(count > 0 ? "waiting for " + std::to_string(count) + " callback(s)"
                               : "listening; interrupt to stop");
        const bool reached =
                counter.waitFor(count, milliseconds(args.intOption("timeout-ms", 0, 0, kMaxMs)));
        if (serviceDied() && !reached && interruptStatus() == 0) {
            if (!followAfterDeath(ctx, args)) return 1;
            lost = handle;
            // The library keeps the lost listening and would refuse the same one again; this
            // waits for the service, as the registration after it does.
            jorvHalclient::jorvResListeningUnRegister(handle);
            continue;
        }
        const int result = jorvHalclient::jorvResListeningUnRegister(handle);
        ctx.out.result("jorvResListeningUnRegister", result, Fields().addId("handle", handle));
        return count > 0 && !reached ? 1 : 0;
    }
}

// Sends a request that can carry a callback: `send(nullptr)` (reported as `name`) when
// --wait-callback is not given, else `send(callback)` (reported as `callbackName`), and then waits
// for that callback.
template <typename Callback>
int sendRequest(Context& ctx, const Args& args, const char* name, const char* callbackName,
                const std::function<int(const std::shared_ptr<Callback>&)>& send) {
    if (!args.flag("wait-callback")) {
        const int handle = send(nullptr);
        ctx.out.idResult(name, handle);
        return statusOf(handle);
    }
    EventCounter counter;
    auto callback = std::make_shared<Callback>(ctx.out, counter);
    const int handle = send(callback);
    ctx.out.idResult(callbackName, handle);
    return awaitAnswer(ctx, handle, counter, args);
}

Command requestCommand() {
    return {"request",
            "ID[=VALUE]... [--param0 N] [--param1 N] [--param3 N] [--param4 N] "
            "[--param5 N] [--wait-callback [--timeout-ms MS]]",
            "request resources by id (jorvResCtlRequest)",
            {"wait-callback"},
            kRequestOptions,
            [](Context& ctx, const Args& args) {
                ResourceList resources = parseResources(args);
                const RequestParams p = requestParams(args);
                return sendRequest<PrintingCallback>(
                        ctx, args, "jorvResCtlRequest", "jorvResCtlRequest",
                        [&](const std::shared_ptr<PrintingCallback>& callback) {
                            if (callback == nullptr) {
                                return jorvHalclient::jorvResCtlRequest(p.param0, p.param1,
                                                                        resources, p.param3,
                                                                        p.param4, p.param5);
                            }
                            return jorvHalclient::jorvResCtlRequest(p.param0, p.param1, resources,
                                                                    p.param3, p.param4, p.param5,
                                                                    callback);
                        });
            }};
}

Command sceneCommand() {
    return {"scene",
            "SCENE_ACTION_ID [request options] [--wait-callback [--timeout-ms MS]]",
            "request one scene action (jorvSACtlRequest)",
            {"wait-callback"},
            kRequestOptions,
            [](Context& ctx, const Args& args) {
                args.expectCount(1, 1);
                const int scene = parseInt32(args.at(0, "scene action id"), "scene action id");
                const RequestParams p = requestParams(args);
                return sendRequest<PrintingCallback>(
                        ctx, args, "jorvSACtlRequest", "jorvSACtlRequest",
                        [&](const std::shared_ptr<PrintingCallback>& callback) {
                            if (callback == nullptr) {
                                return jorvHalclient::jorvSACtlRequest(
                                        p.param0, p.param1, scene, p.param3, p.param4, p.param5);
                            }
                            return jorvHalclient::jorvSACtlRequest(p.param0, p.param1, scene,
                                                                   p.param3, p.param4, p.param5,
                                                                   callback);
                        });
            }};
}

Command releaseCommand() {
    return {"res-release",
            "HANDLE [--scene]",
            "release a namespace request (jorvResCtlRelease, or jorvSACtlRelease with --scene)",
            {"scene"},
            {},
            [](Context& ctx, const Args& args) {
                args.expectCount(1, 1);
                const int handle = parseInt32(args.at(0, "handle"), "handle");
                const bool scene = args.flag("scene");
                const int result = scene ? jorvHalclient::jorvSACtlRelease(handle)
                                         : jorvHalclient::jorvResCtlRelease(handle);
                ctx.out.result(scene ? "jorvSACtlRelease" : "jorvResCtlRelease", result);
                return statusOf(result);
            }};
}

Command stateCommand() {
    return {"res-state",
            "ID[=VALUE]... [--param5 N]",
            "query the current state of resources (jorvResStateRequest)",
            {},
            {"param5"},
            [](Context& ctx, const Args& args) {
                ResourceList resources = parseResources(args);
                ResourceList results;
                const int count = jorvHalclient::jorvResStateRequest(
                        resources,
                        static_cast<int>(args.intOption("param5", getpid(), kInt32Min, kInt32Max)),
                        results);
                ctx.out.result("jorvResStateRequest", count, Fields().add("resources", results));
                return statusOf(count);
            }};
}

Command listenCommand() {
    return {"listen",
            "ID... [--param5 N] [--count N] [--timeout-ms MS] [--follow]",
            "print changes of resources until interrupted (jorvResListeningRegister)",
            {"follow"},
            {"param5", "count", "timeout-ms"},
            [](Context& ctx, const Args& args) {
                checkWaitOptions(args);
                ResourceList resources = parseResources(args);
                EventCounter counter;
                auto listen = [&] {
                    auto callback = std::make_shared<PrintingCallback>(ctx.out, counter);
                    const int handle = jorvHalclient::jorvResListeningRegister(
                            resources,
                            static_cast<int>(
                                    args.intOption("param5", getpid(), kInt32Min, kInt32Max)),
                            callback);
                    ctx.out.idResult("jorvResListeningRegister", handle);
                    return handle;
                };
                return listenUntilDone(ctx, listen, counter, args);
            }};
}

Command unlistenCommand() {
    return {"unlisten",
            "HANDLE",
            "end a listening by handle (jorvResListeningUnRegister)",
            {},
            {},
            [](Context& ctx, const Args& args) {
                args.expectCount(1, 1);
                const int result = jorvHalclient::jorvResListeningUnRegister(
                        parseInt32(args.at(0, "handle"), "handle"));
                ctx.out.result("jorvResListeningUnRegister", result);
                return statusOf(result);
            }};
}

Command thermalNotifyCommand() {
    return {"thermal-notify",
            "ID=LEVEL... [--param5 N]",
            "send thermal levels (jorvThermalNotify)",
            {},
            {"param5"},
            [](Context& ctx, const Args& args) {
                ResourceList levels = parseResources(args);
                const int result = jorvHalclient::jorvThermalNotify(
                        levels,
                        static_cast<int>(args.intOption("param5", getpid(), kInt32Min, kInt32Max)));
                ctx.out.result("jorvThermalNotify", result);
                return statusOf(result);
            }};
}

Command thermalListenCommand() {
    return {"thermal-listen",
            "ID... [--count N] [--timeout-ms MS] [--follow]",
            "print thermal events until interrupted (jorvThermalListeningRegister)",
            {"follow"},
            {"count", "timeout-ms"},
            [](Context& ctx, const Args& args) {
                checkWaitOptions(args);
                std::vector<int> ids;
                for (const std::string& word : args.positional()) {
                    ids.push_back(parseInt32(word, "thermal id"));
                }
                EventCounter counter;
                const int count = static_cast<int>(args.intOption("count", 0, 0, kInt32Max));
                int handle = -1;
                bool reached = false;
                bool following = false;
                for (;;) {
                    auto callback = std::make_shared<PrintingCallback>(ctx.out, counter);
                    handle = jorvHalclient::jorvThermalListeningRegister(ids, callback);
                    ctx.out.idResult("jorvThermalListeningRegister", handle);
                    if (handle < 0 && following && pauseBeforeRetry()) continue;
                    if (handle < 0) return 1;
                    reached = counter.waitFor(
                            count, milliseconds(args.intOption("timeout-ms", 0, 0, kMaxMs)));
                    if (!serviceDied() || reached || interruptStatus() != 0) break;
                    if (!followAfterDeath(ctx, args)) return 1;
                    following = true;
                    jorvHalclient::jorvThermalListeningUnregister(handle);
                    jorvHalclient::jorvResListeningUnRegister(handle);
                }
                const int result = jorvHalclient::jorvThermalListeningUnregister(handle);
                ctx.out.result("jorvThermalListeningUnregister", result);
                jorvHalclient::jorvResListeningUnRegister(handle);
                return count > 0 && !reached ? 1 : 0;
            }};
}

Command thermalUnlistenCommand() {
    return {"thermal-unlisten",
            "HANDLE",
            "end a thermal registration (jorvThermalListeningUnregister)",
            {},
            {},
            [](Context& ctx, const Args& args) {
                args.expectCount(1, 1);
                const int result = jorvHalclient::jorvThermalListeningUnregister(
                        parseInt32(args.at(0, "handle"), "handle"));
                ctx.out.result("jorvThermalListeningUnregister", result);
                return statusOf(result);
            }};
}

Command pathRequestCommand() {
    return {"path-request",
            "PATH=VALUE... [request options] [--wait-callback [--timeout-ms MS]]",
            "request tunables by path (jorv_resctl_request_by_path)",
            {"wait-callback"},
            kRequestOptions,
            [](Context& ctx, const Args& args) {
                std::vector<std::string> paths, values;
                parsePathPairs(args, paths, values, /*requireValue=*/true);
                const RequestParams p = requestParams(args);
                const long param1 = static_cast<long>(
                        args.intOption("param1", 0, std::numeric_limits<long>::min(),
                                       std::numeric_limits<long>::max()));
                return sendRequest<PrintingPathCallback>(
                        ctx, args, "jorv_resctl_request_by_path",
                        "jorv_resctl_request_with_callback_by_path",
                        [&](const std::shared_ptr<PrintingPathCallback>& callback) {
                            if (callback == nullptr) {
                                return jorvHalclient::jorv_resctl_request_by_path(
                                        p.param0, param1, paths, values, p.param3, p.param4,
                                        p.param5);
                            }
                            return jorvHalclient::jorv_resctl_request_with_callback_by_path(
                                    p.param0, param1, paths, values, p.param3, p.param4, p.param5,
                                    callback);
                        });
            }};
}

Command pathStateCommand() {
    return {"path-state",
            "PATH[=VALUE]... [--map] [--param5 N]",
            "query tunables by path (jorv_res_state_request_by_path, or the map form)",
            {"map"},
            {"param5"},
            [](Context& ctx, const Args& args) {
                std::vector<std::string> paths, values;
                parsePathPairs(args, paths, values, /*requireValue=*/false);
                const int param5 =
                        static_cast<int>(args.intOption("param5", getpid(), kInt32Min, kInt32Max));
                if (args.flag("map")) {
                    std::map<std::string, std::string> request, results;
                    for (size_t i = 0; i < paths.size(); ++i) {
                        request[paths[i]] = i < values.size() ? values[i] : "";
                    }
                    const int count = jorvHalclient::jorv_res_state_request_map_by_path(
                            request, param5, results);
                    ctx.out.result("jorv_res_state_request_map_by_path", count,
                                   Fields().add("results", results));
                    return statusOf(count);
                }
                std::vector<std::string> results;
                const int count = jorvHalclient::jorv_res_state_request_by_path(paths, values,
                                                                                param5, results);
                ctx.out.result("jorv_res_state_request_by_path", count,
                               Fields().add("values", results));
                return statusOf(count);
            }};
}

Command pathListenCommand() {
    return {"path-listen",
            "PATH[=VALUE]... [--map] [--param5 N] [--count N] [--timeout-ms MS] [--follow]",
            "print changes of tunables until interrupted (jorv_res_listening_register_by_path)",
            {"map", "follow"},
            {"param5", "count", "timeout-ms"},
            [](Context& ctx, const Args& args) {
                std::vector<std::string> paths, values;
                parsePathPairs(args, paths, values, /*requireValue=*/false);
                const int param5 =
                        static_cast<int>(args.intOption("param5", getpid(), kInt32Min, kInt32Max));
                EventCounter counter;
                std::map<std::string, std::string> request;
                for (size_t i = 0; i < paths.size(); ++i) {
                    request[paths[i]] = i < values.size() ? values[i] : "";
                }
                auto listen = [&] {
                    auto callback = std::make_shared<PrintingPathCallback>(ctx.out, counter);
                    int handle;
                    if (args.flag("map")) {
                        handle = jorvHalclient::jorv_res_listening_register_map_by_path(
                                request, param5, callback);
                        ctx.out.idResult("jorv_res_listening_register_map_by_path", handle);
                    } else {
                        handle = jorvHalclient::jorv_res_listening_register_by_path(paths, param5,
                                                                                    callback);
                        ctx.out.idResult("jorv_res_listening_register_by_path", handle);
                    }
                    return handle;
                };
                return listenUntilDone(ctx, listen, counter, args);
            }};
}

Command dumpCommand() {
    static const std::vector<std::pair<std::string, std::pair<const char*, int (*)()>>> kDumps = {
            {"todo-queue", {"jorvDumpToDoQueue", jorvHalclient::jorvDumpToDoQueue}},
            {"run-map", {"jorvDumpRunMap", jorvHalclient::jorvDumpRunMap}},
            {"active-res-map", {"jorvDumpActiveResMap", jorvHalclient::jorvDumpActiveResMap}},
            {"res-request", {"jorvDumpResRequest", jorvHalclient::jorvDumpResRequest}},
            {"res-info", {"jorvDumpResInfo", jorvHalclient::jorvDumpResInfo}},
            {"sa-info", {"jorvDumpSAInfo", jorvHalclient::jorvDumpSAInfo}},
            {"pid-fd-list", {"jorvDumpPidFdList", jorvHalclient::jorvDumpPidFdList}},
            {"pidfd-monitor-map",
             {"jorvDumpPidfdMonitorMap", jorvHalclient::jorvDumpPidfdMonitorMap}},
            {"res-record-list", {"jorvDumpResRecordList", jorvHalclient::jorvDumpResRecordList}},
    };
    std::string tables;
    for (const auto& dump : kDumps) tables += (tables.empty() ? "" : "|") + dump.first;
    return {"dump",
            tables,
            "make the service write one of its tables to its log",
            {},
            {},
            [](Context& ctx, const Args& args) {
                args.expectCount(1, 1);
                for (const auto& [table, call] : kDumps) {
                    if (table != args.at(0, "table")) continue;
                    const int result = call.second();
                    ctx.out.result(call.first, result);
                    return statusOf(result);
                }
                throw UsageError("unknown table \"" + args.at(0, "table") + "\"");
            }};
}

Command historyRecordCommand() {
    return {"history-record",
            "on|off",
            "switch the service's request history recording",
            {},
            {},
            [](Context& ctx, const Args& args) {
                args.expectCount(1, 1);
                const std::string& state = args.at(0, "on or off");
                if (state != "on" && state != "off") throw UsageError("expected on or off");
                const bool on = state == "on";
                const int result = on ? jorvHalclient::jorvHistoryRequestRecordOn()
                                      : jorvHalclient::jorvHistoryRequestRecordOff();
                ctx.out.result(on ? "jorvHistoryRequestRecordOn" : "jorvHistoryRequestRecordOff",
                               result);
                return statusOf(result);
            }};
}

Command propGetCommand() {
    return {"prop-get",
            "NAME",
            "read a service property (jorvPropertyGet)",
            {},
            {},
            [](Context& ctx, const Args& args) {
                args.expectCount(1, 1);
                std::unique_ptr<char[]> value(jorvHalclient::jorvPropertyGet(args.at(0, "name")));
                ctx.out.result("jorvPropertyGet", 0, Fields().add("value", value.get()));
                return 0;
            }};
}

Command propSetCommand() {
    return {"prop-set",
            "NAME VALUE",
            "set a service property (jorvPropertySet)",
            {},
            {},
            [](Context& ctx, const Args& args) {
                args.expectCount(2, 2);
                const int result =
                        jorvHalclient::jorvPropertySet(args.at(0, "name"), args.at(1, "value"));
                ctx.out.result("jorvPropertySet", result);
                return statusOf(result);
            }};
}

Command initCommand() {
    return {"jorv-init",
            "",
            "connect and send the service's init (jorv_init)",
            {},
            {},
            [](Context& ctx, const Args& args) {
                args.expectCount(0, 0);
                jorvHalclient::jorv_init();
                ctx.out.voidResult("jorv_init");
                return 0;
            }};
}

Command zdbdebugCommand() {
    return {"zdbdebug-mark",
            "[PATH...]",
            "tag a request parcel holding PATHs for debug handling and print its paths "
            "(jorv_add_zdbdebug_for_request_parcel; sends nothing)",
            {},
            {},
            [](Context& ctx, const Args& args) {
                ::aidl::vendor::vemra::hardware::jorv::JorvRequestParcel parcel;
                parcel.paths = std::vector<std::optional<std::string>>(args.positional().begin(),
                                                                       args.positional().end());
                jorvHalclient::jorv_add_zdbdebug_for_request_parcel(parcel);
                std::vector<std::string> paths;
                if (parcel.paths.has_value()) {
                    for (const std::optional<std::string>& path : *parcel.paths) {
                        paths.push_back(path.value_or(""));
                    }
                }
                ctx.out.voidResult("jorv_add_zdbdebug_for_request_parcel",
                                   Fields().add("paths", paths));
                return 0;
            }};
}

}  // namespace

std::vector<Command> halclientCommands() {
    return {initCommand(),          requestCommand(),
            sceneCommand(),         releaseCommand(),
            stateCommand(),         listenCommand(),
            unlistenCommand(),      thermalNotifyCommand(),
            thermalListenCommand(), thermalUnlistenCommand(),
            pathRequestCommand(),   pathStateCommand(),
            pathListenCommand(),    dumpCommand(),
            historyRecordCommand(), propGetCommand(),
            propSetCommand(),       zdbdebugCommand()};
}

}  // namespace qarctl
