#define LOG_TAG "[QAR_CLIENT]"

#include <aidl/vendor/vemra/hardware/jorv/JorvRequestParcel.h>
#include <log/log.h>

#include <algorithm>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <string>

#include "QarEventApi.h"
#include "QarHalCall.h"
#include "common/RequestData.h"
#include "common/RequestTypes.h"

using ::aidl::vendor::vemra::hardware::jorv::JorvRequestData;
using ::aidl::vendor::vemra::hardware::jorv::JorvRequestParcel;
using qar::CallOutcome;
using QarClient::Resource;
using qarEvent::g_qar_hal;
using qarEvent::g_qar_hal_mutex;
using qarEvent::IJorv;

namespace {

// The resource whose state is the power-consumption figure; it is never asked for as a resource.
constexpr int32_t kPowerConsumptionId = 0x1011670;

JorvRequestParcel queryParcel(int32_t requestType) {
    JorvRequestParcel parcel;
    parcel.requestType = requestType;
    return parcel;
}

JorvRequestParcel queryParcel(int32_t requestType, int32_t id) {
    JorvRequestParcel parcel = queryParcel(requestType);
    parcel.dataList.emplace_back().id = id;
    return parcel;
}

int toInt(size_t size) {
    return static_cast<int>(size);
}

// Sends a state query on the connection the caller made. False when the call failed (logged by
// the call) or when the reply holds no entry (logged here).
bool fetchState(const char* name, const JorvRequestParcel& parcel,
                std::vector<JorvRequestData>& reply) {
    if (qarEvent::callConnectedQarHal(name, [&](IJorv& hal) {
            return hal.stateRequest(parcel, &reply);
        }) != CallOutcome::kOk) {
        return false;
    }
    if (reply.empty()) {
        ALOGE("failed to get resource value");
        return false;
    }
    return true;
}

}  // namespace

int32_t QarMutiResStateRequest(std::vector<Resource>& resources) {
    ALOGI("QarMutiResStateRequest enter");
    if (!qarEvent::connectQarHal()) return -1;
    if (resources.empty()) {
        ALOGE("input resource is empty, return");
        return -1;
    }
    JorvRequestParcel parcel;  // request type 0: a state query
    qar::appendRequestData(parcel.dataList, resources);
    std::vector<JorvRequestData> reply;
    if (!fetchState("QarMutiResStateRequest", parcel, reply)) return -1;

    int32_t filled = 0;
    for (Resource& resource : resources) {
        // The first answer for an id wins, also for an id asked for twice.
        const auto match = std::find_if(reply.begin(), reply.end(), [&](const JorvRequestData& d) {
            return d.id == resource.id;
        });
        if (match == reply.end()) {
            ALOGI("not match any opcode in qarcore");
            continue;
        }
        if (!match->value.has_value()) continue;
        resource.value = match->value;
        ALOGD("get resource value, opcode 0x%08x, value %s", static_cast<unsigned>(resource.id),
              resource.value->c_str());
        ++filled;
    }
    return filled;
}

void QarResStateRequest(int32_t opcode, std::string& out) {
    if (opcode == kPowerConsumptionId) {
        out = std::to_string(QarGetPowerConsis());
        return;
    }
    ALOGI("QarResStateRequest enter");
    std::vector<Resource> resources = {Resource{opcode, std::string()}};
    if (QarMutiResStateRequest(resources) == 1) out = resources.front().value.value_or("");
}

int32_t QarGetHistory(std::string& out) {
    ALOGI("qar client QarGetHistory");
    const JorvRequestParcel parcel = queryParcel(qar::kRequestTypeHistory);
    std::vector<JorvRequestData> reply;
    const CallOutcome call = qarEvent::callQarHal("QarGetHistory", [&](IJorv& hal) {
        ALOGI("qar client hal QarGetHistory");
        return hal.stateRequest(parcel, &reply);
    });
    if (call == CallOutcome::kNotConnected || call == CallOutcome::kVanished) return -1;
    if (call == CallOutcome::kFailed || reply.empty()) {
        ALOGE("failed to get history or return vector empty, data vector size %d",
              toInt(reply.size()));
        return -1;
    }

    // The history travels in the entries' extra text.
    std::string history = "start:";
    for (size_t i = 0; i < reply.size(); ++i) {
        if (i > 0) history += ";";
        history += reply[i].extra.value_or("none");
    }
    history += ";end";
    out = std::move(history);
    ALOGD("get history successful: %s", out.c_str());
    return 0;
}

