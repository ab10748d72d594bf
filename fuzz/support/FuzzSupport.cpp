#include "FuzzSupport.h"

#include <android/log.h>

#include <cstdio>
#include <cstdlib>
#include <optional>

namespace qarfuzz {
namespace {

void dropLine(const __android_logger_data* /*data*/, const char* /*message*/) {}

std::optional<std::string> consumeText(FuzzedDataProvider& provider) {
    const int kind = provider.ConsumeIntegralInRange(0, 4);
    if (kind == 0) return std::nullopt;
    if (kind == 1) return std::to_string(provider.ConsumeIntegral<int32_t>());
    if (kind == 2) return std::to_string(provider.ConsumeIntegral<int64_t>());  // out of range
    return consumeSendableText(provider, 32);
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

std::vector<JorvRequestData> consumeRecords(FuzzedDataProvider& provider,
                                            const std::vector<int32_t>& asked) {
    std::vector<JorvRequestData> records(provider.ConsumeIntegralInRange<size_t>(0, 8));
    for (JorvRequestData& r : records) {
        r.id = !asked.empty() && provider.ConsumeBool()
                       ? asked[provider.ConsumeIntegralInRange<size_t>(0, asked.size() - 1)]
                       : provider.ConsumeIntegral<int32_t>();
        r.intValue = provider.ConsumeIntegral<int32_t>();
        r.value = consumeText(provider);
        r.path = consumeText(provider);
        r.extra = consumeText(provider);
    }
    return records;
}

}  // namespace qarfuzz
