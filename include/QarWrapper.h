#pragma once

// The wrapper API: callers name actions ("TRIVEX_ACTION_TOUCH_BOOST") and send textual
// notification payloads instead of command ids and resource lists.
//
// The entry points keep no state and take no lock; they only drive the event API (QarEventApi.h),
// which owns the service connection. Callable from any thread. The symbols are unmangled, and the
// spellings "Wapper" are the names callers link against.
//
// Starts no threads; the event API's notice of the service's death needs the process's binder
// threads (see QarEventApi.h).

#include <cstdint>
#include <string>

#include "QarActionTable.h"
#include "QarExport.h"
#include "QarPayloadBuilders.h"
#include "StringUtils.h"

extern "C" {

// Acquires action `eventId`, written "TRIVEX_" + an action name of gActionList, for `scene` (sent
// as the package) and `identity` for `timeout`. The action name is always read from the eighth
// character on, and only when "TRIVEX_" occurs somewhere in eventId. Returns -1 when eventId names
// no action (nothing is sent), else whatever QarEventAcquire returns: the handle or -1.
QAR_EXPORT int32_t QarEventAcquireWrapper(const std::string& eventId, const std::string& scene,
                                          const std::string& identity, int32_t timeout);

// Releases `handle` through QarRelease.
QAR_EXPORT void QarReleaseWapper(int32_t handle);

// Turns notification (src, type, param, payload) into the matching rule switch (qarRuleCtl);
// combinations without a rule send nothing. `name` is only logged; `unused4` and `unused5` are not
// read. Always returns 0: a failed switch shows only in the event API's log.
QAR_EXPORT int32_t QarNotifyWapper(const std::string& name, int32_t src, int32_t type,
                                   int32_t param, int32_t unused4, int32_t unused5,
                                   const std::string& payload);

}  // extern "C"
