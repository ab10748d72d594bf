#include "Output.h"

#include <cstdio>

// By relative path: the device build puts no tools folder on the include path.
#include "../common/Escape.h"

namespace qarctl {

namespace {

// The 32-bit pattern of `value` as 0x and eight hex digits.
std::string hex32(int32_t value) {
    char buffer[16];
    snprintf(buffer, sizeof(buffer), "0x%08x", static_cast<uint32_t>(value));
    return buffer;
}

using toolscommon::jsonString;

template <typename Range>
std::pair<std::string, std::string> renderResources(const Range& resources) {
    std::string json = "[";
    std::string text = "[";
    for (const QarClient::Resource& resource : resources) {
        if (json.size() > 1) {
            json += ",";
            text += " ";
        }
        json += "{\"id\":" + std::to_string(resource.id);
        if (resource.value) json += ",\"value\":" + jsonString(*resource.value);
        json += "}";
        text += resourceText(resource);
    }
    return {json + "]", text + "]"};
}

}  // namespace

std::string idText(int32_t id) {
    return id < 0 ? std::to_string(id) : hex32(id);
}

std::string resourceText(const QarClient::Resource& resource) {
    // Resource ids are opcodes with the top bit often set: always their 32-bit pattern.
    const std::string id = hex32(resource.id);
    return resource.value ? id + "=" + *resource.value : id;
}

Fields& Fields::add(const std::string& name, int64_t value) {
    mFields.push_back({name, std::to_string(value), std::to_string(value)});
    return *this;
}

Fields& Fields::addId(const std::string& name, int32_t id) {
    mFields.push_back({name, std::to_string(id), idText(id)});
    return *this;
}

Fields& Fields::add(const std::string& name, const std::string& value) {
    mFields.push_back({name, jsonString(value), jsonString(value)});
    return *this;
}

Fields& Fields::addBool(const std::string& name, bool value) {
    mFields.push_back({name, value ? "true" : "false", value ? "true" : "false"});
    return *this;
}

Fields& Fields::add(const std::string& name, const std::vector<std::string>& values) {
    std::string json = "[";
    for (const std::string& value : values)
        json += (json.size() > 1 ? "," : "") + jsonString(value);
    json += "]";
    mFields.push_back({name, json, json});
    return *this;
}

Fields& Fields::add(const std::string& name, const std::map<std::string, std::string>& values) {
    std::string json = "{";
    std::string text = "{";
    for (const auto& [key, value] : values) {
        json += (json.size() > 1 ? "," : "") + jsonString(key) + ":" + jsonString(value);
        text += (text.size() > 1 ? " " : "") + key + "=" + value;
    }
    mFields.push_back({name, json + "}", text + "}"});
    return *this;
}

Fields& Fields::add(const std::string& name, const std::list<QarClient::Resource>& resources) {
    auto [json, text] = renderResources(resources);
    mFields.push_back({name, json, text});
    return *this;
}

Fields& Fields::add(const std::string& name, const std::vector<QarClient::Resource>& resources) {
    auto [json, text] = renderResources(resources);
    mFields.push_back({name, json, text});
    return *this;
}

std::string Fields::json() const {
    std::string out = "{";
    for (const Field& field : mFields) {
        out += (out.size() > 1 ? "," : "") + jsonString(field.name) + ":" + field.json;
    }
    return out + "}";
}

std::string Fields::text() const {
    std::string out;
    for (const Field& field : mFields)
        out += (out.empty() ? "" : " ") + field.name + "=" + field.text;
    return out;
}

void Output::result(const std::string& call, int64_t value, const Fields& fields) {
    printRecord("{\"call\":" + jsonString(call) + ",\"result\":" + std::to_string(value),
                call + " -> " + std::to_string(value), fields);
}

void Output::idResult(const std::string& call, int32_t id, const Fields& fields) {
    printRecord("{\"call\":" + jsonString(call) + ",\"result\":" + std::to_string(id),
                call + " -> " + idText(id), fields);
}

void Output::voidResult(const std::string& call, const Fields& fields) {
    printRecord("{\"call\":" + jsonString(call), call + " done", fields);
}

void Output::event(const std::string& kind, const Fields& fields) {
    if (mJson) {
        printRecord("{\"event\":" + jsonString(kind), "", fields);
    } else {
        print(kind + ": " + fields.text());
    }
}

void Output::printRecord(const std::string& jsonHead, const std::string& textHead,
                         const Fields& fields) {
    if (mJson) {
        const std::string json = fields.json();
        print(jsonHead + (json.size() > 2 ? "," + json.substr(1) : "}"));
    } else {
        const std::string text = fields.text();
        print(textHead + (text.empty() ? "" : "  " + text));
    }
}

void Output::line(const std::string& kind, const std::string& text) {
    if (mJson) {
        event(kind, Fields().add("line", text));
    } else {
        print(kind + ": " + text);
    }
}

void Output::done(int status) {
    print(mJson ? "{\"done\":" + std::to_string(status) + "}"
                : "done status=" + std::to_string(status));
}

void Output::note(const std::string& text) {
    if (!mJson) print(text);
}

void Output::print(const std::string& line) {
    std::lock_guard<std::mutex> lock(mMutex);
    fprintf(stdout, "%s\n", line.c_str());
    fflush(stdout);
}

}  // namespace qarctl
