// The table that turns the library's log lines into the reason a failed call gives.

#include "Reasons.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

TEST(QarctlReasonsTest, EveryLogLineOfAFailureHasItsReason) {
    struct Case {
        std::vector<std::string> lines;
        std::string reason;
    };
    const std::vector<Case> cases = {
            {{"Jorv is not declared, AServiceManager_isDeclared:0"}, "instance not declared"},
            // A lost race to connect, not a failure.
            {{"Jorv is not declared, AServiceManager_isDeclared:1"}, ""},
            {{"Jorv HAL Service not found"}, "service not found"},
            {{"Unable to link to g_jorv_hal death notifications!"},
             "service died while connecting"},
            {{"jorvPropertySet() failed: jorv HAL service not available"},
             "service failed the call: jorvPropertySet()"},
            {{"QarEventAcquire() failed : jorv HAL service not available"},
             "service failed the call: QarEventAcquire()"},
            {{"jorvResCtlRequest() failed: jorv HAL service not available",
              "Jorv HAL Service died"},
             "service died during the call"},
            {{"jorvThermalNotify ERROR: size unmatched for id and level "},
             "resource list invalid"},
            {{"input resource is empty, return"}, "resource list invalid"},
            {{"The callback was not registered before"}, "no such listening"},
            {{"failed to get resource value, 0"}, "service answer incomplete"},
            {{"jorvResCtlRequest error:-1"}, "service refused the request"},
            {{"[QarEventAcquireWrapper] eventId:ACTION_LAUNCH, scene:none"}, "unknown action name"},
            {{"[QarEventAcquireWrapper] eventId:TRIVEX_ACTION_LAUNCH, scene:none",
              "QarEventAcquire, cmdid:1, pkg:none, identity:none"},
             ""},
            {{"jorv client jorvResCtlRequest"}, ""},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(qarctl::reasonOfLines(c.lines), c.reason) << c.lines[0];
    }
}

}  // namespace
