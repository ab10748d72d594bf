#pragma once

// Event API of the resource-control client: events and resources addressed by command id,
// package name and identity, release by handle, notifications, rules and state queries.
//
// The functions keep a service connection of their own (independent of jorvHalclient's). Each
// call connects on first use without waiting: when the service is not running it fails at once.
// A failed service call drops the connection and the next call reconnects. Every function is
// callable from any thread; references are only borrowed for the duration of the call.
//
// Threads: the library starts none. The notice that the service died arrives on the process's
// binder threads, so a process that wants it must start a binder thread pool
// (ABinderProcess_startThreadPool()) or join one (ABinderProcess_joinThreadPool()). Without one it
// waits, and a dead service is noticed only by the next call that fails.
//
// Results are 32-bit signed integers: a handle, a count or the service's answer; -1 means failure
// (qarInit also returns -2). The symbols are unmangled except for qarGetRandomHandle.

#include <cstdint>
#include <string>
#include <vector>

#include "QarExport.h"
#include "QarResource.h"

extern "C" {

// Connects if needed and sends the service's init operation. Returns 0 when the service accepted
// it, -2 when init failed (the connection is dropped), -1 when the service could not be reached.
QAR_EXPORT int32_t qarInit();

// --- Acquisition -------------------------------------------------------------------------------

// Starts event `cmdid` for `pkg` / `identity` for `timeout` (passed to the service unchanged) with
// the given resources. The reserved ids -2 (plain resource request) and -3 (platform resource
// request) send the resources alone; any other id is sent as a command followed by them.
// Returns the service's handle for QarRelease, or -1.
QAR_EXPORT int32_t QarEventAcquire(int32_t cmdid, const std::string& pkg,
                                   const std::string& identity, int32_t timeout,
                                   const std::vector<QarClient::Resource>& resources);

// As QarEventAcquire, but does not wait for the service: the handle is made here (see
// qarGetRandomHandle) and returned even when the send failed. Returns -1 when the service could
// not be reached, or when no handle could be made.
QAR_EXPORT int32_t QarEventAcquireOneWay(int32_t cmdid, const std::string& pkg,
                                         const std::string& identity, int32_t timeout,
                                         const std::vector<QarClient::Resource>& resources);

// QarEventAcquire(-2, "", identity, timeout, resources). `unused` is ignored.
QAR_EXPORT int32_t QarResAcquire(const std::vector<QarClient::Resource>& resources, int32_t unused,
                                 const std::string& identity, int32_t timeout);

// QarEventAcquire(-3, pkg, identity, timeout, resources). `unused` is ignored; note that identity
// comes before pkg here.
QAR_EXPORT int32_t QarPlatformResAcquire(const std::vector<QarClient::Resource>& resources,
                                         int32_t unused, const std::string& identity,
                                         const std::string& pkg, int32_t timeout);

// --- Release, notification, rules --------------------------------------------------------------

// Ends what `handle` started. The handle goes to the service as it is; nothing is reported back.
QAR_EXPORT void QarRelease(int32_t handle);

// Notifies the service of (a, b): one entry per element of `values`, or a single entry when it is
// empty. Only the number of values reaches the service, not the values themselves. Returns the
// service's answer, or -1.
QAR_EXPORT int32_t QarNotify(int32_t a, int32_t b, const std::vector<int32_t>& values);

// Passes `info` about `a` to the service. Returns the service's answer, or -1.
QAR_EXPORT int32_t setRelatedSysInfo(int32_t a, const std::string& info);

// Switches service rule `ruleId` on (status 1) or off (status 0) with the given resources.
// Returns the service's answer, or -1.
QAR_EXPORT int32_t qarRuleCtl(int32_t ruleId, int32_t status,
                              const std::vector<QarClient::Resource>& resources);

// --- Queries -----------------------------------------------------------------------------------

// Fills the value of every resource the service answers for (the first answer with the same id).
// Returns how many were filled, or -1 (also for an empty input or an empty answer).
QAR_EXPORT int32_t QarMutiResStateRequest(std::vector<QarClient::Resource>& resources);

// Writes the current value of resource `opcode` into `out`; leaves `out` unchanged when there is
// none. Resource 0x1011670 is answered with QarGetPowerConsis() (and its exceptions).
QAR_EXPORT void QarResStateRequest(int32_t opcode, std::string& out);

// Replaces `out` with the request history, "start:<entry>;<entry>;end". Returns 0, or -1 (out
// unchanged).
QAR_EXPORT int32_t QarGetHistory(std::string& out);

// Returns the power-consumption figure, or -1 when the service cannot be reached. Throws
// std::invalid_argument or std::out_of_range when the answer is not a number (or is missing)
// and std::bad_optional_access when it carries no value.
QAR_EXPORT int32_t QarGetPowerConsis();

// Returns the status of power mode `mode`, or -1. Throws std::bad_optional_access when the answer
// carries no value.
QAR_EXPORT int32_t QarGetPMStatus(int32_t mode);

// Appends the service's data set to `out`. Returns out's size afterwards, or -1. Throws
// std::bad_optional_access (out unchanged) when an entry carries no value.
QAR_EXPORT int32_t Qar_fetch_dataset(std::vector<QarClient::Resource>& out);

// Returns the status of feature `featureId`, or -1. Throws std::bad_optional_access,
// std::invalid_argument or std::out_of_range when the answer is not a number.
QAR_EXPORT int32_t QarGetFeatureStatus(int32_t featureId);

}  // extern "C"

// A handle for a one-way request: 31 random bits from /dev/urandom (0 to 2147483647), or -1 when
// the device cannot be read.
QAR_EXPORT int32_t qarGetRandomHandle();
