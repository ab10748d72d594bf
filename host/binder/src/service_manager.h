// Service-manager state the control API reaches into.
#pragma once

#include <hostbinder/control.h>

namespace hostbinder {

// In-process declarations for AServiceManager_isDeclared.
void declareInstance(const char* instance);
void undeclareInstance(const char* instance);

void lookupCounts(HostBinderLookupCounts* out);

}  // namespace hostbinder
