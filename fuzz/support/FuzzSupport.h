#pragma once

// Helpers shared by the fuzzers. They need nothing of the host runtime, so the device fuzzers use
// them too.

#include <aidl/vendor/vemra/hardware/jorv/JorvRequestData.h>
#include <fuzzer/FuzzedDataProvider.h>

#include <string>
#include <vector>

namespace qarfuzz {

using ::aidl::vendor::vemra::hardware::jorv::JorvRequestData;

// A broken promise is a finding: says which and aborts, so that libFuzzer keeps the input.
void check(bool ok, const char* what);

// Drops every log line, down to VERBOSE, after formatting it (its arguments are exercised).
void discardLogs();

// Up to `maxLength` bytes folded into 7-bit ASCII, which is always valid UTF-8: the binder runtime
// refuses to send any other string, so texts that must arrive are made this way.
std::string consumeSendableText(FuzzedDataProvider& provider, size_t maxLength);

// Records as a service sends them: fields present or absent, texts often numbers (callers parse
// them), ids often among `asked` (the ids the caller asked about).
std::vector<JorvRequestData> consumeRecords(FuzzedDataProvider& provider,
                                            const std::vector<int32_t>& asked = {});

}  // namespace qarfuzz
