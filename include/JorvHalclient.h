#pragma once

#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "JorvClientCallback.h"
#include "QarExport.h"
#include "QarResource.h"

// Client of the resource-control service. Every function connects on first use (waiting for the
// service to be published when it is declared), holds the connection for the duration of one
// service call and drops it when the call fails, so that the next call reconnects. Callable from
// any thread. Results are the service's answer or -1 when it could not be asked.
//
// Threads: the library starts none. Callbacks (IClientCallback, IClientCallbackByPath: request
// outcomes, listenings, thermal events) and the notice that the service died arrive on the
// process's binder threads, so a process that wants them must start a binder thread pool
// (ABinderProcess_startThreadPool()) or join one (ABinderProcess_joinThreadPool()). Without one
// they wait, except a callback the service makes during the caller's own call, which is served on
// the calling thread; a dead service is then noticed only by the next call that fails.
namespace jorvHalclient {

using ResourceList = std::list<QarClient::Resource>;

// Connects (if needed) and sends the service's init operation.
QAR_EXPORT void jorv_init();

// Requests the resources for a time; returns the service's handle, or -1. The list is validated
// with checkResourceList and never modified. param4 >= 1 sets the request's flag; param1 is sent
// widened to 64 bits.
QAR_EXPORT int jorvResCtlRequest(int param0, int param1, ResourceList& resources, int param3,
                                 int param4, int param5);
// Shorter forms: the last scalar is always param5; param0 and param3 default to -1, param4 to -1.
QAR_EXPORT int jorvResCtlRequest(int param1, ResourceList& resources, int param5);
QAR_EXPORT int jorvResCtlRequest(int param1, ResourceList& resources, int param4, int param5);
QAR_EXPORT int jorvResCtlRequest(int param1, ResourceList& resources, int param3, int param4,
                                 int param5);
QAR_EXPORT int jorvResCtlRequest(int param0, int param1, ResourceList& resources, int param5);
QAR_EXPORT int jorvResCtlRequest(int param0, int param1, ResourceList& resources, int param4,
                                 int param5);

// Requests one scene action; returns the service's handle, or -1.
QAR_EXPORT int jorvSACtlRequest(int param0, int param1, int sceneActionId, int param3, int param4,
                                int param5);
QAR_EXPORT int jorvSACtlRequest(int param1, int sceneActionId, int param5);

// Releases a handle; returns the service's result, or -1.
QAR_EXPORT int jorvResCtlRelease(int handle);
QAR_EXPORT int jorvSACtlRelease(int handle);

// --- Requests that want an answer -------------------------------------------------------------
// As above, and the service calls `callback` once with the request's outcome. The library keeps
// its callback object in request_callbacks until that first callback, also when the call fails.
// A null callback is accepted: the answer is then only logged.
QAR_EXPORT int jorvResCtlRequest(int param0, int param1, ResourceList& resources, int param3,
                                 int param4, int param5,
                                 const std::shared_ptr<IClientCallback>& callback);
QAR_EXPORT int jorvSACtlRequest(int param0, int param1, int sceneActionId, int param3, int param4,
                                int param5, const std::shared_ptr<IClientCallback>& callback);

// --- Listening and state ------------------------------------------------------------------------
// Asks the service to report changes of `resources` to `callback` until unregistered. Returns the
// listening handle, or -1; a second listening on exactly the same ids (same order) is refused.
QAR_EXPORT int jorvResListeningRegister(ResourceList& resources, int param5,
                                        const std::shared_ptr<IClientCallback>& callback);
// Ends any listening (by id, by path or thermal) with `handle`; the library forgets it locally
// whatever the service answers. Returns the service's result, or -1.
QAR_EXPORT int jorvResListeningUnRegister(int handle);
// Appends the current state of `resources` to `results` (which is not cleared). Returns the size
// of `results` afterwards, or -1 when the service could not answer or answered nothing.
QAR_EXPORT int jorvResStateRequest(ResourceList& resources, int param5, ResourceList& results);

// --- Thermal ------------------------------------------------------------------------------------
// Sends (thermal id, level) pairs. Returns 0 when the service accepted them, else -1.
QAR_EXPORT int jorvThermalNotify(ResourceList& resources, int param5);
// Registers `callback` for thermal events of `ids`; returns the handle, or -1. The registration
// stays in the library's listening registry until jorvResListeningUnRegister(handle). Not
// synchronised with the other registrations: do not call it concurrently with them.
QAR_EXPORT int jorvThermalListeningRegister(const std::vector<int>& ids,
                                            const std::shared_ptr<IClientCallback>& callback);
// Returns the service's result, or -1.
QAR_EXPORT int jorvThermalListeningUnregister(int handle);

// --- Resources addressed by path --------------------------------------------------------------
// `paths` and `values` are parallel. Return the request handle, or -1.
QAR_EXPORT int jorv_resctl_request_by_path(int param0, long param1,
                                           const std::vector<std::string>& paths,
                                           const std::vector<std::string>& values, int param3,
                                           int param4, int param5);
QAR_EXPORT int jorv_resctl_request_with_callback_by_path(
        int param0, long param1, const std::vector<std::string>& paths,
        const std::vector<std::string>& values, int param3, int param4, int param5,
        const std::shared_ptr<IClientCallbackByPath>& callback);
// Appends one value per answer to `results` (matched to `paths` by position; "" when the service
// left it out). Returns the size of `results` afterwards, or -1.
QAR_EXPORT int jorv_res_state_request_by_path(const std::vector<std::string>& paths,
                                              const std::vector<std::string>& values, int param5,
                                              std::vector<std::string>& results);
// Sets results[path] for every answer carrying both a path and a value. Returns the size of
// `results` afterwards, or -1.
QAR_EXPORT int jorv_res_state_request_map_by_path(const std::map<std::string, std::string>& request,
                                                  int param5,
                                                  std::map<std::string, std::string>& results);
// Listen to paths (the map form listens to its keys, in key order). Return the handle, or -1; the
// same path sequence cannot be registered twice.
QAR_EXPORT int jorv_res_listening_register_by_path(
        const std::vector<std::string>& paths, int param5,
        const std::shared_ptr<IClientCallbackByPath>& callback);
QAR_EXPORT int jorv_res_listening_register_map_by_path(
        const std::map<std::string, std::string>& request, int param5,
        const std::shared_ptr<IClientCallbackByPath>& callback);

// --- Diagnostics --------------------------------------------------------------------------------
// Ask the service to write one of its tables to its own log, or to switch its request history.
// Return 0 when the service accepted the command, else -1.
QAR_EXPORT int jorvDumpToDoQueue();
QAR_EXPORT int jorvDumpRunMap();
QAR_EXPORT int jorvDumpActiveResMap();
QAR_EXPORT int jorvDumpResRequest();
QAR_EXPORT int jorvDumpResInfo();
QAR_EXPORT int jorvDumpSAInfo();
QAR_EXPORT int jorvDumpPidFdList();
QAR_EXPORT int jorvDumpPidfdMonitorMap();
QAR_EXPORT int jorvDumpResRecordList();
QAR_EXPORT int jorvHistoryRequestRecordOn();
QAR_EXPORT int jorvHistoryRequestRecordOff();

// --- Properties ---------------------------------------------------------------------------------
// Returns a new 256-byte buffer holding the property's value as a C string ("" when the service
// could not be asked); the caller owns it and frees it with delete[]. A value of 256 bytes or
// more does not fit and aborts the process.
QAR_EXPORT char* jorvPropertyGet(const std::string& name);
// Returns the service's result, or -1.
QAR_EXPORT int jorvPropertySet(const std::string& name, const std::string& value);

}  // namespace jorvHalclient
