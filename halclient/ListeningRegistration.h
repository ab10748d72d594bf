#pragma once

// Opening a listening: the part shared by the listenings by id and by path. Internal.

#include <functional>
#include <memory>

#include "CallbackRegistries.h"
#include "RequestParcels.h"

namespace jorvHalclient {

struct ListeningRequest {
    JorvRequestParcel parcel;
    // What the listening is remembered by; a listening by id leaves `paths` empty and the
    // reverse. A new listening is refused when the registry holds a group with the same `ids`
    // (by id) or the same `paths` (by path).
    std::vector<int32_t> ids;
    std::vector<std::string> paths;
    bool byPath = false;
};

// Connects, builds the request with the connection held shared, then under
// listening_callback_mutex refuses a duplicate, makes the callback object, registers it with the
// service and on success remembers the listening. Returns the service's handle, or -1.
int registerListening(const char* failureName, const std::function<ListeningRequest()>& build,
                      const std::function<std::shared_ptr<JorvCallbackClient>()>& makeClient)
        EXCLUDES(g_jorv_hal_mutex, listening_callback_mutex);

}  // namespace jorvHalclient