int32_t QarGetPowerConsis() {
    ALOGI("qar client QarGetPowerConsis");
    if (!qarEvent::connectQarHal()) return -1;
    // The service always answers this query, so its status is not examined and a failure does not
    // drop the connection; a missing or unusable answer surfaces as an exception from the parse.
    std::string figure;
    {
        qar::SharedLock lock(g_qar_hal_mutex);
        if (g_qar_hal != nullptr) {
            JorvRequestParcel parcel = queryParcel(qar::kRequestTypePowerConsumption);
            for (const char* value : {"0 1 35", "1 1 35", "2 1 35"}) {
                JorvRequestData& entry = parcel.dataList.emplace_back();
                entry.id = kPowerConsumptionId;
                entry.value = value;
            }
            parcel.text1 = "none";
            std::vector<JorvRequestData> reply;
            const ndk::ScopedAStatus ignored = g_qar_hal->stateRequest(parcel, &reply);
            // An empty answer is parsed as the empty text, like a connection that vanished.
            if (!reply.empty()) figure = reply.front().value.value();
        }
    }
    return std::stoi(figure, nullptr, 10);
}

int32_t QarGetPMStatus(int32_t mode) {
    ALOGI("qar client QarGetPMStatus");
    const JorvRequestParcel parcel = queryParcel(qar::kRequestTypePowerMode, mode);
    std::vector<JorvRequestData> reply;
    const CallOutcome call = qarEvent::callQarHal("QarGetPMStatus", [&](IJorv& hal) {
        ALOGI("qar client hal QarGetPMStatus");
        return hal.stateRequest(parcel, &reply);
    });
    if (call == CallOutcome::kNotConnected || call == CallOutcome::kVanished) return -1;
    if (call == CallOutcome::kOk && !reply.empty()) {
        const std::string& status = reply.front().value.value();
        try {
            return std::stoi(status, nullptr, 10);
        } catch (const std::invalid_argument& e) {
            std::cout << "Invalid argument exception: " << e.what() << std::endl;
        } catch (const std::out_of_range& e) {
            std::cout << "Out of range exception: " << e.what() << std::endl;
        }
        return -1;
    }
    ALOGE("failed to get power mode status, mode %d, data vector size %d", mode,
          toInt(reply.size()));
    return -1;
}

int32_t Qar_fetch_dataset(std::vector<Resource>& out) {
    ALOGI("Qar_fetch_dataset enter");
    const JorvRequestParcel parcel = queryParcel(qar::kRequestTypeDataSet);
    std::vector<JorvRequestData> reply;
    if (!qarEvent::connectQarHal() || !fetchState("Qar_fetch_dataset", parcel, reply)) return -1;
    // Collected first so that an entry without a value leaves `out` as it was.
    std::vector<Resource> fetched;
    fetched.reserve(reply.size());
    for (JorvRequestData& entry : reply) {
        fetched.push_back(Resource{entry.id, std::move(entry.value.value())});
    }
    out.insert(out.end(), std::make_move_iterator(fetched.begin()),
               std::make_move_iterator(fetched.end()));
    return toInt(out.size());
}

int32_t QarGetFeatureStatus(int32_t featureId) {
    ALOGI("QarGetFeatureStatus enter");
    const JorvRequestParcel parcel = queryParcel(qar::kRequestTypeFeature, featureId);
    std::vector<JorvRequestData> reply;
    if (qarEvent::callQarHal("QarGetFeatureStatus", [&](IJorv& hal) {
            return hal.stateRequest(parcel, &reply);
        }) != CallOutcome::kOk) {
        return -1;
    }
    if (reply.size() != 1) {
        ALOGE("failed to get resource value, %d", toInt(reply.size()));
        return -1;
    }
    return std::stoi(reply.front().value.value(), nullptr, 10);
}
