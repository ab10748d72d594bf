#include "Output.h"

#include <cstdio>

namespace qarctl {

namespace {

std::string hexId(int32_t id) {
    char buffer[16];
    snprintf(buffer, sizeof(buffer), "%#x", static_cast<uint32_t>(id));
    return buffer;
}

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
        if (resource.value) json += ",\"value\":" + jsonQuote(*resource.value);
        json += "}";
        text += resourceText(resource);
    }
    return {json + "]", text + "]"};
}

}  // namespace

std::string jsonQuote(const std::string& text) {
    std::string out = "\"";
    for (unsigned char c : text) {
        switch (c) {
            case '"':
                out += "\\\"";
                break;
            case '\\':
                out += "\\\\";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\t':
                out += "\\t";
                break;
            default:
                if (c < 0x20) {
                    char buffer[8];
                    snprintf(buffer, sizeof(buffer), "\\u%04x", c);
                    out += buffer;
                } else {
                    out += static_cast<char>(c);
                }
        }
    }
    return out + "\"";
}

std::string resourceText(const QarClient::Resource& resource) {
    return resource.value ? hexId(resource.id) + "=" + *resource.value : hexId(resource.id);
}

Fields& Fields::add(const std::string& name, int64_t value) {
    mFields.push_back({name, std::to_string(value), std::to_string(value)});
    return *this;
}

Fields& Fields::add(const std::string& name, const std::string& value) {
    mFields.push_back({name, jsonQuote(value), jsonQuote(value)});
    return *this;
}

Fields& Fields::addBool(const std::string& name, bool value) {
    mFields.push_back({name, value ? "true" : "false", value ? "true" : "false"});
    return *this;
}

Fields& Fields::add(const std::string& name, const std::vector<std::string>& values) {
    std::string json = "[";
    for (const std::string& value : values) json += (json.size() > 1 ? "," : "") + jsonQuote(value);
    json += "]";
    mFields.push_back({name, json, json});
    return *this;
}

Fields& Fields::add(const std::string& name, const std::map<std::string, std::string>& values) {
    std::string json = "{";
    std::string text = "{";
    for (const auto& [key, value] : values) {
        json += (json.size() > 1 ? "," : "") + jsonQuote(key) + ":" + jsonQuote(value);
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
        out += (out.size() > 1 ? "," : "") + jsonQuote(field.name) + ":" + field.json;
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
    if (mJson) {
        std::string json = fields.json();
        const std::string head =
                "{\"call\":" + jsonQuote(call) + ",\"result\":" + std::to_string(value);
        print(head + (json.size() > 2 ? "," + json.substr(1) : "}"));
    } else {
        const std::string text = fields.text();
        print(call + " -> " + std::to_string(value) + (text.empty() ? "" : "  " + text));
    }
}

void Output::voidResult(const std::string& call) {
    print(mJson ? "{\"call\":" + jsonQuote(call) + "}" : call + " done");
}

void Output::event(const std::string& kind, const Fields& fields) {
    if (mJson) {
        std::string json = fields.json();
        const std::string head = "{\"event\":" + jsonQuote(kind);
        print(head + (json.size() > 2 ? "," + json.substr(1) : "}"));
    } else {
        print(kind + ": " + fields.text());
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
