#pragma once

#include <list>
#include <string>
#include <vector>

#include "QarResource.h"

namespace jorvHalclient {

// Implemented by callers that want to hear about resources addressed by id: the outcome of a
// request, or the changes of resources they listen to. Held by shared pointer; the library keeps
// a reference while the service may call back. Called on one of the process's binder threads (see
// JorvHalclient.h) with no library lock held.
class IClientCallback {
public:
    virtual ~IClientCallback() = default;
    // One element per record the service reported, in its order; a value the service left out
    // stays absent.
    virtual void onCallback(std::list<QarClient::Resource> resources) = 0;
};

// The same for resources addressed by path. `values` and `paths` are parallel: element i of both
// belongs to the same record; a text the service left out arrives as an empty string.
class IClientCallbackByPath {
public:
    virtual ~IClientCallbackByPath() = default;
    virtual void onCallback(std::vector<std::string> values, std::vector<std::string> paths) = 0;
};

}  // namespace jorvHalclient
