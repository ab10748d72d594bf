#pragma once

#include <memory>
#include <string>

#include "Output.h"

namespace qarctl {

// An in-process stand-in for the service that prints, one line per transaction, what the library
// sends, so that a call can be explained without any service running. Lives until destroyed.
class ExplainSession {
public:
    virtual ~ExplainSession() = default;
};

// Starts the stand-in and points this process's service look-ups at it. Returns null with
// `error` set where that is impossible (on a device, where the real service manager is used).
std::unique_ptr<ExplainSession> startExplainSession(Output& out, std::string* error);

}  // namespace qarctl
