#pragma once

#include <cstdint>
#include <list>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "QarResource.h"

namespace qarctl {

// Named fields of one printed record, in order. Each value is kept twice: as JSON text and as
// the text a person reads.
class Fields {
public:
    Fields& add(const std::string& name, int64_t value);
    Fields& add(const std::string& name, const std::string& value);
    Fields& add(const std::string& name, const char* value) {
        return add(name, std::string(value));
    }
    Fields& addBool(const std::string& name, bool value);
    Fields& add(const std::string& name, const std::vector<std::string>& values);
    Fields& add(const std::string& name, const std::map<std::string, std::string>& values);
    Fields& add(const std::string& name, const std::list<QarClient::Resource>& resources);
    Fields& add(const std::string& name, const std::vector<QarClient::Resource>& resources);

    // {"name": value, ...}
    std::string json() const;
    // "name=value name=value"
    std::string text() const;

private:
    struct Field {
        std::string name;
        std::string json;
        std::string text;
    };
    std::vector<Field> mFields;
};

std::string jsonQuote(const std::string& text);
// "0x40=7" or "0x40" for an absent value.
std::string resourceText(const QarClient::Resource& resource);

// Prints records to stdout, as JSON lines or as text, one record per line. Thread-safe: callbacks
// print from binder threads while the main thread prints too.
class Output {
public:
    explicit Output(bool json) : mJson(json) {}
    bool json() const { return mJson; }

    // The outcome of one library call: "<call> -> <result>  fields".
    void result(const std::string& call, int64_t value, const Fields& fields = Fields());
    // Something else that happened ("callback", "explain", ...).
    // A call that returns nothing: "CALL done", or JSON without a "result" field.
    void voidResult(const std::string& call);
    void event(const std::string& kind, const Fields& fields);
    // One line of text from elsewhere (the stand-in service's transcript): "<kind>: <text>", or
    // {"event": kind, "line": text}.
    void line(const std::string& kind, const std::string& text);
    // The end of one command in shell mode: "done status=N" or {"done": N}.
    void done(int status);
    // Free text for people; left out in JSON mode.
    void note(const std::string& text);

private:
    void print(const std::string& line);

    const bool mJson;
    std::mutex mMutex;
};

}  // namespace qarctl
