#pragma once

#include <list>

#include "QarExport.h"
#include "QarResource.h"

// Client of the resource-control service. Every function connects on first use (waiting for the
// service to be published when it is declared), holds the connection for the duration of one
// service call and drops it when the call fails, so that the next call reconnects. Callable from
// any thread. Results are the service's answer or -1 when it could not be asked.
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

}  // namespace jorvHalclient
