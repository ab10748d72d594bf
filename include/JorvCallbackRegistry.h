#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "QarExport.h"

namespace jorvHalclient {

// The library's implementation of the service's callback interface; opaque to callers.
class JorvCallbackClient;

// Callback objects of requests that asked for an answer and have not been called back yet, in
// order of sending. An entry leaves on its object's first callback; a request whose call failed
// leaves its entry until the service calls it. Guarded by request_callback_mutex, which must not be
// held while calling into the library.
QAR_EXPORT extern std::mutex request_callback_mutex;
QAR_EXPORT extern std::vector<std::shared_ptr<JorvCallbackClient>> request_callbacks;

}  // namespace jorvHalclient
