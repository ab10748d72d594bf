#define LOG_TAG "JORVFramework-lib-vendor"

#include <log/log.h>

#include "JorvHalclient.h"
#include "JorvServiceCall.h"

namespace jorvHalclient {

namespace {

// Command codes the service knows; 9 is not one this library sends.
enum class DiagnosticCommand : int32_t {
    kDumpToDoQueue = 0,
    kDumpRunMap = 1,
    kDumpActiveResMap = 2,
    kDumpResRequest = 3,
    kDumpResInfo = 4,
    kDumpSAInfo = 5,
    kDumpPidFdList = 6,
    kDumpPidfdMonitorMap = 7,
    kDumpResRecordList = 8,
    kHistoryRequestRecordOn = 10,
    kHistoryRequestRecordOff = 11,
};

// Sends one diagnostic command; `name` is the public function's name, used in both log lines.
int sendDiagnostic(DiagnosticCommand command, const char* name) {
    ALOGI("jorv client %s", name);
    const int handle = sendRequest(name, [&](JorvRequestParcel& parcel) {
        parcel.requestType = qar::kRequestTypeDiagnostic;
        parcel.param3 = 1;
        parcel.dataList.emplace_back().id = static_cast<int32_t>(command);
        return true;
    });
    return handle >= 1 ? 0 : -1;
}

}  // namespace

int jorvDumpToDoQueue() {
    return sendDiagnostic(DiagnosticCommand::kDumpToDoQueue, "jorvDumpToDoQueue");
}

int jorvDumpRunMap() {
    return sendDiagnostic(DiagnosticCommand::kDumpRunMap, "jorvDumpRunMap");
}

int jorvDumpActiveResMap() {
    return sendDiagnostic(DiagnosticCommand::kDumpActiveResMap, "jorvDumpActiveResMap");
}

int jorvDumpResRequest() {
    return sendDiagnostic(DiagnosticCommand::kDumpResRequest, "jorvDumpResRequest");
}

int jorvDumpResInfo() {
    return sendDiagnostic(DiagnosticCommand::kDumpResInfo, "jorvDumpResInfo");
}

int jorvDumpSAInfo() {
    return sendDiagnostic(DiagnosticCommand::kDumpSAInfo, "jorvDumpSAInfo");
}

int jorvDumpPidFdList() {
    return sendDiagnostic(DiagnosticCommand::kDumpPidFdList, "jorvDumpPidFdList");
}

int jorvDumpPidfdMonitorMap() {
    return sendDiagnostic(DiagnosticCommand::kDumpPidfdMonitorMap, "jorvDumpPidfdMonitorMap");
}

int jorvDumpResRecordList() {
    return sendDiagnostic(DiagnosticCommand::kDumpResRecordList, "jorvDumpResRecordList");
}

int jorvHistoryRequestRecordOn() {
    return sendDiagnostic(DiagnosticCommand::kHistoryRequestRecordOn, "jorvHistoryRequestRecordOn");
}

int jorvHistoryRequestRecordOff() {
    return sendDiagnostic(DiagnosticCommand::kHistoryRequestRecordOff,
                          "jorvHistoryRequestRecordOff");
}

}  // namespace jorvHalclient
