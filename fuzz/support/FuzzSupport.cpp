#include "FuzzSupport.h"

#include <android/log.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <optional>

namespace qarfuzz {
namespace {

void dropLine(const __android_logger_data* /*data*/, const char* /*message*/) {}

std::optional<std::string> consumeOptionalText(FuzzedDataProvider& provider, size_t maxText) {
    if (!provider.ConsumeBool()) return std::nullopt;
    return consumeSendableText(provider, maxText);
}

}  // namespace

std::string consumeSendableText(FuzzedDataProvider& provider, size_t maxLength) {
    std::string text = provider.ConsumeRandomLengthString(maxLength);
    for (char& c : text) c = static_cast<char>(c & 0x7f);
    return text;
}

void check(bool ok, const char* what) {
    if (ok) return;
    std::fprintf(stderr, "==== finding: %s\n", what);
    std::abort();
}

void discardLogs() {
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    __android_log_set_logger(dropLine);
}

std::vector<JorvRequestData> consumeRecords(FuzzedDataProvider& provider, size_t maxRecords,
                                            size_t maxText) {
    std::vector<JorvRequestData> records(provider.ConsumeIntegralInRange<size_t>(0, maxRecords));
    for (JorvRequestData& record : records) {
        record.id = provider.ConsumeIntegral<int32_t>();
        record.intValue = provider.ConsumeIntegral<int32_t>();
        record.value = consumeOptionalText(provider, maxText);
        record.path = consumeOptionalText(provider, maxText);
        record.extra = consumeOptionalText(provider, maxText);
    }
    return records;
}

bool deliveredById(const std::list<QarClient::Resource>& got,
                   const std::vector<JorvRequestData>& sent) {
    return std::equal(got.begin(), got.end(), sent.begin(), sent.end(),
                      [](const QarClient::Resource& r, const JorvRequestData& d) {
                          return r.id == d.id && r.value == d.value;
                      });
}

bool deliveredByPath(const std::vector<std::string>& values, const std::vector<std::string>& paths,
                     const std::vector<JorvRequestData>& sent) {
    if (values.size() != sent.size() || paths.size() != sent.size()) return false;
    for (size_t i = 0; i < sent.size(); ++i) {
        if (values[i] != sent[i].value.value_or("") || paths[i] != sent[i].path.value_or("")) {
            return false;
        }
    }
    return true;
}

}  // namespace qarfuzz
