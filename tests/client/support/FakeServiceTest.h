#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "JorvHalclient.h"
#include "ServiceEnv.h"
#include "support/LogCapture.h"

namespace qartest {

using jorvHalclient::ResourceList;
using QarClient::Resource;
using Text = std::optional<std::string>;
// The tags the library logs under: the namespace client, its callback objects, the event API.
inline constexpr char kTag[] = "JORVFramework-lib-vendor";
inline constexpr char kClientTag[] = "JorvFramework-lib-vendor";
inline constexpr char kQarTag[] = "[QAR_CLIENT]";

inline JorvRequestData entry(int32_t id, Text value = std::nullopt, Text path = std::nullopt) {
    JorvRequestData data;
    data.id = id;
    data.value = std::move(value);
    data.path = std::move(path);
    return data;
}

// A record as text: its id, then only what is set: "=value", "#intValue", "@path", "+extra".
inline std::string describe(const JorvRequestData& d) {
    std::string text = std::to_string(d.id);
    if (d.value) text += "=" + *d.value;
    if (d.intValue != 0) text += "#" + std::to_string(d.intValue);
    if (d.path) text += "@" + *d.path;
    if (d.extra) text += "+" + *d.extra;
    return text;
}

// A call the fake received as one comparable line: the op, its scalar, string and record
// arguments, the parcel's fields that are set (every record in brackets), and "cb" when it
// carried a callback object.
inline std::string describe(const Call& call) {
    std::string text = call.op;
    for (int32_t i : call.ints) text += " " + std::to_string(i);
    for (const std::string& s : call.strings) text += " '" + s + "'";
    for (const JorvRequestData& d : call.data) text += " " + describe(d);
    if (call.parcel) {
        const JorvRequestParcel& p = *call.parcel;
        text += " type=" + std::to_string(p.requestType);
        if (p.param0 != 0) text += " p0=" + std::to_string(p.param0);
        if (p.param1 != 0) text += " p1=" + std::to_string(p.param1);
        if (p.param3 != 0) text += " p3=" + std::to_string(p.param3);
        if (p.flag) text += " flag";
        if (p.param5 != 0) text += " p5=" + std::to_string(p.param5);
        for (const JorvRequestData& d : p.dataList) text += " [" + describe(d) + "]";
        for (const auto& path : p.paths.value_or(std::vector<std::optional<std::string>>{})) {
            text += " path=" + path.value_or("null");
        }
        if (p.text1) text += " text1=" + *p.text1;
        if (p.text2) text += " text2=" + *p.text2;
        if (p.numbers) text += " numbers=" + std::to_string(p.numbers->size());
    }
    if (call.anyCallback()) text += " cb";
    return text;
}

// A test with the fake service declared and published in a fresh service directory, and the
// library's log captured.
class FakeServiceTest : public ::testing::Test {
public:
    void SetUp() override {
        env.declare();
        fake = env.publish();
    }

    // Queues the answer of the next stateRequest.
    void answer(std::vector<JorvRequestData> data) {
        fake->enqueue("stateRequest", Answer::okData(std::move(data)));
    }
    // The last call the fake received, described.
    std::string lastSent() const {
        const std::vector<Call> calls = fake->calls();
        return calls.empty() ? "nothing" : describe(calls.back());
    }
    // Lines of the event API.
    size_t logged(int priority, const std::string& text) const {
        return log.count(priority, kQarTag, text);
    }

    ServiceEnv env;
    std::shared_ptr<FakeJorv> fake;
    LogCapture log;
};

}  // namespace qartest
