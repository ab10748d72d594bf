// Service-manager state the control API reaches into.
#pragma once

#include <hostbinder/control.h>

namespace hostbinder {

// In-process declarations for AServiceManager_isDeclared.
void declareInstance(const char* instance);
void undeclareInstance(const char* instance);
// Adds `instance` to the service directory's manifest unless it is listed; 0 or an errno value.
int listInManifest(const char* instance);

void lookupCounts(HostBinderLookupCounts* out);

}  // namespace hostbinder
