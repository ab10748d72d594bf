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

// Texts are quoted by jsonString() in both forms: one line, valid UTF-8, whatever they hold.

namespace qarctl {

// Named fields of one printed record, in order. Each value is kept twice: as JSON text and as
// the text a person reads.
class Fields {
public:
    Fields& add(const std::string& name, int64_t value);
    // A handle or request id: a number in JSON, idText() in text.
    Fields& addId(const std::string& name, int32_t id);
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

// An id as people read it: 0x%08x, or the decimal failure code (-1, -2) for a negative one.
std::string idText(int32_t id);
// "0x00000040=7" or "0x00000040" for an absent value.
std::string resourceText(const QarClient::Resource& resource);

// Prints records to stdout, as JSON lines or as text, one record per line. Thread-safe: callbacks
// print from binder threads while the main thread prints too.
class Output {
public:
    explicit Output(bool json) : mJson(json) {}
    bool json() const { return mJson; }

    // The outcome of one library call: "<call> -> <result>  fields".
    void result(const std::string& call, int64_t value, const Fields& fields = Fields());
    // The outcome of a call that returns a handle or request id: as result(), the id in idText().
    void idResult(const std::string& call, int32_t id, const Fields& fields = Fields());
    // A call that returns nothing: "<call> done  fields", or JSON without a "result" field.
    void voidResult(const std::string& call, const Fields& fields = Fields());
    // Something else that happened ("callback", "explain", ...).
    void event(const std::string& kind, const Fields& fields);
    // One line of text from elsewhere (the stand-in service's transcript): "<kind>: <text>", or
    // {"event": kind, "line": text}.
    void line(const std::string& kind, const std::string& text);
    // The end of one command in shell mode: "done status=N" or {"done": N}.
    void done(int status);
    // Free text for people; left out in JSON mode.
    void note(const std::string& text);

private:
    // `head` then the fields: JSON members after the head's, or text after two blanks.
    void printRecord(const std::string& jsonHead, const std::string& textHead,
                     const Fields& fields);
    void print(const std::string& line);

    const bool mJson;
    std::mutex mMutex;
};

}  // namespace qarctl
