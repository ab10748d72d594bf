// On a device the real service manager answers every look-up; there is nothing to stand in for.

#include "Explain.h"

namespace qarctl {

std::unique_ptr<ExplainSession> startExplainSession(Output& /*out*/, std::string* error) {
    *error = "only available on a workstation (host build)";
    return nullptr;
}

}  // namespace qarctl
